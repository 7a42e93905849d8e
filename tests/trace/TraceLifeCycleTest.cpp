// Start, reload and close of the trace log.

#include <fcntl.h>

#include <climits>
#include <csignal>
#include <cwchar>

#include "tests/support/Descriptors.h"
#include "tests/trace/TraceFixture.h"

namespace QVL {
namespace Test {
namespace {

using testing::ElementsAre;
using testing::IsEmpty;
using testing::SizeIs;

namespace fs = std::filesystem;

const SystemLogOpening kSystemLogOpening = {"Varnel: ", 1, 184};

class TraceLifeCycle : public TraceTest {};

// --- Start
// -----------------------------------------------------------------------------------------

class FirstMessage : public TraceTest, public testing::WithParamInterface<int> {};

TEST_P(FirstMessage, StartsTheLogWhateverItsLevel) {
  log(GetParam(), "first");
  EXPECT_EQ(traceInited, 1);
  ASSERT_NE(logFilePtr, nullptr);
  EXPECT_EQ(modeOf(kTraceFile), 0744U);
  EXPECT_EQ(traceFile(), GetParam() <= 0 ? "first\n" : "");
  EXPECT_THAT(systemLog().openings, ElementsAre(kSystemLogOpening));
}

INSTANTIATE_TEST_SUITE_P(Levels, FirstMessage,
                         testing::Values(5, 4, 1, 0, 3, -1, 6, INT_MIN, INT_MAX));

TEST_F(TraceLifeCycle, NothingIsStartedByLoading) {
  EXPECT_FALSE(fs::exists(kTraceFile));
  EXPECT_THAT(systemLog().openings, IsEmpty());
}

TEST_F(TraceLifeCycle, StartReadsTheLevelBeforeTheFirstMessageIsJudged) {
  configure("5");
  log(5, "first");
  EXPECT_EQ(ScanAvoidanceFlowvalue, 5);
  EXPECT_EQ(traceFile(), "first\n");
}

TEST_F(TraceLifeCycle, StartHappensOnce) {
  configure("5");
  log(5, "first");
  configure("0");
  fs::remove(kTraceFile);
  FILE* const stream = logFilePtr;
  for (int i = 0; i < 10; ++i) log(5, "later");
  EXPECT_EQ(ScanAvoidanceFlowvalue, 5);
  EXPECT_EQ(logFilePtr, stream);
  EXPECT_FALSE(fs::exists(kTraceFile));
  EXPECT_THAT(systemLog().openings, SizeIs(1));
}

TEST_F(TraceLifeCycle, FileIsAppendedToAndItsModeCorrected) {
  writeFile(kTraceFile, "from before\n");
  fs::permissions(kTraceFile, fs::perms(0600));
  configure("5");
  log(5, "first");
  EXPECT_EQ(traceFile(), "from before\nfirst\n");
  EXPECT_EQ(modeOf(kTraceFile), 0744U);
}

TEST_F(TraceLifeCycle, FileOpenForReadingToo) {
  log(5, "first");
  ASSERT_NE(logFilePtr, nullptr);
  EXPECT_EQ(fcntl(fileno(logFilePtr), F_GETFL) & (O_ACCMODE | O_APPEND), O_RDWR | O_APPEND);
}

TEST_F(TraceLifeCycle, ModeOfTheFileDoesNotDependOnTheProcess) {
  const mode_t previous = umask(0777);
  log(5, "first");
  umask(previous);
  EXPECT_EQ(modeOf(kTraceFile), 0744U);
}

TEST_F(TraceLifeCycle, HostStartsTheFileAlone) {
  configure("4");
  InitTraceLogger();
  EXPECT_EQ(traceInited, 1);
  EXPECT_NE(logFilePtr, nullptr);
  EXPECT_EQ(ScanAvoidanceFlowvalue, 4);
  EXPECT_EQ(modeOf(kTraceFile), 0744U);
  EXPECT_THAT(systemLog().openings, IsEmpty());
}

TEST_F(TraceLifeCycle, HostStartingTheFileTwiceReadsTheLevelAgainOnly) {
  InitTraceLogger();
  FILE* const stream = logFilePtr;
  fs::remove(kTraceFile);
  configure("5");
  InitTraceLogger();
  EXPECT_EQ(ScanAvoidanceFlowvalue, 5);
  EXPECT_EQ(logFilePtr, stream);
  EXPECT_FALSE(fs::exists(kTraceFile));
}

TEST_F(TraceLifeCycle, HostStartsTheSystemLogAlone) {
  InitProdLogger();
  EXPECT_THAT(systemLog().openings, ElementsAre(kSystemLogOpening));
  EXPECT_EQ(traceInited, 0);
  EXPECT_EQ(logFilePtr, nullptr);
  EXPECT_FALSE(fs::exists(kTraceFile));
}

TEST_F(TraceLifeCycle, FirstMessageKeepsTheHostsFileAndDoesTheRest) {
  configure("5");
  InitTraceLogger();
  FILE* const stream = logFilePtr;
  configure("0");
  log(5, "first");
  EXPECT_EQ(logFilePtr, stream);
  EXPECT_EQ(ScanAvoidanceFlowvalue, 0);
  EXPECT_EQ(traceFile(), "");
  EXPECT_THAT(systemLog().openings, ElementsAre(kSystemLogOpening));
}

TEST_F(TraceLifeCycle, FirstMessageOpensTheSystemLogThatTheHostHasOpened) {
  InitProdLogger();
  log(5, "first");
  EXPECT_THAT(systemLog().openings, ElementsAre(kSystemLogOpening, kSystemLogOpening));
}

TEST_F(TraceLifeCycle, FirstMessageOpensTheFileThatTheHostHasClosed) {
  configure("5");
  InitTraceLogger();
  closeTraceLogger();
  log(5, "first");
  EXPECT_EQ(traceInited, 1);
  EXPECT_EQ(traceFile(), "first\n");
}

// --- Close
// -----------------------------------------------------------------------------------------

TEST_F(TraceLifeCycle, NothingReachesTheFileAfterClose) {
  configure("5");
  log(5, "before");
  const int open = openStreams();
  FILE* const stream = logFilePtr;
  closeTraceLogger();
  EXPECT_EQ(traceInited, 0);
  EXPECT_EQ(logFilePtr, stream);
  EXPECT_EQ(openStreams(), open - 1);
  EXPECT_EQ(systemLog().closings, 1);
  for (const int level : {5, 4, 1, 0, -1}) log(level, "after");
  EXPECT_EQ(traceFile(), "before\n");
  EXPECT_EQ(traceInited, 0);
  EXPECT_THAT(systemLog().openings, SizeIs(1));
}

TEST_F(TraceLifeCycle, ErrorsAndWarningsReachTheSystemLogAfterClose) {
  log(5, "before");
  closeTraceLogger();
  log(1, "e");
  log(4, "w");
  log(5, "t");
  EXPECT_THAT(systemLog().entries,
              ElementsAre(SystemLogEntry{1, "ERROR : ScanAvoidance : e", "e"},
                          SystemLogEntry{4, "WARNING : ScanAvoidance : w", "w"}));
}

TEST_F(TraceLifeCycle, HostMayStartTheFileAgainAfterClose) {
  configure("5");
  log(5, "before");
  closeTraceLogger();
  fs::permissions(kTraceFile, fs::perms(0600));
  InitTraceLogger();
  EXPECT_EQ(traceInited, 1);
  EXPECT_EQ(modeOf(kTraceFile), 0744U);
  log(5, "after");
  EXPECT_EQ(traceFile(), "before\nafter\n");
  EXPECT_THAT(systemLog().openings, SizeIs(1));
}

TEST_F(TraceLifeCycle, CloseWithNothingOpenIsSafe) {
  closeTraceLogger();
  EXPECT_EQ(traceInited, 0);
  EXPECT_EQ(logFilePtr, nullptr);
  EXPECT_EQ(systemLog().closings, 1);
}

TEST_F(TraceLifeCycle, CloseTwiceClosesTheFileOnce) {
  log(5, "first");
  closeTraceLogger();
  closeTraceLogger();
  EXPECT_EQ(traceInited, 0);
  EXPECT_EQ(systemLog().closings, 2);
}

TEST_F(TraceLifeCycle, StreamsAreClosedOnceInAnyOrderOfOperations) {
  // Every sequence of four operations.
  using Operation = void (*)();
  const Operation operations[] = {closeTraceLogger, InitTraceLogger, [] { reloadHandler(1); },
                                  [] { log(0, "line"); }};
  configure("5");
  const int open = openStreams();
  for (int sequence = 0; sequence < 256; ++sequence) {
    for (int step = 0, rest = sequence; step < 4; ++step, rest /= 4) operations[rest % 4]();
    EXPECT_EQ(openStreams(), open + traceInited) << sequence;
  }
  closeTraceLogger();
  EXPECT_EQ(openStreams(), open);
}

// The C library gives a stream that is opened the memory of the one closed before.
TEST_F(TraceLifeCycle, StreamOfTheHostAfterACloseIsWrittenToAndClosedOnce) {
  start("5");
  const std::string name = std::string(kVar) + "/host.log";
  for (int i = 0; i < 10; ++i) {
    closeTraceLogger();
    const int open = openStreams();
    logFilePtr = std::fopen(name.c_str(), "w");
    traceInited = 1;
    log(5, "to the host's file");
    EXPECT_EQ(readFile(name), "to the host's file\n");
    closeTraceLogger();
    EXPECT_EQ(openStreams(), open);
    closeTraceLogger();
    InitTraceLogger();
  }
}

TEST_F(TraceLifeCycle, StreamThatTheHostHasClosedItselfIsLeftAlone) {
  start("5");
  closeTraceLogger();
  const FILE* const closed = logFilePtr;
  logFilePtr = std::fopen((std::string(kVar) + "/host.log").c_str(), "w");
  traceInited = 1;
  log(5, "to the host's file");
  std::fclose(logFilePtr);
  traceInited = 0;
  if (logFilePtr != closed) logFilePtr = nullptr;
  log(5, "lost");
  reloadHandler(1);
  log(5, "after");
  EXPECT_EQ(traceFile(), "after\n");
}

// --- Reload
// ----------------------------------------------------------------------------------------

TEST_F(TraceLifeCycle, ReloadReadsTheLevelAndReopensTheFile) {
  configure("5");
  log(5, "before");
  fs::rename(kTraceFile, std::string(kVar) + "/rotated.log");
  log(5, "still the same file");
  configure("4");
  const int open = openStreams();
  reloadHandler(1);
  EXPECT_EQ(openStreams(), open);
  EXPECT_EQ(traceInited, 1);
  EXPECT_EQ(ScanAvoidanceFlowvalue, 4);
  EXPECT_EQ(modeOf(kTraceFile), 0744U);
  log(5, "no more");
  log(4, "after");
  EXPECT_EQ(readFile(std::string(kVar) + "/rotated.log"), "before\nstill the same file\n");
  EXPECT_EQ(traceFile(), "after\n");
}

TEST_F(TraceLifeCycle, ReloadsKeepOneDescriptor) {
  start("5");
  const int open = openDescriptors();
  for (int i = 0; i < 10; ++i) reloadHandler(1);
  EXPECT_EQ(openDescriptors(), open);
}

TEST_F(TraceLifeCycle, ReloadLeavesTheSystemLogAlone) {
  log(5, "before");
  reloadHandler(1);
  reloadHandler(1);
  EXPECT_THAT(systemLog().openings, SizeIs(1));
  EXPECT_EQ(systemLog().closings, 0);
}

TEST_F(TraceLifeCycle, ReloadIgnoresOtherSignals) {
  log(5, "before");
  configure("5");
  fs::remove(kTraceFile);
  FILE* const stream = logFilePtr;
  for (const int number : {0, 2, 3, 15, -1, 257, INT_MAX, INT_MIN}) {
    reloadHandler(number);
    EXPECT_EQ(ScanAvoidanceFlowvalue, 0) << number;
    EXPECT_EQ(logFilePtr, stream) << number;
    EXPECT_FALSE(fs::exists(kTraceFile)) << number;
  }
}

TEST_F(TraceLifeCycle, ReloadOfOtherSignalsStartsNothing) {
  reloadHandler(15);
  EXPECT_EQ(traceInited, 0);
  EXPECT_EQ(logFilePtr, nullptr);
  EXPECT_FALSE(fs::exists(kTraceFile));
}

TEST_F(TraceLifeCycle, ReloadOpensTheFileWhenNoneWasOpen) {
  configure("5");
  reloadHandler(1);
  EXPECT_EQ(traceInited, 1);
  ASSERT_NE(logFilePtr, nullptr);
  EXPECT_EQ(ScanAvoidanceFlowvalue, 5);
  EXPECT_EQ(modeOf(kTraceFile), 0744U);
  EXPECT_THAT(systemLog().openings, IsEmpty());

  // The first message finds an open file and does the rest.
  FILE* const stream = logFilePtr;
  log(5, "first");
  EXPECT_EQ(logFilePtr, stream);
  EXPECT_EQ(traceFile(), "first\n");
  EXPECT_THAT(systemLog().openings, SizeIs(1));
}

TEST_F(TraceLifeCycle, ReloadAfterCloseOpensTheFileAgain) {
  configure("5");
  log(5, "before");
  closeTraceLogger();
  reloadHandler(1);
  EXPECT_EQ(traceInited, 1);
  log(5, "after");
  EXPECT_EQ(traceFile(), "before\nafter\n");
}

// What the handler does is not safe in every signal, and ThreadSanitizer says so; in the signal
// that is raised here it is.
extern "C" const char* __tsan_default_suppressions();   // NOLINT
extern "C" const char* __tsan_default_suppressions() {  // NOLINT
  return "signal:reloadHandler";
}

TEST_F(TraceLifeCycle, ReloadServesAsTheHandlerOfTheHangUpSignal) {
  configure("0");
  log(5, "before");
  configure("5");
  const auto previous = std::signal(SIGHUP, reloadHandler);
  EXPECT_EQ(std::raise(SIGHUP), 0);
  std::signal(SIGHUP, previous);
  EXPECT_EQ(ScanAvoidanceFlowvalue, 5);
  log(5, "after");
  EXPECT_EQ(traceFile(), "after\n");
}

// The signal may arrive in the middle of a message of the same thread.
TEST_F(TraceLifeCycle, ReloadInsideAMessageHappensAfterIt) {
  log(5, "first");
  configure("5");
  systemLog().whileLogging = [] {
    fs::rename(kTraceFile, std::string(kVar) + "/rotated.log");
    reloadHandler(1);
  };
  log(1, "interrupted");
  systemLog().whileLogging = nullptr;
  EXPECT_EQ(ScanAvoidanceFlowvalue, 5);
  log(5, "after");
  EXPECT_EQ(traceFile(), "after\n");
}

// As when the host's own handler of the signal logs before it reloads.
TEST_F(TraceLifeCycle, ReloadBehindAMessageInsideAMessageHappensAfterBoth) {
  start("3");
  configure("5");
  int levelInside = 0;
  systemLog().whileLogging = [&levelInside] {
    log(3, "inside");
    reloadHandler(1);
    levelInside = ScanAvoidanceFlowvalue;
  };
  log(1, "interrupted");
  systemLog().whileLogging = nullptr;
  EXPECT_EQ(levelInside, 3);
  EXPECT_EQ(ScanAvoidanceFlowvalue, 5);
  EXPECT_EQ(traceFile(), "interrupted\ninside\n");
}

TEST_F(TraceLifeCycle, ReloadIsSafeWhenTheFileCannotBeOpenedAgain) {
  configure("5");
  log(5, "before");
  fs::remove_all(kVar);
  writeFile(kVar, "a file");
  reloadHandler(1);
  EXPECT_EQ(traceInited, 1);
  EXPECT_EQ(logFilePtr, nullptr);
  log(5, "lost");
  reloadHandler(1);
  closeTraceLogger();
  closeTraceLogger();

  fs::remove(kVar);
  fs::create_directory(kVar);
  reloadHandler(1);
  log(5, "after");
  EXPECT_EQ(traceFile(), "after\n");
}

// --- A file that cannot be opened
// ------------------------------------------------------------------

TEST_F(TraceLifeCycle, FileThatCannotBeOpenedIsSilentlyWithoutMessages) {
  fs::remove_all(kVar);
  writeFile(kVar, "a file");
  configure("5");
  log(5, "lost");
  log(1, "lost in the file only");
  EXPECT_EQ(traceInited, 1);
  EXPECT_EQ(logFilePtr, nullptr);
  EXPECT_EQ(ScanAvoidanceFlowvalue, 5);
  EXPECT_THAT(systemLog().entries, SizeIs(1));
  EXPECT_EQ(readFile(kVar), "a file");
  closeTraceLogger();
  EXPECT_EQ(traceInited, 0);
}

TEST_F(TraceLifeCycle, FolderOfTheFileIsNotMade) {
  fs::remove_all(kVar);
  InitTraceLogger();
  EXPECT_EQ(traceInited, 1);
  EXPECT_EQ(logFilePtr, nullptr);
  EXPECT_FALSE(fs::exists(kVar));
}

TEST_F(TraceLifeCycle, ModeIsAttemptedEvenWhenOpeningFailed) {
  fs::create_directory(kTraceFile);
  fs::permissions(kTraceFile, fs::perms(0700));
  InitTraceLogger();
  EXPECT_EQ(logFilePtr, nullptr);
  EXPECT_EQ(traceInited, 1);
  EXPECT_EQ(modeOf(kTraceFile), 0744U);
}

}  // namespace
}  // namespace Test
}  // namespace QVL
