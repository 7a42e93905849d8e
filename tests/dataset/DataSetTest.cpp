// What all kinds of data set have in common: ownership, settings, exceptions, trace.

#include <gtest/gtest.h>

#include <memory>
#include <set>
#include <string>
#include <type_traits>
#include <utility>
#include <vector>

#include "qvl/qvl.h"
#include "tests/dataset/DataSetKinds.h"
#include "tests/support/Outcome.h"
#include "tests/support/Requests.h"
#include "tests/support/RuleKinds.h"
#include "tests/support/ScriptedRule.h"
#include "tests/support/TraceRecorder.h"

namespace QVL {
namespace Test {
namespace {

template <typename SetUnderTest>
class AnyDataSet : public ::testing::Test {
 protected:
  using Set = SetUnderTest;

  // Adds a scripted rule and keeps a pointer to it.
  ScriptedRule* add(const std::string& key) {
    auto rule = std::make_unique<ScriptedRule>(key, journal);
    ScriptedRule* const kept = rule.get();
    EXPECT_TRUE(dataSet.addToDataSet(std::move(rule))) << key;
    return kept;
  }

  Journal takeJournal() { return std::exchange(journal, {}); }

  static std::string line(const std::string& operation) {
    return std::string(Set::kClass) + "::" + operation + "\n";
  }
  static std::string ruleLine(const std::string& operation) {
    return std::string(Set::Kind::kClass) + "::" + operation + "\n";
  }

  // What a data set does to a rule that it is given, after the keywords.
  static Journal configured(const std::string& key) {
    return {key + ".setCaseSensitiveSearch(" + (Set::kCaseSensitive ? "1" : "0") + ")",
            key + ".setWildCardSearch(" + (Set::kWildCards ? "1" : "0") + ")", key + ".updateRegex",
            key + ".getKey"};
  }

