// qvlctl diff

#include <gmock/gmock.h>
#include <sys/stat.h>
#include <unistd.h>

#include <filesystem>
#include <nlohmann/json.hpp>
#include <regex>
#include <string>
#include <vector>

#include "Program.h"

namespace QVL {
namespace Test {
namespace {

using testing::HasSubstr;

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

TEST_F(DiffOfPaths, TellsNewlySkippedOnesFirstByTheRulesResponsible) {
  EXPECT_EQ(diff({"--access", "read"}, m_paths), (Result{1,
                                                         R"(Newly skipped: 3
  no longer by data set 2, rule 1, old.xml:6: exe
  asked: read, no process
             1 path  /srv/b/x.exe
  now by data set 1, rule 2, new.xml:4: /srv/c/
  asked: read, no process
             1 path  /srv/c/x
  now by data set 1, rule 2, new.xml:4: /srv/c/
  now by data set 1, rule 3, new.xml:5: /srv/*/deep/
  asked: read, no process
             1 path  /srv/c/deep/x

Newly scanned: 2
  no longer by data set 1, rule 1, old.xml:3: /srv/a/
  asked: read, no process
             1 path  /srv/a/x
  now by data set 2, rule 1, new.xml:7: com
  asked: read, no process
             1 path  /srv/b/x.com

8 paths asked about: 3 newly skipped, 2 newly scanned
  read, no process: 3 newly skipped, 2 newly scanned
)",
                                                         ""}));
}

TEST_F(DiffOfPaths, WritesALineOfJsonForEachChangeAndASummary) {
  EXPECT_EQ(
      diff({"--format", "json", "-"}, "/srv/a/x\n/srv/b/x\n/srv/c/x\n"),
      (Result{1,
              R"({"change":"newly-scanned","path":"/srv/a/x","process":"","access":"read",)"
              R"("oldMatched":[1],"newMatched":[],)"
              R"("onlyOld":[{"dataSet":1,"kind":"folder","decidedBy":"rules","rule":1,"line":3,)"
              R"("text":"/srv/a/","access":"any"}],"onlyNew":[]})"
              "\n"
              R"({"change":"newly-scanned","path":"/srv/a/x","process":"","access":"write",)"
              R"("oldMatched":[1],"newMatched":[],)"
              R"("onlyOld":[{"dataSet":1,"kind":"folder","decidedBy":"rules","rule":1,"line":3,)"
              R"("text":"/srv/a/","access":"any"}],"onlyNew":[]})"
              "\n"
              R"({"change":"newly-skipped","path":"/srv/c/x","process":"","access":"read",)"
              R"("oldMatched":[],"newMatched":[1],)"
              R"("onlyOld":[],"onlyNew":[{"dataSet":1,"kind":"folder","decidedBy":"rules",)"
              R"("rule":2,"line":4,"text":"/srv/c/","access":"read"}]})"
              "\n"
              R"({"change":"summary","asked":3,"newlySkipped":{"paths":1},)"
              R"("newlyScanned":{"paths":1},"queries":[)"
              R"({"process":"","access":"read","otherAccess":false,"alikeProcesses":[],)"
              R"("newlySkipped":{"paths":1},"newlyScanned":{"paths":1}},)"
              R"({"process":"","access":"write","otherAccess":true,"alikeProcesses":[],)"
              R"("newlySkipped":{"paths":0},"newlyScanned":{"paths":1}}],)"
              R"("unreadableFolders":0,"leftOutFolders":0})"
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
                    "1 path asked about: 0 newly skipped, 0 newly scanned\n"
                    "  write, no process: 0 newly skipped, 0 newly scanned\n",
                    ""}));
}

TEST_F(DiffOfPaths, ReadsZeroSeparatedPaths) {
  EXPECT_EQ(diff({"-0"}, std::string("/srv/a/x\ny\0", 11)),
            (Result{1,
                    "Newly skipped: nothing\n"
                    "\n"
                    "Newly scanned: 1\n"
                    "  no longer by data set 1, rule 1, old.xml:3: /srv/a/\n"
                    "  asked: read, no process\n"
                    "  asked: write, no process\n"
                    "             1 path  /srv/a/x\\ny\n"
                    "\n"
                    "1 path asked about: 0 newly skipped, 1 newly scanned\n"
                    "  read, no process: 0 newly skipped, 1 newly scanned\n"
                    "  write, no process: 0 newly skipped, 1 newly scanned\n",
                    ""}));
}

TEST_F(DiffOfPaths, ManyChangesAreFewLines) {
  std::string input;
  for (int i = 0; i < 30000; ++i) {
    const std::string number = std::to_string(i);
    input += "/srv/a/" + number + "\n/srv/c/" + number + "\n";
  }
  EXPECT_EQ(diff({"--access", "read"}, input),
            (Result{1,
                    "Newly skipped: 30,000\n"
                    "  now by data set 1, rule 2, new.xml:4: /srv/c/\n"
                    "  asked: read, no process\n"
                    "       30,000 paths  /srv/c/\n"
                    "\n"
                    "Newly scanned: 30,000\n"
                    "  no longer by data set 1, rule 1, old.xml:3: /srv/a/\n"
                    "  asked: read, no process\n"
                    "       30,000 paths  /srv/a/\n"
                    "\n"
                    "60,000 paths asked about: 30,000 newly skipped, 30,000 newly scanned\n"
                    "  read, no process: 30,000 newly skipped, 30,000 newly scanned\n",
                    ""}));
}

TEST_F(DiffOfPaths, ListsAsMuchAsAskedFor) {
  std::string input = "/srv/a/x\n/srv/b/x.com\n/srv/b/y.com\n";
  for (const char* const folder : {"1", "2", "3"}) {
    for (int i = 0; i < 5; ++i) {
      input += std::string("/srv/c/") + folder + "/" + std::to_string(i) + "\n";
    }
  }
  EXPECT_EQ(diff({"--access", "read", "--top", "1"}, input).out,
            "Newly skipped: 15\n"
            "  now by data set 1, rule 2, new.xml:4: /srv/c/\n"
            "  asked: read, no process\n"
            "            5 paths  /srv/c/1/\n"
            "           10 paths  in 2 other places\n"
            "\n"
            "Newly scanned: 3\n"
            "  now by data set 2, rule 1, new.xml:7: com\n"
            "  asked: read, no process\n"
            "            2 paths  /srv/b/\n"
            "  and 1 group for other reasons\n"
            "\n"
            "18 paths asked about: 15 newly skipped, 3 newly scanned\n"
            "  read, no process: 15 newly skipped, 3 newly scanned\n");
}

TEST_F(DiffOfPaths, FailsOnWhatIsGiven) {
  const struct {
    const char* failOn;
    const char* path;
    int status;
  } rows[] = {{"any", "/srv/a/x", 1},
              {"any", "/srv/c/x", 1},
              {"any", "/x", 0},
              {"newly-skipped", "/srv/a/x", 0},
              {"newly-skipped", "/srv/c/x", 1},
              {"newly-scanned", "/srv/a/x", 1},
              {"newly-scanned", "/srv/c/x", 0}};
  for (const auto& row : rows) {
    EXPECT_EQ(diff({"--fail-on", row.failOn}, std::string(row.path) + '\n').status, row.status)
        << row.failOn << ' ' << row.path;
  }
  EXPECT_EQ(diff({"--fail-on", "all"}).err,
            "qvlctl: --fail-on: expected newly-skipped, newly-scanned or any; found \"all\"\n"
            "Try `qvlctl diff --help`.\n");
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
  EXPECT_EQ(
      diff({"d"}),
      (Result{1,
              "Newly skipped: 1 (3 bytes)\n"
              "  now by data set 1, rule 1, new.xml:2: /**/d/b/\n"
              "  asked: read, no process\n"
              "             1 file      3 bytes  " +
                  top +
                  "/b/333\n"
                  "\n"
                  "Newly scanned: 2 (3 bytes)\n"
                  "  no longer by data set 1, rule 1, old.xml:2: /**/d/a/\n"
                  "  asked: read, no process\n"
                  "             1 file      2 bytes  " +
                  top + "/a/n/22\n             1 file       1 byte  " + top +
                  "/a/1\n"
                  "\n"
                  "4 paths asked about: 1 (3 bytes) newly skipped, 2 (3 bytes) newly scanned\n"
                  "  read, no process: 1 (3 bytes) newly skipped, 2 (3 bytes) newly scanned\n",
              ""}));
  EXPECT_EQ(
      diff({"--format", "json", "d/b", "d/c"}),
      (Result{
          1,
          R"({"change":"newly-skipped","path":")" + top +
              R"(/b/333","size":3,"process":"","access":"read","oldMatched":[],"newMatched":[1],"onlyOld":[],)"
              R"("onlyNew":[{"dataSet":1,"kind":"folder","decidedBy":"rules","rule":1,)"
              R"("line":2,"text":"/**/d/b/","access":"any"}]})"
              "\n"
              R"({"change":"summary","asked":2,"newlySkipped":{"paths":1,"bytes":3},)"
              R"("newlyScanned":{"paths":0,"bytes":0},"queries":[{"process":"","access":"read",)"
              R"("otherAccess":true,"alikeProcesses":[],"newlySkipped":{"paths":1,)"
              R"("bytes":3},"newlyScanned":{"paths":0,"bytes":0}}],)"
              R"("unreadableFolders":0,"leftOutFolders":0})"
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
              std::string("Newly skipped: 1\n  ") + row.cause +
                  "\n  asked: read, no process\n             1 path  " + row.path +
                  "\n\nNewly scanned: nothing\n\n1 path asked about: 1 newly skipped, 0 newly "
                  "scanned\n  read, no process: 1 newly skipped, 0 newly scanned\n");
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
                    "1 path asked about: 0 (0 bytes) newly skipped, 0 (0 bytes) newly scanned\n"
                    "  read, no process: 0 (0 bytes) newly skipped, 0 (0 bytes) newly scanned\n",
                    "qvlctl: warning: 1 folder could not be read and is missing above\n"
                    "qvlctl:   " +
                        path("d/closed") + ": Permission denied\n"}));
  ASSERT_EQ(::chmod(path("d/closed").c_str(), 0700), 0);
}

