// The expressions that rules are compiled to.

#include "qvlpolicy/Patterns.h"

#include <gtest/gtest.h>
#include <qvl/qvl.h>

#include <memory>
#include <string>
#include <vector>

namespace qvlpolicy {
namespace {

struct Row {
  Kind kind;
  const char* text;
  const char* expression;
  bool wildcards = true;
  bool includeSubfolders = true;
  const char* defaultFolder = nullptr;
  std::vector<Keyword> keywords = {};
};

const std::vector<Keyword> kTools = {{"%TOOLS%", {"beta", "alpha"}, {}}};
const std::vector<Keyword> kNested = {{"%B%", {"x"}, {}}, {"%A%", {"%B%", "y"}, {}}};

const Row kRows[] = {
    {Kind::FilePath, "/a/b.c", "/a/b\\.c"},
    {Kind::FilePath, "/a/*.c", "/a/[^/]*\\.c"},
    {Kind::FilePath, "/a/**", "/a/.*"},
    {Kind::FilePath, "/a/**/b", "/a/(.*/|)b"},
    {Kind::FilePath, "/a/***", "/a/.*[^/]*"},
    {Kind::FilePath, "/a/?", "/a/[^/]"},
    {Kind::FilePath, "/a/(b|c)+", "/a/(b|c)+"},
    {Kind::FilePath, "/a/DOUBLE", "/a/.*"},
    {Kind::FilePath, "/aDOUBLEWITHSLASHb", "/a/(.*/|)b"},
    {Kind::FilePath, "/a/.*", "/a/.*", false},
    {Kind::FilePath, "/a/%TOOLS%", "/a/(alpha|beta)", true, true, nullptr, kTools},
    {Kind::FilePath, "/a/%TOOLS%", "/a/(alpha|beta)", false, true, nullptr, kTools},
    {Kind::FilePath, "/%A%/b", "/((x)|y)/b", true, true, nullptr, kNested},
    {Kind::Folder, "/a/", "/a/.*"},
    {Kind::Folder, "/a/", "/a/[^/]*", true, false},
    {Kind::Folder, "/*/a.b/", "/[^/]*/a\\.b/.*"},
    {Kind::Folder, "/a+/", "/a+/.*", false},
    {Kind::Process, "/bin/*", "/bin/[^/]*"},
    {Kind::Process, "tar", "tar"},
    {Kind::Process, "tar", "/bin/tar", true, true, "/bin"},
    {Kind::Process, "g++.x", "/opt/a.b/g++\\.x", true, true, "/opt/a.b"},
    {Kind::Process, "/x/tar", "/x/tar", true, true, "/bin"},
    {Kind::Process, "%TOOLS%", "(alpha|beta)", true, true, "/bin", kTools},
    {Kind::FileType, "doc?", "doc[^/]"},
    {Kind::FileType, "c*", "c\\*"},
    {Kind::FileType, "a.c", "a.c"},
    {Kind::FileType, "a+", "a+", false},
    {Kind::FileAge, "1 : 30", ""},
};

DataSet dataSetOf(const Row& row) {
  DataSet dataSet;
  dataSet.kind = row.kind;
  dataSet.caseSensitive = true;
  dataSet.wildcards = row.wildcards;
  dataSet.keywords = row.keywords;
  Rule rule;
  rule.text = row.text;
  rule.includeSubfolders = row.includeSubfolders;
  if (row.defaultFolder != nullptr) rule.defaultFolder = row.defaultFolder;
  dataSet.rules.push_back(rule);
  return dataSet;
}

TEST(Expression, IsWhatTheDocumentedTranslationMakes) {
  for (const Row& row : kRows) {
    const DataSet dataSet = dataSetOf(row);
    EXPECT_EQ(expressionOf(dataSet, dataSet.rules.front()), row.expression) << row.text;
  }
}

// A process rule with the expression as its text: it takes texts of every shape.
bool matchesAsExpression(const std::string& expression, const std::string& subject) {
  DataSet plain;
  plain.kind = Kind::Process;
  plain.wildcards = false;
  Rule rule;
  rule.text = expression;
  QVL::LookupData request;
  request.m_processName = subject;
  return makeRule(plain, rule)->canAvoid(request);
}

TEST(Expression, MatchesWhatTheRuleMatches) {
  const std::vector<std::string> subjects = {"/a/b.c",
                                             "/a/bxc",
                                             "/a/",
                                             "/a",
                                             "/a/b",
                                             "/a/x/b",
                                             "/a/x/y/b",
                                             "/a/x/",
                                             "/a/cc",
                                             "/a/c",
                                             "/a/alpha",
                                             "/a/beta",
                                             "/x/b",
                                             "/y/b",
                                             "/q/a.b/",
                                             "/q/a.b/c",
                                             "/q/aab/",
                                             "/aa/x",
                                             "/bin/tar",
                                             "/bin/x/tar",
                                             "tar",
                                             "/x/tar",
                                             "alpha",
                                             "/bin/alpha",
                                             "/opt/axb/g+.x",
                                             "/opt/a.b/ggg.x",
                                             "docx",
                                             "doc",
                                             "doc/",
                                             "c*",
                                             "cc",
                                             "abc",
                                             "a.c",
                                             "aa",
                                             "/a/DOUBLE",
                                             "/aDOUBLEWITHSLASHb",
                                             "/a/b\nc"};
  for (const Row& row : kRows) {
    if (row.kind == Kind::FileAge) continue;
    const DataSet dataSet = dataSetOf(row);
    const auto rule = makeRule(dataSet, dataSet.rules.front());
    const std::string expression = expressionOf(dataSet, dataSet.rules.front());
    bool anyMatches = false;
    for (const std::string& subject : subjects) {
      const bool isFileType = row.kind == Kind::FileType;
      if (isFileType && subject.find_first_of("./") != std::string::npos) continue;
      QVL::LookupData request;
      request.m_filePath = isFileType ? "/f." + subject : subject;
      request.m_processName = subject;
      const bool matches = rule->canAvoid(request);
      anyMatches |= matches;
      EXPECT_EQ(matches, matchesAsExpression(expression, subject)) << row.text << " " << subject;
    }
    EXPECT_TRUE(anyMatches) << row.text << ": no subject tries it";
  }
}

TEST(Expression, NamesTheKeywordsThatStandInTheRule) {
  DataSet dataSet = dataSetOf({Kind::FilePath, "/%A%/b", "", true, true, nullptr, kNested});
  std::vector<std::string> names;
  for (const Keyword* const keyword : keywordsIn(dataSet, dataSet.rules.front())) {
    names.push_back(keyword->name);
  }
  EXPECT_EQ(names, (std::vector<std::string>{"%A%", "%B%"}));

  dataSet.rules.front().text = "/b";
  EXPECT_TRUE(keywordsIn(dataSet, dataSet.rules.front()).empty());
}

}  // namespace
}  // namespace qvlpolicy