  Journal journal;  // outlives the data set, whose rules write into it
  typename Set::DataSet dataSet;
};
TYPED_TEST_SUITE(AnyDataSet, AllDataSetKinds, KindName);

Journal operator+(Journal left, const Journal& right) {
  left.insert(left.end(), right.begin(), right.end());
  return left;
}

TYPED_TEST(AnyDataSet, IsNeitherCopiedNorMovedNorFinal) {
  using Class = typename TypeParam::DataSet;
  EXPECT_FALSE(std::is_copy_constructible<Class>::value);
  EXPECT_FALSE(std::is_move_constructible<Class>::value);
  EXPECT_FALSE(std::is_copy_assignable<Class>::value);
  EXPECT_FALSE(std::is_final<Class>::value);
  EXPECT_TRUE((std::is_base_of<IDataSet, Class>::value));
}

// --- Adding --------------------------------------------------------------------------------------

TYPED_TEST(AnyDataSet, ConfiguresARuleOnceBeforeItAsksForItsKey) {
  this->add("a");
  EXPECT_EQ(this->takeJournal(), this->configured("a"));
}

TYPED_TEST(AnyDataSet, GivesARuleItsKeywordsInOrderFirst) {
  this->dataSet.addOrUpdateKeyword("%Z%", {"z"});
  this->dataSet.addOrUpdateKeyword("%A%", {"b", "a"});
  this->dataSet.addOrUpdateKeyword("%M%", {"m"});
  this->add("r");
  const Journal keywords = TypeParam::kHasKeywords ? Journal{"r.addOrUpdateKeyword(%A%,a,b)",
                                                             "r.addOrUpdateKeyword(%M%,m)",
                                                             "r.addOrUpdateKeyword(%Z%,z)"}
                                                   : Journal{};
  EXPECT_EQ(this->takeJournal(), keywords + this->configured("r"));
}

TYPED_TEST(AnyDataSet, RefusesADuplicateKeyAfterConfiguringTheRule) {
  ScriptedRule* const first = this->add("a");
  this->dataSet.addOrUpdateKeyword("%K%", {"k"});
  this->takeJournal();

  auto second = std::make_unique<ScriptedRule>("a", this->journal);
  second->avoids = true;
  second->avoidsWithAccessType = true;
  EXPECT_FALSE(this->dataSet.addToDataSet(std::move(second)));
  EXPECT_EQ(second, nullptr) << "the data set took it all the same";
  const Journal keywords =
      TypeParam::kHasKeywords ? Journal{"a.addOrUpdateKeyword(%K%,k)"} : Journal{};
  EXPECT_EQ(this->takeJournal(), keywords + this->configured("a") + Journal{"a.destroyed"});

  // The first one stays and answers.
  this->dataSet.disableCheckingOfAccessType();
  LookupData request = TypeParam::Kind::request(TypeParam::Kind::kInput);
  EXPECT_FALSE(this->dataSet.isPresentInDataSet(request));
  first->avoids = true;
  EXPECT_TRUE(this->dataSet.isPresentInDataSet(request));
}

TYPED_TEST(AnyDataSet, RefusesThePointerToNoRule) {
  EXPECT_FALSE(this->dataSet.addToDataSet(nullptr));
  this->add("a");
}

TYPED_TEST(AnyDataSet, TakesTheCallersPointer) {
  std::unique_ptr<IAvoidance> rule = std::make_unique<ScriptedRule>("a", this->journal);
  EXPECT_TRUE(this->dataSet.addToDataSet(std::move(rule)));
  EXPECT_EQ(rule, nullptr);
}

TYPED_TEST(AnyDataSet, AddsARuleWhoseExpressionCannotBeBuilt) {
  auto rule = std::make_unique<ScriptedRule>("a", this->journal);
  rule->updates = false;
  rule->avoids = true;
  EXPECT_TRUE(this->dataSet.addToDataSet(std::move(rule)));
  this->dataSet.disableCheckingOfAccessType();
  LookupData request = TypeParam::Kind::request(TypeParam::Kind::kInput);
  EXPECT_TRUE(this->dataSet.isPresentInDataSet(request));
}

TYPED_TEST(AnyDataSet, AcceptsRulesOfEveryKind) {
  this->dataSet.disableCheckingOfAccessType();
  EXPECT_TRUE(this->dataSet.addToDataSet(FilePathKind::make(std::string("/path"))));
  EXPECT_TRUE(this->dataSet.addToDataSet(FolderKind::make(std::string("/folder/"))));
  EXPECT_TRUE(this->dataSet.addToDataSet(ProcessKind::make(std::string("process"))));
  EXPECT_TRUE(this->dataSet.addToDataSet(FileTypeKind::make(std::string("type"))));
  EXPECT_TRUE(this->dataSet.addToDataSet(FileAgeKind::make(std::string("x   -1"))));
  this->add("host");
  const struct {
    const char* path;
    const char* process;
    bool expected;
  } rows[] = {
      {"/path", "", true},
      {"/folder/f", "", true},
      {"/no/such/f", "process", true},
      {"/no/such/f.type", "", true},
      {"/", "", true},
      {"/no/such/f", "", false},
      {"/no/such/f.typ", "x", false},
  };
  for (const auto& row : rows) {
    LookupData request = fileRequest(row.path);
    request.m_processName = row.process;
    EXPECT_EQ(this->dataSet.isPresentInDataSet(request), row.expected)
        << row.path << " " << row.process;
  }
}

// --- Removing ------------------------------------------------------------------------------------

TYPED_TEST(AnyDataSet, RemovesTheRuleWithTheSameKey) {
  this->add("a")->avoids = true;
  this->add("b");
  this->takeJournal();
  {
    ScriptedRule same("a", this->journal);
    EXPECT_TRUE(this->dataSet.removeFromDataSet(same));
    EXPECT_EQ(this->takeJournal(), (Journal{"a.getKey", "a.destroyed"}));
    EXPECT_FALSE(this->dataSet.removeFromDataSet(same)) << "only once";
    EXPECT_EQ(this->takeJournal(), Journal{"a.getKey"});
  }
  ScriptedRule other("c", this->journal);
  EXPECT_FALSE(this->dataSet.removeFromDataSet(other));

  this->dataSet.disableCheckingOfAccessType();
  LookupData request = TypeParam::Kind::request(TypeParam::Kind::kInput);
  EXPECT_FALSE(this->dataSet.isPresentInDataSet(request)) << "no longer asked";
}

TYPED_TEST(AnyDataSet, RemovesARuleByReferenceToItself) {
  ScriptedRule* const held = this->add("a");
  this->takeJournal();
  EXPECT_TRUE(this->dataSet.removeFromDataSet(*held));
  EXPECT_EQ(this->takeJournal(), (Journal{"a.getKey", "a.destroyed"}));
}

TYPED_TEST(AnyDataSet, TakesAKeyAgainOnceItIsRemoved) {
  ScriptedRule* const held = this->add("a");
  EXPECT_TRUE(this->dataSet.removeFromDataSet(*held));
  this->add("a");
}

TYPED_TEST(AnyDataSet, DestroysItsRulesAtItsEnd) {
  Journal own;
  {
    typename TypeParam::DataSet owner;
    owner.addToDataSet(std::make_unique<ScriptedRule>("a", own));
    owner.addToDataSet(std::make_unique<ScriptedRule>("b", own));
    own.clear();
  }
  EXPECT_EQ((std::multiset<std::string>(own.begin(), own.end())),
            (std::multiset<std::string>{"a.destroyed", "b.destroyed"}));
}

// --- Settings pushed into the rules --------------------------------------------------------------

TYPED_TEST(AnyDataSet, PushesCaseAndWildcardSettingsIntoEveryRuleInKeyOrder) {
  this->add("b");
  this->add("a");
  const struct {
    const char* operation;
    void (IDataSet::*call)();
  } rows[] = {
      {"enableCaseSensitiveSearch", &IDataSet::enableCaseSensitiveSearch},
      {"disableCaseSensitiveSearch", &IDataSet::disableCaseSensitiveSearch},
      {"enableWildCardSearch", &IDataSet::enableWildCardSearch},
      {"disableWildCardSearch", &IDataSet::disableWildCardSearch},
  };
  for (const auto& row : rows) {
    for (int time = 0; time < 2; ++time) {  // also when the setting does not change
      this->takeJournal();
      (this->dataSet.*row.call)();
      const std::string operation = row.operation;
      EXPECT_EQ(this->takeJournal(),
                (Journal{"a." + operation, "a.updateRegex", "b." + operation, "b.updateRegex"}));
    }
  }
}

TYPED_TEST(AnyDataSet, GivesItsSettingsToRulesAddedLater) {
  this->dataSet.disableCaseSensitiveSearch();
  this->dataSet.disableWildCardSearch();
  this->add("a");
  EXPECT_EQ(this->takeJournal(), (Journal{"a.setCaseSensitiveSearch(0)", "a.setWildCardSearch(0)",
                                          "a.updateRegex", "a.getKey"}));
  this->dataSet.enableCaseSensitiveSearch();
  this->dataSet.enableWildCardSearch();
  this->takeJournal();
  this->add("b");
  EXPECT_EQ(this->takeJournal(), (Journal{"b.setCaseSensitiveSearch(1)", "b.setWildCardSearch(1)",
                                          "b.updateRegex", "b.getKey"}));
}

TYPED_TEST(AnyDataSet, SwitchesReachNoRule) {
  this->add("a");
  this->takeJournal();
  this->dataSet.disableDataSet();
  this->dataSet.enableDataSet();
  this->dataSet.enableMatchAnything();
  this->dataSet.disableMatchAnything();
  this->dataSet.enableMatchEmptyInput();
  this->dataSet.disableMatchEmptyInput();
  this->dataSet.disableCheckingOfAccessType();
  this->dataSet.enableCheckingOfAccessType();
  this->dataSet.checkAccessTypeAtDataSetLevelOnly(1, ReadAccess);
  EXPECT_EQ(this->takeJournal(), Journal{});
}

// --- Keywords ------------------------------------------------------------------------------------

TYPED_TEST(AnyDataSet, PushesAKeywordIntoEveryRuleInKeyOrder) {
  this->add("b");
  this->add("a");
  this->takeJournal();
  const bool takes = TypeParam::kHasKeywords;

  EXPECT_EQ(this->dataSet.addOrUpdateKeyword("%K%", {"y", "x"}), takes);
  EXPECT_EQ(this->takeJournal(), takes ? (Journal{"a.addOrUpdateKeyword(%K%,x,y)", "a.updateRegex",
                                                  "b.addOrUpdateKeyword(%K%,x,y)", "b.updateRegex"})
                                       : Journal{});
  EXPECT_EQ(this->dataSet.addOrUpdateKeyword("%K%", {"z"}), takes) << "replaced, not merged";
  EXPECT_EQ(this->takeJournal(), takes ? (Journal{"a.addOrUpdateKeyword(%K%,z)", "a.updateRegex",
                                                  "b.addOrUpdateKeyword(%K%,z)", "b.updateRegex"})
                                       : Journal{});
  this->add("c");
  EXPECT_EQ(this->takeJournal(),
            (takes ? Journal{"c.addOrUpdateKeyword(%K%,z)"} : Journal{}) + this->configured("c"));

  EXPECT_EQ(this->dataSet.deleteKeyword("%K%"), takes);
  EXPECT_EQ(this->takeJournal(),
            takes ? (Journal{"a.deleteKeyword(%K%)", "a.updateRegex", "b.deleteKeyword(%K%)",
                             "b.updateRegex", "c.deleteKeyword(%K%)", "c.updateRegex"})
                  : Journal{});
  EXPECT_FALSE(this->dataSet.deleteKeyword("%K%")) << "only once";
  EXPECT_EQ(this->takeJournal(), Journal{}) << "no rule is told or recompiled";
}

TYPED_TEST(AnyDataSet, RefusesKeywordsWithoutNameOrValues) {
  this->add("a");
  this->dataSet.addOrUpdateKeyword("%K%", {"k"});
  this->takeJournal();
  EXPECT_FALSE(this->dataSet.addOrUpdateKeyword("", {"x"}));
  EXPECT_FALSE(this->dataSet.addOrUpdateKeyword("%K%", {}));
  EXPECT_FALSE(this->dataSet.addOrUpdateKeyword("%N%", {}));
  EXPECT_FALSE(this->dataSet.addOrUpdateKeyword("", {}));
  EXPECT_FALSE(this->dataSet.deleteKeyword(""));
  EXPECT_FALSE(this->dataSet.deleteKeyword("%N%"));
  EXPECT_EQ(this->takeJournal(), Journal{}) << "rules untouched";
  this->add("b");
  EXPECT_EQ(this->takeJournal(),
            (TypeParam::kHasKeywords ? Journal{"b.addOrUpdateKeyword(%K%,k)"} : Journal{}) +
                this->configured("b"))
      << "keywords untouched";
}

TYPED_TEST(AnyDataSet, TakesKeywordsBeforeItHasRules) {
  EXPECT_EQ(this->dataSet.addOrUpdateKeyword("%K%", {"k"}), TypeParam::kHasKeywords);
  EXPECT_EQ(this->dataSet.deleteKeyword("%K%"), TypeParam::kHasKeywords);
}

TYPED_TEST(AnyDataSet, AcceptsAnEmptyKeywordValue) {
  this->dataSet.addOrUpdateKeyword("%K%", {""});
  this->add("a");
  EXPECT_EQ(this->takeJournal(),
            (TypeParam::kHasKeywords ? Journal{"a.addOrUpdateKeyword(%K%,)"} : Journal{}) +
                this->configured("a"));
}

// --- Key order -----------------------------------------------------------------------------------

TYPED_TEST(AnyDataSet, AsksRulesInKeyOrderUpToTheFirstThatMatches) {
  const bool foldsCase = std::is_same<TypeParam, FileTypeSet>::value;
  this->dataSet.disableCheckingOfAccessType();
  for (const char* key : {"b", "\xff", "a", "C", "ab", "z"}) this->add(key);
  LookupData request = TypeParam::Kind::request(TypeParam::Kind::kOtherInput);

  this->takeJournal();
  EXPECT_FALSE(this->dataSet.isPresentInDataSet(request));
  const Journal asked = foldsCase ? Journal{"a.canAvoid", "ab.canAvoid", "b.canAvoid",
                                            "C.canAvoid", "z.canAvoid",  "\xff.canAvoid"}
                                  : Journal{"C.canAvoid", "a.canAvoid", "ab.canAvoid",
                                            "b.canAvoid", "z.canAvoid", "\xff.canAvoid"};
  EXPECT_EQ(this->takeJournal(), asked);

  ScriptedRule same("ab", this->journal);
  this->dataSet.removeFromDataSet(same);
  this->add("ab")->avoids = true;
  this->takeJournal();
  EXPECT_TRUE(this->dataSet.isPresentInDataSet(request));
  EXPECT_EQ(this->takeJournal(), (foldsCase ? Journal{"a.canAvoid", "ab.canAvoid"}
                                            : Journal{"C.canAvoid", "a.canAvoid", "ab.canAvoid"}));
}

// --- Exceptions of rules -------------------------------------------------------------------------

TYPED_TEST(AnyDataSet, WhatARuleThrowsInALookupPassesAndLeavesTheMutexFree) {
  ScriptedRule* const rule = this->add("a");
  LookupData request = TypeParam::Kind::request(TypeParam::Kind::kOtherInput);

  this->dataSet.disableCheckingOfAccessType();
  rule->throwingOperation = "canAvoid";
  EXPECT_THROW(this->dataSet.isPresentInDataSet(request), ScriptedFailure);

  this->dataSet.checkAccessTypeAtDataSetLevelOnly(0, AnyAccess);
  this->dataSet.enableCheckingOfAccessType();
  rule->throwingOperation = "canAvoidWithAccessType";
  EXPECT_THROW(this->dataSet.isPresentInDataSet(request), ScriptedFailure);

  rule->throwingOperation.clear();
  rule->avoidsWithAccessType = true;
  EXPECT_TRUE(this->dataSet.isPresentInDataSet(request));
}

TYPED_TEST(AnyDataSet, WhatARuleThrowsWhileAddedPassesAndNothingIsAdded) {
  this->dataSet.addOrUpdateKeyword("%K%", {"k"});
  std::vector<std::string> operations = {"setCaseSensitiveSearch", "setWildCardSearch",
                                         "updateRegex", "getKey"};
  if (TypeParam::kHasKeywords) operations.push_back("addOrUpdateKeyword");
  for (const std::string& operation : operations) {
    auto rule = std::make_unique<ScriptedRule>("a", this->journal);
    rule->throwingOperation = operation;
    this->takeJournal();
    EXPECT_THROW(this->dataSet.addToDataSet(std::move(rule)), ScriptedFailure) << operation;
    ASSERT_FALSE(this->journal.empty());
    EXPECT_EQ(this->journal.back(), "a.destroyed") << operation;

    ScriptedRule same("a", this->journal);
    EXPECT_FALSE(this->dataSet.removeFromDataSet(same)) << "the mutex is free, the rule is not in";
  }
}

TYPED_TEST(AnyDataSet, WhatARuleThrowsWhileAddedLeavesTheRulesHeldAlone) {
  this->add("a")->avoids = true;
  auto rule = std::make_unique<ScriptedRule>("a", this->journal);
  rule->throwingOperation = "updateRegex";
  EXPECT_THROW(this->dataSet.addToDataSet(std::move(rule)), ScriptedFailure);
  this->dataSet.disableCheckingOfAccessType();
  LookupData request = TypeParam::Kind::request(TypeParam::Kind::kOtherInput);
  EXPECT_TRUE(this->dataSet.isPresentInDataSet(request));
}

TYPED_TEST(AnyDataSet, WhatARuleThrowsWhileRemovedPassesAndNothingIsRemoved) {
  ScriptedRule* const held = this->add("a");
  held->throwingOperation = "getKey";
  EXPECT_THROW(this->dataSet.removeFromDataSet(*held), ScriptedFailure);
  held->throwingOperation.clear();
  EXPECT_TRUE(this->dataSet.removeFromDataSet(*held)) << "the mutex is free, the rule still held";
}

TYPED_TEST(AnyDataSet, WhatARuleThrowsFromASettingPasses) {
  ScriptedRule* const held = this->add("a");
  held->throwingOperation = "updateRegex";
  EXPECT_THROW(this->dataSet.enableCaseSensitiveSearch(), ScriptedFailure);
  EXPECT_THROW(this->dataSet.disableCaseSensitiveSearch(), ScriptedFailure);
  EXPECT_THROW(this->dataSet.enableWildCardSearch(), ScriptedFailure);
  EXPECT_THROW(this->dataSet.disableWildCardSearch(), ScriptedFailure);
  if (TypeParam::kHasKeywords) {
    EXPECT_THROW(this->dataSet.addOrUpdateKeyword("%K%", {"k"}), ScriptedFailure);
    EXPECT_THROW(this->dataSet.deleteKeyword("%K%"), ScriptedFailure);
  }
}

// --- Real rules ----------------------------------------------------------------------------------

TYPED_TEST(AnyDataSet, HoldsRulesOfItsKind) {
  using Kind = typename TypeParam::Kind;
  this->dataSet.enableWildCardSearch();
  this->dataSet.disableCheckingOfAccessType();
  EXPECT_TRUE(this->dataSet.addToDataSet(Kind::make(std::string(Kind::kText))));
  LookupData match = Kind::request(Kind::kInput);
  LookupData other = Kind::request(Kind::kOtherInput);
  EXPECT_TRUE(this->dataSet.isPresentInDataSet(match));
  EXPECT_FALSE(this->dataSet.isPresentInDataSet(other));
  EXPECT_FALSE(this->dataSet.addToDataSet(Kind::make(std::string(Kind::kText))));
  const auto same = Kind::make(std::string(Kind::kText));
  EXPECT_TRUE(this->dataSet.removeFromDataSet(*same));
  EXPECT_FALSE(this->dataSet.isPresentInDataSet(match));
}

TYPED_TEST(AnyDataSet, ARuleThatCannotBeRecompiledKeepsItsExpressionAndIsStillAdded) {
  using Kind = typename TypeParam::Kind;
  this->dataSet.disableWildCardSearch();
  this->dataSet.disableCheckingOfAccessType();
  EXPECT_TRUE(this->dataSet.addToDataSet(Kind::make(std::string(Kind::kGlobOnly))));
  LookupData match = Kind::request(Kind::kGlobOnlyInput);
  EXPECT_TRUE(this->dataSet.isPresentInDataSet(match));
}

TYPED_TEST(AnyDataSet, ARuleThatCannotBeRecompiledByASwitchKeepsItsExpression) {
  using Kind = typename TypeParam::Kind;
  this->dataSet.enableWildCardSearch();
  this->dataSet.disableCheckingOfAccessType();
  EXPECT_TRUE(this->dataSet.addToDataSet(Kind::make(std::string(Kind::kGlobOnly))));
  this->dataSet.disableWildCardSearch();
  LookupData match = Kind::request(Kind::kGlobOnlyInput);
  EXPECT_TRUE(this->dataSet.isPresentInDataSet(match));
}

// --- Trace ---------------------------------------------------------------------------------------

TYPED_TEST(AnyDataSet, TracesItsConstructionAndDestruction) {
  using Kind = typename TypeParam::Kind;
  TraceRecorder trace;
  auto fresh = std::make_unique<typename TypeParam::DataSet>();
  EXPECT_EQ(trace.take(), traced({this->line(TypeParam::kClass)}));
  fresh.reset();
  EXPECT_EQ(trace.take(), traced({this->line("~" + std::string(TypeParam::kClass))}));

  fresh = std::make_unique<typename TypeParam::DataSet>();
  fresh->addToDataSet(Kind::make(std::string(Kind::kText)));
  trace.take();
  fresh.reset();
  EXPECT_EQ(trace.take(), traced({this->line("~" + std::string(TypeParam::kClass)),
                                  this->ruleLine("~" + std::string(Kind::kClass))}));
}

TYPED_TEST(AnyDataSet, SwitchesWriteNoTrace) {
  TraceRecorder trace;
  this->dataSet.disableDataSet();
  this->dataSet.enableDataSet();
  this->dataSet.enableMatchAnything();
  this->dataSet.disableMatchAnything();
  this->dataSet.enableMatchEmptyInput();
  this->dataSet.disableMatchEmptyInput();
  this->dataSet.disableCheckingOfAccessType();
  this->dataSet.enableCheckingOfAccessType();
  this->dataSet.checkAccessTypeAtDataSetLevelOnly(1, ReadAccess);
  EXPECT_EQ(trace.take(), "");
}

TYPED_TEST(AnyDataSet, TracesSettingsAndTheUpdateOfEachRule) {
  using Kind = typename TypeParam::Kind;
  const struct {
    const char* operation;
    void (IDataSet::*call)();
  } rows[] = {
      {"enableCaseSensitiveSearch", &IDataSet::enableCaseSensitiveSearch},
      {"disableCaseSensitiveSearch", &IDataSet::disableCaseSensitiveSearch},
      {"enableWildCardSearch", &IDataSet::enableWildCardSearch},
      {"disableWildCardSearch", &IDataSet::disableWildCardSearch},
  };
  TraceRecorder trace;
  for (const auto& row : rows) {
    (this->dataSet.*row.call)();
    EXPECT_EQ(trace.take(), traced({this->line(row.operation)}));
  }
  this->dataSet.addToDataSet(Kind::make(std::string(Kind::kText)));
  this->dataSet.addToDataSet(Kind::make(std::string(Kind::kGlobOnly)));
  trace.take();
  for (const auto& row : rows) {
    (this->dataSet.*row.call)();
    EXPECT_EQ(trace.take(), traced({this->line(row.operation), this->ruleLine("updateRegex"),
                                    this->ruleLine("updateRegex")}));
  }
}

TYPED_TEST(AnyDataSet, TracesKeywordsAndTheUpdateOfEachRule) {
  using Kind = typename TypeParam::Kind;
  this->dataSet.addToDataSet(Kind::make(std::string(Kind::kText)));
  const std::string add = this->line("addOrUpdateKeyword");
  const std::string remove = this->line("deleteKeyword");
  TraceRecorder trace;
  this->dataSet.addOrUpdateKeyword("", {"x"});
  EXPECT_EQ(trace.take(), traced({add}));
  this->dataSet.addOrUpdateKeyword("%K%", {});
  EXPECT_EQ(trace.take(), traced({add}));
  this->dataSet.addOrUpdateKeyword("%K%", {"x"});
  EXPECT_EQ(trace.take(),
            TypeParam::kHasKeywords
                ? traced({add, this->ruleLine("addOrUpdateKeyword"), this->ruleLine("updateRegex")})
                : traced({add}));
  this->dataSet.deleteKeyword("%N%");
  EXPECT_EQ(trace.take(), traced({remove}));
  this->dataSet.deleteKeyword("%K%");
  EXPECT_EQ(trace.take(), TypeParam::kHasKeywords ? traced({remove, this->ruleLine("deleteKeyword"),
                                                            this->ruleLine("updateRegex")})
                                                  : traced({remove}));
}

TYPED_TEST(AnyDataSet, TracesTheAdditionAndRemovalOfARule) {
  using Kind = typename TypeParam::Kind;
  const std::vector<std::string> key = Kind::kTracesGetKey
                                           ? std::vector<std::string>{this->ruleLine("getKey")}
                                           : std::vector<std::string>{};
  const auto lines = [](std::vector<std::string> first, const std::vector<std::string>& second,
                        const std::vector<std::string>& third) {
    first.insert(first.end(), second.begin(), second.end());
    first.insert(first.end(), third.begin(), third.end());
    return traced(first);
  };
  const std::string destroyed = this->ruleLine("~" + std::string(Kind::kClass));
  this->dataSet.addOrUpdateKeyword("%B%", {"x"});
  this->dataSet.addOrUpdateKeyword("%A%", {"x"});
  std::vector<std::string> configured = {this->line("addToDataSet")};
  if (TypeParam::kHasKeywords) {
    configured.insert(configured.end(), 2, this->ruleLine("addOrUpdateKeyword"));
  }
  configured.push_back(this->ruleLine("updateRegex"));

  auto rule = Kind::make(std::string(Kind::kText));
  auto duplicate = Kind::make(std::string(Kind::kText));
  const auto same = Kind::make(std::string(Kind::kText));
  TraceRecorder trace;
  EXPECT_TRUE(this->dataSet.addToDataSet(std::move(rule)));
  EXPECT_EQ(trace.take(), lines(configured, key, {}));
  EXPECT_FALSE(this->dataSet.addToDataSet(std::move(duplicate)));
  EXPECT_EQ(trace.take(), lines(configured, key, {destroyed}));
  EXPECT_TRUE(this->dataSet.removeFromDataSet(*same));
  EXPECT_EQ(trace.take(), lines({this->line("removeFromDataSet")}, key, {destroyed}));
  EXPECT_FALSE(this->dataSet.removeFromDataSet(*same));
  EXPECT_EQ(trace.take(), lines({this->line("removeFromDataSet")}, key, {}));
}

}  // namespace
}  // namespace Test
}  // namespace QVL
