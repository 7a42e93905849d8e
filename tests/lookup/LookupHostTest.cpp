// What a host may do with the manager beside asking it: override, call its steps, define a logic
// while it is asked.

#include <gtest/gtest.h>

#include <atomic>
#include <chrono>
#include <functional>
#include <stdexcept>
#include <string>
#include <thread>
#include <utility>

#include "qvl/qvl.h"
#include "tests/lookup/Rig.h"
#include "tests/support/Requests.h"

namespace QVL {
namespace Test {
namespace {

// --- parseLogic, overridden
// ---------------------------------------------------------------------------------------------------

class OwnParser : public LookupManager {
 public:
  std::function<std::string(const std::string&)> parser;
  std::string parseLogic(std::string infix) override {
    return parser ? parser(infix) : LookupManager::parseLogic(infix);
  }
};

class OverriddenParsing : public testing::Test {
 protected:
  void SetUp() override {
    m_manager.assignDataSet(std::make_shared<ScriptedDataSet>([this](ILookupData&) {
                              ++m_asked;
                              return true;
                            }),
                            1, kReplace);
  }

  std::string failureOfAQuery() {
    try {
      m_manager.isPresent(m_request);
      return "none";
    } catch (const QVLException& exception) {
      EXPECT_EQ(exception.m_code, 3);
      return exception.m_message;
    }
  }

