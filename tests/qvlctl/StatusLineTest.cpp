// The line that shows how far a long work has come.

#include "io/StatusLine.h"

#include <fcntl.h>
#include <gtest/gtest.h>
#include <sys/ioctl.h>
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

// Runs `work` in a process whose standard error is a terminal, of so many columns (0: not known).
template <typename Work>
Ending onATerminal(Work work, unsigned short columns = 0) {
  const int master = ::posix_openpt(O_RDWR | O_NOCTTY | O_CLOEXEC);
  EXPECT_GE(master, 0);
  EXPECT_EQ(::grantpt(master), 0);
  EXPECT_EQ(::unlockpt(master), 0);
  const std::string name = ::ptsname(master);
  // Open in the parent as well until the end, so that nothing that was written is lost.
  const int keeper = ::open(name.c_str(), O_RDWR | O_NOCTTY | O_CLOEXEC);
  winsize size{};
  size.ws_col = columns;
  EXPECT_EQ(::ioctl(keeper, TIOCSWINSZ, &size), 0);
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
  EXPECT_EQ(ending.shown, "\r\x1b[Khalf\r\x1b[K" + std::string(76, 'x') + "...\r\x1b[K");
}

TEST(StatusLine, FitsIntoTheTerminal) {
  struct Case {
    unsigned short columns;
    const char* text;
    const char* shown;
  };
  for (const Case& one : {
           Case{20, "1234567890123456789", "1234567890123456789"},
           Case{20, "12345678901234567890", "1234567890123456..."},
           // No character is cut in two.
           Case{10, "12345\xc3\xa4\xc3\xa4\xc3\xa4", "12345..."},
           Case{10, "1234\xc3\xa4\xc3\xa4\xc3\xa4", "1234\xc3\xa4..."},
           Case{3, "1234", ".."},
           Case{1, "1234", ""},
       }) {
    const Ending ending = onATerminal([&] { StatusLine().show(one.text); }, one.columns);
    EXPECT_EQ(ending.shown, std::string("\r\x1b[K") + one.shown + "\r\x1b[K") << one.text;
  }
  // A width that changes counts from the next text on.
  const Ending ending = onATerminal(
      [] {
        StatusLine line;
        line.show("1234567890");
        winsize size{};
        size.ws_col = 5;
        EXPECT_EQ(::ioctl(STDERR_FILENO, TIOCSWINSZ, &size), 0);
        line.show("1234567890");
      },
      20);
  EXPECT_EQ(ending.shown, "\r\x1b[K1234567890\r\x1b[K1...\r\x1b[K");
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
