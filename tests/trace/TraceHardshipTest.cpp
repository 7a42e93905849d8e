// The trace log where the system refuses its services.

#include <sys/resource.h>
#if defined(__linux__)
#include <linux/capability.h>
#include <sys/syscall.h>
#include <unistd.h>
#endif

#include <csignal>

#include "tests/support/TraceRecorder.h"
#include "tests/trace/TraceFixture.h"

namespace QVL {
namespace Test {
namespace {

namespace fs = std::filesystem;

class TraceHardship : public TraceTest {};

// Root may write to what it has forbidden everybody to write to; this takes the privilege away for
// as long as it lives, where that is possible. Permissions mean what they say to everybody else.
class OrdinaryUser {
 public:
#if defined(__linux__)
  OrdinaryUser() {
    m_header.version = _LINUX_CAPABILITY_VERSION_3;
    EXPECT_EQ(syscall(SYS_capget, &m_header, m_before), 0);
    __user_cap_data_struct reduced[2] = {m_before[0], m_before[1]};
    reduced[0].effective &= ~(1U << CAP_DAC_OVERRIDE);
    EXPECT_EQ(syscall(SYS_capset, &m_header, reduced), 0);
  }
  ~OrdinaryUser() {
    syscall(SYS_capset, &m_header, m_before);
  }
  OrdinaryUser(const OrdinaryUser&) = delete;
  OrdinaryUser& operator=(const OrdinaryUser&) = delete;