  OwnParser m_manager;
  LookupData m_request;
  int m_asked = 0;
};

TEST_F(OverriddenParsing, WhatItThrowsReachesTheHostAndTheOldLogicStays) {
  m_manager.defineBusinessLogic("1");
  m_manager.parser = [](const std::string&) -> std::string { throw std::runtime_error("mine"); };
  EXPECT_THROW(m_manager.defineBusinessLogic("!1"), std::runtime_error);
  m_manager.parser = [](const std::string&) -> std::string { throw 17; };
  EXPECT_THROW(m_manager.defineBusinessLogic("!1"), int);
  EXPECT_TRUE(m_manager.isPresent(m_request)) << "and the mutex is free";
  m_manager.parser = nullptr;
  m_manager.defineBusinessLogic("!1");
  EXPECT_FALSE(m_manager.isPresent(m_request));
}

TEST_F(OverriddenParsing, AnEmptyAnswerIsNoLogic) {
  m_manager.defineBusinessLogic("1");
  m_manager.parser = [](const std::string&) { return std::string(); };
  m_manager.defineBusinessLogic("1");
  EXPECT_EQ(failureOfAQuery(), "Business logic can't be empty.");
  EXPECT_EQ(m_asked, 0);
}

TEST_F(OverriddenParsing, AnAnswerOfMoreThan2048CharactersFailsInEachQueryAndAsksNobody) {
  const std::string longest = std::string(2046, ' ') + "1 ";
  m_manager.parser = [&](const std::string&) { return longest; };
  m_manager.defineBusinessLogic("");
  EXPECT_TRUE(m_manager.isPresent(m_request));
  m_asked = 0;
  m_manager.parser = [&](const std::string&) { return " " + longest; };
  m_manager.defineBusinessLogic("");
  for (int i = 0; i < 3; ++i) EXPECT_EQ(failureOfAQuery(), "Business logic length is wrong.");
  EXPECT_EQ(m_asked, 0);
}

TEST_F(OverriddenParsing, AnAnswerIsTakenAsItIs) {
  m_manager.parser = [](const std::string&) { return std::string("1 2 |"); };
  m_manager.defineBusinessLogic("no logic at all");
  EXPECT_TRUE(m_manager.isPresent(m_request));
}

// --- A logic is checked before it is defined
// ---------------------------------------------------------------------------------------------------

// As docs/threading.md tells a host to do it.
bool canBeEvaluated(const std::string& infix) {
  LookupManager trial;
  LookupData request;
  try {
    trial.defineBusinessLogic(infix);
    trial.isPresent(request);
    return true;
  } catch (const QVLException&) {
    return false;
  }
}

TEST(BusinessLogicCheck, AManagerWithoutDataSetsTellsWhetherALogicCanBeEvaluated) {
  for (const char* good : {"1", "(1|2)&!3", "!(!1)", "(1&2", "1 2"}) {
    EXPECT_TRUE(canBeEvaluated(good)) << good;
  }
  // Accepted by defineBusinessLogic.
  for (const char* bad : {"1|", "!", "!!1", "()", " ", "1&&2", "|1", "("}) {
    EXPECT_NO_THROW(LookupManager().defineBusinessLogic(bad)) << bad;
    EXPECT_FALSE(canBeEvaluated(bad)) << bad;
  }
  // Refused by it.
  for (const char* refused : {"", "a", "1)", "1+2"}) {
    EXPECT_THROW(LookupManager().defineBusinessLogic(refused), QVLException) << refused;
    EXPECT_FALSE(canBeEvaluated(refused)) << refused;
  }
}

TEST(BusinessLogicCheck, AnAcceptedLogicThatCannotBeEvaluatedReplacesTheGoodOne) {
  for (const char* bad : {"1|", "!", "!!1", "()"}) {
    Rig rig;
    rig.assignAlways(1, true);
    LookupData request;
    rig.manager.defineBusinessLogic("1");
    EXPECT_TRUE(rig.manager.isPresent(request));
    rig.manager.defineBusinessLogic(bad);
    for (int i = 0; i < 2; ++i) EXPECT_THROW(rig.manager.isPresent(request), QVLException) << bad;
  }
}

// The table of docs/policy-format.md.
TEST(BusinessLogicEvaluation, OnlyABareNumberWaitsToBeAsked) {
  const struct {
    const char* logic;
    Numbers asked;
  } rows[] = {
      {"1|2", {1}},           {"1&2", {1, 2}},     {"1&!2", {2, 1}},    {"1|!2", {2, 1}},
      {"1|(2&3)", {2, 3, 1}}, {"(2&3)|1", {2, 3}}, {"(1|2)&3", {1, 3}},
  };
  for (const auto& row : rows) {
    Rig rig;
    for (const unsigned int number : {1U, 2U, 3U}) rig.assignAlways(number, true);
    LookupData request;
    rig.manager.defineBusinessLogic(row.logic);
    rig.manager.isPresent(request);
    EXPECT_EQ(rig.asked, row.asked) << row.logic;
    EXPECT_EQ(request.m_matchIdentifiers, row.asked) << row.logic;
  }
}

// --- The steps, called by the host
// ---------------------------------------------------------------------------------------------------

TEST(LookupManagerSteps, ALengthErrorLeavesTheMemo) {
  Rig rig;
  rig.assignAlways(1, true);
  LookupData request;
  EXPECT_TRUE(rig.manager.doLookup(1, request));
  EXPECT_EQ(rig.takeAsked(), Numbers{1});
  for (const std::string& text : {std::string(), std::string(2049, ' ')}) {
    EXPECT_THROW(rig.manager.executeLogic(text, request), QVLException);
    EXPECT_TRUE(rig.manager.doLookup(1, request));
    EXPECT_EQ(rig.takeAsked(), Numbers{}) << "answered by the memo";
  }
  EXPECT_TRUE(rig.manager.executeLogic("1 ", request));
  EXPECT_EQ(rig.takeAsked(), Numbers{});
  EXPECT_TRUE(rig.manager.doLookup(1, request));
  EXPECT_EQ(rig.takeAsked(), Numbers{1}) << "an evaluation that ends empties it";
}

// The memo is one for the evaluation and what a data set calls meanwhile.
TEST(LookupManagerSteps, ADataSetThatIsAskedMayLookAnotherUp) {
  Rig rig;
  rig.assign(1, [&](ILookupData& request) {
    EXPECT_TRUE(rig.manager.doLookup(2, request));
    return false;
  });
  rig.assignAlways(2, true);
  rig.manager.defineBusinessLogic("1|2");
  LookupData request;
  EXPECT_TRUE(rig.manager.isPresent(request));
  EXPECT_EQ(rig.takeAsked(), (Numbers{1, 2})) << "the second time by the memo";
  EXPECT_EQ(request.m_matchIdentifiers, Numbers{2});
}

TEST(LookupManagerSteps, ADataSetThatIsAskedMayEvaluateWhichEmptiesTheMemo) {
  Rig rig;
  rig.assignAlways(3, true);
  rig.assign(1, [&](ILookupData& request) {
    EXPECT_TRUE(rig.manager.executeLogic("2 3 & ", request));
    return false;
  });
  rig.assignAlways(2, true);
  rig.manager.defineBusinessLogic("(3&1)|2");
  LookupData request;
  EXPECT_TRUE(rig.manager.isPresent(request));
  // 3, then 1, which evaluates 2 and 3 (from the memo), which is emptied; so 2 is asked again.
  EXPECT_EQ(rig.takeAsked(), (Numbers{3, 1, 2, 2}));
  EXPECT_EQ(request.m_matchIdentifiers, (Numbers{3, 2, 2}));
}

// --- Threads
// ---------------------------------------------------------------------------------------------------

TEST(BusinessLogicDefinition, WaitsForTheEvaluationThatIsUnderWay) {
  OwnParser manager;
  std::atomic<bool> asked{false};
  std::atomic<bool> answered{false};
  manager.assignDataSet(std::make_shared<ScriptedDataSet>([&](ILookupData&) {
                          asked = true;
                          // Time for a definition that does not wait.
                          std::this_thread::sleep_for(std::chrono::milliseconds(50));
                          answered = true;
                          return true;
                        }),
                        1, kReplace);
  manager.defineBusinessLogic("1");
  manager.parser = [&](const std::string&) {
    EXPECT_TRUE(answered);
    return std::string("1 ! ");
  };
  std::thread host([&] {
    while (!asked) std::this_thread::yield();
    manager.defineBusinessLogic("!1");
  });
  LookupData request;
  EXPECT_TRUE(manager.isPresent(request)) << "by the logic as it was at its start";
  host.join();
  EXPECT_FALSE(manager.isPresent(request));
}

}  // namespace
}  // namespace Test
}  // namespace QVL
