#include "Watchdog.h"

#include <atomic>
#include <thread>
#include <vector>

#include "PendingOpen.h"
#include "Scripted.h"
#include "gtest/gtest.h"

namespace onaccess {
namespace test {
namespace {

TEST(InFlight, TellsTheLongestWait) {
  InFlight inFlight(3);
  const Time start = Time(1h);
  EXPECT_EQ(inFlight.longest(start), Duration::zero());
  const std::size_t first = inFlight.enter(start);
  inFlight.enter(start + 5s);
  EXPECT_EQ(inFlight.longest(start + 8s), Duration(8s));
  EXPECT_EQ(inFlight.count(), 2u);
  inFlight.leave(first);
  EXPECT_EQ(inFlight.longest(start + 8s), Duration(3s));
}

TEST(InFlight, TakesManyThreads) {
  InFlight inFlight(8);
  std::vector<std::thread> threads;
  for (int thread = 0; thread < 8; ++thread) {
    threads.emplace_back([&inFlight] {
      for (int i = 0; i < 10000; ++i) inFlight.leave(inFlight.enter(Clock::now()));
    });
  }
  for (std::thread& thread : threads) thread.join();
  EXPECT_EQ(inFlight.count(), 0u);
}

TEST(PendingOpen, IsAllowedWhenItIsForgotten) {
  ScriptedKernel kernel;
  InFlight inFlight(1);
  const int descriptor = kernel.openAside({});
  { const PendingOpen open(kernel, inFlight, {descriptor, 1}, Clock::now()); }
  EXPECT_EQ(kernel.answerTo(descriptor), true);
  EXPECT_EQ(inFlight.count(), 0u);
  EXPECT_TRUE(kernel.waitUntilAllAreClosed());
}

TEST(PendingOpen, OnlyItsFirstAnswerCounts) {
  ScriptedKernel kernel;
  InFlight inFlight(1);
  const int descriptor = kernel.openAside({});
  {
    PendingOpen open(kernel, inFlight, {descriptor, 1}, Clock::now());
    PendingOpen moved = std::move(open);
    moved.answer(false);
    moved.answer(true);
  }
  EXPECT_EQ(kernel.answerTo(descriptor), false);
  EXPECT_EQ(kernel.answersTo(descriptor), 1u);
}

TEST(Watchdog, RaisesItsAlarmWhenAnOpenStaysUnanswered) {
  InFlight inFlight(2);
  std::atomic<int> alarms{0};
  const Watchdog watchdog(inFlight, 50ms, [&alarms] { ++alarms; });
  inFlight.enter(Clock::now());
  const Time end = Clock::now() + 10s;
  while (alarms == 0 && Clock::now() < end) std::this_thread::sleep_for(1ms);
  EXPECT_EQ(alarms, 1);
}

TEST(Watchdog, IsQuietWhileOpensAreAnswered) {
  InFlight inFlight(2);
  std::atomic<int> alarms{0};
  const Watchdog watchdog(inFlight, 5s, [&alarms] { ++alarms; });
  for (int i = 0; i < 100; ++i) {
    const std::size_t place = inFlight.enter(Clock::now());
    std::this_thread::sleep_for(1ms);
    inFlight.leave(place);
  }
  EXPECT_EQ(alarms, 0);
}

}  // namespace
}  // namespace test
}  // namespace onaccess
