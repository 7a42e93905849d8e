#include "ScannerProcess.h"

#include <signal.h>
#include <sys/wait.h>
#include <unistd.h>

#include "Scripted.h"
#include "gtest/gtest.h"

namespace onaccess {
namespace test {
namespace {

// A process that waits to be ended.
class Child {
 public:
  Child() : m_process(::fork()) {
    if (m_process == 0) {
      for (;;) ::pause();
    }
  }
  ~Child() { end(); }

  pid_t process() const { return m_process; }

  void end() {
    if (m_process <= 0) return;
    ::kill(m_process, SIGKILL);
    ::waitpid(m_process, nullptr, 0);
    m_process = 0;
  }

 private:
  pid_t m_process;
};

TEST(ScannerProcess, IsTrustedFromItsSecondReplyOn) {
  ScriptedKernel kernel;
  ScannerProcess scanner(kernel);
  const Child child;
  EXPECT_FALSE(scanner.is(child.process()));
  EXPECT_FALSE(scanner.sawReplyOf(child.process()));
  EXPECT_FALSE(scanner.is(child.process())) << "its number may have been another one's by now";
  EXPECT_TRUE(scanner.sawReplyOf(child.process()));
  EXPECT_TRUE(scanner.is(child.process()));
  EXPECT_FALSE(scanner.sawReplyOf(child.process())) << "that is no news";
}

TEST(ScannerProcess, IsNotTrustedAfterItsEnd) {
  ScriptedKernel kernel;
  ScannerProcess scanner(kernel);
  Child child;
  const pid_t process = child.process();
  scanner.sawReplyOf(process);
  scanner.sawReplyOf(process);
  ASSERT_TRUE(scanner.is(process));
  child.end();
  EXPECT_FALSE(scanner.is(process));
}

TEST(ScannerProcess, IsTheOneThatRepliesAfterARestart) {
  ScriptedKernel kernel;
  ScannerProcess scanner(kernel);
  Child before;
  scanner.sawReplyOf(before.process());
  scanner.sawReplyOf(before.process());
  const Child after;
  scanner.sawReplyOf(after.process());
  EXPECT_FALSE(scanner.is(before.process()));
  EXPECT_TRUE(scanner.sawReplyOf(after.process()));
  EXPECT_TRUE(scanner.is(after.process()));
}

TEST(ScannerProcess, NobodyIsTheScannerWithoutAReply) {
  ScriptedKernel kernel;
  ScannerProcess scanner(kernel);
  EXPECT_FALSE(scanner.sawReplyOf(0));
  EXPECT_FALSE(scanner.sawReplyOf(0));
  EXPECT_FALSE(scanner.is(0));
  EXPECT_FALSE(scanner.mayBecome(0));
  kernel.processes[5] = {"/usr/sbin/clamd", {7, 9}, 0};
  EXPECT_FALSE(scanner.mayBecome(5));
}

}  // namespace
}  // namespace test
}  // namespace onaccess
