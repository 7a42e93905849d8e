// The trace log without memory, without file descriptors and without a system log. Beside the other
// tests of the trace log because here the real system log is called.

#include <fcntl.h>
#include <sys/resource.h>
#include <unistd.h>

#include <functional>

#include "tests/support/Starvation.h"
#include "tests/trace/TraceFixture.h"

namespace QVL {
namespace Test {
namespace {

class TraceStarvation : public TraceTest {
 protected:
  // Runs `call` with memory that runs out at each of its allocations; a line that comes afterwards
  // is written, and no stream is lost.
  void starve(const std::function<void()>& call) {
    for (int warming = 0; warming < 2; ++warming) call();
    for (const Hunger hunger : {Hunger::OneRefusal, Hunger::ForGood}) {
      untilFed([&](std::size_t spared) {
        SCOPED_TRACE(testing::Message() << "after " << spared << " allocations, " << hunger);
        bool struck = false;
        {
          const Starvation starvation(spared, hunger);
          call();
          struck = starvation.struck();
        }
        reloadHandler(1);
        EXPECT_LE(openStreams(), 1);
        std::filesystem::resize_file(kTraceFile, 0);
        log(5, "\xC3\xA4 is written");
        EXPECT_EQ(traceFile(), "\xC3\xA4 is written\n");
        m_struck += struck;
        return struck && !HasFailure();
      });
    }
    standardError();  // the XML layer tells when it cannot read the configuration
    EXPECT_GT(m_struck, 0) << "nothing was allocated";
  }

 private:
  int m_struck = 0;
};

TEST_F(TraceStarvation, MessageIsWrittenOrLostWhole) {
  start("5");
  starve([] {
    TraceLogMessage(5, "a message that is longer than a short one, with \xC3\xA4 in %s", "it");
  });
}

TEST_F(TraceStarvation, ReloadMayLoseTheFileUntilTheNextOne) {
  start("5");
  starve([] { reloadHandler(1); });
}

TEST_F(TraceStarvation, CloseAndStartMayLoseTheFileUntilTheNextOne) {
  start("5");
  starve([] {
    closeTraceLogger();
    InitProdLogger();
    InitTraceLogger();
  });
}

// What happens once in a process: the start, and the first line. A process for each allocation.
class StarvedStart : public TraceTest, public testing::WithParamInterface<std::size_t> {
 protected:
  static void expectALineOnceReloaded() {
    reloadHandler(1);
    std::filesystem::resize_file(kTraceFile, 0);
    log(5, "\xC3\xA4 is written");
    EXPECT_EQ(traceFile(), "\xC3\xA4 is written\n");
  }
  void TearDown() override {
    standardError();  // the XML layer tells when it cannot read the configuration
    TraceTest::TearDown();
  }
};

TEST_P(StarvedStart, LeavesALogThatWorksOnceItIsReloaded) {
  configure("5");
  {
    const Starvation starvation(GetParam(), Hunger::ForGood);
    log(5, "\xC3\xA4 may be lost");
  }
  expectALineOnceReloaded();
}

INSTANTIATE_TEST_SUITE_P(After, StarvedStart, testing::Range<std::size_t>(0, 16));

// The memory for the locale. The C library's own for its conversion, asked for after that, is not
// taken away: it does without from then on.
class StarvedFirstLine : public StarvedStart {};

TEST_P(StarvedFirstLine, MayBeLostButNoneAfterIt) {
  configure("5");
  log(6, "starts the log and is not written");
  {
    const Starvation starvation(GetParam(), Hunger::ForGood);
    log(5, "\xC3\xA4 may be lost");
  }
  expectALineOnceReloaded();
}
INSTANTIATE_TEST_SUITE_P(After, StarvedFirstLine, testing::Range<std::size_t>(0, 9));

// Takes every free file descriptor for as long as it lives.
class NoDescriptors {
 public:
  NoDescriptors() {
    getrlimit(RLIMIT_NOFILE, &m_before);
    const int lowest = dup(0);
    close(lowest);
    // What is open stays open; nothing from the lowest free one on can be opened.
    const rlimit none = {static_cast<rlim_t>(lowest), m_before.rlim_max};
    setrlimit(RLIMIT_NOFILE, &none);
  }
  ~NoDescriptors() { setrlimit(RLIMIT_NOFILE, &m_before); }
  NoDescriptors(const NoDescriptors&) = delete;
  NoDescriptors& operator=(const NoDescriptors&) = delete;

 private:
  rlimit m_before{};
};

TEST_F(TraceStarvation, WithoutDescriptorsTheLogWaitsForTheNextReload) {
  start("5");
  closeTraceLogger();
  {
    const NoDescriptors none;
    reloadHandler(1);
    EXPECT_EQ(logFilePtr, nullptr);
    log(5, "lost");
    EXPECT_EQ(standardError(), kConfigurationUnparsable);
    EXPECT_EQ(ScanAvoidanceFlowvalue, 5);
  }
  reloadHandler(1);
  log(5, "after");
  EXPECT_EQ(traceFile(), "after\n");
}

TEST_F(TraceStarvation, WithoutASystemLogErrorsReachTheFile) {
  start("5");
  {
    const NoDescriptors none;  // and so no connection to the system log
    for (int i = 0; i < 3; ++i) log(1, "error");
    log(4, "warning");
  }
  EXPECT_EQ(traceFile(), "error\nerror\nerror\nwarning\n");
}

}  // namespace
}  // namespace Test
}  // namespace QVL
