// What all kinds of rule have in common: construction, trace, settings, access types.

#include <gtest/gtest.h>

#include <memory>
#include <set>
#include <string>
#include <type_traits>
#include <vector>

#include "qvl/qvl.h"
#include "tests/support/Outcome.h"
#include "tests/support/Requests.h"
#include "tests/support/RuleKinds.h"
#include "tests/support/TraceRecorder.h"

namespace QVL {
namespace Test {
namespace {

template <typename KindUnderTest>
class Rule : public ::testing::Test {
 protected:
  using Kind = KindUnderTest;

  static std::string line(const std::string& operation) {
    return std::string(Kind::kClass) + "::" + operation + "\n";
  }
  static std::string narrowLine() {
    return std::string(Kind::kClass) + "::" + Kind::kClass + Kind::kNarrowLine;
  }
  static std::string wideLine() {
    return std::string(Kind::kClass) + "::" + Kind::kClass + Kind::kWideLine;
  }
};
TYPED_TEST_SUITE(Rule, AllRuleKinds, KindName);

TYPED_TEST(Rule, IsNeitherCopiedNorMovedNorFinal) {
  using Class = typename TypeParam::Rule;
  EXPECT_FALSE(std::is_copy_constructible<Class>::value);
  EXPECT_FALSE(std::is_move_constructible<Class>::value);
  EXPECT_FALSE(std::is_copy_assignable<Class>::value);
  EXPECT_FALSE(std::is_final<Class>::value);
  EXPECT_TRUE((std::is_base_of<IAvoidance, Class>::value));
}

// --- Construction --------------------------------------------------------------------------------

TYPED_TEST(Rule, TracesItsConstructionAndDestruction) {
  TraceRecorder trace;
  auto rule = TypeParam::make(std::string(TypeParam::kText));
  EXPECT_EQ(trace.take(),
            traced({this->narrowLine(), this->line("validate"), this->line("updateRegex")}));
  rule.reset();
  EXPECT_EQ(trace.take(), traced({this->line("~" + std::string(TypeParam::kClass))}));

  rule = TypeParam::make(widened(TypeParam::kText));
  EXPECT_EQ(trace.take(),
            traced({this->wideLine(), this->line("validate"), this->line("updateRegex")}));
  rule.reset();
  EXPECT_EQ(trace.take(), traced({this->line("~" + std::string(TypeParam::kClass))}));
}

TYPED_TEST(Rule, RefusedTextThrowsAndWritesNoDestructorLine) {
  TraceRecorder trace;
  for (const char* text : TypeParam::kRefused) {
    EXPECT_EQ(thrownBy([&] { TypeParam::make(std::string(text)); }), TypeParam::kRefusedMessage)
        << text;
    EXPECT_EQ(trace.take(), traced({this->narrowLine(), this->line("validate")})) << text;

    EXPECT_EQ(thrownBy([&] { TypeParam::make(widened(text)); }), TypeParam::kWideRefusedMessage)
        << text;
    EXPECT_EQ(trace.take(), traced({this->wideLine(), this->line("validate")})) << text;
  }
}

TYPED_TEST(Rule, UnbuildableTextThrowsAndWritesNoDestructorLine) {
  TraceRecorder trace;
  const std::string text = TypeParam::kUnbuildable;
  EXPECT_EQ(thrownBy([&] { TypeParam::make(text); }), TypeParam::kNotBuiltMessage);
  EXPECT_EQ(trace.take(),
            traced({this->narrowLine(), this->line("validate"), this->line("updateRegex")}));

  EXPECT_EQ(thrownBy([&] { TypeParam::make(widened(text)); }), TypeParam::kWideNotBuiltMessage);
  EXPECT_EQ(trace.take(),
            traced({this->wideLine(), this->line("validate"), this->line("updateRegex")}));
}

TYPED_TEST(Rule, WideAndNarrowTextMakeTheSameRule) {
  const auto narrow = TypeParam::make(std::string(TypeParam::kText));
  const auto wide = TypeParam::make(widened(TypeParam::kText));
  EXPECT_EQ(wide->getKey(), narrow->getKey());
  LookupData match = TypeParam::request(TypeParam::kInput);
  LookupData other = TypeParam::request(TypeParam::kOtherInput);
  EXPECT_TRUE(narrow->canAvoid(match));
  EXPECT_TRUE(wide->canAvoid(match));
  EXPECT_FALSE(narrow->canAvoid(other));
  EXPECT_FALSE(wide->canAvoid(other));
}

// --- Key -----------------------------------------------------------------------------------------

TYPED_TEST(Rule, KeyIsTheRuleTextAsGiven) {
  const auto rule = TypeParam::make(std::string(TypeParam::kText));
  TraceRecorder trace;
  EXPECT_EQ(rule->getKey(), TypeParam::kText);
  EXPECT_EQ(trace.take(), TypeParam::kTracesGetKey ? traced({this->line("getKey")}) : "");
}

// --- validate ------------------------------------------------------------------------------------

TYPED_TEST(Rule, ValidateRefusesBadTextAndChangesNothing) {
  const auto rule = TypeParam::make(std::string(TypeParam::kText), ReadAccess);
  TraceRecorder trace;
  for (const char* text : TypeParam::kRefused) {
    EXPECT_FALSE(rule->validate(text, WriteAccess)) << text;
    EXPECT_EQ(trace.take(), traced({this->line("validate")})) << text;
  }
  EXPECT_EQ(rule->getKey(), TypeParam::kText);
  LookupData read = TypeParam::request(TypeParam::kInput, ReadAccess);
  LookupData write = TypeParam::request(TypeParam::kInput, WriteAccess);
  EXPECT_TRUE(rule->canAvoidWithAccessType(read, false));
  EXPECT_FALSE(rule->canAvoidWithAccessType(write, false));
}

TYPED_TEST(Rule, ValidateStoresTextAndAccessType) {
  const auto rule = TypeParam::make(std::string(TypeParam::kGlobOnly), ReadAccess);
  TraceRecorder trace;
  EXPECT_TRUE(rule->validate(TypeParam::kText, WriteAccess));
  EXPECT_EQ(trace.take(), traced({this->line("validate")}));
  EXPECT_EQ(rule->getKey(), TypeParam::kText);
  EXPECT_TRUE(rule->updateRegex());
  LookupData read = TypeParam::request(TypeParam::kInput, ReadAccess);
  LookupData write = TypeParam::request(TypeParam::kInput, WriteAccess);
  EXPECT_FALSE(rule->canAvoidWithAccessType(read, false));
  EXPECT_TRUE(rule->canAvoidWithAccessType(write, false));
}

TYPED_TEST(Rule, ValidateAcceptsTextThatCannotBeCompiled) {
  const auto rule = TypeParam::make(std::string(TypeParam::kText));
  EXPECT_TRUE(rule->validate(TypeParam::kUnbuildable, AnyAccess));
  EXPECT_EQ(rule->getKey(), TypeParam::kUnbuildable);
  EXPECT_FALSE(rule->updateRegex());
}

// --- Lookup --------------------------------------------------------------------------------------

TYPED_TEST(Rule, MatchesItsInputAndNoOther) {
  const auto rule = TypeParam::make(std::string(TypeParam::kText));
  LookupData match = TypeParam::request(TypeParam::kInput);
  LookupData other = TypeParam::request(TypeParam::kOtherInput);
  for (const bool flag : {false, true}) {
    EXPECT_TRUE(rule->canAvoid(match));
    EXPECT_TRUE(rule->canAvoidWithAccessType(match, flag));
    EXPECT_FALSE(rule->canAvoid(other));
    EXPECT_FALSE(rule->canAvoidWithAccessType(other, flag));
  }
  EXPECT_TRUE(match.m_matchIdentifiers.empty()) << "recording is the manager's";
}

TYPED_TEST(Rule, NeverMatchesARequestOfAnotherType) {
  const auto rule = TypeParam::make(std::string(TypeParam::kText));
  ForeignRequest foreign;
  EXPECT_FALSE(rule->canAvoid(foreign));
  EXPECT_FALSE(rule->canAvoidWithAccessType(foreign, false));
  EXPECT_FALSE(rule->canAvoidWithAccessType(foreign, true));
}

TYPED_TEST(Rule, MatchesAHostsOwnLookupData) {
  const auto rule = TypeParam::make(std::string(TypeParam::kText));
  HostRequest request(TypeParam::request(TypeParam::kInput));
  EXPECT_TRUE(rule->canAvoid(request));
  EXPECT_TRUE(rule->canAvoidWithAccessType(request, false));
}

TYPED_TEST(Rule, ComparesAccessTypesForEqualityWithOneWildcardOnItsOwnSide) {
  const std::uint32_t any = 3;
  const std::uint32_t largest = 4294967295U;
  const struct {
    std::uint32_t rule;
    std::uint32_t request;
    bool expected;
  } rows[] = {
      {1, 1, true},
      {1, 2, false},
      {1, any, false},
      {1, 0, false},
      {1, largest, false},
      {2, 2, true},
      {2, 1, false},
      {2, any, false},
      {0, 0, true},
      {0, 1, false},
      {any, 0, true},
      {any, 1, true},
      {any, 2, true},
      {any, any, true},
      {any, 77, true},
      {any, largest, true},
      {largest, largest, true},
      {largest, any, false},
      {77, 77, true},
      {77, 76, false},
      {7, 3, false},
      {2147483648U, 2147483648U, true},
      {2147483648U, 0, false},
  };
  for (const auto& row : rows) {
    const auto rule = TypeParam::make(std::string(TypeParam::kText), accessType(row.rule));
    LookupData match = TypeParam::request(TypeParam::kInput, accessType(row.request));
    LookupData other = TypeParam::request(TypeParam::kOtherInput, accessType(row.request));
    for (const bool flag : {false, true}) {
      EXPECT_EQ(rule->canAvoidWithAccessType(match, flag), row.expected)
          << "rule " << row.rule << ", request " << row.request << ", flag " << flag;
      EXPECT_FALSE(rule->canAvoidWithAccessType(other, flag))
          << "rule " << row.rule << ", request " << row.request << ", flag " << flag;
    }
    EXPECT_TRUE(rule->canAvoid(match)) << "without regard to access types";
  }
}

// --- Settings ------------------------------------------------------------------------------------

TYPED_TEST(Rule, SettersWriteNoTraceAndDoNotRecompile) {
  const auto rule = TypeParam::make(std::string(TypeParam::kGlobOnly));
  LookupData match = TypeParam::request(TypeParam::kGlobOnlyInput);
  TraceRecorder trace;
  rule->enableCaseSensitiveSearch();
  rule->disableCaseSensitiveSearch();
  rule->setCaseSensitiveSearch(1);
  rule->enableWildCardSearch();
  rule->setWildCardSearch(1);
  rule->setWildCardSearch(0);
  rule->disableWildCardSearch();
  EXPECT_EQ(trace.take(), "");
  EXPECT_TRUE(rule->canAvoid(match));
}

TYPED_TEST(Rule, AnExpressionThatCannotBeBuiltLeavesTheOldInForce) {
  const auto rule = TypeParam::make(std::string(TypeParam::kGlobOnly));
  LookupData match = TypeParam::request(TypeParam::kGlobOnlyInput);
  ASSERT_TRUE(rule->canAvoid(match));
  rule->disableWildCardSearch();
  TraceRecorder trace;
  EXPECT_FALSE(rule->updateRegex());
  EXPECT_EQ(trace.take(), traced({this->line("updateRegex")}));
  EXPECT_TRUE(rule->canAvoid(match));
  rule->enableWildCardSearch();
  trace.take();
  EXPECT_TRUE(rule->updateRegex());
  EXPECT_EQ(trace.take(), traced({this->line("updateRegex")}));
  EXPECT_TRUE(rule->canAvoid(match));
}

TYPED_TEST(Rule, EveryNonZeroByteSwitchesWildCardsOn) {
  const auto rule = TypeParam::make(std::string(TypeParam::kGlobOnly));
  for (const unsigned char value : std::vector<unsigned char>{1, 2, 128, 255}) {
    rule->setWildCardSearch(value);
    EXPECT_TRUE(rule->updateRegex()) << int{value};
  }
  rule->setWildCardSearch(0);
  EXPECT_FALSE(rule->updateRegex());
}

// --- Keywords ------------------------------------------------------------------------------------

TYPED_TEST(Rule, KeywordOperationsTraceThemselvesOnly) {
  const auto rule = TypeParam::make(std::string(TypeParam::kText));
  TraceRecorder trace;
  rule->addOrUpdateKeyword("%K%", {"a", "b"});
  EXPECT_EQ(trace.take(), traced({this->line("addOrUpdateKeyword")}));
  rule->addOrUpdateKeyword("", {"a"});
  EXPECT_EQ(trace.take(), traced({this->line("addOrUpdateKeyword")}));
  rule->addOrUpdateKeyword("%K%", {});
  EXPECT_EQ(trace.take(), traced({this->line("addOrUpdateKeyword")}));
  rule->deleteKeyword("%K%");
  EXPECT_EQ(trace.take(), traced({this->line("deleteKeyword")}));
  rule->deleteKeyword("%unknown%");
  EXPECT_EQ(trace.take(), traced({this->line("deleteKeyword")}));
}

// --- A host's derived rule -----------------------------------------------------------------------

TYPED_TEST(Rule, ConstructionFailureLeavesNothingBehindForAnotherAttempt) {
  for (int attempt = 0; attempt < 3; ++attempt) {
    EXPECT_EQ(thrownBy([&] { TypeParam::make(std::string(TypeParam::kUnbuildable)); }),
              TypeParam::kNotBuiltMessage);
    EXPECT_EQ(thrownBy([&] { TypeParam::make(std::string(TypeParam::kText)); }), "nothing");
  }
}

// --- Invalid UTF-8 in the rule text --------------------------------------------------------------

TYPED_TEST(Rule, TextThatIsNotUtf8CannotBeBuilt) {
  const char* const invalid[] = {
      "\xff",  // no such byte
      "\xfe",  // nor this
      "\x80",  // continuation byte without a first byte
      "a\x80",
      "\xc3",  // first byte without its continuation
      "a\xc3z",
      "\xe2\x82",  // two of three
      "\xe2\x82z",
      "\xf0\x9f\x98",  // three of four
      "\xc0\xaf",      // longer than need be
      "\xe0\x80\xaf",
      "\xf0\x80\x80\xaf",
      "\xed\xa0\x80",      // surrogate
      "\xf4\x90\x80\x80",  // above U+10FFFF
      "\xf8\x88\x80\x80\x80",
  };
  const bool isFolder = std::is_same<TypeParam, FolderKind>::value;
  for (const char* text : invalid) {
    const std::string whole = std::string(text) + (isFolder ? "/" : "");
    EXPECT_EQ(thrownBy([&] { TypeParam::make(whole); }), TypeParam::kNotBuiltMessage)
        << shown(whole);
  }
}

}  // namespace
}  // namespace Test
}  // namespace QVL
