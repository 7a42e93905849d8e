#include "Gate.h"

#include <fcntl.h>
#include <unistd.h>

#include <memory>
#include <thread>
#include <vector>

#include "Scripted.h"
#include "gmock/gmock.h"
#include "gtest/gtest.h"

namespace onaccess {
namespace test {
namespace {

using ::testing::Eq;
using ::testing::Optional;

constexpr pid_t kOpener = 20;
constexpr dev_t kOpenMount = 7;
constexpr dev_t kClosedMount = 8;

class GateTest : public ::testing::Test {
 protected:
  GateTest() {
    kernel.processes[kOpener] = {"/bin/cat", {7, 500}, 1000};
    kernel.names["/excluded/a"] = {kOpenMount, 2};
    options.mounts = {{"/data", kOpenMount, kOpenMount, FailurePolicy::Open},
                      {"/closed", kClosedMount, kClosedMount, FailurePolicy::Closed}};
    options.decidingThreads = 2;
    options.scanThreads = 2;
    options.queue = 4;
    options.deadline = 10s;
    options.breakerFailures = 1000000;
  }

  ~GateTest() override {
    gate.reset();
    log.reset();
    ::close(nowhere);
  }

  void start() { gate = std::make_unique<Gate>(kernel, scanner, exclusions, *log, options); }

  // The test stands for many opens of different files.
  int open(dev_t mount = kOpenMount, std::int64_t version = 1) {
    return kernel.open(kOpener, {"/data/x", fileStatus(m_inode++, version, mount), false});
  }
  int openExcluded() { return kernel.open(kOpener, {"/excluded/a", fileStatus(2), false}); }

  std::uint64_t count(Outcome outcome) const {
    return gate->metrics().outcomes[static_cast<std::size_t>(outcome)];
  }

  // Two scans are under way and hang, and the queue is full.
  std::vector<int> fillTheScanner() {
    scanner.hang(true);
    std::vector<int> scans = {open(), open()};
    while (scanner.scans < options.scanThreads) std::this_thread::sleep_for(1ms);
    for (std::size_t i = 0; i < options.queue; ++i) scans.push_back(open());
    while (gate->waitingScans() < options.queue) std::this_thread::sleep_for(1ms);
    return scans;
  }

  // Counters come after the answer.
  void expectCount(Outcome outcome, std::uint64_t expected) {
    const Time end = Clock::now() + 10s;
    while (count(outcome) != expected && Clock::now() < end) std::this_thread::sleep_for(1ms);
    EXPECT_EQ(count(outcome), expected) << nameOf(outcome);
  }

  const int nowhere = ::open("/dev/null", O_WRONLY);
  ScriptedKernel kernel;
  ScriptedScanner scanner;
  ScriptedExclusions exclusions;
  std::unique_ptr<Log> log = std::make_unique<Log>(nowhere, false);
  GateOptions options;
  std::unique_ptr<Gate> gate;

