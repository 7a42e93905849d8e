#include <gtest/gtest.h>

#include <memory>
#include <string>
#include <vector>

#include "qvl/qvl.h"
#include "tests/support/Outcome.h"
#include "tests/support/Requests.h"
#include "tests/support/ScriptedRule.h"
#include "tests/support/TestFile.h"
#include "tests/support/TraceRecorder.h"

namespace QVL {
namespace Test {
namespace {

constexpr const char* kPresent = "FileAgeDataSet::isPresentInDataSet\n";
constexpr const char* kNoCheck =
    "FileAgeDataSet::isPresentInDataSet, m_checkAccessType is not enabled.\n";
constexpr const char* kCheck =
    "FileAgeDataSet::isPresentInDataSet, m_checkAccessType is enabled.\n";
constexpr const char* kByRule =
    "FileAgeDataSet::isPresentInDataSet, m_checkAccessTypeAtDataSetLevelOnly is not enabled.\n";
constexpr const char* kAtDataSetLevel =
    "FileAgeDataSet::isPresentInDataSet, m_checkAccessTypeAtDataSetLevelOnly is enabled.\n";
constexpr const char* kMatched =
    "FileAgeDataSet::isPresentInDataSet, lookupData matched for this dataset. canAvoid() returned "
    "true.\n";
constexpr const char* kMatchedWithAccess =
    "FileAgeDataSet::isPresentInDataSet, lookupData matched for this dataset. "
    "canAvoidWithAccessType() returned true.\n";
constexpr const char* kEmptyInput = "FileAgeDataSet::isEmptyInput\n";
constexpr const char* kNoStatus = "Unable to do stat for the file";

using Lines = std::vector<std::string>;

enum class Check { ByRule, AtDataSetLevel, None };

void configure(FileAgeDataSet& dataSet, Check check) {
  if (check == Check::AtDataSetLevel) dataSet.checkAccessTypeAtDataSetLevelOnly(1, ReadAccess);
  if (check == Check::None) dataSet.disableCheckingOfAccessType();
}

Lines linesOf(Check check) {
  if (check == Check::ByRule) return {kPresent, kCheck, kByRule};
  if (check == Check::AtDataSetLevel) return {kPresent, kCheck, kAtDataSetLevel};
  return {kPresent, kNoCheck};
}

Lines operator+(Lines left, const Lines& right) {
  left.insert(left.end(), right.begin(), right.end());
  return left;
}

const Check kChecks[] = {Check::ByRule, Check::AtDataSetLevel, Check::None};

TEST(FileAgeDataSet, ExcludesOldFiles) {
  TestFile file;
  FileAgeDataSet dataSet;
  dataSet.addToDataSet(std::make_unique<FileAgeAvoidance>("1   30", ReadAccess));
  dataSet.addToDataSet(std::make_unique<FileAgeAvoidance>("1   60", WriteAccess));
  const struct {
    long days;
    AccessTypes access;
    bool expected;
  } rows[] = {
      {29, ReadAccess, false}, {31, ReadAccess, true},     {31, WriteAccess, false},
      {61, WriteAccess, true}, {61, accessType(0), false},
  };
  for (const auto& row : rows) {
    file.setModified(row.days * kDay);
    LookupData request = fileRequest(file.path(), row.access);
    EXPECT_EQ(dataSet.isPresentInDataSet(request), row.expected)
        << row.days << " days, access " << row.access;
  }
}

TEST(FileAgeDataSet, TracesEveryStepOfADecisionByItsRules) {
  for (const Check check : kChecks) {
    Journal journal;
    FileAgeDataSet dataSet;
    configure(dataSet, check);
    LookupData request = fileRequest("/no/such/file", ReadAccess);
    TraceRecorder trace;
    EXPECT_FALSE(dataSet.isPresentInDataSet(request));
    EXPECT_EQ(trace.take(), traced(linesOf(check))) << "without rules";

    auto owned = std::make_unique<ScriptedRule>("rule", journal);
    ScriptedRule* const rule = owned.get();
    dataSet.addToDataSet(std::move(owned));
    trace.take();
    EXPECT_FALSE(dataSet.isPresentInDataSet(request));
    EXPECT_EQ(trace.take(), traced(linesOf(check))) << "no rule matches";

    rule->avoids = true;
    rule->avoidsWithAccessType = true;
    EXPECT_TRUE(dataSet.isPresentInDataSet(request));
    EXPECT_EQ(trace.take(), traced(linesOf(check) +
                                   Lines{check == Check::ByRule ? kMatchedWithAccess : kMatched}));
  }
}

TEST(FileAgeDataSet, TracesTheRoadThroughRealRules) {
  TestFile file;
  file.setModified(31 * kDay);
  FileAgeDataSet dataSet;
  dataSet.addToDataSet(std::make_unique<FileAgeAvoidance>("1   30", AnyAccess));
  LookupData request = fileRequest(file.path());
  TraceRecorder trace;
  EXPECT_TRUE(dataSet.isPresentInDataSet(request));
  EXPECT_EQ(trace.take(),
            traced({kPresent, kCheck, kByRule, "FilePathAvoidance::canAvoidWithAccessType\n",
                    "FileAgeAvoidance::canAvoid, File to be checked : " + file.path(),
                    "FileAgeAvoidance::canAvoid, m_fileAge : 1   30\n",
                    "Treating this file as to be excluded based on file age exclusion.",
                    kMatchedWithAccess}));
  dataSet.disableCheckingOfAccessType();
  EXPECT_TRUE(dataSet.isPresentInDataSet(request));
  EXPECT_EQ(
      trace.take(),
      traced({kPresent, kNoCheck, "FileAgeAvoidance::canAvoid, File to be checked : " + file.path(),
              "FileAgeAvoidance::canAvoid, m_fileAge : 1   30\n",
              "Treating this file as to be excluded based on file age exclusion.", kMatched}));
}

TEST(FileAgeDataSet, TracesNothingMoreWhenSwitchedOffOrAskedAboutAnotherTypeOfRequest) {
  for (const Check check : kChecks) {
    FileAgeDataSet dataSet;
    configure(dataSet, check);
    ForeignRequest foreign;
    LookupData request = fileRequest("/", ReadAccess);
    TraceRecorder trace;
    EXPECT_FALSE(dataSet.isPresentInDataSet(foreign));
    EXPECT_EQ(trace.take(), traced({kPresent}));
    dataSet.disableDataSet();
    EXPECT_FALSE(dataSet.isPresentInDataSet(request));
    EXPECT_EQ(trace.take(), traced({kPresent}));
  }
}

TEST(FileAgeDataSet, TracesAnAccessTypeThatDoesNotFit) {
  FileAgeDataSet dataSet;
  dataSet.enableMatchAnything();
  dataSet.checkAccessTypeAtDataSetLevelOnly(1, WriteAccess);
  LookupData request = fileRequest("/", ReadAccess);
  TraceRecorder trace;
  EXPECT_FALSE(dataSet.isPresentInDataSet(request));
  EXPECT_EQ(trace.take(), traced({kPresent, kCheck, kAtDataSetLevel}));
}

TEST(FileAgeDataSet, TracesNoMatchWhenItMatchesAnything) {
  for (const Check check : kChecks) {
    FileAgeDataSet dataSet;
    configure(dataSet, check);
    dataSet.enableMatchAnything();
    dataSet.enableMatchEmptyInput();
    LookupData request = fileRequest("", ReadAccess);
    TraceRecorder trace;
    EXPECT_TRUE(dataSet.isPresentInDataSet(request));
    EXPECT_EQ(trace.take(), traced(linesOf(check)));
  }
}

TEST(FileAgeDataSet, MatchingEmptyInputDecidesNothingAndIsTraced) {
  const struct {
    const char* path;
    Lines test;
  } rows[] = {
      {"/", {kEmptyInput}},
      {"", {kEmptyInput, kNoStatus}},
      {"/no/such/file", {kEmptyInput, kNoStatus}},
  };
  for (const Check check : kChecks) {
    for (const auto& row : rows) {
      Journal journal;
      FileAgeDataSet dataSet;
      configure(dataSet, check);
      dataSet.enableMatchEmptyInput();
      auto owned = std::make_unique<ScriptedRule>("rule", journal);
      ScriptedRule* const rule = owned.get();
      dataSet.addToDataSet(std::move(owned));
      LookupData request = fileRequest(row.path, ReadAccess);
      TraceRecorder trace;
      EXPECT_FALSE(dataSet.isPresentInDataSet(request)) << row.path;
      EXPECT_EQ(trace.take(), traced(linesOf(check) + row.test)) << row.path;
      rule->avoids = true;
      rule->avoidsWithAccessType = true;
      EXPECT_TRUE(dataSet.isPresentInDataSet(request)) << row.path;
      EXPECT_EQ(trace.take(), traced(linesOf(check) + row.test +
                                     Lines{check == Check::ByRule ? kMatchedWithAccess : kMatched}))
          << row.path;
    }
  }
}

TEST(FileAgeDataSet, KeepsItsRulesInByteOrderOfTheirTexts) {
  FileAgeDataSet dataSet;
  EXPECT_TRUE(dataSet.addToDataSet(std::make_unique<FileAgeAvoidance>("x   -1", AnyAccess)));
  EXPECT_TRUE(dataSet.addToDataSet(std::make_unique<FileAgeAvoidance>("X   -1", AnyAccess)));
  EXPECT_FALSE(dataSet.addToDataSet(std::make_unique<FileAgeAvoidance>("x   -1", ReadAccess)));
}

}  // namespace
}  // namespace Test
}  // namespace QVL
