// What the tests of the trace log share.

#ifndef QVL_TESTS_TRACE_TRACE_FIXTURE_H
#define QVL_TESTS_TRACE_TRACE_FIXTURE_H

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <sys/stat.h>

#include <clocale>
#include <filesystem>
#include <string>

#include "qvl/trace/TraceLog.h"
#include "tests/support/CapturedStderr.h"
#include "tests/support/ScratchFolder.h"
#include "tests/trace/StreamWatch.h"
#include "tests/trace/SystemLogDouble.h"

namespace QVL {
namespace Test {

constexpr char kHome[] = QVL_TEST_HOME;
constexpr char kVar[] = QVL_TEST_HOME "/var";
constexpr char kTraceFile[] = QVL_TEST_HOME "/var/ScanAvoidanceTraces.log";
constexpr char kConfiguration[] = QVL_TEST_HOME "/config/traceValues.xml";
constexpr char kConfigurationUnparsable[] =
    "Error: unable to parse file \"" QVL_TEST_HOME "/config/traceValues.xml\"\n";

// Writes the configuration with this text for the level.
inline void configure(const std::string& level) {
  writeFile(kConfiguration,
            "<TraceValues><ScanAvoidanceFlow>" + level + "</ScanAvoidanceFlow></TraceValues>");
}

inline void log(int level, const std::string& message) {
  TraceLogMessage(level, "%s", message.c_str());
}

inline std::string traceFile() {
  return readFile(kTraceFile);
}

inline unsigned int modeOf(const char* path) {
  struct stat status {};
  EXPECT_EQ(stat(path, &status), 0) << path;
  return status.st_mode & 07777U;
}

// A home without a trace file and with level 0, a freshly loaded library, and a process that is
// told apart: what is written to standard error, which streams are closed, what the system log is
// told.
class TraceTest : public testing::Test {
 protected:
  void SetUp() override {
    ASSERT_EQ(logFilePtr, nullptr) << "each case needs a process of its own, as ctest gives it";
    ASSERT_EQ(traceInited, 0);
    ASSERT_EQ(ScanAvoidanceFlowvalue, 0);
    restoreHome();
  }

  void TearDown() override {
    restoreHome();
    EXPECT_EQ(standardError(), "");
    EXPECT_EQ(streamsClosedTwice(), 0);
  }

  std::string standardError() { return m_stderr.take(); }

  static void restoreHome() {
    std::filesystem::remove_all(kVar);
    std::filesystem::remove_all(kConfiguration);
    std::filesystem::create_directories(kVar);
    std::filesystem::create_directories(std::filesystem::path(kConfiguration).parent_path());
    configure("0");
  }

  // A log that has started, with this level.
  static void start(const std::string& level) {
    configure(level);
    log(0, "");
    std::filesystem::resize_file(kTraceFile, 0);
  }

  // Empties the trace file and reads the configuration again.
  static void restart(const std::string& level) {
    configure(level);
    reloadHandler(1);
    std::filesystem::resize_file(kTraceFile, 0);
  }

 private:
  CapturedStderr m_stderr;
};

}  // namespace Test
}  // namespace QVL

#endif  // QVL_TESTS_TRACE_TRACE_FIXTURE_H
