// Which rules of a data set match?

#include "policy/RuleMatcher.h"

#include <gtest/gtest.h>
#include <qvl/qvl.h>

#include <cstddef>
#include <string>
#include <vector>

namespace qvlctl {
namespace {

using Indices = std::vector<std::size_t>;

DataSet dataSetWith(Kind kind, const std::vector<std::string>& texts) {
  DataSet dataSet;
  dataSet.kind = kind;
  for (const std::string& text : texts) {
    dataSet.rules.emplace_back();
    dataSet.rules.back().text = text;
  }
  return dataSet;
}

Indices matching(const DataSet& dataSet, const std::string& path) {
  QVL::LookupData request;
  request.m_filePath = path;
  return RuleMatcher(dataSet).matching(request);
}

TEST(RuleMatcher, FindsEveryRuleThatMatches) {
  const DataSet dataSet = dataSetWith(Kind::FilePath, {"/a/*", "/b/*", "/a/x", "/**", "/a/x"});
  EXPECT_EQ(matching(dataSet, "/a/x"), (Indices{0, 2, 3, 4}));
  EXPECT_EQ(matching(dataSet, "/c"), Indices{3});
  EXPECT_EQ(matching(dataSet, "c"), Indices{});
}

TEST(RuleMatcher, FindsThemAmongManyRules) {
  std::vector<std::string> texts;
  for (int i = 0; i < 1000; ++i) texts.push_back("/folder" + std::to_string(i % 100) + "/*");
  const DataSet dataSet = dataSetWith(Kind::FilePath, texts);
  EXPECT_EQ(matching(dataSet, "/folder7/x"),
            (Indices{7, 107, 207, 307, 407, 507, 607, 707, 807, 907}));
  EXPECT_EQ(matching(dataSet, "/folder100/x"), Indices{});
}

TEST(RuleMatcher, LooksAtTheRulesAlone) {
  DataSet dataSet = dataSetWith(Kind::FilePath, {"/a", "/b"});
  dataSet.enabled = false;
  dataSet.matchAnything = true;
  dataSet.accessCheck = DataSet::AccessCheck::AtDataSet;
  dataSet.access = QVL::WriteAccess;
  dataSet.rules[0].access = QVL::WriteAccess;
  EXPECT_EQ(matching(dataSet, "/a"), Indices{0});
  EXPECT_EQ(matching(dataSet, "/c"), Indices{});
}

TEST(RuleMatcher, KeepsCaseAndWildcardsAndKeywordsOfTheDataSet) {
  DataSet dataSet = dataSetWith(Kind::FilePath, {"/a%K%"});
  dataSet.caseSensitive = false;
  dataSet.keywords.push_back({"%K%", {"x", "y"}, 0});
  EXPECT_EQ(matching(dataSet, "/AY"), Indices{0});
  EXPECT_EQ(matching(dataSet, "/AZ"), Indices{});
}

TEST(RuleMatcher, RulesThatTheEngineRefusesMatchNothing) {
  const DataSet dataSet = dataSetWith(Kind::FilePath, {"/a/", "(", "/a"});
  EXPECT_EQ(matching(dataSet, "/a"), Indices{2});
  EXPECT_EQ(matching(dataSet, "("), Indices{});
}

TEST(RuleMatcher, PathsThatAreNotUtf8MatchNothing) {
  EXPECT_EQ(matching(dataSetWith(Kind::FilePath, {"/*"}), "/\xff"), Indices{});
}

TEST(RuleMatcher, AccessFitsAsTheDataSetComparesIt) {
  using Check = DataSet::AccessCheck;
  const struct {
    Check check;
    QVL::AccessTypes dataSet;
    QVL::AccessTypes rule;
    QVL::AccessTypes asked;
    bool fits;
  } rows[] = {
      {Check::ByRule, QVL::ReadAccess, QVL::WriteAccess, QVL::WriteAccess, true},
      {Check::ByRule, QVL::WriteAccess, QVL::ReadAccess, QVL::WriteAccess, false},
      {Check::ByRule, QVL::ReadAccess, QVL::AnyAccess, QVL::WriteAccess, true},
      {Check::ByRule, QVL::ReadAccess, QVL::ReadAccess, QVL::AnyAccess, false},
      {Check::AtDataSet, QVL::ReadAccess, QVL::WriteAccess, QVL::ReadAccess, true},
      {Check::AtDataSet, QVL::ReadAccess, QVL::WriteAccess, QVL::WriteAccess, false},
      {Check::AtDataSet, QVL::AnyAccess, QVL::ReadAccess, QVL::WriteAccess, true},
      {Check::Never, QVL::ReadAccess, QVL::ReadAccess, QVL::WriteAccess, true},
  };
  for (const auto& row : rows) {
    DataSet dataSet = dataSetWith(Kind::FilePath, {"/a"});
    dataSet.accessCheck = row.check;
    dataSet.access = row.dataSet;
    dataSet.rules.front().access = row.rule;
    EXPECT_EQ(fitsAccess(dataSet, dataSet.rules.front(), row.asked), row.fits) << (&row - rows);
  }
}

}  // namespace
}  // namespace qvlctl
