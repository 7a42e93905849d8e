// Many threads at the trace log at once.

#include <atomic>
#include <set>
#include <sstream>
#include <thread>
#include <vector>

#include "tests/trace/TraceFixture.h"

namespace QVL {
namespace Test {
namespace {

constexpr int kThreads = 8;
constexpr int kMessages = 250;

class TraceThreads : public TraceTest {
 protected:
  // Long enough for a line to be torn where lines could be.
  static std::string lineOf(int thread, int message) {
    return "thread " + std::to_string(thread) + " message " + std::to_string(message) + " " +
           std::string(200 + static_cast<std::size_t>(message), static_cast<char>('a' + thread)) +
           " \xC3\xA4";
  }

  // All threads begin together; `meanwhile` is called over and over until they have ended.
  template <class Meanwhile>
  static void logFromManyThreads(int level, Meanwhile meanwhile) {
    std::atomic<bool> go{false};
    std::atomic<int> busy{kThreads};
    std::vector<std::thread> threads;
    for (int thread = 0; thread < kThreads; ++thread) {
      threads.emplace_back([&, thread] {
        while (!go) std::this_thread::yield();
        for (int message = 0; message < kMessages; ++message) log(level, lineOf(thread, message));
        --busy;
      });
    }
    go = true;
    while (busy > 0) meanwhile();
    for (std::thread& thread : threads) thread.join();
  }

  static std::set<std::string> allLines() {
    std::set<std::string> lines;
    for (int thread = 0; thread < kThreads; ++thread) {
      for (int message = 0; message < kMessages; ++message) lines.insert(lineOf(thread, message));
    }
    return lines;
  }

  // The lines of the file. Each is one that was logged, whole, and stands there once.
  static std::set<std::string> linesOfTheFile() {
    const std::set<std::string> logged = allLines();
    std::set<std::string> lines;
    std::istringstream text(traceFile());
    for (std::string line; std::getline(text, line);) {
      EXPECT_EQ(logged.count(line), 1U) << "torn: " << line;
      EXPECT_TRUE(lines.insert(line).second) << "twice: " << line;
    }
    return lines;
  }
};

TEST_F(TraceThreads, FirstMessagesOfManyThreadsStartTheLogOnceAndAllArrive) {
  configure("5");
  const int open = openStreams();
  logFromManyThreads(5, [] { std::this_thread::yield(); });
  EXPECT_EQ(linesOfTheFile(), allLines());
  EXPECT_EQ(openStreams(), open + 1);
  EXPECT_EQ(systemLog().openings.size(), 1U);
}

TEST_F(TraceThreads, ErrorsOfManyThreadsAllReachTheSystemLog) {
  logFromManyThreads(1, [] { std::this_thread::yield(); });
  std::set<std::string> arrived;
  for (const SystemLogEntry& entry : systemLog().entries) arrived.insert(entry.argument);
  EXPECT_EQ(arrived, allLines());
  EXPECT_EQ(systemLog().entries.size(), arrived.size());
  EXPECT_EQ(systemLog().openings.size(), 1U);
}

// Messages may find the file closed, but none is torn and no stream is lost.
TEST_F(TraceThreads, FileMayBeReloadedAndClosedMeanwhile) {
  configure("5");
  InitTraceLogger();
  const int open = openStreams();
  logFromManyThreads(5, [] {
    reloadHandler(1);
    closeTraceLogger();
    InitTraceLogger();
    std::this_thread::yield();
  });
  linesOfTheFile();
  EXPECT_EQ(openStreams(), open);
}

// Everything at once: reloads and closes by several threads, a configuration that changes or is cut
// off, rotations, errors for the system log.
TEST_F(TraceThreads, EveryLineIsWholeWhateverHappensMeanwhile) {
  configure("5");
  const int open = openStreams();
  std::atomic<bool> done{false};
  std::vector<std::thread> others;
  others.emplace_back([&done] {
    while (!done) reloadHandler(1);
  });
  others.emplace_back([&done] {
    while (!done) {
      closeTraceLogger();
      InitTraceLogger();
      InitProdLogger();
    }
  });
  others.emplace_back([&done] {
    while (!done) {
      log(1, "an error");
      log(6, "above every level");
    }
  });
  int round = 0;
  std::vector<std::string> files = {kTraceFile};
  const auto size = [&files] {
    std::uintmax_t sum = 0;
    for (const std::string& file : files) {
      std::error_code error;
      const std::uintmax_t bytes = std::filesystem::file_size(file, error);
      if (!error) sum += bytes;
    }
    return sum;
  };
  while (size() < 1000000) {
    logFromManyThreads(3, [&] {
      const char* const levels[] = {"5", "5", "4", "5", "none", "5"};
      configure(levels[++round % 6]);
      if (round % 100 == 0) {
        const std::string rotated = std::string(kVar) + "/rotated." + std::to_string(round);
        std::error_code error;
        std::filesystem::rename(kTraceFile, rotated, error);
        if (!error) files.push_back(rotated);
      }
      std::this_thread::yield();
    });
  }
  done = true;
  for (std::thread& thread : others) thread.join();
  standardError();  // a configuration may be read while it is written
  configure("5");
  reloadHandler(1);
  log(5, "last");
  closeTraceLogger();
  EXPECT_EQ(openStreams(), open);
  EXPECT_THAT(traceFile(), testing::EndsWith("last\n"));

  std::set<std::string> lines = allLines();
  lines.insert({"an error", "last"});
  std::size_t found = 0;
  for (const std::string& file : files) {
    if (!std::filesystem::exists(file)) continue;
    std::istringstream text(readFile(file));
    for (std::string line; std::getline(text, line); ++found) {
      EXPECT_EQ(lines.count(line), 1U) << "torn: " << line;
    }
  }
  EXPECT_GT(found, 1000U);
  for (const SystemLogEntry& entry : systemLog().entries) {
    EXPECT_EQ(entry, (SystemLogEntry{1, "ERROR : ScanAvoidance : an error", "an error"}));
  }
  EXPECT_FALSE(systemLog().entries.empty());
}

TEST_F(TraceThreads, NothingIsWrittenAtLevelZero) {
  logFromManyThreads(5, [] { std::this_thread::yield(); });
  EXPECT_EQ(traceFile(), "");
  EXPECT_EQ(traceInited, 1);
}

}  // namespace
}  // namespace Test
}  // namespace QVL