// What asking as one process that reads would call all clear.
TEST_F(Diff, AsksForEveryProcessAndAccessThatMakesADifference) {
  const std::string processes =
      "<data-set number='2' "
      "kind='process'><rule>/usr/sbin/mysqld</rule><rule>/opt/*/bin/tool</rule>"
      "</data-set>\n";
  const auto folders = [](const std::string& rules) {
    return "<data-set number='1' kind='folder'>" + rules + "</data-set>\n";
  };
  writePolicy(
      "old.xml", "(1&amp;2)|3",
      folders("<rule>/var/lib/mysql/</rule>") + processes + "<data-set number='3' kind='folder'/>");
  writePolicy("new.xml", "(1&amp;2)|3",
              folders("<rule>/usr/</rule>") + processes +
                  "<data-set number='3' kind='folder'><rule access='write'>/usr/bin/</rule>"
                  "</data-set>");
  EXPECT_EQ(
      diff({"--fail-on", "newly-skipped"}, "/usr/bin/ls\n/usr/lib/x\n/var/lib/mysql/x\n"),
      (Result{1,
              "Newly skipped: 2\n"
              "  now by data set 1, rule 1, new.xml:2: /usr/\n"
              "  asked: read, /usr/sbin/mysqld (and 1 process alike)\n"
              "             1 path  /usr/bin/ls\n"
              "  now by data set 1, rule 1, new.xml:2: /usr/\n"
              "  asked: read, /usr/sbin/mysqld (and 1 process alike)\n"
              "  asked: write, /usr/sbin/mysqld (and 1 process alike)\n"
              "             1 path  /usr/lib/x\n"
              "  now by data set 1, rule 1, new.xml:2: /usr/\n"
              "  now by data set 3, rule 1, new.xml:4: /usr/bin/\n"
              "  asked: write, no process\n"
              "  asked: write, /usr/sbin/mysqld (and 1 process alike)\n"
              "             1 path  /usr/bin/ls\n"
              "\n"
              "Newly scanned: 1\n"
              "  no longer by data set 1, rule 1, old.xml:2: /var/lib/mysql/\n"
              "  asked: read, /usr/sbin/mysqld (and 1 process alike)\n"
              "  asked: write, /usr/sbin/mysqld (and 1 process alike)\n"
              "             1 path  /var/lib/mysql/x\n"
              "\n"
              "3 paths asked about: 2 newly skipped, 1 newly scanned\n"
              "  read, no process: 0 newly skipped, 0 newly scanned\n"
              "  read, /usr/sbin/mysqld (and 1 process alike): 2 newly skipped, 1 newly scanned\n"
              "  write, no process: 1 newly skipped, 0 newly scanned\n"
              "  write, /usr/sbin/mysqld (and 1 process alike): 2 newly skipped, 1 newly scanned\n",
              ""}));
  EXPECT_EQ(diff({"--process", "", "--access", "read"}, "/usr/bin/ls\n").status, 0);
  EXPECT_EQ(diff({"--process", "", "--access", "write"}, "/usr/bin/ls\n").status, 1);
  EXPECT_EQ(diff({"--process", "/opt/1/bin/tool", "--process", "/bin/cp", "--access", "read"},
                 "/usr/bin/ls\n")
                .out.substr(0, 94),
            "Newly skipped: 1\n"
            "  now by data set 1, rule 1, new.xml:2: /usr/\n"
            "  asked: read, /opt/1/bin/tool\n");
}

