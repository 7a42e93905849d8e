// qvlctl diff

#include <sys/stat.h>
#include <unistd.h>

#include <string>
#include <vector>

#include "Program.h"

namespace QVL {
namespace Test {
namespace {

class Diff : public ProgramTest {
 protected:
  Result diff(std::vector<std::string> arguments, const std::string& input = "") const {
    arguments.insert(arguments.begin(), {"diff", "-p", "old.xml", "--with", "new.xml"});
    Circumstances circumstances;
    circumstances.input = input;
    return run(arguments, circumstances);
  }

  void writePolicy(const std::string& name, const std::string& logic,
                   const std::string& dataSets) const {
    write(name, "<exclusion-policy version='1'><logic>" + logic + "</logic>\n" + dataSets +
                    "</exclusion-policy>\n");
  }
};

const char* const kOld =
    "<data-set number='1' kind='folder'>\n"
    "  <rule>/srv/a/</rule>\n"
    "  <rule>/srv/b/</rule>\n"
    "</data-set>\n"
    "<data-set number='2' kind='file-type'><rule>exe</rule></data-set>\n";

const char* const kNew =
    "<data-set number='1' kind='folder'>\n"
    "  <rule>/srv/b/</rule>\n"
    "  <rule access='read'>/srv/c/</rule>\n"
    "  <rule>/srv/*/deep/</rule>\n"
    "</data-set>\n"
    "<data-set number='2' kind='file-type'><rule>com</rule></data-set>\n";

class DiffOfPaths : public Diff {
 protected:
  void SetUp() override {
    writePolicy("old.xml", "1&amp;!2", kOld);
    writePolicy("new.xml", "1&amp;!2", kNew);
  }

