// The line that shows how far a long work has come.

#include "io/StatusLine.h"

#include <fcntl.h>
#include <gtest/gtest.h>
#include <sys/wait.h>
#include <unistd.h>

#include <csignal>
#include <cstdlib>
#include <string>

namespace qvlctl {
namespace {

struct Ending {
  std::string shown;
  int status;  // as waitpid gives it
};

// Runs `work` in a process whose standard error is a terminal.
template <typename Work>
Ending onATerminal(Work work) {
  const int master = ::posix_openpt(O_RDWR | O_NOCTTY | O_CLOEXEC);
  EXPECT_GE(master, 0);
  EXPECT_EQ(::grantpt(master), 0);
  EXPECT_EQ(::unlockpt(master), 0);
  const std::string name = ::ptsname(master);
  // Open in the parent as well until the end, so that nothing that was written is lost.
  const int keeper = ::open(name.c_str(), O_RDWR | O_NOCTTY | O_CLOEXEC);
  const pid_t child = ::fork();
  if (child == 0) {
    if (::dup2(keeper, STDERR_FILENO) < 0) ::_exit(126);
    work();
    ::_exit(0);
  }
  Ending ending{"", 0};
  EXPECT_EQ(::waitpid(child, &ending.status, 0), child);
  EXPECT_EQ(::fcntl(master, F_SETFL, O_NONBLOCK), 0);
  char buffer[4096];
  for (ssize_t count; (count = ::read(master, buffer, sizeof buffer)) > 0;) {
    ending.shown.append(buffer, static_cast<std::size_t>(count));
  }
  ::close(keeper);
  ::close(master);
  return ending;
}

TEST(StatusLine, IsTakenAwayAtTheEnd) {
  const Ending ending = onATerminal([] {
    StatusLine line;
    line.show("half");
    line.show(std::string(100, 'x'));
  });
  EXPECT_EQ(ending.shown, "\r\x1b[Khalf\r\x1b[K" + std::string(75, 'x') + "...\r\x1b[K");
}

TEST(StatusLine, IsTakenAwayWhenASignalEndsTheProgram) {
  for (const int signal : {SIGINT, SIGTERM, SIGHUP}) {
    const Ending ending = onATerminal([&] {
      StatusLine line;
      line.show("half");
      std::raise(signal);
    });
    EXPECT_EQ(ending.shown, "\r\x1b[Khalf\r\x1b[K");
    EXPECT_TRUE(WIFSIGNALED(ending.status) && WTERMSIG(ending.status) == signal) << signal;
  }
}

TEST(StatusLine, LeavesIgnoredSignalsIgnored) {
  const Ending ending = onATerminal([] {
    std::signal(SIGHUP, SIG_IGN);
    {
      const StatusLine line;
      std::raise(SIGHUP);
    }
    std::raise(SIGHUP);
  });
  EXPECT_EQ(ending.status, 0);
}

TEST(StatusLine, IsNotShownWhereItIsNotWanted) {
  const Ending ending = onATerminal([] {
    StatusLine line(false);
    line.show("half");
  });
  EXPECT_EQ(ending.shown, "");
}

}  // namespace
}  // namespace qvlctl
