// What a policy means.

#include <fcntl.h>
#include <sys/stat.h>

#include <string>
#include <vector>

#include "Program.h"

namespace QVL {
namespace Test {
namespace {

class Policy : public ProgramTest {
 protected:
  // Asks about one access under a policy with one data set, number 1, and the logic "1".
  Result ask(const std::string& attributes, const std::string& content,
             const std::vector<std::string>& arguments) const {
    write("policy.xml",
          "<exclusion-policy version=\"1\">\n<logic>1</logic>\n<data-set number=\"1\" " +
              attributes + ">\n" + content + "\n</data-set>\n</exclusion-policy>\n");
    std::vector<std::string> all = {"lookup", "--policy", "policy.xml"};
    all.insert(all.end(), arguments.begin(), arguments.end());
    return run(all);
  }

  // True or false by the verdict; anything else than a plain answer fails the test.
  bool excludes(const std::string& attributes, const std::string& content,
                const std::vector<std::string>& arguments) const {
    const Result result = ask(attributes, content, arguments);
    EXPECT_EQ(result.err, "");
    EXPECT_EQ(result.status, result.out.compare(0, 9, "excluded ") == 0 ? 0 : 1) << result.out;
    return result.status == 0;
  }
};

TEST_F(Policy, EveryKindByItsDefaults) {
  const struct {
    const char* kind;
    const char* rule;
    std::vector<std::string> arguments;
    bool expected;
  } rows[] = {
      {"file-path", "<rule>/a/*.o</rule>", {"/a/x.o"}, true},
      {"file-path", "<rule>/a/*.o</rule>", {"/a/b/x.o"}, false},
      {"file-path", "<rule>/a/*.o</rule>", {"/A/x.o"}, false},
      {"folder", "<rule>/a/</rule>", {"/a/b/x"}, true},
      {"folder", "<rule>/a/</rule>", {"/ab/x"}, false},
      {"folder", "<rule subfolders=\"yes\">/a/</rule>", {"/a/b/x"}, true},
      {"folder", "<rule subfolders=\"no\">/a/</rule>", {"/a/b/x"}, false},
      {"folder", "<rule subfolders=\"no\">/a/</rule>", {"/a/x"}, true},
      {"process", "<rule>/usr/bin/git</rule>", {"--process", "/usr/bin/git", "/x"}, true},
      {"process", "<rule>/usr/bin/git</rule>", {"/x"}, false},
      {"process", "<rule>/usr/bin/git-*</rule>", {"--process", "/usr/bin/git-log", "/x"}, true},
      {"process",
       "<rule default-folder=\"/usr/bin\">git</rule>",
       {"--process", "/usr/bin/git", "/x"},
       true},
      {"process",
       "<rule default-folder=\"/usr/bin\">git</rule>",
       {"--process", "git", "/x"},
       false},
      {"process", "<rule>git</rule>", {"--process", "git", "/x"}, true},
      {"process", "<rule>git</rule>", {"--process", "git", "--access", "write", "/x"}, true},
      {"file-type", "<rule>txt</rule>", {"/x/a.TXT"}, true},
      {"file-type", "<rule>t?t</rule>", {"/x/a.tat"}, true},
      {"file-type", "<rule>t*</rule>", {"/x/a.txt"}, false},
  };
  for (const auto& row : rows) {
    SCOPED_TRACE(std::string(row.kind) + row.rule + testing::PrintToString(row.arguments));
    EXPECT_EQ(excludes("kind=\"" + std::string(row.kind) + '"', row.rule, row.arguments),
              row.expected);
  }
}

TEST_F(Policy, Switches) {
  const struct {
    const char* attributes;
    const char* content;
    const char* path;
    bool expected;
  } rows[] = {
      {"kind='folder' enabled='no'", "<rule>/a/</rule>", "/a/x", false},
      {"kind='folder' enabled='no' match-anything='yes'", "", "/a/x", false},
      {"kind='folder' match-anything='yes'", "", "/a/x", true},
      {"kind='folder' match-anything='no'", "", "/a/x", false},
      {"kind='folder' match-empty-input='yes'", "", "", true},
      {"kind='folder' match-empty-input='no'", "", "", false},
      {"kind='file-type' match-empty-input='yes'", "<rule>txt</rule>", "/a/x", true},
      {"kind='folder' case-sensitive='no'", "<rule>/a/</rule>", "/A/x", true},
      {"kind='file-type' case-sensitive='yes'", "<rule>txt</rule>", "/a.TXT", false},
      {"kind='file-path' wildcards='no'", "<rule>/a/[0-9]+.o</rule>", "/a/12xo", true},
      {"kind='file-path' wildcards='no'", "<rule>/a/.*</rule>", "/a/b/c", true},
      {"kind='file-age' match-anything='yes'", "", "/a/x", true},
  };
  for (const auto& row : rows) {
    SCOPED_TRACE(std::string(row.attributes) + row.content + row.path);
    EXPECT_EQ(excludes(row.attributes, row.content, {row.path}), row.expected);
  }
}

TEST_F(Policy, AccessTypes) {
  const struct {
    const char* attributes;
    const char* rule;
    const char* asked;
    bool expected;
  } rows[] = {
      {"kind='folder'", "<rule>/a/</rule>", "write", true},
      {"kind='folder'", "<rule access='any'>/a/</rule>", "17", true},
      {"kind='folder'", "<rule access='read'>/a/</rule>", "read", true},
      {"kind='folder'", "<rule access='read'>/a/</rule>", "1", true},
      {"kind='folder'", "<rule access='read'>/a/</rule>", "write", false},
      {"kind='folder'", "<rule access='read'>/a/</rule>", "any", false},
      {"kind='folder'", "<rule access='17'>/a/</rule>", "17", true},
      {"kind='folder' check-access='by-rule'", "<rule access='write'>/a/</rule>", "read", false},
      {"kind='folder' check-access='read'", "<rule>/a/</rule>", "read", true},
      {"kind='folder' check-access='read'", "<rule>/a/</rule>", "write", false},
      {"kind='folder' check-access='read' match-anything='yes'", "", "write", false},
      {"kind='folder' check-access='any'", "<rule>/a/</rule>", "write", true},
      {"kind='folder' check-access='never'", "<rule>/a/</rule>", "write", true},
  };
  for (const auto& row : rows) {
    SCOPED_TRACE(std::string(row.attributes) + row.rule + row.asked);
    EXPECT_EQ(excludes(row.attributes, row.rule, {"--access", row.asked, "/a/x"}), row.expected);
  }
}

TEST_F(Policy, KeywordsReachEveryRule) {
  const std::string content =
      "<keyword name='%A%'><value>x</value><value>[0-9]</value></keyword>"
      "<keyword name='%B%'><value>z</value></keyword>"
      "<rule>/%A%/%B%/</rule><rule>/only/%A%/</rule>";
  EXPECT_TRUE(excludes("kind='folder'", content, {"/x/z/file"}));
  EXPECT_TRUE(excludes("kind='folder'", content, {"/7/z/file"}));
  EXPECT_TRUE(excludes("kind='folder'", content, {"/only/x/file"}));
  EXPECT_FALSE(excludes("kind='folder'", content, {"/y/z/file"}));
}

TEST_F(Policy, AgeIsThatOfTheFileItself) {
  write("new", "");
  const std::string old = "<rule of='modification' days='30, 9000'/>";
  EXPECT_FALSE(excludes("kind='file-age'", old, {path("new")}));
  EXPECT_FALSE(excludes("kind='file-age'", old, {path("missing")}));
  // 1970 is more than 9000 days ago.
  const struct timespec times[2] = {{0, 0}, {0, 0}};
  ASSERT_EQ(::utimensat(AT_FDCWD, path("new").c_str(), times, 0), 0);
  EXPECT_TRUE(excludes("kind='file-age'", old, {path("new")}));
  EXPECT_TRUE(
      excludes("kind='file-age'", "<rule of='modification' days='20000,30'/>", {path("new")}));
  EXPECT_FALSE(
      excludes("kind='file-age'", "<rule of='modification' days='24855'/>", {path("new")}));
}

TEST_F(Policy, TextsAreKeptAsTheyStand) {
  const struct {
    const char* rule;
    const char* path;
  } rows[] = {
      {"<rule>/a &amp; b</rule>", "/a & b"},
      {"<rule><![CDATA[/a & <b>]]></rule>", "/a & <b>"},
      {"<rule>/a<!-- and --> b</rule>", "/a b"},
      {"<rule>/&#x43;<![CDATA[]]></rule>", "/C"},
      {"<rule>/\xc3\xa9t\xc3\xa9</rule>", "/\xc3\xa9t\xc3\xa9"},
  };
  for (const auto& row : rows) {
    SCOPED_TRACE(row.rule);
    EXPECT_TRUE(excludes("kind='file-path'", row.rule, {row.path}));
  }
}

TEST_F(Policy, WhitespaceBelongsToTheRuleAndIsTold) {
  EXPECT_EQ(ask("kind='file-path'", "<rule>/a </rule>", {"/a", "/a "}),
            (Result{0,
                    "scan      -        /a\n"
                    "excluded  1        /a \n",
                    "qvlctl: warning: policy.xml:4:1: data set 1, rule 1: the whitespace "
                    "at the end or the beginning is part of the rule; found \"/a \"\n"}));
}

TEST_F(Policy, TheSameRuleTwiceIsTold) {
  EXPECT_EQ(
      ask("kind='file-type'", "<rule>txt</rule>\n<rule>o</rule>\n<rule>TXT</rule>", {"/a.txt"}),
      (Result{0, "excluded  1        /a.txt\n",
              "qvlctl: warning: policy.xml:6:1: data set 1, rule 3: the same rule as "
              "rule 1\n"}));
}

TEST_F(Policy, ANumberWithoutADataSetIsToldAndDoesNotMatch) {
  write("policy.xml",
        "<exclusion-policy version='1'><logic>(7|4)\n&amp;!3</logic></exclusion-policy>");
  EXPECT_EQ(
      run({"lookup", "--policy", "policy.xml", "/a"}),
      (Result{1, "scan      -        /a\n",
              "qvlctl: warning: policy.xml:1:31: logic: there is no data set 3; it counts as not "
              "matching\n"
              "qvlctl: warning: policy.xml:1:31: logic: there is no data set 4; it counts as not "
              "matching\n"
              "qvlctl: warning: policy.xml:1:31: logic: there is no data set 7; it counts as not "
              "matching\n"}));
}

TEST_F(Policy, LogicCombinesDataSetsAndAsksNoFurtherThanNeeded) {
  write("policy.xml",
        "<exclusion-policy version='1'>\n"
        "<data-set number='1' kind='folder'><rule>/a/</rule></data-set>\n"
        "<data-set number='20' kind='file-type'><rule>o</rule></data-set>\n"
        "<data-set number='3' kind='file-type'><rule>exe</rule></data-set>\n"
        "<logic>\n  (1 | 20)\n  &amp; !3\n</logic>\n"
        "</exclusion-policy>\n");
  EXPECT_EQ(
      run({"lookup", "--policy", "policy.xml", "/a/x.o", "/b/x.o", "/a/x.exe", "/b/x.exe", "/b/x"}),
      (Result{0,
              "excluded  1        /a/x.o\n"
              "excluded  20       /b/x.o\n"
              "scan      1,3      /a/x.exe\n"
              "scan      3        /b/x.exe\n"
              "scan      -        /b/x\n",
              ""}));
}

TEST_F(Policy, MayComeThroughAPipe) {
  Circumstances circumstances;
  circumstances.input = "<exclusion-policy version='1'><logic>1</logic></exclusion-policy>";
  const Result result = run({"lookup", "--policy", "/dev/stdin", "/a"}, circumstances);
  EXPECT_EQ(result.out, "scan      -        /a\n");
}

TEST_F(Policy, TenThousandRulesAreRead) {
  std::string rules;
  for (int i = 0; i < 10000; ++i) rules += "<rule>/data/" + std::to_string(i) + "/</rule>\n";
  EXPECT_TRUE(excludes("kind='folder'", rules, {"/data/9999/x"}));
  EXPECT_FALSE(excludes("kind='folder'", rules, {"/data/10000/x"}));
  const Result result = ask("kind='folder'", rules + "<rule>/bad</rule>", {"/x"});
  const std::string beginning = "qvlctl: policy.xml:10004:1: data set 1, rule 10001: ";
  EXPECT_EQ(result.err.substr(0, beginning.size()), beginning);
}

}  // namespace
}  // namespace Test
}  // namespace QVL