 private:
  __user_cap_header_struct m_header{};
  __user_cap_data_struct m_before[2]{};
#else
  OrdinaryUser() {}
#endif
};

TEST_F(TraceHardship, DeviceThatIsFullCostsLinesAndNothingElse) {
  start("5");
  const Stream full(std::fopen("/dev/full", "a+"));
  ASSERT_TRUE(full) << "a device that is always full";
  {
    const TraceDiversion diversion(full.get());
    for (int i = 0; i < 100; ++i) log(5, std::string(1000, 'x'));
    log(1, "to the system log as well");
  }
  EXPECT_EQ(systemLog().entries.size(), 1U);
  std::filesystem::resize_file(kTraceFile, 0);
  log(5, "after");
  EXPECT_EQ(traceFile(), "after\n");
}

TEST_F(TraceHardship, FileThatMayNotGrowIsWrittenToAgainOnceItMay) {
  start("5");
  log(5, "before");
  const auto ignored = std::signal(SIGXFSZ, SIG_IGN);
  rlimit limit{};
  ASSERT_EQ(getrlimit(RLIMIT_FSIZE, &limit), 0);
  const rlimit tight = {fs::file_size(kTraceFile), limit.rlim_max};
  ASSERT_EQ(setrlimit(RLIMIT_FSIZE, &tight), 0);
  for (int i = 0; i < 10; ++i) log(5, "lost");
  ASSERT_EQ(setrlimit(RLIMIT_FSIZE, &limit), 0);
  std::signal(SIGXFSZ, ignored);
  EXPECT_EQ(traceFile(), "before\n");
  reloadHandler(1);
  log(5, "after");
  EXPECT_THAT(traceFile(), testing::StartsWith("before\n"));
  EXPECT_THAT(traceFile(), testing::EndsWith("after\n"));
}

TEST_F(TraceHardship, FileThatMayNotBeWrittenIsLeftAlone) {
  writeFile(kTraceFile, "somebody else's\n");
  fs::permissions(kTraceFile, fs::perms(0444));
  fs::permissions(kVar, fs::perms(0555));
  configure("5");
  {
    const OrdinaryUser user;
    log(5, "lost");
    reloadHandler(1);  // its owner has given it the right mode meanwhile
    log(5, "written");
  }
  fs::permissions(kVar, fs::perms(0755));
  EXPECT_EQ(traceInited, 1);
  EXPECT_EQ(traceFile(), "somebody else's\nwritten\n");
}

TEST_F(TraceHardship, FolderThatMayNotBeWrittenLeavesTheLogWithoutAFile) {
  fs::permissions(kVar, fs::perms(0555));
  configure("5");
  {
    const OrdinaryUser user;
    log(5, "lost");
    EXPECT_EQ(logFilePtr, nullptr);
    log(1, "to the system log");
  }
  fs::permissions(kVar, fs::perms(0755));
  EXPECT_EQ(systemLog().entries.size(), 1U);
  EXPECT_FALSE(fs::exists(kTraceFile));
  reloadHandler(1);
  log(5, "after");
  EXPECT_EQ(traceFile(), "after\n");
}

// As a rotation of logs does it: lines go on into the file that was renamed until the reload.
TEST_F(TraceHardship, FileReplacedWhileOpenIsFollowedUntilTheReload) {
  start("5");
  log(5, "before");
  const std::string rotated = std::string(kVar) + "/rotated.log";
  fs::rename(kTraceFile, rotated);
  writeFile(kTraceFile, "fresh\n");
  log(5, "between");
  EXPECT_EQ(readFile(rotated), "before\nbetween\n");
  EXPECT_EQ(traceFile(), "fresh\n");
  reloadHandler(1);
  log(5, "after");
  EXPECT_EQ(readFile(rotated), "before\nbetween\n");
  EXPECT_EQ(traceFile(), "fresh\nafter\n");
}

TEST_F(TraceHardship, FileRemovedWhileOpenIsMadeAgainByTheReload) {
  start("5");
  fs::remove(kTraceFile);
  log(5, "lost");
  EXPECT_FALSE(fs::exists(kTraceFile));
  reloadHandler(1);
  log(5, "after");
  EXPECT_EQ(traceFile(), "after\n");
}

TEST_F(TraceHardship, FileCutWhileOpenGoesOnAtItsEnd) {
  start("5");
  log(5, "before");
  fs::resize_file(kTraceFile, 0);
  log(5, "after");
  EXPECT_EQ(traceFile(), "after\n");
}

TEST_F(TraceHardship, HugeConfigurationIsToldAndLeavesTheLevel) {
  start("5");
  // More than a document may hold in one text.
  configure(std::string(11 << 20, ' ') + "0");
  reloadHandler(1);
  EXPECT_EQ(ScanAvoidanceFlowvalue, 5);
  EXPECT_EQ(standardError(), kConfigurationUnparsable);
  configure("4");
  reloadHandler(1);
  EXPECT_EQ(ScanAvoidanceFlowvalue, 4);
}

TEST_F(TraceHardship, HalfWrittenConfigurationIsToldAndLeavesTheLevel) {
  start("5");
  configure("0");
  const std::string whole = readFile(kConfiguration);
  for (std::size_t size = 0; size < whole.size(); ++size) {
    writeFile(kConfiguration, whole.substr(0, size));
    reloadHandler(1);
    EXPECT_EQ(ScanAvoidanceFlowvalue, 5) << "the first " << size << " bytes";
    EXPECT_EQ(standardError(), kConfigurationUnparsable) << "the first " << size << " bytes";
  }
  writeFile(kConfiguration, whole);
  reloadHandler(1);
  EXPECT_EQ(ScanAvoidanceFlowvalue, 0);
}

TEST_F(TraceHardship, ConfigurationThatMayNotBeReadIsToldAndLeavesTheLevel) {
  start("5");
  configure("0");
  fs::permissions(kConfiguration, fs::perms(0));
  {
    const OrdinaryUser user;
#if defined(__linux__)
    // Reading is a privilege of its own.
    __user_cap_header_struct header{_LINUX_CAPABILITY_VERSION_3, 0};
    __user_cap_data_struct data[2];
    ASSERT_EQ(syscall(SYS_capget, &header, data), 0);
    data[0].effective &= ~(1U << CAP_DAC_READ_SEARCH);
    ASSERT_EQ(syscall(SYS_capset, &header, data), 0);
#endif
    reloadHandler(1);
  }
  EXPECT_EQ(ScanAvoidanceFlowvalue, 5);
  EXPECT_EQ(standardError(), kConfigurationUnparsable);
}

}  // namespace
}  // namespace Test
}  // namespace QVL
