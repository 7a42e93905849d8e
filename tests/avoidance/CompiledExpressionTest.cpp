// The expressions that rules are compiled to, exactly: what two expressions match on a few inputs
// may be the same.

#include <gtest/gtest.h>

#include <functional>
#include <memory>
#include <set>
#include <string>
#include <vector>

#include "qvl/avoidance/RuleView.h"
#include "qvl/match/CompiledPattern.h"
#include "qvl/match/Keywords.h"
#include "qvl/qvl.h"

namespace QVL {
namespace Test {
namespace {

struct Keyword {
  std::string name;
  std::set<std::string> values;
};

struct Row {
  std::string rule;
  std::string expression;
  std::vector<Keyword> keywords = {};
};

using Rule = std::unique_ptr<Avoidance>;
using Make = std::function<Rule(const std::string& text)>;

Rule filePath(const std::string& text) {
  return std::make_unique<FilePathAvoidance>(text, AnyAccess);
}
Rule folder(const std::string& text) {
  return std::make_unique<FolderAvoidance>(text, AnyAccess, 0);
}
Rule folderWithSubfolders(const std::string& text) {
  return std::make_unique<FolderAvoidance>(text, AnyAccess, 1);
}
Rule process(const std::string& text) {
  return std::make_unique<ProcessAvoidance>(text, AnyAccess, 0, "");
}
Rule processInAFolder(const std::string& text) {
  return std::make_unique<ProcessAvoidance>(text, AnyAccess, 1, "/Applications/Tools");
}
Rule fileAge(const std::string& text) {
  return std::make_unique<FileAgeAvoidance>(text, AnyAccess);
}
Rule fileType(const std::string& text) {
  return std::make_unique<FileTypeAvoidance>(text, AnyAccess);
}

void expectExpressions(const Make& make, const std::vector<Row>& rows, bool wildCards = true) {
  for (const Row& row : rows) {
    const Rule rule = make(row.rule);
    rule->setWildCardSearch(wildCards ? 1 : 0);
    for (const Keyword& keyword : row.keywords) {
      rule->addOrUpdateKeyword(keyword.name, keyword.values);
    }
    EXPECT_TRUE(rule->updateRegex()) << row.rule;
    EXPECT_EQ(RuleView::patternOf(*rule).expression().whole(), row.expression) << row.rule;
  }
}

const std::vector<Row> kPatterns = {
    {"/Users/*/Library/**/cache?.db", "/Users/[^/]*/Library/(.*/|)cache[^/]\\.db"},
    {"/var/**/*.log", "/var/(.*/|)[^/]*\\.log"},
    {"/tmp/a**b", "/tmp/a.*b"},
    {"/opt/%TOOLS%/bin/*.plist",
     "/opt/(alpha|beta)/bin/[^/]*\\.plist",
     {{"%TOOLS%", {"beta", "alpha"}}}},
    {"file.txt", "file\\.txt"},
    {"/data/DOUBLE/x", "/data/.*/x"},
    {"/data/DOUBLEWITHSLASH/x", "/data//(.*/|)/x"},
    {"/a/***", "/a/.*[^/]*"},
    {"/a/**/**/b", "/a/(.*/|).*/b"},
    {"/c+/(x)[y]{2}|^$\\d", "/c+/(x)[y]{2}|^$\\d"},
};

TEST(CompiledExpression, OfPatterns) {
  for (const Make& make : {Make(filePath), Make(process), Make(fileAge)}) {
    expectExpressions(make, kPatterns);
  }
}

TEST(CompiledExpression, WithoutWildcardsIsTheText) {
  for (const Make& make : {Make(filePath), Make(process), Make(fileAge)}) {
    expectExpressions(make,
                      {{"file.txt", "file.txt"},
                       {"/var/.*/?x", "/var/.*/?x"},
                       {"/DOUBLE/%K%.", "/DOUBLE/(a|b).", {{"%K%", {"b", "a"}}}}},
                      /*wildCards=*/false);
  }
}

TEST(CompiledExpression, OfFoldersEndsInWhatMayFollow) {
  expectExpressions(folder, {{"/Users/*/Downloads/", "/Users/[^/]*/Downloads/[^/]*"}});
  expectExpressions(folderWithSubfolders, {{"/Users/*/Downloads/", "/Users/[^/]*/Downloads/.*"},
                                           {"/var/**/", "/var/(.*/|).*"}});
  // What follows is no place for keywords.
  expectExpressions(folder, {{"/a/", "/a/[^/]*", {{"[^/]*", {"x"}}}}});
}

TEST(CompiledExpression, OfProcessesInADefaultFolder) {
  const std::vector<Row> rows = {
      {"/opt/bin/agent", "/opt/bin/agent"},
      {"%AGENT%", "(/opt/a|/opt/b)", {{"%AGENT%", {"/opt/b", "/opt/a"}}}},
      {"%AGENT%", "%AGENT%"},
  };
  expectExpressions(processInAFolder, rows);
  expectExpressions(processInAFolder, rows, /*wildCards=*/false);
  expectExpressions(processInAFolder, {{"agent*", "/Applications/Tools/agent[^/]*"}});
  expectExpressions(processInAFolder, {{"agent.*", "/Applications/Tools/agent.*"}},
                    /*wildCards=*/false);
  // Keywords are looked for in the folder, too.
  expectExpressions(processInAFolder,
                    {{"agent", "/(A|B)/Tools/agent", {{"Applications", {"A", "B"}}}}});
}

// Keywords are put in after dots and wildcards were translated: a name is not found where one of
// its characters became something else, and it is found in what they became.
TEST(CompiledExpression, OfKeywordsNamedLikeDotsAndWildcards) {
  for (const Make& make : {Make(filePath), Make(process), Make(fileAge)}) {
    expectExpressions(make, {
                                {"/a.b", "/a\\.b", {{"a.b", {"x"}}}},
                                {"/a*b", "/a[^/]*b", {{"a*b", {"x"}}}},
                                {"/a?b", "/a[^/]b", {{"a?b", {"x"}}}},
                                {"/a**", "/a(x)*", {{".", {"x"}}}},
                                {"/a.b", "/a(x)b", {{"\\.", {"x"}}}},
                                {"/a*", "/a[^/](x)", {{"*", {"x"}}}},
                                {"/**/a", "/(.(x)/|)a", {{"*", {"x"}}}},
                                {"/a?", "/a[^/]", {{"?", {"x"}}}},
                                {"/%K%?", "/(a(x)b)[^/]", {{"%K%", {"a?b"}}, {"?", {"x"}}}},
                                {"/a?", "/a(x)", {{"[^/]", {"x"}}}},
                            });
  }
}

TEST(CompiledExpression, OfFileTypes) {
  expectExpressions(fileType, {{"t?t", "t[^/]t"}, {"c*", "c\\*"}, {"a.b", "a.b"}});
  expectExpressions(fileType, {{"t?t", "t?t"}, {"c*", "c*"}}, /*wildCards=*/false);
}

// A data set gives these its own table, so that rules with the same keywords share what was
// compiled of them. All others are told by their interface, and file types have no table to be
// given.
TEST(RuleView, FindsTheKeywordsOfTheRulesOfTheLibraryThatHaveSome) {
  std::vector<Rule> rules;
  rules.push_back(filePath("/%K%"));
  rules.push_back(folder("/%K%/"));
  rules.push_back(process("/%K%"));
  rules.push_back(fileAge("0.1,%K%"));
  for (const Rule& rule : rules) {
    KeywordTable* const keywords = RuleView::keywordsFor(*rule, "addOrUpdateKeyword");
    ASSERT_NE(keywords, nullptr) << rule->getKey();
    EXPECT_TRUE(keywords->empty()) << rule->getKey();
    rule->addOrUpdateKeyword("%K%", {"a"});
    EXPECT_FALSE(keywords->empty()) << rule->getKey();
  }
  EXPECT_EQ(RuleView::keywordsFor(*fileType("txt"), "addOrUpdateKeyword"), nullptr);

  class OfAHost : public FilePathAvoidance {
   public:
    using FilePathAvoidance::FilePathAvoidance;
  } ofAHost(std::string("/a"), AnyAccess);
  EXPECT_EQ(RuleView::keywordsFor(ofAHost, "addOrUpdateKeyword"), nullptr);
}

}  // namespace
}  // namespace Test
}  // namespace QVL
