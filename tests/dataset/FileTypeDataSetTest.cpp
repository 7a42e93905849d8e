#include <gtest/gtest.h>

#include <memory>
#include <string>
#include <vector>

#include "qvl/qvl.h"
#include "tests/support/FoldingLocale.h"
#include "tests/support/Outcome.h"
#include "tests/support/Requests.h"
#include "tests/support/ScriptedRule.h"
#include "tests/support/TraceRecorder.h"

namespace QVL {
namespace Test {
namespace {

std::unique_ptr<FileTypeAvoidance> type(const std::string& text, AccessTypes access = AnyAccess) {
  return std::make_unique<FileTypeAvoidance>(text, access);
}

bool present(FileTypeDataSet& dataSet, const std::string& path,
             AccessTypes access = AccessTypes()) {
  LookupData request = fileRequest(path, access);
  return dataSet.isPresentInDataSet(request);
}

TEST(FileTypeDataSet, KeysThatDifferInCaseAreOne) {
  FileTypeDataSet dataSet;
  EXPECT_TRUE(dataSet.addToDataSet(type("TXT", ReadAccess)));
  EXPECT_FALSE(dataSet.addToDataSet(type("txt", WriteAccess)));
  EXPECT_FALSE(dataSet.addToDataSet(type("Txt", WriteAccess)));
  EXPECT_TRUE(present(dataSet, "/a.txt", ReadAccess)) << "the first rule stays";
  EXPECT_FALSE(present(dataSet, "/a.txt", WriteAccess));

  const auto same = type("tXt");
  EXPECT_TRUE(dataSet.removeFromDataSet(*same));
  EXPECT_FALSE(dataSet.removeFromDataSet(*same));
  EXPECT_FALSE(present(dataSet, "/a.txt", ReadAccess));
}

TEST(FileTypeDataSet, KeysAreOneWhateverTheCaseSetting) {
  FileTypeDataSet dataSet;
  dataSet.enableCaseSensitiveSearch();
  EXPECT_TRUE(dataSet.addToDataSet(type("TXT")));
  EXPECT_FALSE(dataSet.addToDataSet(type("txt")));
  EXPECT_TRUE(present(dataSet, "/a.TXT"));
  EXPECT_FALSE(present(dataSet, "/a.txt"));
}

TEST(FileTypeDataSet, KeysFoldAsTheGlobalLocaleDoesAtThatMoment) {
  Journal journal;
  FileTypeDataSet dataSet;
  EXPECT_TRUE(dataSet.addToDataSet(std::make_unique<ScriptedRule>("\xc0", journal)));
  {
    FoldingLocale locale;
    EXPECT_FALSE(dataSet.addToDataSet(std::make_unique<ScriptedRule>("\xe0", journal)));
    ScriptedRule other("\xe1", journal);
    EXPECT_FALSE(dataSet.removeFromDataSet(other));
  }
  EXPECT_TRUE(dataSet.addToDataSet(std::make_unique<ScriptedRule>("\xe0", journal)));
  ScriptedRule same("\xc0", journal);
  EXPECT_TRUE(dataSet.removeFromDataSet(same));
  {
    FoldingLocale locale;
    EXPECT_TRUE(dataSet.removeFromDataSet(same)) << "finds the other letter case now";
  }
}

TEST(FileTypeDataSet, IgnoresCaseAndMatchesWildcardsFromTheStart) {
  FileTypeDataSet dataSet;
  auto rule = type("d?c");
  rule->enableCaseSensitiveSearch();  // overruled by the data set
  rule->disableWildCardSearch();
  EXPECT_TRUE(dataSet.addToDataSet(std::move(rule)));
  EXPECT_TRUE(present(dataSet, "/a.DOC"));
  dataSet.enableCaseSensitiveSearch();
  EXPECT_FALSE(present(dataSet, "/a.DOC"));
  EXPECT_TRUE(present(dataSet, "/a.doc"));
  dataSet.disableWildCardSearch();
  EXPECT_FALSE(present(dataSet, "/a.doc"));
  EXPECT_TRUE(present(dataSet, "/a.c"));
}

TEST(FileTypeDataSet, HasNoKeywords) {
  FileTypeDataSet dataSet;
  dataSet.addToDataSet(type("%K%"));
  EXPECT_FALSE(dataSet.addOrUpdateKeyword("%K%", {"txt"}));
  EXPECT_FALSE(dataSet.deleteKeyword("%K%"));
  EXPECT_FALSE(present(dataSet, "/a.txt"));
  EXPECT_TRUE(present(dataSet, "/a.%K%"));
}

// --- The missing extension -----------------------------------------------------------------------

TEST(FileTypeDataSet, AsksTheFirstRuleAloneAboutAMissingExtension) {
  // The keys in lower case: "a", "B", "c".
  FileTypeDataSet dataSet;
  dataSet.enableMatchEmptyInput();
  dataSet.addToDataSet(type("c", AnyAccess));
  dataSet.addToDataSet(type("B", AnyAccess));
  EXPECT_TRUE(present(dataSet, "/Makefile", ReadAccess));
  dataSet.addToDataSet(type("a", WriteAccess));
  EXPECT_FALSE(present(dataSet, "/Makefile", ReadAccess)) << "the others are not asked";
  EXPECT_TRUE(present(dataSet, "/Makefile", WriteAccess));
  EXPECT_TRUE(present(dataSet, "/file.c", ReadAccess)) << "extensions are decided as ever";
  EXPECT_FALSE(present(dataSet, "/file.d", ReadAccess));
}

TEST(FileTypeDataSet, AMissingExtensionIsDecidedByAccessTypeInEveryBranch) {
  const struct {
    const char* what;
    bool checkAccess;
    unsigned char atDataSetLevel;
    AccessTypes kept;
  } branches[] = {
      {"by each rule", true, 0, AccessTypes()},
      {"at data-set level, the same", true, 1, WriteAccess},
      {"at data-set level, any", true, 1, AnyAccess},
      {"not at all", false, 0, AccessTypes()},
  };
  for (const auto& branch : branches) {
    FileTypeDataSet dataSet;
    dataSet.enableMatchEmptyInput();
    branch.checkAccess ? dataSet.enableCheckingOfAccessType()
                       : dataSet.disableCheckingOfAccessType();
    dataSet.checkAccessTypeAtDataSetLevelOnly(branch.atDataSetLevel, branch.kept);
    EXPECT_FALSE(present(dataSet, "/Makefile", WriteAccess)) << branch.what << ", without rules";

    const auto read = type("a", ReadAccess);
    dataSet.addToDataSet(type("a", ReadAccess));
    EXPECT_FALSE(present(dataSet, "/Makefile", WriteAccess)) << branch.what;
    dataSet.removeFromDataSet(*read);
    dataSet.addToDataSet(type("a", WriteAccess));
    EXPECT_TRUE(present(dataSet, "/Makefile", WriteAccess)) << branch.what;
    EXPECT_TRUE(present(dataSet, "", WriteAccess)) << branch.what;
    EXPECT_TRUE(present(dataSet, "/file.", WriteAccess)) << branch.what;
  }
}

TEST(FileTypeDataSet, OffersAMissingExtensionToAllRulesWhileItIsNotMatched) {
  FileTypeDataSet dataSet;
  dataSet.addToDataSet(type("a"));
  EXPECT_FALSE(present(dataSet, "/Makefile"));
  dataSet.addToDataSet(type("(x|)"));
  EXPECT_TRUE(present(dataSet, "/Makefile"));
}

TEST(FileTypeDataSet, TracesTheQuestionAboutAMissingExtension) {
  FileTypeDataSet dataSet;
  dataSet.enableMatchEmptyInput();
  dataSet.addToDataSet(type("a"));
  dataSet.addToDataSet(type("b"));
  for (int check = 0; check < 3; ++check) {
    if (check == 1) dataSet.checkAccessTypeAtDataSetLevelOnly(1, AnyAccess);
    if (check == 2) dataSet.disableCheckingOfAccessType();
    TraceRecorder trace;
    EXPECT_TRUE(present(dataSet, "/Makefile"));
    EXPECT_EQ(trace.take(),
              traced({"FileTypeDataSet::isPresentInDataSet\n", "FileTypeDataSet::isEmptyInput\n",
                      "FileTypeAvoidance::findFileExtension\n",
                      "FileTypeAvoidance::canAvoidWithAccessType\n",
                      "FileTypeAvoidance::findFileExtension\n", "Empty extension"}));
  }
}

TEST(FileTypeDataSet, WhatTheFirstRuleThrowsPasses) {
  Journal journal;
  FileTypeDataSet dataSet;
  dataSet.enableMatchEmptyInput();
  auto rule = std::make_unique<ScriptedRule>("a", journal);
  ScriptedRule* const kept = rule.get();
  kept->throwingOperation = "canAvoidWithAccessType";
  dataSet.addToDataSet(std::move(rule));
  EXPECT_THROW(present(dataSet, "/Makefile"), ScriptedFailure);
  kept->throwingOperation.clear();
  kept->avoidsWithAccessType = true;
  EXPECT_TRUE(present(dataSet, "/Makefile"));
}

}  // namespace
}  // namespace Test
}  // namespace QVL