  const std::string m_paths =
      "/srv/a/x\n/srv/b/x\n/srv/b/x.exe\n/srv/b/x.com\n/srv/c/x\n/srv/c/x\xff\n"
      "/srv/c/deep/x\n/x\n";
};

TEST_F(DiffOfPaths, TellsNewlySkippedOnesFirstAndTheRulesResponsible) {
  EXPECT_EQ(diff({}, m_paths), (Result{1,
                                       R"(Newly skipped:
  /srv/b/x.exe
    no longer by data set 2, rule 1, old.xml:6: exe
  /srv/c/x
    now by data set 1, rule 2, new.xml:4: /srv/c/
  /srv/c/deep/x
    now by data set 1, rule 2, new.xml:4: /srv/c/
    now by data set 1, rule 3, new.xml:5: /srv/*/deep/

Newly scanned:
  /srv/a/x
    no longer by data set 1, rule 1, old.xml:3: /srv/a/
  /srv/b/x.com
    now by data set 2, rule 1, new.xml:7: com

8 paths asked about: 3 newly skipped, 2 newly scanned
)",
                                       ""}));
}

TEST_F(DiffOfPaths, WritesALineOfJsonForEachChangeAndASummary) {
  EXPECT_EQ(
      diff({"--format", "json", "-"}, "/srv/a/x\n/srv/b/x\n/srv/c/x\n"),
      (Result{1,
              R"({"change":"newly-scanned","path":"/srv/a/x","oldMatched":[1],"newMatched":[],)"
              R"("onlyOld":[{"dataSet":1,"kind":"folder","decidedBy":"rules","rule":1,"line":3,)"
              R"("text":"/srv/a/","access":"any"}],"onlyNew":[]})"
              "\n"
              R"({"change":"newly-skipped","path":"/srv/c/x","oldMatched":[],"newMatched":[1],)"
              R"("onlyOld":[],"onlyNew":[{"dataSet":1,"kind":"folder","decidedBy":"rules",)"
              R"("rule":2,"line":4,"text":"/srv/c/","access":"read"}]})"
              "\n"
              R"({"change":"summary","asked":3,"newlySkipped":{"paths":1},)"
              R"("newlyScanned":{"paths":1},"unreadableFolders":0})"
              "\n",
              ""}));
}

TEST_F(DiffOfPaths, AsksForTheAccessThatIsGiven) {
  EXPECT_EQ(diff({"--access", "write"}, "/srv/c/x\n"),
            (Result{0,
                    "Newly skipped: nothing\n"
                    "\n"
                    "Newly scanned: nothing\n"
                    "\n"
                    "1 path asked about: 0 newly skipped, 0 newly scanned\n",
                    ""}));
}

TEST_F(DiffOfPaths, ReadsZeroSeparatedPaths) {
  EXPECT_EQ(diff({"-0"}, std::string("/srv/a/x\ny\0", 11)),
            (Result{1,
                    "Newly skipped: nothing\n"
                    "\n"
                    "Newly scanned:\n"
                    "  /srv/a/x\\ny\n"
                    "    no longer by data set 1, rule 1, old.xml:3: /srv/a/\n"
                    "\n"
                    "1 path asked about: 0 newly skipped, 1 newly scanned\n",
                    ""}));
}

TEST_F(DiffOfPaths, KeepsMoreChangesThanFitIntoMemoryInOrder) {
  std::string input, expected = "Newly skipped:\n";
  std::string scanned;
  for (int i = 0; i < 30000; ++i) {
    const std::string number = std::to_string(i);
    input += "/srv/a/" + number + "\n/srv/c/" + number + "\n";
    expected += "  /srv/c/" + number + "\n    now by data set 1, rule 2, new.xml:4: /srv/c/\n";
    scanned += "  /srv/a/" + number + "\n    no longer by data set 1, rule 1, old.xml:3: /srv/a/\n";
  }
  expected += "\nNewly scanned:\n" + scanned +
              "\n60,000 paths asked about: 30,000 newly skipped, 30,000 newly scanned\n";
  EXPECT_TRUE(diff({}, input) == (Result{1, expected, ""}));
}

TEST_F(DiffOfPaths, FoldersAndStandardInputDoNotMix) {
  EXPECT_EQ(
      diff({"-", "."}),
      (Result{2, "", "qvlctl: expected folders to walk or a single -; found - among folders\n"}));
}

TEST_F(Diff, WalksFolders) {
  write("d/a/1", "1");
  write("d/a/n/22", "22");
  write("d/b/333", "333");
  write("d/c/4444", "4444");
  const std::string top = path("d");
  // Not with `top` in them: in a rule, some characters of a path are signs of an expression.
  writePolicy("old.xml", "1",
              "<data-set number='1' kind='folder'><rule>/**/d/a/</rule></data-set>");
  writePolicy("new.xml", "1",
              "<data-set number='1' kind='folder'><rule>/**/d/b/</rule></data-set>");
  EXPECT_EQ(diff({"d"}), (Result{1,
                                 "Newly skipped:\n"
                                 "  " +
                                     top +
                                     "/b/333\n"
                                     "    now by data set 1, rule 1, new.xml:2: /**/d/b/\n"
                                     "\n"
                                     "Newly scanned:\n"
                                     "  " +
                                     top +
                                     "/a/1\n"
                                     "    no longer by data set 1, rule 1, old.xml:2: /**/d/a/\n"
                                     "  " +
                                     top +
                                     "/a/n/22\n"
                                     "    no longer by data set 1, rule 1, old.xml:2: /**/d/a/\n"
                                     "\n"
                                     "4 paths asked about: 1 newly skipped (3 bytes), "
                                     "2 newly scanned (3 bytes)\n",
                                 ""}));
  EXPECT_EQ(diff({"--format", "json", "d/b", "d/c"}),
            (Result{1,
                    R"({"change":"newly-skipped","path":")" + top +
                        R"(/b/333","size":3,"oldMatched":[],"newMatched":[1],"onlyOld":[],)"
                        R"("onlyNew":[{"dataSet":1,"kind":"folder","decidedBy":"rules","rule":1,)"
                        R"("line":2,"text":"/**/d/b/","access":"any"}]})"
                        "\n"
                        R"({"change":"summary","asked":2,"newlySkipped":{"paths":1,"bytes":3},)"
                        R"("newlyScanned":{"paths":0,"bytes":0},"unreadableFolders":0})"
                        "\n",
                    ""}));
}

TEST_F(Diff, TellsWhatIsNotARule) {
  const struct {
    const char* oldLogic;
    const char* oldDataSet;
    const char* newLogic;
    const char* newDataSet;
    const char* path;
    const char* cause;
  } rows[] = {
      {"1", "number='1' kind='folder'", "1", "number='1' kind='folder' match-anything='yes'", "/b",
       "now by data set 1, new.xml:2: match-anything=\"yes\""},
      {"1", "number='1' kind='folder'", "1", "number='1' kind='folder' match-empty-input='yes'", "",
       "now by data set 1, new.xml:2: match-empty-input=\"yes\""},
      {"!1", "number='1' kind='folder'", "1", "number='1' kind='folder'", "/a/x",
       "by the same rules, but the logic is \"1\"; it was \"!1\""},
      {"1", "number='1' kind='folder' enabled='no'", "1", "number='1' kind='folder'", "/a/x",
       "now by data set 1, rule 1, new.xml:2: /a/"},
      {"1", "number='1' kind='folder'", "1", "number='1' kind='folder' case-sensitive='no'", "/A/x",
       "now by data set 1, rule 1, new.xml:2: /a/"},
      {"2", "number='1' kind='folder'", "1", "number='1' kind='folder'", "/a/x",
       "now by data set 1, rule 1, new.xml:2: /a/"},
  };
  for (const auto& row : rows) {
    const auto policy = [](const char* attributes) {
      return std::string("<data-set ") + attributes + "><rule>/a/</rule></data-set>";
    };
    writePolicy("old.xml", row.oldLogic, policy(row.oldDataSet));
    writePolicy("new.xml", row.newLogic, policy(row.newDataSet));
    EXPECT_EQ(diff({}, std::string(row.path) + '\n').out,
              std::string("Newly skipped:\n  ") + row.path + "\n    " + row.cause +
                  "\n\nNewly scanned: nothing\n\n1 path asked about: 1 newly skipped, 0 newly "
                  "scanned\n");
  }
}

TEST_F(Diff, FoldersThatCannotBeReadAreTold) {
  write("d/open/x", "");
  write("d/closed/x", "");
  writePolicy("old.xml", "1", kOld);
  writePolicy("new.xml", "1", kOld);
  Circumstances circumstances;
  circumstances.bySuperuserWithoutPrivileges = ::getuid() == 0;
  ASSERT_EQ(::chmod(path("d/closed").c_str(), 0), 0);
  EXPECT_EQ(run({"diff", "-p", "old.xml", "--with", "new.xml", "d"}, circumstances),
            (Result{0,
                    "Newly skipped: nothing\n"
                    "\n"
                    "Newly scanned: nothing\n"
                    "\n"
                    "1 path asked about: 0 newly skipped (0 bytes), 0 newly scanned (0 bytes)\n",
                    "qvlctl: warning: 1 folder could not be read and is missing above\n"
                    "qvlctl:   " +
                        path("d/closed") + ": Permission denied\n"}));
  ASSERT_EQ(::chmod(path("d/closed").c_str(), 0700), 0);
}

TEST_F(Diff, MistakesInEitherPolicyAreTrouble) {
  writePolicy("old.xml", "1", kOld);
  writePolicy("new.xml", "", kOld);
  const Result result = diff({}, "/a\n");
  EXPECT_EQ(result.status, 2);
  EXPECT_EQ(result.out, "");
  EXPECT_EQ(result.err.substr(0, 25), "qvlctl: new.xml:1: logic:");
}

}  // namespace
}  // namespace Test
}  // namespace QVL
