#include <gtest/gtest.h>

#include <memory>
#include <new>
#include <optional>
#include <string>
#include <thread>

#include "qvl/qvl.h"
#include "tests/lookup/Rig.h"
#include "tests/support/Requests.h"
#include "tests/support/Starvation.h"

namespace QVL {
namespace Test {
namespace {

TEST(LookupManagerWithoutMemory, AMatchThatCannotBeRecordedCountsAsFalse) {
  Rig rig;
  std::optional<Starvation> starvation;
  rig.assign(1, [&](ILookupData&) {
    starvation.emplace(0, Hunger::OneRefusal);  // what is allocated next is the list of matches
    return true;
  });
  const auto struck = [&] {
    const bool result = starvation && starvation->struck();
    starvation.reset();
    return result;
  };
  rig.assignAlways(2, true);
  LookupData request;

  rig.manager.defineBusinessLogic("1");
  EXPECT_FALSE(rig.manager.isPresent(request));
  EXPECT_TRUE(struck());
  EXPECT_TRUE(request.m_matchIdentifiers.empty());

  rig.manager.defineBusinessLogic("1|2");
  EXPECT_TRUE(rig.manager.isPresent(request)) << "the query goes on with the next data set";
  EXPECT_TRUE(struck());
  EXPECT_EQ(request.m_matchIdentifiers, Numbers{2});

  unsigned int number = 1;
  LookupData fresh;
  EXPECT_FALSE(rig.manager.lookupInDataSet(number, fresh));
  EXPECT_TRUE(struck());
}

// The first query of a thread makes it a slot of its own, or does without.
TEST(LookupManagerWithoutMemory, AThreadsFirstQueryIsAnsweredRightlyOrInFavourOfScanning) {
  for (std::size_t spared = 0; spared < 20; ++spared) {
    for (const Hunger hunger : {Hunger::OneRefusal, Hunger::ForGood}) {
      auto paths = std::make_shared<FilePathDataSet>();
      paths->addToDataSet(std::make_unique<FilePathAvoidance>("/a/*.log", AnyAccess));
      LookupManager manager;
      manager.assignDataSet(paths, 1, 0);
      manager.defineBusinessLogic("1");
      LookupData request = fileRequest("/a/b.log");
      ASSERT_TRUE(manager.isPresent(request));
      ASSERT_TRUE(manager.isPresent(request));
      std::thread([&] {
        LookupData excluded = fileRequest("/a/b.log");
        LookupData scanned = fileRequest("/a/b.txt");
        bool present = false;
        bool struck = false;
        {
          const Starvation starvation(spared, hunger);
          EXPECT_NO_THROW(present = manager.isPresent(excluded));
          struck = starvation.struck();
          bool other = true;
          EXPECT_NO_THROW(other = manager.isPresent(scanned));
          EXPECT_FALSE(other);
        }
        EXPECT_TRUE(present || struck);
        EXPECT_EQ(excluded.m_matchIdentifiers, present ? Numbers{1} : Numbers());
        EXPECT_TRUE(manager.isPresent(excluded)) << "with memory again";
      }).join();
      EXPECT_TRUE(manager.isPresent(request));
      manager.defineBusinessLogic("!1");
      EXPECT_FALSE(manager.isPresent(request));
    }
  }
}

TEST(LookupManagerWithoutMemory, EvenTheFirstQueryOfALogicNeedsNone) {
  LookupManager manager;
  std::string logic;
  for (unsigned int number = 1; number <= 100; ++number) {
    manager.assignDataSet(
        std::make_shared<ScriptedDataSet>([](ILookupData& /*request*/) { return false; }), number,
        kKeep);
    logic += (logic.empty() ? "" : "|") + std::to_string(number);
  }
  LookupData request;
  manager.defineBusinessLogic("1");
  EXPECT_FALSE(manager.isPresent(request));
  manager.defineBusinessLogic(logic);
  const Starvation starvation(0, Hunger::ForGood);
  EXPECT_FALSE(manager.isPresent(request));
  EXPECT_FALSE(starvation.struck());
}

TEST(LookupManagerWithoutMemory, RecordingInTheRequestThrows) {
  LookupData request;
  {
    const Starvation starvation(0, Hunger::OneRefusal);
    EXPECT_THROW(request.setMatchIndentifier(1), std::bad_alloc);
  }
  EXPECT_TRUE(request.m_matchIdentifiers.empty());
}

}  // namespace
}  // namespace Test
}  // namespace QVL
