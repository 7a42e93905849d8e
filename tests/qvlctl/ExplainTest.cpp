// qvlctl explain

#include <fcntl.h>
#include <gmock/gmock.h>
#include <sys/stat.h>

#include <ctime>
#include <regex>
#include <string>
#include <vector>

#include "Program.h"

namespace QVL {
namespace Test {
namespace {

class Explain : public ProgramTest {
 protected:
  Result explain(std::vector<std::string> arguments, const std::string& input = "") const {
    arguments.insert(arguments.begin(), {"explain", "-p", "policy.xml"});
    Circumstances circumstances;
    circumstances.input = input;
    return run(arguments, circumstances);
  }

  // Writes a policy of one data set, in line 1, with one rule a line after it.
  void writeDataSet(const std::string& attributes, const std::vector<std::string>& inside) const {
    std::string text =
        "<exclusion-policy version='1'><logic>1</logic><data-set number='1' " + attributes + ">\n";
    for (const std::string& line : inside) text += line + '\n';
    write("policy.xml", text + "</data-set></exclusion-policy>\n");
  }

  // The end of the answer, from "nearest rules" on.
  std::string nearest(const std::vector<std::string>& arguments) const {
    const std::string out = explain(arguments).out;
    const std::size_t start = out.find("  nearest rules\n");
    return start == std::string::npos ? "" : out.substr(start);
  }
};

const char* const kPolicy = R"(<exclusion-policy version="1">
  <logic> (1 | 2) &amp; !3
  </logic>
  <data-set number="1" kind="folder" name="build output">
    <keyword name="%OUT%"><value>target</value><value>build\+</value></keyword>
    <rule>/srv/%OUT%/</rule>
    <rule access="write">/srv/</rule>
    <rule subfolders="no">/srv/target/</rule>
  </data-set>
  <data-set number="2" kind="file-path" case-sensitive="no">
    <rule>/opt/*.log</rule>
  </data-set>
  <data-set number="3" kind="file-type" name="scripts"><rule>sh</rule></data-set>
  <data-set number="4" kind="process"><rule default-folder="/bin">tar</rule></data-set>
</exclusion-policy>
)";

TEST_F(Explain, TellsTheLogicAndEveryRuleThatMatches) {
  write("policy.xml", kPolicy);
  EXPECT_EQ(explain({"/srv/target/a.o"}), (Result{0,
                                                  R"(/srv/target/a.o: excluded
  asked   read by no process
  logic   (1 | 2) & !3
    (1 | 2) & !3  true
      1 | 2       true
        1         true
        2         not asked (would be false)
      !3          true
        3         false
  data set 1, folder, "build output": matches
    rule 1, policy.xml:6: /srv/%OUT%/
      expression  /srv/(build\+|target)/.*
      keyword     %OUT% = target | build\+
    rule 2, policy.xml:7: /srv/
      for write only; asked for read
      expression  /srv/.*
    rule 3, policy.xml:8: /srv/target/
      expression  /srv/target/[^/]*
  data set 2, file-path: does not match; not asked
    no rule matches
  data set 3, file-type, "scripts": does not match
    no rule matches
  data set 4, process: does not match; not in the logic
    no rule matches
)",
                                                  ""}));
}

TEST_F(Explain, TellsWhatKeepsAFileScanned) {
  write("policy.xml", kPolicy);
  EXPECT_EQ(explain({"--process", "/bin/tar", "--access", "write", "/OPT/x.LOG.sh", "/OPT/x.log"}),
            (Result{0,
                    R"(/OPT/x.LOG.sh: scan
  asked   write by /bin/tar
  logic   (1 | 2) & !3
    (1 | 2) & !3  false
      1 | 2       false
        1         false
        2         false
      !3          false
        3         true
  data set 1, folder, "build output": does not match
    no rule matches
  data set 2, file-path: does not match
    no rule matches
  data set 3, file-type, "scripts": matches
    rule 1, policy.xml:13: sh
      expression  sh   in upper or lower case
  data set 4, process: matches; not in the logic
    rule 1, policy.xml:14: tar
      expression  /bin/tar

/OPT/x.log: excluded
  asked   write by /bin/tar
  logic   (1 | 2) & !3
    (1 | 2) & !3  true
      1 | 2       true
        1         false
        2         true
      !3          true
        3         false
  data set 1, folder, "build output": does not match
    no rule matches
  data set 2, file-path: matches
    rule 1, policy.xml:11: /opt/*.log
      expression  /opt/[^/]*\.log   in upper or lower case
  data set 3, file-type, "scripts": does not match
    no rule matches
  data set 4, process: matches; not in the logic
    rule 1, policy.xml:14: tar
      expression  /bin/tar
)",
                    ""}));
}

TEST_F(Explain, WritesALineOfJsonForEachPath) {
  write("policy.xml", kPolicy);
  EXPECT_EQ(
      explain({"--format", "json", "-0"}, std::string("/srv/target/\xff\0/SRV/x", 20)),
      (Result{
          1,
          R"({"path":"/srv/target/\\xFF","pathHex":"2f7372762f7461726765742fff","process":"",)"
          R"("access":"read","verdict":"scan","matched":[],"excludedFor":[],)"
          R"("logic":{"text":" (1 | 2) & !3\n  ","evaluation":)"
          R"({"text":"(1 | 2) & !3","asked":true,"value":false,"parts":[)"
          R"({"text":"1 | 2","asked":true,"value":false,"parts":[)"
          R"({"text":"1","dataSet":1,"asked":true,"value":false},)"
          R"({"text":"2","dataSet":2,"asked":true,"value":false}]},)"
          R"({"text":"!3","asked":true,"value":true,"parts":[)"
          R"({"text":"3","dataSet":3,"asked":true,"value":false}]}]}},)"
          R"("dataSets":[)"
          R"({"number":1,"kind":"folder","name":"build output","caseSensitive":true,)"
          R"("inLogic":true,"asked":true,"matches":false,"decidedBy":"rules","rules":[],"gaveUp":[]},)"
          R"({"number":2,"kind":"file-path","name":"","caseSensitive":false,)"
          R"("inLogic":true,"asked":true,"matches":false,"decidedBy":"rules","rules":[],"gaveUp":[]},)"
          R"({"number":3,"kind":"file-type","name":"scripts","caseSensitive":false,)"
          R"("inLogic":true,"asked":true,"matches":false,"decidedBy":"rules","rules":[],"gaveUp":[]},)"
          R"({"number":4,"kind":"process","name":"","caseSensitive":true,)"
          R"("inLogic":false,"asked":false,"matches":false,"decidedBy":"rules","rules":[],"gaveUp":[]}],)"
          R"("nearRules":[]})"
          "\n"
          R"({"path":"/SRV/x","process":"",)"
          R"("access":"read","verdict":"scan","matched":[],"excludedFor":[],)"
          R"("logic":{"text":" (1 | 2) & !3\n  ","evaluation":)"
          R"({"text":"(1 | 2) & !3","asked":true,"value":false,"parts":[)"
          R"({"text":"1 | 2","asked":true,"value":false,"parts":[)"
          R"({"text":"1","dataSet":1,"asked":true,"value":false},)"
          R"({"text":"2","dataSet":2,"asked":true,"value":false}]},)"
          R"({"text":"!3","asked":true,"value":true,"parts":[)"
          R"({"text":"3","dataSet":3,"asked":true,"value":false}]}]}},)"
          R"("dataSets":[)"
          R"({"number":1,"kind":"folder","name":"build output","caseSensitive":true,)"
          R"("inLogic":true,"asked":true,"matches":false,"decidedBy":"rules","rules":[],"gaveUp":[]},)"
          R"({"number":2,"kind":"file-path","name":"","caseSensitive":false,)"
          R"("inLogic":true,"asked":true,"matches":false,"decidedBy":"rules","rules":[],"gaveUp":[]},)"
          R"({"number":3,"kind":"file-type","name":"scripts","caseSensitive":false,)"
          R"("inLogic":true,"asked":true,"matches":false,"decidedBy":"rules","rules":[],"gaveUp":[]},)"
          R"({"number":4,"kind":"process","name":"","caseSensitive":true,)"
          R"("inLogic":false,"asked":false,"matches":false,"decidedBy":"rules","rules":[],"gaveUp":[]}],)"
          R"("nearRules":[{"dataSet":1,"rule":2,"line":7,"text":"/srv/","access":"write",)"
          R"("difference":"case"}]})"
          "\n",
          ""}));
}

TEST_F(Explain, JsonTellsRulesWithTheirExpressionsAndKeywords) {
  writeDataSet("kind='folder'", {"<keyword name='%K%'><value>b</value><value>a</value></keyword>",
                                 "<rule access='write'>/%K%/</rule>"});
  EXPECT_EQ(
      explain({"--format", "json", "/a/x"}),
      (Result{
          1,
          R"({"path":"/a/x","process":"","access":"read","verdict":"scan","matched":[],)"
          R"("excludedFor":[{"process":"","access":"write","otherAccess":false,"alikeProcesses":[]}],)"
          R"("logic":{"text":"1","evaluation":)"
          R"({"text":"1","dataSet":1,"asked":true,"value":false}},)"
          R"("dataSets":[{"number":1,"kind":"folder","name":"","caseSensitive":true,)"
          R"("inLogic":true,"asked":true,"matches":false,"decidedBy":"rules","rules":[)"
          R"({"rule":1,"line":3,"text":"/%K%/","access":"write","fitsAccess":false,)"
          R"("expression":"/(a|b)/.*","keywords":{"%K%":["b","a"]}}],"gaveUp":[]}],)"
          R"("nearRules":[]})"
          "\n",
          ""}));
}

TEST_F(Explain, TellsTheSwitchThatDecides) {
  const struct {
    const char* attributes;
    const char* path;
    const char* answer;
    const char* reason;
  } rows[] = {
      {"kind='folder' enabled='no' match-anything='yes'", "/a/x", "does not match",
       "enabled=\"no\": never matches"},
      {"kind='folder' match-anything='yes'", "/b", "matches",
       "match-anything=\"yes\": matches without asking a rule"},
      {"kind='folder' check-access='write' match-anything='yes'", "/a/x", "does not match",
       "check-access=\"write\": does not match what is asked for read"},
      {"kind='folder' match-empty-input='yes'", "", "matches",
       "match-empty-input=\"yes\": the path is empty"},
      {"kind='folder' match-empty-input='yes'", "/b", "does not match", "no rule matches"},
  };
  for (const auto& row : rows) {
    writeDataSet(row.attributes, {"<rule>/a/</rule>"});
    const std::string out = explain({row.path}).out;
    const std::size_t start = out.find("  data set 1");
    ASSERT_NE(start, std::string::npos) << out;
    std::string expected = std::string("  data set 1, folder: ") + row.answer + "\n    ";
    expected += row.reason;
    EXPECT_EQ(out.substr(start, expected.size() + 1), expected + '\n') << row.attributes;
  }
}

TEST_F(Explain, RulesAreToldEvenWhereASwitchDecides) {
  writeDataSet("kind='folder' enabled='no'", {"<rule>/a/</rule>"});
  EXPECT_EQ(explain({"/a/x"}), (Result{1,
                                       "/a/x: scan\n"
                                       "  asked   read by no process\n"
                                       "  logic   1\n"
                                       "    1  false\n"
                                       "  data set 1, folder: does not match\n"
                                       "    enabled=\"no\": never matches\n"
                                       "    rule 1, policy.xml:2: /a/\n"
                                       "      expression  /a/.*\n",
                                       ""}));
}

TEST_F(Explain, TellsThatAPathIsNotUtf8) {
  writeDataSet("kind='folder'", {"<rule>/a/</rule>"});
  EXPECT_EQ(
      explain({"/a/\xff"}),
      (Result{1,
              "/a/\\xFF: scan\n"
              "  asked   read by no process\n"
              "  note    the path is not UTF-8, so that no file-path or folder rule matches it\n"
              "  logic   1\n"
              "    1  false\n"
              "  data set 1, folder: does not match\n"
              "    no rule matches\n",
              ""}));
}

TEST_F(Explain, TellsTheNearestRules) {
  const struct {
    const char* attributes;
    const char* rule;
    const char* path;
    const char* difference;
  } rows[] = {
      {"kind='folder'", "/Users/", "/users/x", "differs in upper and lower case only"},
      {"kind='file-path'", "/caf\xc3\xa9", "/cafe\xcc\x81",
       "looks the same, but letters and their accents are encoded otherwise"},
      {"kind='file-path'", "/cafe\xcc\x81", "/caf\xc3\xa9",
       "looks the same, but letters and their accents are encoded otherwise"},
      {"kind='folder'", "/a/", "/a", "differs by a slash at the end only"},
      {"kind='file-path'", "/a", "/a/", "differs by a slash at the end only"},
      {"kind='folder'", "/tmp/", "/private/tmp/x", "names another path to the same place"},
      {"kind='folder'", "/var/x/", "/System/Volumes/Data/var/x/y",
       "names another path to the same place"},
      {"kind='file-path'", "/a/*.c", "/a/b/x.c", "would match with ** for *"},
      {"kind='folder'", "/a/*/d/", "/a/b/c/d/x", "would match with ** for *"},
      {"kind='file-path'", "/a/b", "/a/b/c/x", "names a folder, but not what is in it"},
      {"kind='file-path' wildcards='no'", "/a/*.c", "/a/x.c",
       "would match if its data set had wildcards"},
      {"kind='file-path'", "/a/b", "/a/x", "is for the same folder"},
      {"kind='file-path'", "/a/b.log", "/x/y.log", "is for the same extension"},
  };
  for (const auto& row : rows) {
    const std::string rule = row.rule;
    writeDataSet(row.attributes, {"<rule>" + rule + "</rule>"});
    EXPECT_EQ(nearest({row.path}), "  nearest rules\n    data set 1, rule 1, policy.xml:2: " +
                                       rule + "\n      " + row.difference + '\n');
  }
  writeDataSet("kind='folder'", {"<rule subfolders='no'>/a/</rule>"});
  EXPECT_EQ(nearest({"/a/b/x"}),
            "  nearest rules\n    data set 1, rule 1, policy.xml:2: /a/\n"
            "      leaves subfolders out\n");
}

TEST_F(Explain, UnrelatedRulesAreNotNear) {
  for (const char* const rule : {"/c/d", "/x", "/a/b.c/d", "/b/*"}) {
    writeDataSet("kind='file-path'", {std::string("<rule>") + rule + "</rule>"});
    EXPECT_EQ(nearest({"/a/x.txt"}), "") << rule;
  }
}

TEST_F(Explain, TheNearestFiveRulesComeInOrder) {
  std::vector<std::string> rules;
  for (const char* const rule : {"/a/1", "/a/2", "/A/x", "/*/x", "/a/3", "/a/4", "/a/5"}) {
    rules.push_back(std::string("<rule>") + rule + "</rule>");
  }
  writeDataSet("kind='file-path'", rules);
  EXPECT_EQ(nearest({"/a/b/x", "/a/X"}),
            "  nearest rules\n"
            "    data set 1, rule 4, policy.xml:5: /*/x\n"
            "      would match with ** for *\n"
            "\n"
            "/a/X: scan\n"
            "  asked   read by no process\n"
            "  logic   1\n"
            "    1  false\n"
            "  data set 1, file-path: does not match\n"
            "    no rule matches\n"
            "  nearest rules\n"
            "    data set 1, rule 3, policy.xml:4: /A/x\n"
            "      differs in upper and lower case only\n"
            "    data set 1, rule 4, policy.xml:5: /*/x\n"
            "      differs in upper and lower case only\n"
            "    data set 1, rule 1, policy.xml:2: /a/1\n"
            "      is for the same folder\n"
            "    data set 1, rule 2, policy.xml:3: /a/2\n"
            "      is for the same folder\n"
            "    data set 1, rule 5, policy.xml:6: /a/3\n"
            "      is for the same folder\n");
}

class ExplainAge : public Explain {
 protected:
  void SetUp() override {
    writeDataSet("kind='file-age'", {"<rule of='modification' days='200,30'/>",
                                     "<rule of='modification' days='200'/>"});
    write("old", "");
    const std::time_t modified = std::time(nullptr) - 100 * 86400 - 4000;
    const timespec times[] = {{modified, 0}, {modified, 0}};
    ASSERT_EQ(::utimensat(AT_FDCWD, path("old").c_str(), times, 0), 0);
  }

