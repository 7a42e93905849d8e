// qvlctl lint

#include <gtest/gtest.h>

#include <algorithm>
#include <fstream>
#include <iterator>
#include <nlohmann/json.hpp>
#include <set>
#include <sstream>
#include <string>
#include <vector>

#include "Program.h"

namespace QVL {
namespace Test {
namespace {

// A piece of a policy and what is found in it: "severity name line", ascending by line.
struct Row {
  std::string logic;
  std::string dataSets;
  std::vector<std::string> found;
};

using Rows = std::vector<Row>;

std::string paths(const std::string& rule, const std::string& attributes = "") {
  return "<data-set number='1' kind='file-path' " + attributes + "><rule>" + rule +
         "</rule></data-set>";
}

std::string folders(const std::string& rule, const std::string& attributes = "") {
  return "<data-set number='1' kind='folder' " + attributes + "><rule>" + rule +
         "</rule></data-set>";
}

std::string types(const std::string& rule, const std::string& attributes = "") {
  return "<data-set number='1' kind='file-type' " + attributes + "><rule>" + rule +
         "</rule></data-set>";
}

std::string processes(const std::string& rule, const std::string& attributes = "") {
  return "<data-set number='1' kind='process'><rule " + attributes + ">" + rule +
         "</rule></data-set>";
}

std::string ages(const std::string& days) {
  return "<data-set number='1' kind='file-age'><rule of='creation' days='" + days +
         "'/></data-set>";
}

std::string withKeyword(const std::string& name, const std::string& value,
                        const std::string& rule) {
  return "<data-set number='1' kind='file-path'>\n<keyword name='" + name + "'><value>" + value +
         "</value></keyword>\n<rule>" + rule + "</rule></data-set>";
}

Rows broadRules() {
  return {
      {"1", paths("/**"), {"warning covers-everything 3"}},
      {"1", folders("/"), {"warning covers-everything 3"}},
      {"1", folders("/**/"), {"warning covers-everything 3"}},
      {"1", paths(".*", "wildcards='no'"), {"warning covers-everything 3"}},
      {"1", types("[^/]+", "wildcards='no'"), {"warning covers-everything 3"}},
      {"1", processes("/**"), {"warning covers-everything 3"}},
      {"1", ages("0"), {"warning covers-everything 3"}},
      {"1",
       "<data-set number='1' kind='folder' match-anything='yes'/>",
       {"warning covers-everything 3"}},
      {"1", folders("/usr/"), {"warning covers-tree 3"}},
      {"1", paths("/home/**"), {"warning covers-tree 3"}},
      {"1", folders("/private/var/"), {"warning covers-tree 3"}},
      {"1", folders("/Users/*/"), {"warning covers-tree 3"}},
      {"1", folders("/USERS/", "case-sensitive='no'"), {"warning covers-tree 3"}},
      {"1", folders("/Users/ann/"), {"warning covers-home 3"}},
      {"1", paths("/home/ann/**"), {"warning covers-home 3"}},
      {"1", folders("/home/ann/build/"), {}},
      {"1", folders("/usr/", "enabled='no'"), {"note data-set-off 3"}},
      {"1", folders("/usr/", "check-access='read'"), {"warning covers-tree 3"}},
      // No more than their files, or only some of them.
      {"1", "<data-set number='1' kind='folder'><rule subfolders='no'>/usr/</rule></data-set>", {}},
      {"1", paths("/usr/**/*.db"), {}},
      {"1", paths("/**/cache/*"), {}},
      {"1", types("d?c"), {}},
  };
}

Rows writableFolders() {
  return {
      {"1", folders("/private/tmp/"), {"warning writable-by-all 3"}},
      {"1", paths("/private/tmp/build/*.o"), {"warning writable-by-all 3"}},
      {"1", paths("/Users/*/Downloads/*.dmg"), {"warning writable-by-all 3"}},
      {"1", folders("/Users/ann/Downloads/"), {"warning writable-by-all 3"}},
      {"1", folders("/Users/Shared/x/"), {"warning writable-by-all 3"}},
      {"1", processes("/private/tmp/tool"), {"warning writable-by-all 3"}},
      {"1", processes("tool", "default-folder='/private/tmp'"), {"warning writable-by-all 3"}},
      {"1", folders("/private/tmpfiles/"), {}},
      {"1", folders("/Users/ann/Documents/Downloads/"), {}},
  };
}

Rows roles() {
  const std::string second =
      "\n<data-set number='2' kind='process'><rule>/usr/bin/make</rule></data-set>";
  return {
      {"1|2", folders("/usr/") + second, {"warning covers-tree 3"}},
      {"1&amp;2", folders("/usr/") + second, {"note covers-tree 3"}},
      {"1&amp;2", folders("/") + second, {"note covers-everything 3"}},
      {"1&amp;2", folders("/Users/ann/") + second, {"note covers-home 3"}},
      {"1&amp;2", folders("/private/tmp/") + second, {"note writable-by-all 3"}},
      {"1&amp;!2", folders("/usr/") + second, {"warning covers-tree 3"}},
      {"2&amp;!1", folders("/usr/") + second, {}},
      {"2&amp;!(!1)", folders("/usr/") + second, {"note covers-tree 3"}},
  };
}

Rows needlessRules() {
  const auto two = [](const std::string& kind, const std::string& first,
                      const std::string& second) {
    return "<data-set number='1' kind='" + kind + "'>\n<rule" + first + "</rule>\n<rule" + second +
           "</rule></data-set>";
  };
  const std::vector<std::string> firstShadowed = {"warning shadowed 4"};
  const std::vector<std::string> secondShadowed = {"warning shadowed 5"};
  return {
      {"1", two("file-path", ">/a/x", " expires='2020-01-01'>/a/y"), {"warning expired 5"}},
      {"1", two("file-path", ">/a/x", ">/a/x"), {"warning duplicate 5"}},
      {"1", two("file-type", ">txt", ">TXT"), {"warning duplicate 5"}},
      {"1", two("file-path", ">/a/x", " access='read'>/a/x"), {"error conflicting-rule 5"}},
      {"1", two("folder", ">/a/b/", ">/a/b/c/"), secondShadowed},
      {"1", two("folder", ">/a/b/c/", ">/a/*/"), firstShadowed},
      {"1", two("folder", ">/a/b/", " access='write'>/a/b/c/"), secondShadowed},
      {"1", two("folder", " access='write'>/a/b/", ">/a/b/c/"), {}},
      {"1", two("folder", " subfolders='no'>/a/b/", ">/a/b/c/"), {}},
      {"1", two("folder", ">/a/b/", " subfolders='no'>/a/b/*/"), secondShadowed},
      {"1", two("file-path", ">/a/**/*.o", ">/a/b/c.o"), secondShadowed},
      {"1", two("file-path", ">/a/**/*.o", ">/a/c.o"), secondShadowed},
      {"1", two("file-path", ">/a/**/c.o", ">/a/xc.o"), {}},
      {"1", two("file-path", ">/a/*.o", ">/a/b/c.o"), {}},
      {"1", two("file-path", ">/a/*", ">/a/?.o"), secondShadowed},
      {"1", two("file-path", ">/a/?", ">/a/*"), firstShadowed},
      {"1", two("file-path", ">/a/**b", ">/a/bb"), secondShadowed},
      {"1", two("file-path", ">/a/**/b", ">/a/**/c/**/b"), secondShadowed},
      {"1", two("file-path", ">/a/**/c/**/b", ">/a/**/b"), firstShadowed},
      {"1", two("file-type", ">tx?", ">txt"), secondShadowed},
      {"1", two("process", ">/opt/*", ">/opt/x"), secondShadowed},
      {"1",
       "<data-set number='1' kind='file-path' case-sensitive='no'>\n<rule>/A/x</rule>\n"
       "<rule>/a/X</rule></data-set>",
       secondShadowed},
      {"1",
       "<data-set number='1' kind='file-age'>\n<rule of='creation' days='30'/>\n"
       "<rule of='creation' days='90'/>\n<rule of='modification' days='90'/></data-set>",
       secondShadowed},
      {"1",
       "<data-set number='1' kind='folder'>\n"
       "<keyword name='%T%'><value>a</value></keyword>\n"
       "<rule>/opt/**/%T%/</rule>\n<rule>/opt/x/%T%/y/</rule></data-set>",
       {"warning shadowed 6"}},
      {"1", ages("30,90"), {"note superfluous-days 3"}},
  };
}

Rows rulesThatNeverMatch() {
  return {
      {"1", paths("srv/x"), {"warning never-matches 3"}},
      {"1", folders("~/build/"), {"warning never-matches 3"}},
      {"1", paths("?srv/x"), {"warning never-matches 3"}},
      {"1", paths("srv/x", "wildcards='no'"), {"warning never-matches 3"}},
      {"1", paths("/srv//x"), {"warning never-matches 3"}},
      {"1", folders("/srv/../x/"), {"warning never-matches 3"}},
      {"1", folders("/srv/./x/"), {"warning never-matches 3"}},
      {"1", types("a/b"), {"warning never-matches 3"}},
      {"1", processes("x", "default-folder='/usr/bin/'"), {"warning never-matches 3"}},
      {"1", processes("x", "default-folder='usr/bin'"), {"warning never-matches 3"}},
      {"1", processes("/bin/x", "default-folder='/usr/bin'"), {"warning default-folder-unused 3"}},
      {"1", processes("x"), {"note bare-process 3"}},
      {"1", processes("x", "default-folder='/usr/bin'"), {}},
      {"1", paths("/srv/x "), {"warning blank-at-end 3"}},
      {"1", paths("\n/srv/x"), {"warning blank-at-end 3", "warning never-matches 3"}},
      {"1", types(".exe"), {"warning dot-before-extension 3"}},
      {"1", withKeyword("%a.b%", "x", "/srv/%a.b%"), {"warning keyword-never-found 4"}},
      {"1", withKeyword("a*", "x", "/srv/a*"), {"warning keyword-never-found 4"}},
      {"1", withKeyword("?", "x", "/srv/a?"), {"warning keyword-never-found 4"}},
      {"1", withKeyword("*", "x", "/srv/a"), {"warning keyword-never-found 4"}},
      {"1", withKeyword("*", "x", "/srv/a*"), {"warning keyword-in-wildcard 4"}},
      {"1", withKeyword(".", "x", "/srv/**"), {"warning keyword-in-wildcard 4"}},
      {"1",
       withKeyword("%A%", "x", "/srv/%B%"),
       {"warning keyword-unused 4", "warning unknown-keyword 5"}},
      {"1", withKeyword("%A%", "x", "%A%/y"), {}},
      {"1", withKeyword("%A%", "x", "/srv/%A%"), {}},
      {"1", paths("*/x"), {}},
      {"1", paths("(a|/srv)/x", "wildcards='no'"), {}},
  };
}

Rows misleadingTexts() {
  return {
      {"1", paths("/srv/c++/x"), {"warning expression-characters 3", "note not-linear 3"}},
      {"1", paths("/srv/x (1).txt"), {"warning expression-characters 3"}},
      {"1", paths("/srv/[x]"), {"warning expression-characters 3"}},
      {"1", paths("/srv/x{2}"), {"warning expression-characters 3"}},
      {"1", paths("/srv/a|/srv/b"), {"warning expression-characters 3"}},
      {"1", paths("/srv/$x"), {"warning expression-characters 3"}},
      {"1", paths("/srv/^x"), {"warning expression-characters 3"}},
      {"1", paths("/srv/x\\.txt"), {"warning expression-characters 3"}},
      {"1", paths("/srv/c\\+\\+/x \\(1\\)"), {}},
      {"1", paths("/srv/c\\+\\+", "wildcards='no'"), {}},
      {"1", types("c++"), {"warning expression-characters 3", "note not-linear 3"}},
      {"1", types("+c"), {"error refused-rule 3"}},

      {"1", types("h+"), {"warning expression-characters 3"}},
      {"1", paths("/srv/DOUBLE/x"), {"warning reserved-word 3"}},
      {"1", paths("/srvDOUBLEWITHSLASHx"), {"warning reserved-word 3"}},
      {"1", paths("/srv/[D]OUBLE/x"), {"warning expression-characters 3"}},
      {"1", types("DOUBLE"), {}},
      {"1", types("tar.gz"), {"warning unescaped-dot 3"}},
      {"1", types("b*"), {"warning star-in-file-type 3"}},
      {"1", paths("/srv/a.txt", "wildcards='no'"), {"warning unescaped-dot 3"}},
      {"1", paths("/srv/a\\.txt", "wildcards='no'"), {}},
      {"1", paths("/srv/.*[.]x", "wildcards='no'"), {}},
      {"1", paths("/srv/[].][^].][a\\].]x", "wildcards='no'"), {}},
      {"1", paths("/srv/*\\.txt", "wildcards='no'"), {"warning wildcard-in-expression 3"}},
      {"1", withKeyword("%A%", "a.b", "/srv/%A%"), {"warning unescaped-dot 4"}},
      {"1", withKeyword("%A%", "/x/*", "/srv/%A%"), {"warning wildcard-in-expression 4"}},
      {"1", processes("x", "default-folder='/opt/a.b'"), {"warning unescaped-dot 3"}},
      {"1", paths("/srv/e\xcc\x81"), {"warning not-nfc 3"}},
      {"1", withKeyword("%A%", "e\xcc\x81", "/srv/%A%"), {"warning not-nfc 4"}},
      {"1", paths("/srv/\xc3\xa9"), {}},
  };
}

// What is never given back, as x++, leaves a rule to the expression engine; without it each of
// these is matched in linear time.
Rows slowExpressions() {
  const auto row = [](const std::string& rule, const std::vector<std::string>& found) -> Row {
    return {"1", paths(rule, "wildcards='no'"), found};
  };
  Rows rows;
  for (const std::string loops : {"(a+)+b", "(a*)*b", "(a|a)*b", "(a|b|ab)*c", "(.*/)*x",
                                  "(a?b?)*c", "(a+){5}b", "(\\w+\\d*)+b", "([a-z]+[0-9a]*)+x"}) {
    rows.push_back(row("/srv/x++" + loops, {"warning exponential-time 3"}));
    rows.push_back(row("/srv/" + loops, {}));
  }
  for (const std::string loops :
       {"([^/]*/)*x", "(a|b)*c", "(ab|ac)*c", ".*a.*b.*c", "([a-z]+-)*x", "(?:a+,)*b"}) {
    rows.push_back(row("/srv/x++" + loops, {"note not-linear 3"}));
    rows.push_back(row("/srv/" + loops, {}));
  }
  for (const std::string left : {"(a)\\1", "(?=a)b", "a(?&lt;!b)", "(?>a*)b"}) {
    rows.push_back(row("/srv/" + left, {"note not-linear 3"}));
  }
  rows.push_back(
      {"1", withKeyword("%A%", "z++(x+)+", "/srv/%A%y"), {"warning exponential-time 5"}});
  rows.push_back({"1", withKeyword("%A%", "(x+)+", "/srv/%A%y"), {}});
  rows.push_back({"1", paths("/srv/**/a/**/b/**"), {}});
  return rows;
}

Rows oddLogics() {
  const std::string three =
      paths("/srv/x") + "\n<data-set number='2' kind='file-path'><rule>/srv/y</rule></data-set>\n" +
      "<data-set number='3' kind='file-path'><rule>/srv/z</rule></data-set>";
  return {
      {"1|2|3", three, {}},
      {"(1|2)&amp;3", three, {}},
      {"1|(2&amp;3)", three, {}},
      {"1|2&amp;3", three, {"warning mixed-operators 2"}},
      {"!(1&amp;2|3)&amp;1", three, {"warning mixed-operators 2"}},
      {"1|2", three, {"warning unused-data-set 5"}},
      {"1|2|3|9", three, {"warning no-such-data-set 2"}},
      {"!1|(2&amp;3)", three, {"warning true-without-match 2"}},
      {"(1|2)&amp;!3", three, {}},
      {"1 2 3", three, {"error logic 2"}},
      {"1|2|a", three, {"error logic 2"}},
      {"(1|2|3", three, {"error logic 2"}},
  };
}

Rows oddDataSets() {
  return {
      {"1",
       "<data-set number='1' kind='process' check-access='0'><rule>/bin/x</rule></data-set>",
       {"warning access-type-0 3"}},
      {"1", paths("/srv/x", "check-access='0'"), {"warning access-type-0 3"}},
      {"1", "<data-set number='1' kind='folder'/>", {"warning no-rules 3"}},
      {"1",
       paths("/srv/x", "match-anything='yes'"),
       {"warning covers-everything 3", "warning rules-not-asked 3"}},
      {"1", types("o", "match-empty-input='yes'"), {}},
  };
}

Rows unusablePolicies() {
  return {
      {"1", paths("/srv/"), {"error refused-rule 3"}},
      {"1", folders("/srv"), {"error refused-rule 3"}},
      {"1", paths("/srv/(x"), {"error refused-rule 3"}},
      {"1", types("thirteenbytes"), {"error refused-rule 3"}},
      {"1", ages("24855"), {}},
      {"1", ages("24856"), {"error schema 3"}},
      {"1", ages("1, 99999999999"), {"error schema 3"}},
      {"1", "<data-set number='x' kind='folder'/>", {"error schema 3"}},
      {"1", "<data-set number='1' kind='folders'/>", {"error schema 3"}},
      {"1", paths("/srv/x") + '\n' + paths("/srv/y"), {"error defined-twice 4"}},
      {"1",
       "<data-set number='1' kind='folder'>\n<rule "
       "of='creation'>/srv/x/</rule>\n<ruel/></data-set>",
       {"error schema 4", "error schema 5"}},
      {"1", "<data-set number='1' kind='folder'>\xff</data-set>", {"error encoding 3"}},
      {"1", "<data-set number='1' kind='folder' name='a&b'/>", {"error not-xml 3"}},
      {"1", "<include file='no.xml'/>", {"error include 3"}},
      {"1",
       "<data-set number='1' kind='folder' keywords='k'><rule>/srv/a/</rule></data-set>",
       {"error no-such-keywords 3"}},
  };
}

Rows aliasesOfMacOs() {
  return {
      {"1", paths("/etc/hosts"), {"warning alias-path 3"}},
      {"1", paths("/var/db/x"), {"warning alias-path 3"}},
      {"1", folders("/tmp/x/"), {"warning writable-by-all 3", "warning alias-path 3"}},
      {"1", folders("/System/Volumes/Data/opt/x/"), {"warning alias-path 3"}},
      {"1", processes("x", "default-folder='/var/x'"), {"warning alias-path 3"}},
      {"1", paths("/private/etc/hosts"), {}},
      {"1", paths("/variety/x"), {}},
      {"1", paths("/bin/x"), {}},
  };
}

Rows aliasesOfLinux() {
  return {
      {"1", paths("/etc/hosts"), {}},
      {"1", paths("/bin/x"), {"warning alias-path 3"}},
      {"1", paths("/var/run/x"), {"warning alias-path 3"}},
  };
}

Rows aliasesByTheOtherRules() {
  const auto with = [](const std::string& rule) {
    return "<data-set number='1' kind='file-path'>\n<rule>/etc/hosts</rule><rule>" + rule +
           "</rule></data-set>";
  };
  return {
      {"1", with("/Users/ann/x"), {"warning alias-path 4"}},
      {"1", with("/home/ann/x"), {}},
      {"1", with("/opt/x"), {"warning alias-path 4"}},
  };
}

Rows programs() {
  const auto row = [](const std::string& logic, const std::string& first) {
    return Row{
        logic, first + "\n<data-set number='2' kind='folder'><rule>/srv/x/</rule></data-set>", {}};
  };
  Rows rows = {
      {"1", processes("/usr/bin/bash"), {"warning interpreter 3"}},
      {"1", processes("/usr/bin/python3"), {"warning interpreter 3"}},
      {"1", processes("/opt/tool/bin/python3.11"), {"warning interpreter 3"}},
      {"1", processes("/usr/bin/*"), {"warning interpreter 3"}},
      {"1", processes("/usr/**"), {"warning interpreter 3"}},
      {"1", processes("bash", "default-folder='/usr/bin'"), {"warning interpreter 3"}},
      {"1", processes("/usr/bin/rsync"), {}},
      {"1", processes("/opt/bashful/bin/tool"), {}},
      {"1", types("exe"), {"warning carries-programs 3"}},
      {"1", types("d?l"), {"warning carries-programs 3"}},
      {"1", types("txt"), {}},
      {"1", paths("/**/*.js"), {"warning carries-programs 3"}},
      {"1", paths("/srv/**/*.js"), {}},
  };
  // Where something else has to match, it is nothing.
  rows.push_back(row("1&amp;2", processes("/usr/bin/bash")));
  rows.push_back(row("2&amp;!1", types("exe")));
  return rows;
}

Rows allowances() {
  const auto sets = [](const std::string& root, const std::string& inside) {
    return root + "<data-set number='1' kind='folder'>" + inside +
           "<rule>/usr/</rule>\n<rule>/srv/</rule></data-set>";
  };
  const auto allow = [](const std::string& finding, const std::string& rule) {
    return "<allow finding='" + finding + "' reason='r'" +
           (rule.empty() ? "" : " rule='" + rule + "'") + "/>";
  };
  const std::string first = "warning covers-tree 3";
  const std::string second = "warning covers-tree 4";
  return {
      {"1", sets("", ""), {first, second}},
      {"1", sets("", allow("covers-tree", "")), {}},
      {"1", sets(allow("covers-tree", ""), ""), {}},
      {"1", sets("", allow("covers-tree", "/usr/")), {second}},
      {"1", sets(allow("covers-tree", "/srv/"), ""), {first}},
      {"1", sets("", allow("covers-home", "")), {"warning allow-unused 3", first, second}},
      {"1", sets("", allow("covers-tree", "/opt/")), {"warning allow-unused 3", first, second}},
      {"1", sets("", allow("covers-tree", "/usr/") + allow("covers-tree", "/srv/")), {}},
      {"1|2",
       sets("", allow("covers-tree", "")) +
           "\n<data-set number='2' kind='folder'><rule>/opt/</rule></data-set>",
       {"warning covers-tree 5"}},
  };
}

// What is too much to be looked at as a whole.
Rows tooMany() {
  std::string alike;
  for (unsigned int i = 0; i < 4096; ++i) {
    std::string rule = "/";
    for (unsigned int bit = 0; bit < 12; ++bit) rule += (i >> bit & 1U) != 0 ? "a*" : "b*";
    alike += "<rule>" + rule + "</rule>";
  }
  // Any of the names may stand in the value, where each is looked for.
  std::string keywords = "<keyword name='aaaaaaaa'><value>";
  for (unsigned int i = 0; i < 50'000; ++i) keywords += "ab";
  keywords += "</value></keyword>";
  for (unsigned int i = 1; i < 64; ++i) {
    std::string name = "aa";
    for (unsigned int bit = 0; bit < 6; ++bit) name += (i >> bit & 1U) != 0 ? 'b' : 'a';
    keywords += "<keyword name='" + name + "'><value>b</value></keyword>";
  }
  std::string rules;
  for (unsigned int i = 0; i < 20; ++i) {
    rules += "<rule>aaaaaaaa" + std::to_string(i) + "</rule>";
  }
  const std::string paths = "<data-set number='1' kind='file-path'>";
  return {
      {"1", paths + alike + "</data-set>", {"note not-all-compared 3"}},
      {"1",
       paths + keywords + rules + "</data-set>",
       {"note not-all-read 3", "note not-all-compared 3"}},
  };
}

class Lint : public ProgramTest {
 protected:
  Result lintPolicy(const std::string& logic, const std::string& dataSets,
                    const std::vector<std::string>& options = {}) const {
    write("policy.xml", "<exclusion-policy version='1'>\n<logic>" + logic + "</logic>\n" +
                            dataSets + "\n</exclusion-policy>\n");
    std::vector<std::string> arguments = {"lint", "--policy", "policy.xml"};
    arguments.insert(arguments.end(), options.begin(), options.end());
    if (std::find(options.begin(), options.end(), "--platform") == options.end()) {
      arguments.insert(arguments.end(), {"--platform", "auto"});
    }
    return run(arguments);
  }

  void expect(const Row& row, const std::vector<std::string>& options = {}) {
    SCOPED_TRACE(row.logic + '\n' + row.dataSets);
    std::vector<std::string> arguments = {"--format", "json"};
    arguments.insert(arguments.end(), options.begin(), options.end());
    const Result result = lintPolicy(row.logic, row.dataSets, arguments);
    EXPECT_EQ(result.err, "");
    const nlohmann::json report = nlohmann::json::parse(result.out);
    std::vector<std::string> found;
    std::set<std::string> severities;
    for (const nlohmann::json& finding : report["findings"]) {
      if (finding.contains("allowed")) continue;
      const std::string severity = finding["severity"];
      severities.insert(severity);
      found.push_back(severity + ' ' + std::string(finding["name"]) + ' ' +
                      std::to_string(finding["line"].get<int>()));
      EXPECT_NE(finding["reason"], "");
      EXPECT_NE(finding["advice"], "");
    }
    EXPECT_EQ(found, row.found) << result.out;
    const int expected = severities.count("error") > 0     ? 2
                         : severities.count("warning") > 0 ? 1
                                                           : 0;
    EXPECT_EQ(result.status, expected);
  }

  void expectAll(const Rows& rows, const std::vector<std::string>& options = {}) {
    for (const Row& row : rows) expect(row, options);
  }
};

TEST_F(Lint, FindsRulesThatAreTooBroad) {
  expectAll(broadRules());
}

TEST_F(Lint, FindsWhatOrdinaryUsersMayWrite) {
  expectAll(writableFolders());
}

TEST_F(Lint, WeighsARuleByWhatTheLogicMakesOfItsDataSet) {
  expectAll(roles());
}

TEST_F(Lint, FindsRulesThatAddNothing) {
  expectAll(needlessRules());
}

TEST_F(Lint, FindsRulesThatNeverMatch) {
  expectAll(rulesThatNeverMatch());
}

TEST_F(Lint, FindsTextsThatMeanSomethingElse) {
  expectAll(misleadingTexts());
}

TEST_F(Lint, FindsExpressionsThatCanTakeExponentialTime) {
  expectAll(slowExpressions());
}

TEST_F(Lint, TellsWhatItDidNotLookAt) {
  expectAll(tooMany());
}

TEST_F(Lint, FindsNamesThatAreOnlyAliases) {
  expectAll(aliasesOfMacOs(), {"--platform", "macos"});
  expectAll(aliasesOfLinux(), {"--platform", "linux"});
  expectAll(aliasesByTheOtherRules());
}

// The advice of the other system would break the rule.
TEST_F(Lint, ThePlatformIsThatOfTheMachine) {
#ifdef __APPLE__
  const std::string here = "macos";
#else
  const std::string here = "linux";
#endif
  write("policy.xml",
        "<exclusion-policy version='1'><logic>1</logic><data-set number='1' kind='folder'>"
        "<rule>/etc/app/</rule></data-set></exclusion-policy>");
  const Result result = run({"lint", "-p", "policy.xml"});
  EXPECT_EQ(result, run({"lint", "-p", "policy.xml", "--platform", here}));
  EXPECT_NE(result.out.find(", on " + here + "\n"), std::string::npos) << result.out;
  EXPECT_EQ(run({"lint", "-p", "policy.xml", "--platform", "linux"}).out,
            "policy.xml: 0 errors, 0 warnings, 0 notes, on linux\n");
  EXPECT_NE(run({"lint", "-p", "policy.xml", "--platform", "macos"}).out.find("/private/etc/app/"),
            std::string::npos);
}

TEST_F(Lint, FindsWhatIsOddAboutTheLogic) {
  expectAll(oddLogics());
}

TEST_F(Lint, FindsWhatIsOddAboutDataSets) {
  expectAll(oddDataSets());
}

TEST_F(Lint, FindsPoliciesThatCannotBeUsed) {
  expectAll(unusablePolicies());
}

TEST_F(Lint, TellsReasonsAndAdvice) {
  EXPECT_EQ(lintPolicy("1&amp;2",
                       "<data-set number='1' kind='folder'>\n  <rule>/usr/</rule>\n"
                       "  <rule>/usr/lib/</rule>\n</data-set>\n" +
                           std::string("<data-set number='2' kind='file-type'><rule>.o</rule>"
                                       "</data-set>"),
                       {"--platform", "macos"}),
            (Result{1, golden("lint.txt"), ""}));
  EXPECT_EQ(lintPolicy("1", paths("/srv/x")),
            (Result{0, "policy.xml: 0 errors, 0 warnings, 0 notes, on linux\n", ""}));
}

// What the finding says that people need to hear.
TEST_F(Lint, TheAdviceFitsTheMistake) {
  const struct {
    std::string dataSet;
    std::string name;
    std::string told;
    std::string notTold;
    std::string platform = "linux";
  } rows[] = {
      {folders("$HOME/src/"), "expression-characters", "variables of shells are not replaced",
       "backslash"},
      {folders("$HOME/src/"), "expression-characters", "/home/* for", "/Users"},
      {folders("$HOME/src/"), "expression-characters", "/Users/* for", "/home", "macos"},
      {folders("~/src/"), "never-matches", "/home/* for", "/Users"},
      {folders("~/src/"), "never-matches", "/Users/* for", "/home", "macos"},
      {paths("${HOME}/src"), "expression-characters", "variables of shells are not replaced",
       "backslash"},
      {paths("/srv/a(1)"), "expression-characters", "put a backslash before each", "variables"},
      {folders("/srv/y/ "), "refused-rule", "ends in a blank, which is a part of it", ""},
      {folders("/srv/y"), "refused-rule", "does not end in a slash", "blank"},
      {paths("/srv/y "), "blank-at-end", "write the rule on one line, without blanks", ""},
  };
  for (const auto& row : rows) {
    const nlohmann::json report = nlohmann::json::parse(
        lintPolicy("1", row.dataSet, {"--format", "json", "--platform", row.platform}).out);
    std::string told;
    for (const nlohmann::json& finding : report["findings"]) {
      if (finding["name"] != row.name) continue;
      told += finding["reason"].get<std::string>() + "; " + finding["advice"].get<std::string>();
    }
    EXPECT_NE(told.find(row.told), std::string::npos) << row.dataSet << report;
    if (!row.notTold.empty()) {
      EXPECT_EQ(told.find(row.notTold), std::string::npos) << row.dataSet << report;
    }
  }
}

TEST_F(Lint, TheAdviceFitsWhatIsWrongWithTheXml) {
  const std::pair<const char*, const char*> rows[] = {
      {"", "qvlctl init writes a policy to begin with"},
      {"/srv/build/\n/opt/\n", "qvlctl init writes a policy to begin with"},
      {"<exclusion-policy version='1'><logic>1</exclusion-policy>", "close each element"},
      {"<exclusion-policy version='1'><logic>1</logic>", "close each element"},
      {"<exclusion-policy version='1'><logic>1&2</logic></exclusion-policy>", "as &amp;"},
      {"<exclusion-policy version='1'><logic>1<2</logic></exclusion-policy>", "as &lt;"},
  };
  for (const auto& [policy, advice] : rows) {
    write("policy.xml", policy);
    const Result result = run({"lint", "-p", "policy.xml"});
    EXPECT_EQ(result.status, 2);
    EXPECT_NE(result.out.find(advice), std::string::npos) << result.out;
  }
}

TEST_F(Lint, WritesJson) {
  EXPECT_EQ(lintPolicy("1", types(".o"), {"--format", "json"}),
            (Result{1, golden("lint.json"), ""}));
}

TEST_F(Lint, TroubleIsNoFinding) {
  EXPECT_EQ(run({"lint", "-p", "none.xml"}),
            (Result{2, "", "qvlctl: cannot read none.xml: No such file or directory\n"}));
}

TEST_F(Lint, FindsWhatLetsProgramsThrough) {
  expectAll(programs());
}

TEST_F(Lint, LeavesOutWhatThePolicyAllows) {
  expectAll(allowances());
}

TEST_F(Lint, TellsWhyAFindingIsAllowed) {
  const std::string sets =
      "<data-set number='1' kind='folder'><allow finding='covers-tree' reason='see T-1'/>"
      "<rule>/usr/</rule></data-set>";
  const std::vector<std::string> linux = {"--platform", "linux"};
  EXPECT_EQ(lintPolicy("1", sets, linux),
            (Result{0, "policy.xml: 0 errors, 0 warnings, 0 notes, on linux; 1 allowed\n", ""}));
  const nlohmann::json report =
      nlohmann::json::parse(lintPolicy("1", sets, {"--format", "json"}).out);
  EXPECT_EQ(report["allowed"], 1);
  EXPECT_EQ(report["findings"][0]["allowed"], "see T-1");
  // An error cannot be allowed.
  EXPECT_EQ(lintPolicy("1",
                       "<data-set number='1' kind='file-type'>"
                       "<allow finding='refused-rule' reason='r'/><rule>+c</rule></data-set>")
                .status,
            2);
}

TEST_F(Lint, FailsForWhatIsNewOnly) {
  const auto sets = [](const std::string& rules) {
    return "<data-set number='1' kind='folder'>" + rules + "</data-set>";
  };
  const Result before =
      lintPolicy("1", sets("<rule>/usr/</rule><rule>/opt/</rule>"), {"--format", "json"});
  EXPECT_EQ(before.status, 1);
  write("baseline.json", before.out);
  const std::vector<std::string> options = {"--baseline", "baseline.json", "--platform", "linux"};
  EXPECT_EQ(
      lintPolicy("1", sets("\n<rule>/srv/x/</rule>\n<rule>/opt/</rule><rule>/usr/</rule>"),
                 options),
      (Result{0, "policy.xml: 0 errors, 0 warnings, 0 notes, on linux; 2 in the baseline\n", ""}));
  EXPECT_EQ(
      lintPolicy("1", sets("<rule>/usr/</rule><rule>/opt/</rule><rule>/srv/</rule>"), options),
      (Result{1,
              "policy.xml:3:72: data set 1, rule 3: warning: it covers everything in /srv "
              "[covers-tree]\n    advice: name the folders and files that are meant\n"
              "policy.xml: 0 errors, 1 warning, 0 notes, on linux; 2 in the baseline\n",
              ""}));
  // What is there once does not stand for two.
  EXPECT_EQ(lintPolicy("1", sets("<rule>/usr/</rule><rule>/usr/</rule>"), options).status, 1);
  for (const char* const wrong : {"", "[]", "{}", "{\"report\":\"lint\",\"findings\":3}"}) {
    write("baseline.json", wrong);
    EXPECT_EQ(lintPolicy("1", sets("<rule>/usr/</rule>"), options),
              (Result{2, "",
                      "qvlctl: baseline.json: expected a report as `qvlctl lint --format json` "
                      "writes it; found something else\n"}))
        << wrong;
  }
}

TEST_F(Lint, WritesWhatGithubReads) {
  EXPECT_EQ(lintPolicy("1", types("a,b%:.o"), {"--format", "github"}),
            (Result{1, golden("lint.github"), ""}));
}

TEST_F(Lint, WritesSarif) {
  const nlohmann::json log = nlohmann::json::parse(
      lintPolicy("1",
                 "<data-set number='1' kind='folder'>"
                 "<allow finding='covers-tree' rule='/usr/' reason='see T-1'/>\n"
                 "<rule>/usr/</rule><rule>/srv/</rule></data-set>",
                 {"--format", "sarif"})
          .out);
  EXPECT_EQ(log["version"], "2.1.0");
  const nlohmann::json& run = log["runs"][0];
  EXPECT_EQ(run["tool"]["driver"]["name"], "qvlctl");
  ASSERT_EQ(run["results"].size(), 2u);
  const nlohmann::json& first = run["results"][0];
  EXPECT_EQ(first["ruleId"], "covers-tree");
  EXPECT_EQ(run["tool"]["driver"]["rules"][first["ruleIndex"].get<std::size_t>()]["id"],
            "covers-tree");
  EXPECT_EQ(first["level"], "warning");
  EXPECT_EQ(first["message"]["text"],
            "data set 1, rule 1: it covers everything in /usr. Advice: name the folders and files "
            "that are meant.");
  const nlohmann::json& place = first["locations"][0]["physicalLocation"];
  EXPECT_EQ(place["artifactLocation"]["uri"], "policy.xml");
  EXPECT_EQ(place["region"]["startLine"], 4);
  EXPECT_EQ(place["region"]["startColumn"], 1);
  EXPECT_EQ(first["suppressions"][0]["justification"], "see T-1");
  EXPECT_TRUE(run["results"][1]["suppressions"].empty());
}

TEST_F(Lint, ReadsStandardInput) {
  Circumstances circumstances;
  circumstances.input = "<exclusion-policy version='1'><logic>1&2</logic></exclusion-policy>";
  EXPECT_EQ(run({"lint", "-p", "-", "--platform", "linux"}, circumstances),
            (Result{2,
                    "standard input:1:40: error: it is not well-formed XML: xmlParseEntityRef: no "
                    "name [not-xml]\n"
                    "    advice: write a literal & as &amp; and a literal < as &lt;\n"
                    "standard input: 1 error, 0 warnings, 0 notes, on linux\n",
                    ""}));
}

TEST_F(Lint, SamplePoliciesHaveNoWarnings) {
  for (const char* const name : {"linux-server", "mac-developer"}) {
    const Result result = run({"lint", "--platform", "auto", "-p",
                               std::string(QVL_SOURCE_DIR "/examples/") + name + ".xml"});
    EXPECT_EQ(result.status, 0) << result.out;
  }
}

// The page lists the findings that the tables above hold, with their severities.
TEST_F(Lint, EveryFindingIsDocumentedAndTested) {
  std::set<std::string> tested;
  for (const Rows& rows :
       {broadRules(), writableFolders(), roles(), needlessRules(), rulesThatNeverMatch(),
        misleadingTexts(), slowExpressions(), oddLogics(), oddDataSets(), unusablePolicies(),
        aliasesOfMacOs(), programs(), allowances(), tooMany()}) {
    for (const Row& row : rows) {
      for (const std::string& found : row.found) tested.insert(found.substr(0, found.rfind(' ')));
    }
  }
  std::ifstream page(QVL_SOURCE_DIR "/docs/lint.md");
  std::set<std::string> documented;
  for (std::string line; std::getline(page, line);) {
    if (line.compare(0, 3, "| `") != 0) continue;
    const std::size_t nameEnd = line.find('`', 3);
    const std::size_t end = line.find(" |", nameEnd + 3);
    std::istringstream severities(line.substr(nameEnd + 4, end - nameEnd - 4));
    for (std::string severity; std::getline(severities >> std::ws, severity, ',');) {
      documented.insert(severity + ' ' + line.substr(3, nameEnd - 3));
    }
  }
  EXPECT_EQ(tested, documented);
}

// The command of the hook, as pre-commit runs it: with the names of all files at its end.
TEST_F(Lint, TheHookFailsForAnyPolicyWithWarnings) {
  std::ifstream hooks(QVL_SOURCE_DIR "/.pre-commit-hooks.yaml");
  std::string entry;
  for (std::string line; std::getline(hooks, line);) {
    if (line.compare(0, 9, "  entry: ") == 0) entry = line.substr(9);
  }
  ASSERT_NE(entry, "");
  const auto policy = [](const std::string& rule) {
    return "<exclusion-policy version='1'><logic>1</logic><data-set number='1' "
           "kind='folder'><rule>" +
           rule + "</rule></data-set></exclusion-policy>";
  };
  write("good 1.xml", policy("/srv/build/"));
  write("good 2.xml", policy("/srv/other/"));
  write("bad.xml", policy("/usr/"));
  const std::string program = QVLCTL;
  const auto hook = [&](const std::string& files) {
    Circumstances circumstances;
    circumstances.program = "/bin/sh";
    return run({"-c", "PATH=" + program.substr(0, program.rfind('/')) + ":$PATH; " + entry + files},
               circumstances)
        .status;
  };
  EXPECT_EQ(hook(" 'good 1.xml' 'good 2.xml'"), 0);
  EXPECT_EQ(hook(" 'good 1.xml' bad.xml 'good 2.xml'"), 1);
  EXPECT_EQ(hook(" none.xml 'good 1.xml'"), 1);
}

}  // namespace
}  // namespace Test
}  // namespace QVL
