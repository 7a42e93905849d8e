#include "Log.h"

#include <fcntl.h>
#include <unistd.h>

#include <stdexcept>
#include <string>

#include "gtest/gtest.h"

namespace onaccess {
namespace {

class Pipe {
 public:
  Pipe() {
    if (::pipe2(m_ends, O_CLOEXEC) != 0) throw std::runtime_error("no pipe");
  }
  ~Pipe() {
    ::close(m_ends[0]);
    closeInput();
  }
  int input() const { return m_ends[1]; }
  void closeInput() {
    if (m_ends[1] >= 0) ::close(m_ends[1]);
    m_ends[1] = -1;
  }
  // Reads what is there until nothing has come for a while.
  void drain() {
    ::fcntl(m_ends[0], F_SETFL, O_NONBLOCK);
    char part[65536];
    for (int quiet = 0; quiet < 100;) {
      quiet = ::read(m_ends[0], part, sizeof part) > 0 ? 0 : quiet + 1;
      if (quiet != 0) ::usleep(1000);
    }
  }
  std::string readAll() {
    closeInput();
    std::string text;
    char part[4096];
    for (ssize_t count; (count = ::read(m_ends[0], part, sizeof part)) > 0;) {
      text.append(part, static_cast<std::size_t>(count));
    }
    return text;
  }

 private:
  int m_ends[2];
};

TEST(Log, WritesLinesInTheirOrder) {
  Pipe pipe;
  {
    Log log(pipe.input(), true);
    log.say(Level::Error, "one");
    log.say(Level::Info, "two");
  }
  EXPECT_EQ(pipe.readAll(), "<3>one\n<6>two\n");
}

// The journal takes a line without a level for information.
TEST(Log, EachLineOfATextHasItsLevel) {
  EXPECT_EQ(inLines(Level::Error, true, "one"), "<3>one\n");
  EXPECT_EQ(inLines(Level::Error, true, "one\ntwo\n"), "<3>one\n<3>two\n");
  EXPECT_EQ(inLines(Level::Error, false, "one\ntwo"), "one\ntwo\n");
  EXPECT_EQ(inLines(Level::Error, true, "one\n\ntwo"), "<3>one\n<3>\n<3>two\n");
  EXPECT_EQ(inLines(Level::Alert, true, ""), "<1>\n");
  Pipe pipe;
  {
    Log log(pipe.input(), true);
    log.say(Level::Warning, "one\ntwo\n");
  }
  EXPECT_EQ(pipe.readAll(), "<4>one\n<4>two\n");
}

TEST(Log, NobodyWaitsForAReaderThatDoesNotRead) {
  Pipe pipe;
  const int input = pipe.input();
  Log log(input, false);
  const std::string line(1000, 'x');
  for (std::size_t i = 0; i < 3 * Log::kQueue; ++i) log.say(Level::Info, line);
  EXPECT_GE(log.dropped(), Log::kQueue);
  pipe.drain();
}

TEST(Log, SaysSomeThingsSparingly) {
  Pipe pipe;
  {
    Log log(pipe.input(), false);
    for (int i = 0; i < 1000; ++i) log.saySparingly(Level::Warning, "denied");
    EXPECT_GE(log.dropped(), 1000u - 3 * Log::kPerSecond);
  }
}

TEST(Log, QuotesWhatOthersChose) {
  EXPECT_EQ(quoted("/a b"), "\"/a b\"");
  EXPECT_EQ(quoted("/a\nb\"\\\x1b\xc3"), "\"/a\\x0Ab\\\"\\\\\\x1B\\xC3\"");
}

}  // namespace
}  // namespace onaccess