 private:
  ino_t m_inode = 10000;
};

TEST_F(GateTest, AllowsCleanAndDeniesInfectedFiles) {
  start();
  EXPECT_THAT(kernel.answerTo(open()), Optional(true));
  scanner.replies(ScanResult::Infected, "Bad");
  EXPECT_THAT(kernel.answerTo(open()), Optional(false));
  EXPECT_THAT(kernel.answerTo(openExcluded()), Optional(true));
  expectCount(Outcome::Clean, 1);
  expectCount(Outcome::Infected, 1);
  expectCount(Outcome::Excluded, 1);
  EXPECT_EQ(scanner.scans, 2u);
  EXPECT_TRUE(kernel.waitUntilAllAreClosed());
}

TEST_F(GateTest, EachWayToFailHasItsCountAndItsMountsAnswer) {
  start();
  const std::pair<ScanResult, Outcome> cases[] = {
      {ScanResult::Refused, Outcome::Refused},
      {ScanResult::Deadline, Outcome::Deadline},
      {ScanResult::Unreachable, Outcome::Unreachable},
      {ScanResult::Malformed, Outcome::Malformed},
  };
  for (const auto& [result, outcome] : cases) {
    scanner.replies(result);
    EXPECT_THAT(kernel.answerTo(open(kOpenMount)), Optional(true)) << nameOf(outcome);
    EXPECT_THAT(kernel.answerTo(open(kClosedMount)), Optional(false)) << nameOf(outcome);
    expectCount(outcome, 2);
  }
}

TEST_F(GateTest, AFileWithoutStatusGetsTheStrictestPolicy) {
  start();
  EXPECT_THAT(kernel.answerTo(kernel.open(kOpener, {"/data/x", std::nullopt, false})),
              Optional(false));
  EXPECT_THAT(kernel.answerTo(open(99)), Optional(true)) << "it is scanned wherever it is";
  scanner.replies(ScanResult::Refused);
  EXPECT_THAT(kernel.answerTo(open(99)), Optional(false));
  expectCount(Outcome::Unreadable, 1);
}

TEST_F(GateTest, AScannerThatHangsDelaysNothingThatIsExcluded) {
  options.deadline = 1h;
  start();
  const std::vector<int> scans = fillTheScanner();
  for (int i = 0; i < 1000; ++i) ASSERT_THAT(kernel.answerTo(openExcluded()), Optional(true));
  for (const int scan : scans) EXPECT_EQ(kernel.answersTo(scan), 0u);
  scanner.hang(false);
  for (const int scan : scans) EXPECT_THAT(kernel.answerTo(scan), Optional(true));
}

TEST_F(GateTest, AFullQueueAnswersByTheMountsPolicy) {
  options.deadline = 1h;
  start();
  fillTheScanner();
  EXPECT_THAT(kernel.answerTo(open(kOpenMount)), Optional(true));
  EXPECT_THAT(kernel.answerTo(open(kClosedMount)), Optional(false));
  EXPECT_EQ(gate->waitingScans(), options.queue);
  expectCount(Outcome::QueueFull, 2);
}

// First come, first served, with the same time for all: nobody waits longer than that.
TEST_F(GateTest, EveryScanEndsByItsOwnDeadline) {
  scanner.hang(true);
  options.deadline = 200ms;
  options.scanThreads = 1;
  options.queue = 64;
  start();
  std::vector<int> scans;
  for (int i = 0; i < 40; ++i) scans.push_back(open());
  for (const int scan : scans) EXPECT_THAT(kernel.answerTo(scan), Optional(true));
  expectCount(Outcome::Deadline, 40);
  EXPECT_LE(scanner.scans, 40u);
}

TEST_F(GateTest, TheBreakerSparesTheScannerAndTriesAgain) {
  options.breakerFailures = 3;
  options.breakerPause = 500ms;
  options.scanThreads = 1;
  start();
  scanner.replies(ScanResult::Unreachable);
  for (int i = 0; i < 3; ++i) ASSERT_THAT(kernel.answerTo(open()), Optional(true));
  EXPECT_TRUE(gate->breaker().isOpen());
  const Time giveUp = Clock::now() + 10s;
  for (; count(Outcome::BreakerOpen) == 0 && Clock::now() < giveUp;) {
    EXPECT_THAT(kernel.answerTo(open(kClosedMount)), Optional(false));
  }
  EXPECT_GE(count(Outcome::BreakerOpen), 1u);
  scanner.replies(ScanResult::Infected);
  const Time end = Clock::now() + 10s;
  while (kernel.answerTo(open()) != false && Clock::now() < end) std::this_thread::sleep_for(5ms);
  EXPECT_FALSE(gate->breaker().isOpen());
}

TEST_F(GateTest, FilesThatTheScannerRefusesDoNotOpenTheBreaker) {
  options.breakerFailures = 3;
  start();
  scanner.replies(ScanResult::Refused);
  for (int i = 0; i < 10; ++i) kernel.answerTo(open());
  expectCount(Outcome::Refused, 10);
  EXPECT_FALSE(gate->breaker().isOpen());
}

TEST_F(GateTest, RemembersCleanFilesUntilTheyChange) {
  start();
  const auto openOne = [&](std::int64_t version) {
    return kernel.answerTo(kernel.open(kOpener, {"/data/x", fileStatus(5, version), false}));
  };
  EXPECT_THAT(openOne(1), Optional(true));
  expectCount(Outcome::Clean, 1);
  for (int i = 0; i < 10; ++i) EXPECT_THAT(openOne(1), Optional(true));
  expectCount(Outcome::Remembered, 10);
  EXPECT_EQ(scanner.scans, 1u);
  scanner.replies(ScanResult::Infected);
  EXPECT_THAT(openOne(2), Optional(false));
  for (int i = 0; i < 3; ++i) EXPECT_THAT(openOne(2), Optional(false)) << "infected: every time";
}

TEST_F(GateTest, ForgetsWithTheDatabaseAndOnReload) {
  start();
  ASSERT_TRUE(gate->checkScanner(Clock::now() + 10s));
  const auto openOne = [&] {
    return kernel.answerTo(kernel.open(kOpener, {"/data/x", fileStatus(5), false}));
  };
  openOne();
  expectCount(Outcome::Clean, 1);
  EXPECT_EQ(gate->remembered(), 1u);

  scanner.setVersion({true, "ClamAV 1.4.6/2/x", 0});
  ASSERT_TRUE(gate->checkScanner(Clock::now() + 10s));
  EXPECT_EQ(gate->remembered(), 0u);
  openOne();
  expectCount(Outcome::Clean, 2);

  scanner.setVersion({false, "no connection", 0});
  EXPECT_FALSE(gate->checkScanner(Clock::now() + 10s));
  EXPECT_EQ(gate->remembered(), 1u) << "a scanner that is away says nothing new";
  EXPECT_EQ(gate->scannerVersion(), "no connection");
  scanner.setVersion({true, "ClamAV 1.4.6/2/x", 0});
  EXPECT_TRUE(gate->checkScanner(Clock::now() + 10s));
  EXPECT_EQ(gate->remembered(), 1u) << "nor does it when it is the same again";

  gate->forgetVerdicts();
  EXPECT_EQ(gate->remembered(), 0u);
}

TEST_F(GateTest, AScanThatBeganUnderAnotherDatabaseIsNotRemembered) {
  start();
  std::atomic<bool> isScanning{false};
  std::atomic<bool> mayEnd{false};
  scanner.replies([&](int) {
    isScanning = true;
    while (!mayEnd) std::this_thread::sleep_for(1ms);
    return ScanReply{ScanResult::Clean, {}, 0};
  });
  const int scan = open();
  while (!isScanning) std::this_thread::sleep_for(1ms);
  scanner.setVersion({true, "ClamAV 1.4.6/2/x", 0});
  gate->checkScanner(Clock::now() + 10s);
  mayEnd = true;
  EXPECT_THAT(kernel.answerTo(scan), Optional(true));
  expectCount(Outcome::Clean, 1);
  EXPECT_EQ(gate->remembered(), 0u);
}

TEST_F(GateTest, ADryRunAllowsEverythingAtOnceAndCountsWhatWouldBe) {
  options.isDryRun = true;
  options.deadline = 1h;
  scanner.hang(true);
  scanner.replies(ScanResult::Infected);
  start();
  EXPECT_THAT(kernel.answerTo(open()), Optional(true)) << "while the scanner hangs";
  scanner.hang(false);
  expectCount(Outcome::Infected, 1);
  EXPECT_EQ(gate->metrics().denied, 1u);
  EXPECT_TRUE(kernel.waitUntilAllAreClosed());
}

TEST_F(GateTest, EveryOpenIsAnsweredOnce) {
  start();
  scanner.replies([](int descriptor) {
    return ScanReply{descriptor % 3 == 0 ? ScanResult::Infected : ScanResult::Clean, {}, 0};
  });
  std::vector<int> opens;
  for (int i = 0; i < 3000; ++i) {
    opens.push_back(i % 2 == 0 ? open() : openExcluded());
    if (i % 64 == 0) std::this_thread::sleep_for(1ms);
  }
  for (const int one : opens) ASSERT_TRUE(kernel.answerTo(one));
  EXPECT_TRUE(kernel.waitUntilAllAreClosed());
  for (const int one : opens) ASSERT_EQ(kernel.answersTo(one), 1u);
  EXPECT_EQ(gate->inFlight().count(), 0u);
}

TEST_F(GateTest, CountsWhatTheKernelSaysBesides) {
  start();
  kernel.overflow();
  kernel.fail();
  kernel.killOpeners();
  EXPECT_THAT(kernel.answerTo(open()), Optional(true));
  expectCount(Outcome::Clean, 1);
  EXPECT_EQ(gate->metrics().overflows, 1u);
  EXPECT_EQ(gate->metrics().kernelFailures, 1u);
  EXPECT_EQ(gate->metrics().unawaited, 1u);
}

TEST_F(GateTest, APolicyThatThrowsIsNoVerdict) {
  exclusions.throws = true;
  start();
  kernel.names["/closed/x"] = {kClosedMount, 3};
  EXPECT_THAT(
      kernel.answerTo(kernel.open(kOpener, {"/closed/x", fileStatus(3, 1, kClosedMount), false})),
      Optional(false));
  EXPECT_THAT(kernel.answerTo(openExcluded()), Optional(true)) << "the mount fails open";
  expectCount(Outcome::Unreadable, 2);
}

// As one that runs out of memory does.
TEST_F(GateTest, AScannerThatThrowsGivesNoVerdictAndEndsNothing) {
  scanner.replies([](int) -> ScanReply { throw std::bad_alloc(); });
  start();
  kernel.names["/closed/x"] = {kClosedMount, 3};
  EXPECT_THAT(
      kernel.answerTo(kernel.open(kOpener, {"/closed/x", fileStatus(3, 1, kClosedMount), false})),
      Optional(false));
  EXPECT_THAT(kernel.answerTo(open()), Optional(true)) << "the mount fails open";
  expectCount(Outcome::Unreadable, 2);
  scanner.replies(ScanResult::Infected);
  EXPECT_THAT(kernel.answerTo(open()), Optional(false));
  EXPECT_EQ(gate->breaker().openings(), 0u);
}

TEST_F(GateTest, WithoutMemoryToLearnWhoRepliedTheVerdictHolds) {
  scanner.replies([](int) { return ScanReply{ScanResult::Infected, "Test", ::getpid()}; });
  kernel.hasNoMemoryForPrograms = true;
  start();
  for (int i = 0; i < 3; ++i) EXPECT_THAT(kernel.answerTo(open()), Optional(false));
}

TEST_F(GateTest, StoppingLetsEverythingPass) {
  options.deadline = 1h;
  start();
  fillTheScanner();
  gate->stop();
  gate.reset();
  EXPECT_TRUE(kernel.letsPass());
}

TEST_F(GateTest, HoldsNoMoreDescriptorsThanItSays) {
  options.deadline = 1h;
  start();
  fillTheScanner();
  for (int i = 0; i < 500; ++i) open();
  expectCount(Outcome::QueueFull, 500);
  EXPECT_EQ(gate->inFlight().count(), options.queue + options.scanThreads);
  EXPECT_LE(gate->inFlight().capacity(), Gate::descriptorsFor(options));
}

}  // namespace
}  // namespace test
}  // namespace onaccess