  // What differs from run to run, or from file system to file system, replaced.
  static std::string without(std::string text, const char* expression, const char* replacement) {
    return std::regex_replace(text, std::regex(expression), replacement);
  }
};

TEST_F(ExplainAge, TellsTheTimesAndTheAgeInDays) {
  const Result result = explain({path("old")});
  EXPECT_EQ(result.status, 0);
  EXPECT_EQ(without(without(result.out, "created .*", "created *"),
                    "[0-9]{4}-[0-9]{2}-[0-9]{2}T[0-9]{2}:[0-9]{2}:[0-9]{2}Z", "TIME"),
            path("old") +
                ": excluded\n"
                "  asked   read by no process\n"
                "  logic   1\n"
                "    1  true\n"
                "  data set 1, file-age: matches\n"
                "    created *\n"
                "    modified TIME, 100.0 days ago\n"
                "    rule 1, policy.xml:2: modification more than 30 days ago\n");
}

TEST_F(ExplainAge, WritesThemInJson) {
  const Result result = explain({"--format", "json", path("old")});
  EXPECT_EQ(
      without(without(result.out, "\"creation\":(null|\\{[^}]*\\})", "CREATION"),
              "\"time\":\"[-0-9T:]*Z\",\"days\":100\\.0[0-9]*", "TIME"),
      R"({"path":")" + path("old") +
          R"(","process":"","access":"read","verdict":"excluded","matched":[1],"excludedFor":[],)"
          R"("logic":{"text":"1","evaluation":{"text":"1","dataSet":1,"asked":true,"value":true}},)"
          R"("dataSets":[{"number":1,"kind":"file-age","name":"","caseSensitive":true,)"
          R"("inLogic":true,"asked":true,"matches":true,"decidedBy":"rules",)"
          R"(CREATION,"modification":{TIME},"rules":[)"
          R"({"rule":1,"line":2,"of":"modification","days":[200,30],"access":"any",)"
          R"("fitsAccess":true}],"gaveUp":[]}],"nearRules":[]})"
          "\n");
}

