// Nobody who logs waits for a file that is being opened.

#include <sys/resource.h>
#include <unistd.h>

#include <chrono>
#include <future>
#include <sstream>
#include <thread>

#include "tests/trace/OpenWatch.h"
#include "tests/trace/TraceFixture.h"

namespace QVL {
namespace Test {
namespace {

namespace fs = std::filesystem;

using testing::ElementsAre;

class TraceWaiting : public TraceTest {
 protected:
  void TearDown() override {
    for (std::thread& thread : m_threads) thread.join();
    TraceTest::TearDown();
  }

  // Has another thread run `call` while a file of this name is about to be opened, and the opening
  // wait for its end; it goes on when that does not come, since it would be waited for.
  void meanwhile(const char* name, std::function<void()> call) {
    whenOpening(name, [this, call = std::move(call)] {
      std::promise<void> ended;
      const std::future<void> end = ended.get_future();
      m_threads.emplace_back([call, ended = std::move(ended)]() mutable {
        call();
        ended.set_value();
      });
      m_ended = end.wait_for(std::chrono::seconds(20)) == std::future_status::ready;
    });
  }

  bool ended() const { return m_ended; }

 private:
  std::vector<std::thread> m_threads;
  bool m_ended = false;
};

// --- A reload
// ----------------------------------------------------------------------------------------------

TEST_F(TraceWaiting, LinesAreWrittenWhileAReloadReadsTheConfiguration) {
  start("5");
  meanwhile(kConfiguration, [] { log(5, "written meanwhile"); });
  reloadHandler(1);
  EXPECT_TRUE(ended());
  EXPECT_EQ(traceFile(), "written meanwhile\n");
}

TEST_F(TraceWaiting, LinesGoIntoTheOldFileUntilAReloadHasOpenedTheNewOne) {
  start("5");
  log(5, "before");
  const std::string rotated = std::string(kVar) + "/rotated.log";
  fs::rename(kTraceFile, rotated);
  configure("4");
  meanwhile(kTraceFile, [] { log(5, "written meanwhile"); });
  reloadHandler(1);
  EXPECT_TRUE(ended());
  log(5, "not written at level 4");
  log(4, "after");
  EXPECT_EQ(readFile(rotated), "before\nwritten meanwhile\n");
  EXPECT_EQ(traceFile(), "after\n");
}

TEST_F(TraceWaiting, ReloadLeavesAFileThatWasOpenedMeanwhile) {
  start("5");
  const int open = openStreams();
  for (const char* name : {kConfiguration, kTraceFile}) {
    FILE* opened = nullptr;
    meanwhile(name, [&opened] {
      closeTraceLogger();
      InitTraceLogger();
      opened = logFilePtr;
    });
    reloadHandler(1);
    EXPECT_TRUE(ended());
    EXPECT_NE(opened, nullptr);
    EXPECT_EQ(logFilePtr, opened) << name;
    EXPECT_EQ(openStreams(), open);
    log(5, name);
  }
  EXPECT_EQ(traceFile(), std::string(kConfiguration) + "\n" + kTraceFile + "\n");
}

TEST_F(TraceWaiting, ReloadOpensTheFileThatWasClosedMeanwhile) {
  start("5");
  meanwhile(kConfiguration, closeTraceLogger);
  reloadHandler(1);
  EXPECT_TRUE(ended());
  EXPECT_EQ(traceInited, 1);
  log(5, "after");
  EXPECT_EQ(traceFile(), "after\n");
}

TEST_F(TraceWaiting, OfTwoReloadsTheOneThatBeganLastDecides) {
  start("5");
  const std::string rotated = std::string(kVar) + "/rotated.log";
  const int open = openStreams();
  meanwhile(kTraceFile, [&rotated] {
    log(5, "before");
    fs::rename(kTraceFile, rotated);
    configure("4");
    reloadHandler(1);
    log(4, "after");
  });
  reloadHandler(1);
  EXPECT_TRUE(ended());
  EXPECT_EQ(ScanAvoidanceFlowvalue, 4);
  log(4, "long after");
  EXPECT_EQ(readFile(rotated), "before\n");
  EXPECT_EQ(traceFile(), "after\nlong after\n");
  EXPECT_EQ(openStreams(), open);
}

TEST_F(TraceWaiting, ReloadNeedsNoDescriptorBesideThatOfTheFile) {
  start("5");
  log(5, "before");
  const std::string rotated = std::string(kVar) + "/rotated.log";
  fs::rename(kTraceFile, rotated);
  configure("4");
  rlimit limit{};
  ASSERT_EQ(getrlimit(RLIMIT_NOFILE, &limit), 0);
  const int lowest = dup(0);
  close(lowest);
  const rlimit none = {static_cast<rlim_t>(lowest), limit.rlim_max};
  ASSERT_EQ(setrlimit(RLIMIT_NOFILE, &none), 0);
  reloadHandler(1);
  ASSERT_EQ(setrlimit(RLIMIT_NOFILE, &limit), 0);
  EXPECT_EQ(ScanAvoidanceFlowvalue, 4);
  log(4, "after");
  EXPECT_EQ(readFile(rotated), "before\n");
  EXPECT_EQ(traceFile(), "after\n");
}

// --- The start
// ---------------------------------------------------------------------------------------------

TEST_F(TraceWaiting, MessagesOfOtherThreadsAreKeptUntilTheLogHasStarted) {
  configure("4");
  meanwhile(kConfiguration, [] {
    log(5, "above the level");
    log(4, "odd");
    log(1, "broken");
  });
  log(4, "first");
  EXPECT_TRUE(ended());
  EXPECT_EQ(traceFile(), "odd\nbroken\nfirst\n");
  EXPECT_THAT(systemLog().openings, ElementsAre(SystemLogOpening{"Varnel: ", 1, 184}));
  EXPECT_THAT(systemLog().entries,
              ElementsAre(SystemLogEntry{4, "WARNING : ScanAvoidance : odd", "odd"},
                          SystemLogEntry{1, "ERROR : ScanAvoidance : broken", "broken"},
                          SystemLogEntry{4, "WARNING : ScanAvoidance : first", "first"}));
}

// A start that hangs must not take the memory.
TEST_F(TraceWaiting, NoMoreThanFourMillionBytesAreKept) {
  const std::string line(999, 'x');
  configure("5");
  meanwhile(kTraceFile, [&line] {
    for (int i = 0; i < 10000; ++i) log(5, line);
  });
  log(5, "first");
  EXPECT_TRUE(ended());
  int lines = 0;
  std::istringstream text(traceFile());
  std::string last;
  for (; std::getline(text, last) && last == line; ++lines) {
  }
  EXPECT_EQ(last, "first");
  EXPECT_GT(lines, 3900);
  EXPECT_LT(lines, 4200);
}

}  // namespace
}  // namespace Test
}  // namespace QVL