TEST_F(Diff, ProcessRulesWithoutANameAreTold) {
  writePolicy(
      "old.xml", "1",
      "<data-set number='1' kind='process' wildcards='no'><rule>/bin/[a-f]x</rule></data-set>");
  writePolicy(
      "new.xml", "1",
      "<data-set number='1' kind='process' wildcards='no'><rule>/bin/[a-f]x</rule></data-set>");
  EXPECT_EQ(diff({}, "/a\n").err,
            "qvlctl: note: 1 process rule is not asked for: no name of a process was found that it "
            "matches; give one with --process\n"
            "qvlctl:   data set 1, rule 1, old.xml:2: /bin/[a-f]x\n");
  EXPECT_EQ(diff({"--process", "/bin/ax"}, "/a\n").err, "");
}

TEST_F(Diff, MistakesInEitherPolicyAreTrouble) {
  writePolicy("old.xml", "1", kOld);
  writePolicy("new.xml", "", kOld);
  const Result result = diff({}, "/a\n");
  EXPECT_EQ(result.status, 2);
  EXPECT_EQ(result.out, "");
  EXPECT_EQ(result.err.substr(0, 28), "qvlctl: new.xml:1:38: logic:");
}

TEST_F(DiffOfPaths, WritesSarifForAReview) {
  const nlohmann::json log =
      nlohmann::json::parse(diff({"--access", "read", "--format", "sarif"}, m_paths).out);
  const nlohmann::json& results = log["runs"][0]["results"];
  ASSERT_EQ(results.size(), 5u);
  std::vector<std::string> found;
  for (const nlohmann::json& one : results) {
    const nlohmann::json& place = one["locations"][0]["physicalLocation"];
    found.push_back(one["ruleId"].get<std::string>() + ' ' + one["level"].get<std::string>() + ' ' +
                    place["artifactLocation"]["uri"].get<std::string>() + ':' +
                    std::to_string(place["region"]["startLine"].get<int>()));
  }
  EXPECT_EQ(found, (std::vector<std::string>{
                       "newly-skipped warning old.xml:6", "newly-skipped warning new.xml:4",
                       "newly-skipped warning new.xml:4", "newly-scanned note old.xml:3",
                       "newly-scanned note new.xml:7"}));
  EXPECT_EQ(results[1]["message"]["text"],
            "1 newly skipped: now by data set 1, rule 2, new.xml:4: /srv/c/. Asked: read, no "
            "process. 1 in /srv/c/x");
}

