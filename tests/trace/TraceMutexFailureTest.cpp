// The trace log when its mutex refuses its service. A program of its own: it stands its mutex
// function in front of the C library's. Not built with a sanitizer, which does the same.

#include <dlfcn.h>
#include <pthread.h>

#include <cerrno>
#include <system_error>
#include <utility>

#include "tests/trace/TraceFixture.h"

namespace {

// The log's own mutex, once known. Its first `spared` locks succeed, then one fails.
pthread_mutex_t* logMutex = nullptr;
bool learning = false;
bool refusing = false;
int spared = 0;

}  // namespace

extern "C" int pthread_mutex_lock(pthread_mutex_t* mutex)
#ifdef __GLIBC__
    __THROWNL
#endif
{
  if (std::exchange(learning, false)) logMutex = mutex;
  if (refusing && mutex == logMutex && spared-- == 0) {
    refusing = false;
    return EINVAL;
  }
  static const auto lock =
      reinterpret_cast<int (*)(pthread_mutex_t*)>(dlsym(RTLD_NEXT, "pthread_mutex_lock"));
  return lock(mutex);
}

namespace QVL {
namespace Test {
namespace {

class TraceMutexFailure : public TraceTest {
 protected:
  void SetUp() override {
    TraceTest::SetUp();
    learning = true;  // closing the log begins with its mutex
    closeTraceLogger();
    ASSERT_NE(logMutex, nullptr);
  }

  static void refuseAfter(int calls) {
    spared = calls;
    refusing = true;
  }

  // Did the mutex refuse?
  static bool refused() { return !std::exchange(refusing, false); }

  static void expectAReload() {
    configure("4");
    reloadHandler(1);
    EXPECT_EQ(ScanAvoidanceFlowvalue, 4);
    std::filesystem::resize_file(kTraceFile, 0);
    log(4, "after");
    EXPECT_EQ(traceFile(), "after\n");
  }
};

TEST_F(TraceMutexFailure, CostsALineAndPutsNoReloadOff) {
  start("5");
  refuseAfter(0);
  log(5, "lost");
  EXPECT_TRUE(refused());
  EXPECT_EQ(traceFile(), "");
  expectAReload();
}

TEST_F(TraceMutexFailure, IsThrownByTheOperationsOfTheHostAndPutsNoReloadOff) {
  start("5");
  using Operation = void (*)();
  int failures = 0;
  for (const Operation operation : {Operation(InitTraceLogger), Operation(closeTraceLogger),
                                    Operation([] { reloadHandler(1); })}) {
    for (int calls = 0;; ++calls) {
      const int open = openStreams();
      refuseAfter(calls);
      try {
        operation();
        EXPECT_FALSE(refused());
        break;
      } catch (const std::system_error&) {
        EXPECT_TRUE(refused());
        ++failures;
      }
      EXPECT_EQ(openStreams(), open);
      expectAReload();
    }
  }
  EXPECT_GE(failures, 3);
}

TEST_F(TraceMutexFailure, OfAReloadThatWasPutOffIsToldToNobody) {
  start("5");
  systemLog().whileLogging = [] {
    reloadHandler(1);
    refuseAfter(0);
  };
  log(1, "interrupted");
  systemLog().whileLogging = nullptr;
  EXPECT_TRUE(refused());
  expectAReload();
}

TEST_F(TraceMutexFailure, OfTheStartCostsNoErrorInTheSystemLog) {
  for (int calls = 0;; ++calls) {
    systemLog().entries.clear();
    refuseAfter(calls);
    log(1, "error");
    const bool failed = refused();
    EXPECT_EQ(systemLog().entries.size(), 1U) << calls;
    if (!failed) break;
    ASSERT_LT(calls, 100);
  }
}

TEST_F(TraceMutexFailure, OfTheStartIsFollowedByAnotherStart) {
  configure("4");
  for (int calls = 0;; ++calls) {
    refuseAfter(calls);
    log(5, "starts the log");
    if (!refused()) break;
    ASSERT_LT(calls, 100);
  }
  log(4, "written");
  EXPECT_EQ(traceFile(), "written\n");
}

}  // namespace
}  // namespace Test
}  // namespace QVL
