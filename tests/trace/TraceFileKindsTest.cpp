// What may stand where the trace file is expected.

#include <fcntl.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <sys/un.h>
#if defined(__linux__)
#include <sys/sysmacros.h>
#endif
#include <unistd.h>

#include <cstdlib>
#include <cstring>

#include "tests/support/Descriptors.h"
#include "tests/trace/TraceFixture.h"

namespace QVL {
namespace Test {
namespace {

namespace fs = std::filesystem;

class TraceFileKinds : public TraceTest {
 protected:
  // Lines go nowhere, and cost nothing else: a pipe that nobody reads is full after 64 KiB.
  static void expectNoTrace() {
    configure("5");
    log(5, "lost");
    ASSERT_EQ(logFilePtr, nullptr);
    EXPECT_EQ(traceInited, 1);
    const int open = openDescriptors();
    reloadHandler(1);
    EXPECT_EQ(openDescriptors(), open) << "what was refused is closed";
    for (int i = 0; i < 200; ++i) log(5, std::string(1000, 'x'));
    log(1, "to the system log");
    EXPECT_EQ(systemLog().entries.size(), 1U);
    fs::remove(kTraceFile);
    reloadHandler(1);
    log(5, "after");
    EXPECT_EQ(traceFile(), "after\n");
  }
};

TEST_F(TraceFileKinds, NamedPipeIsNoTraceFile) {
  ASSERT_EQ(mkfifo(kTraceFile, 0600), 0);
  expectNoTrace();
}

TEST_F(TraceFileKinds, NamedPipeWithAReaderIsNoTraceFile) {
  ASSERT_EQ(mkfifo(kTraceFile, 0600), 0);
  const int reader = open(kTraceFile, O_RDONLY | O_NONBLOCK | O_CLOEXEC);
  ASSERT_GE(reader, 0);
  expectNoTrace();
  close(reader);
}

// Hosts close their standard input, and the next file that is opened gets its number.
TEST_F(TraceFileKinds, NamedPipeIsClosedAgainWhateverItsDescriptor) {
  ASSERT_EQ(mkfifo(kTraceFile, 0600), 0);
  const int standardInput = dup(STDIN_FILENO);
  close(STDIN_FILENO);
  reloadHandler(1);
  EXPECT_EQ(logFilePtr, nullptr);
  EXPECT_EQ(fcntl(STDIN_FILENO, F_GETFD), -1);
  if (standardInput >= 0) {
    dup2(standardInput, STDIN_FILENO);
    close(standardInput);
  }
}

TEST_F(TraceFileKinds, SocketIsNoTraceFile) {
  // A name of a socket has little room.
  const fs::path before = fs::current_path();
  fs::current_path(kVar);
  sockaddr_un address{};
  address.sun_family = AF_UNIX;
  std::strcpy(address.sun_path, "ScanAvoidanceTraces.log");
  const int descriptor = socket(AF_UNIX, SOCK_STREAM, 0);
  ASSERT_EQ(bind(descriptor, reinterpret_cast<sockaddr*>(&address), sizeof address), 0);
  fs::current_path(before);
  expectNoTrace();
  close(descriptor);
}

TEST_F(TraceFileKinds, TerminalIsNoTraceFile) {
  const int master = posix_openpt(O_RDWR | O_NOCTTY | O_CLOEXEC);
  if (master < 0 || grantpt(master) != 0 || unlockpt(master) != 0) {
    GTEST_SKIP() << "this system has no pseudo terminals";
  }
  fs::create_symlink(ptsname(master), kTraceFile);
  expectNoTrace();
  close(master);
}

TEST_F(TraceFileKinds, DeviceThatWaitsForNobodyIsATraceFileAndKeepsItsMode) {
#if defined(__linux__)
  // The null device, and a node of its own for it.
  if (mknod(kTraceFile, S_IFCHR | 0666, makedev(1, 3)) != 0) {
    GTEST_SKIP() << "making a device is the superuser's";
  }
  chmod(kTraceFile, 0666);
  const int probe = open(kTraceFile, O_RDWR | O_CLOEXEC);
  if (probe < 0) GTEST_SKIP() << "this file system has no devices";
  close(probe);
  configure("5");
  log(5, "goes nowhere");
  EXPECT_NE(logFilePtr, nullptr);
  EXPECT_EQ(modeOf(kTraceFile), 0666U);
#else
  GTEST_SKIP() << "device numbers are the system's own";
#endif
}

TEST_F(TraceFileKinds, LinkToAFileIsFollowed) {
  const std::string target = std::string(kVar) + "/elsewhere.log";
  fs::create_symlink(target, kTraceFile);
  configure("5");
  log(5, "written");
  EXPECT_EQ(readFile(target), "written\n");
  EXPECT_EQ(modeOf(target.c_str()), 0744U);
}

TEST_F(TraceFileKinds, DescriptorIsNotPassedOnToOtherPrograms) {
  log(5, "first");
  ASSERT_NE(logFilePtr, nullptr);
  EXPECT_NE(fcntl(fileno(logFilePtr), F_GETFD) & FD_CLOEXEC, 0);
  reloadHandler(1);
  EXPECT_NE(fcntl(fileno(logFilePtr), F_GETFD) & FD_CLOEXEC, 0);
}

}  // namespace
}  // namespace Test
}  // namespace QVL