// Audits of a small tree, saved as JSON.
class DiffOfAudits : public Diff {
 protected:
  void SetUp() override {
    write("t/a/1.o", "1");
    write("t/a/2.o", "22");
    write("t/b/1.o", "4444");
    write("t/b/1.c", "88888888");
    policy("old.xml", "/**/*.o");
    policy("new.xml", "/**/b/*");
    audit("old.xml", "old.json");
    audit("new.xml", "new.json");
  }

  void policy(const std::string& name, const std::string& rule) const {
    writePolicy(name, "1",
                "<data-set number='1' kind='file-path'>\n<rule access='read'>" + rule +
                    "</rule></data-set>");
  }

  void audit(const std::string& policy, const std::string& file) const {
    const Result result = run({"audit", "-p", policy, "--format", "json", "t"});
    EXPECT_EQ(result.status, 0) << result.err;
    write(file, result.out);
  }

  Result diffAudits(std::vector<std::string> options = {}) const {
    options.insert(options.begin(), {"diff", "--audits", "old.json", "new.json"});
    return run(options);
  }
};

TEST_F(DiffOfAudits, TellsWhatHasGrownAndShrunkWithoutTheFiles) {
  std::filesystem::remove_all(path("t"));
  const Result result = diffAudits();
  EXPECT_EQ(result.status, 1);
  EXPECT_EQ(result.err, "");
  const std::string t = path("t");
  EXPECT_THAT(result.out,
              testing::StartsWith("Old old.json: 3 (7 bytes) skipped of 4 (15 bytes); "));
  EXPECT_EQ(result.out.substr(result.out.find("The policy")),
            "The policy is another one\n"
            "\nMore is skipped\n"
            "  +2 files, +12 bytes  by data set 1, /**/b/* (read)\n"
            "  +1 file, +8 bytes  in " +
                t +
                "/b/ (files directly in it)\n"
                "\nLess is skipped\n"
                "  -3 files, -7 bytes  by data set 1, /**/*.o (read)\n"
                "  -2 files, -3 bytes  in " +
                t +
                "/a/ (files directly in it)\n"
                "\n"
                "  read, no process: 2 (12 bytes) skipped, it was 3 (7 bytes)\n"
                "  write, no process: 0 (0 bytes) skipped, it was 0 (0 bytes)\n");
}