TEST_F(ExplainAge, TellsThatAFileCannotBeExamined) {
  EXPECT_EQ(explain({"/no/such file"}), (Result{1,
                                                "/no/such file: scan\n"
                                                "  asked   read by no process\n"
                                                "  logic   1\n"
                                                "    1  false\n"
                                                "  data set 1, file-age: does not match\n"
                                                "    the file cannot be examined: No such file or "
                                                "directory\n"
                                                "    no rule matches\n",
                                                ""}));
}

TEST_F(Explain, NamesForWhomAFileWouldBeExcluded) {
  write("policy.xml", R"(<exclusion-policy version="1"><logic>1&amp;2</logic>
<data-set number="1" kind="process"><rule>/usr/sbin/mysqld</rule></data-set>
<data-set number="2" kind="folder"><rule access="write">/srv/db/</rule></data-set>
</exclusion-policy>)");
  const Result result = run({"explain", "-p", "policy.xml", "/srv/db/a", "/srv/x"});
  EXPECT_EQ(result.status, 1);
  EXPECT_THAT(result.out, testing::StartsWith("/srv/db/a: scan\n"
                                              "  asked   read by no process\n"
                                              "  would be excluded for  write, /usr/sbin/mysqld\n"
                                              "  logic   1&2\n"));
  EXPECT_THAT(result.out, testing::HasSubstr("/srv/x: scan\n"
                                             "  asked   read by no process\n"
                                             "  logic   1&2\n"));
  EXPECT_THAT(run({"explain", "-p", "policy.xml", "--access", "write", "--process",
                   "/usr/sbin/mysqld", "/srv/db/a"})
                  .out,
              testing::Not(testing::HasSubstr("would be excluded")));
}

TEST_F(Explain, NamesExpressionsThatGiveUp) {
  write("policy.xml", R"(<exclusion-policy version="1"><logic>1</logic>
<data-set number="1" kind="file-path" wildcards="no"><rule>/srv/(a*)*(b)\2</rule></data-set>
</exclusion-policy>)");
  const Result result =
      run({"explain", "-p", "policy.xml", "/srv/bb", "/srv/" + std::string(2000, 'a')});
  EXPECT_THAT(result.out, testing::StartsWith("/srv/bb: excluded\n"));
  EXPECT_THAT(result.out, testing::HasSubstr(
                              "  data set 1, file-path: does not match\n    no rule matches\n"
                              "    rule 1, policy.xml:2: /srv/(a*)*(b)\\2\n"
                              "      gave up: its expression takes too long on this text, so that "
                              "it does not match\n"));
}

}  // namespace
}  // namespace Test
}  // namespace QVL
