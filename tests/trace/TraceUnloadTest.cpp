// A host that loads the library at run time and lets go of it, with the real system log.

#include <dlfcn.h>
#include <gtest/gtest.h>
#include <syslog.h>

#include <filesystem>

#include "tests/support/Descriptors.h"
#include "tests/support/ScratchFolder.h"

namespace QVL {
namespace Test {
namespace {

constexpr char kTraceFile[] = QVL_TEST_HOME "/var/ScanAvoidanceTraces.log";
constexpr char kConfiguration[] = QVL_TEST_HOME "/config/traceValues.xml";

// Loads the library, logs a message of this level and lets go of the library.
void loadAndLog(int level) {
  void* const library = dlopen(QVL_TEST_LIBRARY, RTLD_NOW | RTLD_LOCAL);
  ASSERT_NE(library, nullptr) << dlerror();
  using Log = void (*)(int, const char*, ...);
  const auto log = reinterpret_cast<Log>(dlsym(library, "_Z15TraceLogMessageiPKcz"));
  ASSERT_NE(log, nullptr) << dlerror();
  log(level, "%s", "message");
  EXPECT_EQ(dlclose(library), 0);
}

class Unloading : public testing::Test {
 protected:
  void SetUp() override {
    std::filesystem::create_directories(std::filesystem::path(kTraceFile).parent_path());
    std::filesystem::create_directories(std::filesystem::path(kConfiguration).parent_path());
    std::filesystem::remove(kTraceFile);
    configure("5");
  }
  void TearDown() override {
    configure("0");
    std::filesystem::remove(kTraceFile);
  }

  static void configure(const std::string& level) {
    writeFile(kConfiguration,
              "<TraceValues><ScanAvoidanceFlow>" + level + "</ScanAvoidanceFlow></TraceValues>");
  }
};

TEST_F(Unloading, LeavesTheSystemLogUsable) {
  loadAndLog(1);
  syslog(LOG_DEBUG, "from a test of a library that was unloaded");
}

TEST_F(Unloading, OverAndOverKeepsOneDescriptor) {
  loadAndLog(5);
  const int open = openDescriptors();
  for (int i = 0; i < 10; ++i) loadAndLog(5);
  EXPECT_EQ(openDescriptors(), open);
  EXPECT_EQ(readFile(kTraceFile).size(), 11 * std::string("message\n").size());
}

}  // namespace
}  // namespace Test
}  // namespace QVL
