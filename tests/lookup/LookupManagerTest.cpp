#include <gtest/gtest.h>

#include <memory>
#include <stdexcept>
#include <string>
#include <type_traits>
#include <vector>

#include "qvl/qvl.h"
#include "tests/lookup/Rig.h"
#include "tests/support/Outcome.h"
#include "tests/support/Requests.h"
#include "tests/support/ScriptedDataSet.h"
#include "tests/support/TraceRecorder.h"

namespace QVL {
namespace Test {
namespace {

constexpr const char* kNoLogic = "3: Business logic can't be empty.";
constexpr const char* kWrongLength = "3: Business logic length is wrong.";

std::shared_ptr<IDataSet> answering(bool answer) {
  return std::make_shared<ScriptedDataSet>([answer](ILookupData&) { return answer; });
}

static_assert(!std::is_copy_constructible<LookupManager>::value, "a manager is not copied");
static_assert(!std::is_move_constructible<LookupManager>::value, "a manager is not moved");
static_assert(!std::is_final<LookupManager>::value, "a host may derive from the manager");

// --- Registry ------------------------------------------------------------------------------------

TEST(LookupManagerRegistry, TakesAFreeNumberAndLeavesATakenOneAlone) {
  LookupManager manager;
  manager.defineBusinessLogic("7");
  LookupData request;

  EXPECT_TRUE(manager.assignDataSet(answering(true), 7, kKeep));
  EXPECT_FALSE(manager.assignDataSet(answering(false), 7, kKeep));
  EXPECT_TRUE(manager.isPresent(request)) << "the first data set stays";

  EXPECT_FALSE(manager.assignDataSet(answering(false), 7, kReplace));
  EXPECT_FALSE(manager.isPresent(request)) << "the replacement answers";
}

TEST(LookupManagerRegistry, ReplacingAFreeNumberRegistersAndAnswersFalse) {
  LookupManager manager;
  manager.defineBusinessLogic("7");
  LookupData request;

  EXPECT_FALSE(manager.assignDataSet(answering(true), 7, kReplace));
  EXPECT_TRUE(manager.isPresent(request));
  EXPECT_FALSE(manager.assignDataSet(answering(true), 7, kKeep)) << "the number is taken now";
}

TEST(LookupManagerRegistry, AnyNonZeroByteReplaces) {
  for (const unsigned char replace : std::vector<unsigned char>{1, 2, 128, 255}) {
    LookupManager manager;
    manager.defineBusinessLogic("7");
    LookupData request;
    manager.assignDataSet(answering(false), 7, kKeep);
    EXPECT_FALSE(manager.assignDataSet(answering(true), 7, replace)) << int{replace};
    EXPECT_TRUE(manager.isPresent(request)) << int{replace};
  }
}

TEST(LookupManagerRegistry, AcceptsEveryNumber) {
  for (const unsigned int number : {0U, 1U, 2147483647U, 2147483648U, 4294967295U}) {
    LookupManager manager;
    EXPECT_TRUE(manager.assignDataSet(answering(true), number, kKeep));
    manager.defineBusinessLogic(std::to_string(number));
    LookupData request;
    EXPECT_TRUE(manager.isPresent(request)) << number;
    EXPECT_EQ(request.m_matchIdentifiers, Numbers{number});
  }
}

TEST(LookupManagerRegistry, OneDataSetMayStandUnderSeveralNumbers) {
  Rig rig;
  const auto shared = rig.dataSet(1, [](ILookupData&) { return true; });
  rig.manager.assignDataSet(shared, 1, kKeep);
  rig.manager.assignDataSet(shared, 2, kKeep);
  rig.manager.defineBusinessLogic("1&2");
  LookupData request;
  EXPECT_TRUE(rig.manager.isPresent(request));
  EXPECT_EQ(request.m_matchIdentifiers, (Numbers{1, 2}));
  EXPECT_EQ(rig.asked.size(), 2U);
}

TEST(LookupManagerRegistry, ANullDataSetTakesItsNumberAndAnswersFalse) {
  LookupManager manager;
  LookupData request;
  EXPECT_TRUE(manager.assignDataSet(nullptr, 1, kKeep));
  EXPECT_FALSE(manager.assignDataSet(answering(true), 1, kKeep));

  manager.defineBusinessLogic("1");
  EXPECT_FALSE(manager.isPresent(request));
  manager.defineBusinessLogic("!1");
  EXPECT_TRUE(manager.isPresent(request));
  EXPECT_TRUE(request.m_matchIdentifiers.empty());

  manager.assignDataSet(answering(true), 1, kReplace);
  EXPECT_FALSE(manager.isPresent(request)) << "a null data set can be replaced";
  EXPECT_FALSE(manager.assignDataSet(nullptr, 1, kReplace));
  EXPECT_TRUE(manager.isPresent(request)) << "and can replace";
}

TEST(LookupManagerRegistry, SharesOwnershipUntilReplacementOrDestruction) {
  std::weak_ptr<IDataSet> first;
  std::weak_ptr<IDataSet> second;
  std::shared_ptr<IDataSet> kept = answering(true);
  {
    LookupManager manager;
    auto owned = answering(true);
    first = owned;
    manager.assignDataSet(std::move(owned), 1, kKeep);
    EXPECT_FALSE(first.expired()) << "the manager is a co-owner";

    owned = answering(true);
    second = owned;
    manager.assignDataSet(std::move(owned), 1, kReplace);
    EXPECT_TRUE(first.expired()) << "replaced and released";

    auto refused = answering(true);
    std::weak_ptr<IDataSet> watch = refused;
    manager.assignDataSet(std::move(refused), 1, kKeep);
    EXPECT_TRUE(watch.expired()) << "refused and not kept";

    manager.assignDataSet(kept, 2, kKeep);
    EXPECT_EQ(kept.use_count(), 2);
    EXPECT_FALSE(second.expired());
  }
  EXPECT_TRUE(second.expired()) << "released with the manager";
  EXPECT_EQ(kept.use_count(), 1) << "the host's share stays";
}

TEST(LookupManagerRegistry, MayChangeBetweenQueries) {
  Rig rig;
  rig.manager.defineBusinessLogic("1|2");
  LookupData request;
  EXPECT_FALSE(rig.manager.isPresent(request));
  rig.assignAlways(2, true);
  EXPECT_TRUE(rig.manager.isPresent(request));
  rig.assignAlways(2, false);
  EXPECT_FALSE(rig.manager.isPresent(request));
  EXPECT_EQ(request.m_matchIdentifiers, Numbers{2});
}

// --- isPresent -----------------------------------------------------------------------------------

TEST(LookupManager, WithoutLogicThrowsForALookupDataOnly) {
  LookupManager manager;
  LookupData request;
  ForeignRequest foreign;
  EXPECT_EQ(thrownBy([&] { manager.isPresent(request); }), kNoLogic);
  EXPECT_FALSE(manager.isPresent(foreign));
}

TEST(LookupManager, LogicThatConvertsToNothingCountsAsNone) {
  LookupManager manager;
  manager.assignDataSet(answering(true), 1, kKeep);
  LookupData request;
  for (const char* infix : {"()", " ", "\t", " \t ", "(())", " ( ) "}) {
    manager.defineBusinessLogic("1");
    EXPECT_TRUE(manager.isPresent(request));
    manager.defineBusinessLogic(infix);
    EXPECT_EQ(thrownBy([&] { manager.isPresent(request); }), kNoLogic) << shown(infix);
  }
}

TEST(LookupManager, ARequestOfAnotherTypeIsNeverPresentAndAsksNobody) {
  Rig rig;
  rig.assignAlways(1, true);
  ForeignRequest foreign;
  for (const char* infix : {"1", "!1", "!9"}) {
    rig.manager.defineBusinessLogic(infix);
    EXPECT_FALSE(rig.manager.isPresent(foreign)) << infix;
  }
  unsigned int number = 1;
  EXPECT_FALSE(rig.manager.lookupInDataSet(number, foreign));
  EXPECT_TRUE(rig.asked.empty());
}

TEST(LookupManager, AHostsOwnLookupDataIsARequestLikeAnyOther) {
  Rig rig;
  rig.assignAlways(1, true);
  rig.manager.defineBusinessLogic("1");
  HostRequest request;
  EXPECT_TRUE(rig.manager.isPresent(request));
  EXPECT_EQ(request.m_matchIdentifiers, Numbers{1});
}

TEST(LookupManager, RecordsAMatchOncePerQuery) {
  Rig rig;
  rig.assignAlways(3, true);
  rig.manager.defineBusinessLogic("3");
  LookupData request;
  EXPECT_TRUE(rig.manager.isPresent(request));
  EXPECT_EQ(request.m_matchIdentifiers, Numbers{3});
  EXPECT_TRUE(rig.manager.isPresent(request));
  EXPECT_EQ(request.m_matchIdentifiers, (Numbers{3, 3})) << "appended, never cleared";
}

TEST(LookupManager, ANumberWithoutADataSetIsFalse) {
  LookupManager manager;
  manager.defineBusinessLogic("1");
  LookupData request;
  EXPECT_FALSE(manager.isPresent(request));
  EXPECT_TRUE(request.m_matchIdentifiers.empty());
}

TEST(LookupManager, AsksADataSetOncePerQueryAndAfreshInTheNext) {
  Rig rig;
  bool answer = false;
  rig.assign(2, [&answer](ILookupData&) { return answer; });
  rig.manager.defineBusinessLogic("2&2");
  LookupData request;

  EXPECT_FALSE(rig.manager.isPresent(request));
  EXPECT_EQ(rig.takeAsked(), Numbers{2});
  answer = true;
  EXPECT_TRUE(rig.manager.isPresent(request)) << "the new answer is seen";
  EXPECT_EQ(rig.takeAsked(), Numbers{2});
  EXPECT_EQ(request.m_matchIdentifiers, Numbers{2});
  answer = false;
  EXPECT_FALSE(rig.manager.isPresent(request));
}

TEST(LookupManager, AnUnknownNumberIsRememberedAsFalseWithinAQueryOnly) {
  Rig rig;
  rig.manager.defineBusinessLogic("9|9");
  LookupData request;
  EXPECT_FALSE(rig.manager.isPresent(request));
  rig.assignAlways(9, true);
  EXPECT_TRUE(rig.manager.isPresent(request));
}

TEST(LookupManager, HandsTheRequestItselfToTheDataSet) {
  Rig rig;
  ILookupData* seen = nullptr;
  rig.assign(1, [&seen](ILookupData& request) {
    seen = &request;
    return false;
  });
  rig.manager.defineBusinessLogic("1");
  LookupData request;
  rig.manager.isPresent(request);
  EXPECT_EQ(seen, &request);
}

TEST(LookupManager, ADataSetThatThrowsCountsAsFalse) {
  const std::vector<ScriptedDataSet::Answer> throwing = {
      [](ILookupData&) -> bool { throw std::runtime_error("data set"); },
      [](ILookupData&) -> bool { throw QVLException(3, "data set"); },
      [](ILookupData&) -> bool { throw 42; },
  };
  for (const auto& answer : throwing) {
    Rig rig;
    rig.assign(1, answer);
    rig.assignAlways(2, true);
    LookupData request;

    rig.manager.defineBusinessLogic("1|1");
    EXPECT_FALSE(rig.manager.isPresent(request));
    EXPECT_EQ(rig.takeAsked(), Numbers{1}) << "the false is remembered";

    rig.manager.defineBusinessLogic("!1&2");
    EXPECT_TRUE(rig.manager.isPresent(request)) << "the mutex is free and the query goes on";
    EXPECT_EQ(request.m_matchIdentifiers, Numbers{2});
  }
}

TEST(LookupManager, LogicThatCannotBeEvaluatedThrowsOnEveryQuery) {
  Rig rig;
  rig.assignAlways(1, true);
  rig.assignAlways(2, true);
  // Accepted by the conversion, short of operands in the evaluation.
  for (const char* infix : {"!!1", "1&&2", "1||2", "1|", "&", "!", "!()", "(", "((", "1&|2"}) {
    rig.manager.defineBusinessLogic(infix);
    LookupData request;
    for (int query = 0; query < 2; ++query) {
      EXPECT_EQ(thrownBy([&] { rig.manager.isPresent(request); }), kWrongLength) << infix;
    }
    rig.manager.defineBusinessLogic("1");
    EXPECT_TRUE(rig.manager.isPresent(request)) << "the mutex is free after " << infix;
  }
}

TEST(LookupManager, ForgetsAnswersOfAQueryThatFailed) {
  Rig rig;
  bool answer = true;
  rig.assign(1, [&answer](ILookupData&) { return answer; });
  rig.manager.defineBusinessLogic("!1&");
  LookupData request;
  EXPECT_EQ(thrownBy([&] { rig.manager.isPresent(request); }), kWrongLength);

  answer = false;
  rig.takeAsked();
  rig.manager.defineBusinessLogic("1");
  EXPECT_FALSE(rig.manager.isPresent(request)) << "asked afresh";
  EXPECT_EQ(rig.asked, Numbers{1});
}

TEST(LookupManager, ManagersAreIndependent) {
  LookupManager one;
  LookupManager other;
  one.assignDataSet(answering(true), 1, kKeep);
  one.defineBusinessLogic("1");
  other.defineBusinessLogic("1");
  LookupData request;
  EXPECT_TRUE(one.isPresent(request));
  EXPECT_FALSE(other.isPresent(request));
}

TEST(LookupManager, CanBeUsedThroughItsInterface) {
  std::unique_ptr<ILookupManager> manager = std::make_unique<LookupManager>();
  EXPECT_TRUE(manager->assignDataSet(answering(true), 4, kKeep));
  EXPECT_EQ(manager->parseLogic("4"), "4 ");
  manager->defineBusinessLogic("4");
  LookupData request;
  EXPECT_TRUE(manager->isPresent(request));
}

// --- doLookup and lookupInDataSet ----------------------------------------------------------------

TEST(LookupManagerSteps, LookupInDataSetAsksAndRecordsEveryTime) {
  Rig rig;
  rig.assignAlways(5, true);
  rig.assignAlways(6, false);
  LookupData request;
  unsigned int number = 5;
  EXPECT_TRUE(rig.manager.lookupInDataSet(number, request));
  EXPECT_TRUE(rig.manager.lookupInDataSet(number, request));
  EXPECT_EQ(number, 5U) << "the number is only read";
  number = 6;
  EXPECT_FALSE(rig.manager.lookupInDataSet(number, request));
  number = 7;
  EXPECT_FALSE(rig.manager.lookupInDataSet(number, request)) << "unknown";
  EXPECT_EQ(rig.asked, (Numbers{5, 5, 6}));
  EXPECT_EQ(request.m_matchIdentifiers, (Numbers{5, 5}));
}

TEST(LookupManagerSteps, LookupInDataSetSwallowsWhatTheDataSetThrows) {
  Rig rig;
  rig.assign(1, [](ILookupData&) -> bool { throw std::runtime_error("data set"); });
  LookupData request;
  unsigned int number = 1;
  EXPECT_FALSE(rig.manager.lookupInDataSet(number, request));
  EXPECT_TRUE(request.m_matchIdentifiers.empty());
}

TEST(LookupManagerSteps, LookupInANullDataSetIsFalse) {
  LookupManager manager;
  manager.assignDataSet(nullptr, 1, kKeep);
  LookupData request;
  unsigned int number = 1;
  EXPECT_FALSE(manager.lookupInDataSet(number, request));
}

TEST(LookupManagerSteps, DoLookupRemembersUntilAnEvaluationEnds) {
  Rig rig;
  bool answer = true;
  rig.assign(1, [&answer](ILookupData&) { return answer; });
  LookupData request;

  EXPECT_TRUE(rig.manager.doLookup(1, request));
  answer = false;
  EXPECT_TRUE(rig.manager.doLookup(1, request)) << "remembered";
  EXPECT_TRUE(rig.manager.executeLogic("1 ", request)) << "still remembered";
  EXPECT_EQ(rig.asked, Numbers{1});
  EXPECT_EQ(request.m_matchIdentifiers, Numbers{1}) << "recorded when asked only";

  EXPECT_FALSE(rig.manager.doLookup(1, request)) << "asked afresh";
  EXPECT_EQ(rig.asked, (Numbers{1, 1}));
}

TEST(LookupManagerSteps, DoLookupRemembersFalseAndUnknownToo) {
  Rig rig;
  bool answer = false;
  rig.assign(1, [&answer](ILookupData&) { return answer; });
  LookupData request;
  EXPECT_FALSE(rig.manager.doLookup(1, request));
  EXPECT_FALSE(rig.manager.doLookup(2, request));
  answer = true;
  rig.assignAlways(2, true);
  EXPECT_FALSE(rig.manager.doLookup(1, request));
  EXPECT_FALSE(rig.manager.doLookup(2, request));
  EXPECT_EQ(rig.asked, Numbers{1});
}

TEST(LookupManagerSteps, DoLookupOfAnotherTypeOfRequestIsFalse) {
  Rig rig;
  rig.assignAlways(1, true);
  ForeignRequest foreign;
  EXPECT_FALSE(rig.manager.doLookup(1, foreign));
  EXPECT_TRUE(rig.asked.empty());
}

// --- defineBusinessLogic -------------------------------------------------------------------------

TEST(BusinessLogicDefinition, ReplacesTheLogicInForce) {
  Rig rig;
  rig.assignAlways(1, true);
  rig.assignAlways(2, false);
  LookupData request;
  rig.manager.defineBusinessLogic("1");
  EXPECT_TRUE(rig.manager.isPresent(request));
  rig.manager.defineBusinessLogic("2");
  EXPECT_FALSE(rig.manager.isPresent(request));
  rig.manager.defineBusinessLogic("1&!2");
  EXPECT_TRUE(rig.manager.isPresent(request));
}

TEST(BusinessLogicDefinition, RefusedLogicLeavesTheOldInForce) {
  Rig rig;
  rig.assignAlways(1, true);
  rig.manager.defineBusinessLogic("1");
  const std::vector<std::string> refused = {"",          std::string(2049, ' '), "1&a", "1+2", "1)",
                                            "4294967296"};
  for (const std::string& infix : refused) {
    EXPECT_NE(thrownBy([&] { rig.manager.defineBusinessLogic(infix); }), "nothing") << infix;
    LookupData request;
    EXPECT_TRUE(rig.manager.isPresent(request)) << "after " << infix;
  }
}

TEST(BusinessLogicDefinition, RefusedLogicLeavesAFreshManagerWithoutLogic) {
  LookupManager manager;
  EXPECT_EQ(thrownBy([&] { manager.defineBusinessLogic("x"); }),
            "3: Business logic should not have alphabetic character.");
  LookupData request;
  EXPECT_EQ(thrownBy([&] { manager.isPresent(request); }), kNoLogic);
}

TEST(BusinessLogicDefinition, ParsingAloneStoresNothing) {
  LookupManager manager;
  EXPECT_EQ(manager.parseLogic("1"), "1 ");
  LookupData request;
  EXPECT_EQ(thrownBy([&] { manager.isPresent(request); }), kNoLogic);
}

TEST(BusinessLogicDefinition, ParsesThroughTheVirtualOperation) {
  struct Manager : LookupManager {
    std::string parsed;
    std::string parseLogic(std::string infix) override {
      parsed = infix;
      return "2 ! ";
    }
  };
  Manager manager;
  manager.assignDataSet(answering(true), 1, kKeep);
  manager.defineBusinessLogic("anything");
  EXPECT_EQ(manager.parsed, "anything");
  LookupData request;
  EXPECT_TRUE(manager.isPresent(request)) << "the override's postfix is in force";
  EXPECT_TRUE(request.m_matchIdentifiers.empty());
}

TEST(BusinessLogicDefinition, PostfixThatHasGrownTooLongFailsOnEveryQuery) {
  // 513 operands and 512 operators: 1025 tokens of one character, 2050 characters in postfix.
  std::string infix = "1";
  for (int i = 0; i < 512; ++i) infix += "|1";
  Rig rig;
  rig.assignAlways(1, true);
  LookupData request;
  rig.manager.defineBusinessLogic(infix);
  for (int query = 0; query < 2; ++query) {
    EXPECT_EQ(thrownBy([&] { rig.manager.isPresent(request); }), kWrongLength);
  }
  EXPECT_TRUE(rig.asked.empty());

  // With one token less, and the text back at 2048 characters, it is evaluated.
  infix = "!1";
  for (int i = 0; i < 511; ++i) infix += "|1";
  ASSERT_EQ(rig.manager.parseLogic(infix).size(), 2048U);
  rig.manager.defineBusinessLogic(infix);
  EXPECT_TRUE(rig.manager.isPresent(request));

  // One character more.
  infix = "!11";
  for (int i = 0; i < 511; ++i) infix += "|1";
  ASSERT_EQ(rig.manager.parseLogic(infix).size(), 2049U);
  rig.manager.defineBusinessLogic(infix);
  EXPECT_EQ(thrownBy([&] { rig.manager.isPresent(request); }), kWrongLength);
}

// --- Trace ---------------------------------------------------------------------------------------

TEST(LookupManagerTrace, FollowsConstructionAssignmentAndDestruction) {
  TraceRecorder trace;
  auto manager = std::make_unique<LookupManager>();
  EXPECT_EQ(trace.take(), traced({"LookupManager::LookupManager\n"}));

  manager->assignDataSet(answering(true), 1, kKeep);
  EXPECT_EQ(trace.take(), traced({"LookupManager::assignDataSet\n"}));
  manager->assignDataSet(answering(true), 1, kKeep);
  EXPECT_EQ(trace.take(), traced({"LookupManager::assignDataSet\n"})) << "refused";
  manager->assignDataSet(nullptr, 1, kReplace);
  EXPECT_EQ(trace.take(), traced({"LookupManager::assignDataSet\n"})) << "replaced";

  manager.reset();
  EXPECT_EQ(trace.take(), traced({"LookupManager::~LookupManager\n"}));
}

TEST(LookupManagerTrace, TracesItselfBeforeTheDataSetsThatItReleases) {
  TraceRecorder trace;
  auto manager = std::make_unique<LookupManager>();
  manager->assignDataSet(std::make_shared<FilePathDataSet>(), 1, kKeep);
  manager->assignDataSet(std::make_shared<FolderDataSet>(), 2, kKeep);
  trace.take();

  manager->assignDataSet(nullptr, 1, kReplace);
  EXPECT_EQ(trace.take(),
            traced({"LookupManager::assignDataSet\n", "FilePathDataSet::~FilePathDataSet\n"}));
  manager.reset();
  EXPECT_EQ(trace.take(),
            traced({"LookupManager::~LookupManager\n", "FolderDataSet::~FolderDataSet\n"}));
}

TEST(LookupManagerTrace, FollowsDefinition) {
  LookupManager manager;
  TraceRecorder trace;
  manager.defineBusinessLogic("1");
  EXPECT_EQ(trace.take(),
            traced({"LookupManager::defineBusinessLogic\n", "LookupManager::parseLogic\n"}));
  EXPECT_NE(thrownBy([&] { manager.defineBusinessLogic(""); }), "nothing");
  EXPECT_EQ(trace.take(),
            traced({"LookupManager::defineBusinessLogic\n", "LookupManager::parseLogic\n"}));
  manager.parseLogic("1");
  EXPECT_EQ(trace.take(), traced({"LookupManager::parseLogic\n"}));
  EXPECT_NE(thrownBy([&] { manager.parseLogic("a"); }), "nothing");
  EXPECT_EQ(trace.take(), traced({"LookupManager::parseLogic\n"}));
}

TEST(LookupManagerTrace, FollowsAQueryThroughEachLookup) {
  const std::string present = "LookupManager::isPresent\n";
  const std::string execute = "LookupManager::executeLogic\n";
  const std::string doLookup = "LookupManager::doLookup\n";
  const std::string inDataSet = "LookupManager::lookupInDataSet\n";
  const struct {
    const char* infix;
    std::string trace;
  } rows[] = {
      {"1", traced({present, execute, doLookup, inDataSet})},
      {"1|2", traced({present, execute, doLookup, inDataSet})},
      {"2|1", traced({present, execute, doLookup, inDataSet, doLookup, inDataSet})},
      {"1&1", traced({present, execute, doLookup, inDataSet, doLookup})},
      {"9", traced({present, execute, doLookup, inDataSet})},              // without a data set
      {"8", traced({present, execute, doLookup, inDataSet})},              // null data set
      {"7|7", traced({present, execute, doLookup, inDataSet, doLookup})},  // throws
      {"1 1&", traced({present, execute, doLookup, inDataSet, doLookup})},
  };
  Rig rig;
  rig.assignAlways(1, true);
  rig.assignAlways(2, false);
  rig.assign(7, [](ILookupData&) -> bool { throw std::runtime_error("data set"); });
  rig.manager.assignDataSet(nullptr, 8, kKeep);
  TraceRecorder trace;
  for (const auto& row : rows) {
    rig.manager.defineBusinessLogic(row.infix);
    trace.take();
    LookupData request;
    rig.manager.isPresent(request);
    EXPECT_EQ(trace.take(), row.trace) << row.infix;
  }
}

TEST(LookupManagerTrace, FollowsQueriesThatAreNotEvaluated) {
  Rig rig;
  TraceRecorder trace;
  LookupData request;
  ForeignRequest foreign;

  EXPECT_EQ(thrownBy([&] { rig.manager.isPresent(request); }), kNoLogic);
  EXPECT_EQ(trace.take(), traced({"LookupManager::isPresent\n"}));

  rig.manager.defineBusinessLogic("1");
  trace.take();
  rig.manager.isPresent(foreign);
  EXPECT_EQ(trace.take(), traced({"LookupManager::isPresent\n"}));

  rig.manager.defineBusinessLogic("!!1");
  trace.take();
  EXPECT_EQ(thrownBy([&] { rig.manager.isPresent(request); }), kWrongLength);
  EXPECT_EQ(trace.take(), traced({"LookupManager::isPresent\n", "LookupManager::executeLogic\n"}));
}

TEST(LookupManagerTrace, FollowsTheStepsCalledDirectly) {
  Rig rig;
  rig.assignAlways(1, true);
  LookupData request;
  ForeignRequest foreign;
  unsigned int number = 1;
  TraceRecorder trace;

  rig.manager.lookupInDataSet(number, request);
  EXPECT_EQ(trace.take(), traced({"LookupManager::lookupInDataSet\n"}));
  rig.manager.lookupInDataSet(number, foreign);
  EXPECT_EQ(trace.take(), traced({"LookupManager::lookupInDataSet\n"}));

  rig.manager.doLookup(1, request);
  EXPECT_EQ(trace.take(),
            traced({"LookupManager::doLookup\n", "LookupManager::lookupInDataSet\n"}));
  rig.manager.doLookup(1, request);
  EXPECT_EQ(trace.take(), traced({"LookupManager::doLookup\n"})) << "remembered";

  rig.manager.executeLogic("1 ", request);
  EXPECT_EQ(trace.take(), traced({"LookupManager::executeLogic\n", "LookupManager::doLookup\n"}));
  EXPECT_NE(thrownBy([&] { rig.manager.executeLogic("", request); }), "nothing");
  EXPECT_EQ(trace.take(), traced({"LookupManager::executeLogic\n"}));
}

TEST(LookupManagerTrace, ShowsTheWholeRoadOfARequest) {
  LookupManager manager;
  auto paths = std::make_shared<FilePathDataSet>();
  paths->addToDataSet(std::make_unique<FilePathAvoidance>("/a", AnyAccess));
  paths->addToDataSet(std::make_unique<FilePathAvoidance>("/b", AnyAccess));
  manager.assignDataSet(paths, 1, kKeep);
  manager.defineBusinessLogic("1");
  LookupData request = fileRequest("/b");
  TraceRecorder trace;
  EXPECT_TRUE(manager.isPresent(request));
  EXPECT_EQ(trace.take(), traced({"LookupManager::isPresent\n", "LookupManager::executeLogic\n",
                                  "LookupManager::doLookup\n", "LookupManager::lookupInDataSet\n",
                                  "FilePathDataSet::isPresentInDataSet\n",
                                  "FilePathAvoidance::canAvoidWithAccessType\n",
                                  "FilePathAvoidance::canAvoidWithAccessType\n"}));
}

}  // namespace
}  // namespace Test
}  // namespace QVL