TEST_F(DiffOfAudits, FailsForWhatIsAskedFor) {
  EXPECT_EQ(diffAudits({"--fail-on", "newly-skipped"}).status, 1);
  EXPECT_EQ(diffAudits({"--fail-on", "newly-scanned"}).status, 1);
  policy("new.xml", "/**/a/1.o");
  audit("new.xml", "new.json");
  EXPECT_EQ(diffAudits({"--fail-on", "newly-scanned"}).status, 1);
  policy("new.xml", "/**/*.o");
  audit("new.xml", "new.json");
  EXPECT_EQ(diffAudits().status, 0);
  // Less here and more there is not nothing: the sums of the folders tell.
  policy("new.xml", "/**/b/1.c");
  audit("new.xml", "new.json");
  EXPECT_EQ(diffAudits({"--fail-on", "newly-skipped"}).status, 1);
}

// A folder that one of them does not have counts for the one around it.
TEST_F(DiffOfAudits, FindsFoldersThatAreNew) {
  write("t/b/new/x.o", "1");
  audit("old.xml", "new.json");
  const Result result = diffAudits({"--fail-on", "newly-skipped"});
  EXPECT_EQ(result.status, 1);
  EXPECT_THAT(result.out,
              HasSubstr("  +1 file, +1 byte  in " + path("t") + "/b/ (folders in it)\n"));
}

// What the page on audits says that sums do not show.
TEST_F(DiffOfAudits, SumsDoNotTellFilesThatChangePlaces) {
  write("t/a/1.o", "12");
  write("t/a/2.o", "12");
  const auto auditOf = [&](const char* skipped, const char* file) {
    policy("old.xml", skipped);
    audit("old.xml", file);
    // The rule's text is the same in both, as if the file had another name.
    write(file, std::regex_replace(read(file), std::regex("/\\*\\*/a/[12].o"), "/**/a/N.o"));
  };
  auditOf("/**/a/1.o", "old.json");
  auditOf("/**/a/2.o", "new.json");
  EXPECT_EQ(diffAudits().status, 0) << diffAudits().out;
}

TEST_F(DiffOfAudits, WritesJsonAndSarif) {
  const nlohmann::json json = nlohmann::json::parse(diffAudits({"--format", "json"}).out);
  EXPECT_EQ(json["report"], "audit-diff");
  EXPECT_EQ(json["old"]["skipped"], (nlohmann::json{{"files", 3}, {"bytes", 7}}));
  EXPECT_EQ(json["new"]["skipped"], (nlohmann::json{{"files", 2}, {"bytes", 12}}));
  EXPECT_EQ(json["rules"][0]["name"], "data set 1, /**/b/* (read)");
  EXPECT_EQ(json["rules"][0]["old"], (nlohmann::json{{"files", 0}, {"bytes", 0}}));
  const nlohmann::json log = nlohmann::json::parse(diffAudits({"--format", "sarif"}).out);
  const nlohmann::json& results = log["runs"][0]["results"];
  ASSERT_EQ(results.size(), 4u);
  EXPECT_EQ(results[0]["ruleId"], "newly-skipped");
  EXPECT_EQ(results[0]["locations"][0]["physicalLocation"]["artifactLocation"]["uri"], "new.xml");
  EXPECT_EQ(results[0]["locations"][0]["physicalLocation"]["region"]["startLine"], 3);
}

TEST_F(DiffOfAudits, RefusesWhatIsNoAudit) {
  const struct {
    const char* content;
    const char* found;
  } rows[] = {
      {"", "a mistake in the JSON at line 1"},
      {"{\n\n]", "a mistake in the JSON at line 3"},
      {"[]", "JSON that is something else"},
      {"{\"report\":\"lint\"}", "JSON that is something else"},
      {"{\"report\":\"audit\",\"version\":1}", "version 1 where this qvlctl reads 2"},
      {"{\"report\":\"audit\",\"version\":2}",
       "one in which a member is not as it should be: key 'created' not found"},
  };
  for (const auto& row : rows) {
    write("old.json", row.content);
    const Result result = diffAudits();
    EXPECT_EQ(result.status, 2) << row.content;
    EXPECT_EQ(result.out, "");
    EXPECT_THAT(result.err, HasSubstr(row.found)) << row.content;
  }
  EXPECT_EQ(run({"diff", "--audits", "new.json", "new.json", "-p", "p.xml"}).err,
            "qvlctl: expected no --policy beside --audits\nTry `qvlctl diff --help`.\n");
  EXPECT_EQ(run({"diff", "--with", "new.xml"}).err,
            "qvlctl: --policy is required\nTry `qvlctl diff --help`.\n");
}

// Reads what may be broken anywhere without falling over it.
TEST_F(DiffOfAudits, SurvivesAuditsThatAreCutOrChanged) {
  const std::string good = read("old.json");
  int refused = 0;
  for (std::size_t i = 0; i < good.size(); i += 1 + good.size() / 60) {
    std::string bad = good;
    bad[i] = bad[i] == '9' ? '"' : '9';
    write("old.json", bad);
    refused += diffAudits().status == 2;
    write("old.json", good.substr(0, i));
    EXPECT_EQ(diffAudits().status, 2);
  }
  EXPECT_GT(refused, 0);
}

}  // namespace
}  // namespace Test
}  // namespace QVL
