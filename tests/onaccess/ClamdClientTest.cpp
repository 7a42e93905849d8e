#include "ClamdClient.h"

#include <dirent.h>
#include <fcntl.h>
#include <sys/socket.h>
#include <sys/un.h>
#include <unistd.h>

#include <atomic>
#include <cstring>
#include <functional>
#include <string>
#include <thread>

#include "Trouble.h"
#include "gtest/gtest.h"
#include "tests/support/ScratchFolder.h"

namespace onaccess {
namespace {

using namespace std::chrono_literals;
using QVL::Test::ScratchFolder;

std::size_t openDescriptors() {
  std::size_t count = 0;
  DIR* const folder = ::opendir("/proc/self/fd");
  while (::readdir(folder) != nullptr) ++count;
  ::closedir(folder);
  return count;
}

// A scanner at a socket of its own, which does with each connection what a test says.
class ScannerSocket {
 public:
  using Serve = std::function<void(int connection)>;

  explicit ScannerSocket(Serve serve) : m_serve(std::move(serve)) {
    // Names of sockets are short; the scratch folder's may not be.
    m_home = ::open(m_folder.path().c_str(), O_PATH | O_DIRECTORY);
    m_name = "/proc/self/fd/" + std::to_string(m_home) + "/s";
    m_listener = ::socket(AF_UNIX, SOCK_STREAM, 0);
    sockaddr_un address = {};
    address.sun_family = AF_UNIX;
    m_name.copy(address.sun_path, sizeof address.sun_path - 1);
    if (::bind(m_listener, reinterpret_cast<sockaddr*>(&address), sizeof address) != 0 ||
        ::listen(m_listener, 1) != 0) {
      throw std::runtime_error(std::strerror(errno));
    }
    m_thread = std::thread([this] { run(); });
  }

  ~ScannerSocket() {
    m_isEnding = true;
    ::shutdown(m_listener, SHUT_RDWR);
    m_thread.join();
    ::close(m_listener);
    ::close(m_home);
  }

  const std::string& name() const { return m_name; }
  const std::atomic<bool>& isEnding() const { return m_isEnding; }

 private:
  void run() {
    for (;;) {
      const int connection = ::accept(m_listener, nullptr, nullptr);
      if (connection < 0) return;
      m_serve(connection);
      ::close(connection);
    }
  }

  ScratchFolder m_folder;
  const Serve m_serve;
  std::string m_name;
  int m_home = -1;
  int m_listener = -1;
  std::atomic<bool> m_isEnding{false};
  std::thread m_thread;
};

// Reads a command, and the descriptor of FILDES; -1: none came.
std::string readCommand(int connection, int& descriptor) {
  descriptor = -1;
  std::string command;
  for (;;) {
    char byte;
    iovec part = {&byte, 1};
    alignas(cmsghdr) char control[CMSG_SPACE(sizeof(int))];
    msghdr message = {};
    message.msg_iov = &part;
    message.msg_iovlen = 1;
    message.msg_control = control;
    message.msg_controllen = sizeof control;
    if (::recvmsg(connection, &message, 0) <= 0) return command + "<end>";
    if (const cmsghdr* const header = CMSG_FIRSTHDR(&message)) {
      std::memcpy(&descriptor, CMSG_DATA(header), sizeof descriptor);
    }
    if (byte != '\0') {
      command += byte;
    } else if (command != "zFILDES" || descriptor >= 0) {
      return command;
    }
  }
}

ScannerSocket::Serve replying(const std::string& reply) {
  return [reply](int connection) {
    int descriptor;
    readCommand(connection, descriptor);
    if (descriptor >= 0) ::close(descriptor);
    ::send(connection, reply.data(), reply.size(), MSG_NOSIGNAL);
  };
}

std::string withEnd(const std::string& reply) {
  return reply + std::string(1, '\0');
}

ScanReply scanWith(const ScannerSocket::Serve& serve, Duration time = 10s) {
  ScannerSocket socket(serve);
  ClamdClient client(socket.name());
  return client.scan(STDIN_FILENO, Clock::now() + time);
}

TEST(ClamdReply, MeansWhatTheProtocolSays) {
  const struct {
    const char* reply;
    ScanResult result;
    const char* detail;
  } cases[] = {
      {"fd[10]: OK", ScanResult::Clean, ""},
      {"fd[0]: Eicar-Test FOUND", ScanResult::Infected, "Eicar-Test"},
      {"fd[11]: A b OK FOUND", ScanResult::Infected, "A b OK"},
      {"fd[11]: Can't read ERROR", ScanResult::Refused, "Can't read"},
      {"fd[11]: \x01\xff FOUND", ScanResult::Infected, "??"},
  };
  for (const auto& c : cases) {
    const ScanReply reply = parseScanReply(c.reply);
    EXPECT_EQ(reply.result, c.result) << c.reply;
    EXPECT_EQ(reply.detail, c.detail) << c.reply;
  }
}

TEST(ClamdReply, AnythingElseIsMalformed) {
  for (const char* const reply : {"",
                                  "OK",
                                  "fd[10]: ",
                                  "fd[10]:OK",
                                  "fd[]: OK",
                                  "fd[x]: OK",
                                  "fd[10: OK",
                                  "fd[10]: OKAY",
                                  "fd[10]: ok",
                                  "fd[10]: OK ",
                                  " fd[10]: OK",
                                  "fd[10]: FOUND",
                                  "fd[10]:  FOUND",
                                  "fd[10]: ERROR",
                                  "stream: OK",
                                  "/a/b: OK",
                                  "UNKNOWN COMMAND",
                                  "fd[10]: X FOUND\n",
                                  "fd[10",
                                  "fd["}) {
    EXPECT_EQ(parseScanReply(reply).result, ScanResult::Malformed) << reply;
  }
}

TEST(ClamdReply, TellsAVersion) {
  EXPECT_TRUE(parseVersionReply("ClamAV 1.4.6").isKnown);
  EXPECT_EQ(parseVersionReply("ClamAV 1.4.6/27000/Mon").text, "ClamAV 1.4.6/27000/Mon");
  for (const char* const reply : {"", "ClamAV ", "clamav 1", "UNKNOWN COMMAND"}) {
    EXPECT_FALSE(parseVersionReply(reply).isKnown) << reply;
  }
}

TEST(ClamdClient, PassesTheDescriptorAndHearsTheVerdict) {
  const ScratchFolder folder;
  QVL::Test::writeFile(folder / "file", "content");
  const int file = ::open((folder / "file").c_str(), O_RDONLY);
  std::string command;
  std::string content;
  ScannerSocket socket([&](int connection) {
    int descriptor;
    command = readCommand(connection, descriptor);
    char text[20];
    const ssize_t count = ::read(descriptor, text, sizeof text);
    content.assign(text, count > 0 ? static_cast<std::size_t>(count) : 0);
    ::close(descriptor);
    // In pieces, as it may come.
    ::send(connection, "fd[1", 4, MSG_NOSIGNAL);
    std::this_thread::sleep_for(20ms);
    ::send(connection, "0]: Bad FOUND\0", 14, MSG_NOSIGNAL);
  });
  ClamdClient client(socket.name());
  const ScanReply reply = client.scan(file, Clock::now() + 10s);
  ::close(file);
  EXPECT_EQ(reply.result, ScanResult::Infected);
  EXPECT_EQ(reply.detail, "Bad");
  EXPECT_EQ(reply.process, ::getpid()) << "by the kernel's word";
  EXPECT_EQ(command, "zFILDES");
  EXPECT_EQ(content, "content");
}

TEST(ClamdClient, AsksForTheVersion) {
  ScannerSocket socket(replying(withEnd("ClamAV 1.4.6/27000/Mon")));
  ClamdClient client(socket.name());
  const VersionReply reply = client.version(Clock::now() + 10s);
  EXPECT_TRUE(reply.isKnown);
  EXPECT_EQ(reply.text, "ClamAV 1.4.6/27000/Mon");
  EXPECT_EQ(reply.process, ::getpid());
}

TEST(ClamdClient, FindsNoScanner) {
  ClamdClient client("/nonexistent/socket");
  EXPECT_EQ(client.scan(0, Clock::now() + 10s).result, ScanResult::Unreachable);
  EXPECT_FALSE(client.version(Clock::now() + 10s).isKnown);
}

TEST(ClamdClient, RefusesANameThatIsTooLongForASocket) {
  EXPECT_THROW(ClamdClient(std::string(108, 'a')), Trouble);
  EXPECT_THROW(ClamdClient(""), Trouble);
  EXPECT_NO_THROW(ClamdClient(std::string(107, 'a')));
}

TEST(ClamdClient, AScannerThatDiesInTheMiddleIsUnreachable) {
  EXPECT_EQ(scanWith(replying("fd[10]: O")).result, ScanResult::Unreachable);
  EXPECT_EQ(scanWith(replying("fd[10]: OK")).result, ScanResult::Unreachable)
      << "the end of the reply is missing";
  EXPECT_EQ(scanWith([](int) {}).result, ScanResult::Unreachable);
}

TEST(ClamdClient, NonsenseIsMalformed) {
  EXPECT_EQ(scanWith(replying(withEnd("hello"))).result, ScanResult::Malformed);
  EXPECT_EQ(scanWith(replying(withEnd(""))).result, ScanResult::Malformed);
  EXPECT_EQ(scanWith(replying(withEnd("fd[1]: OK") + withEnd("fd[1]: X FOUND"))).result,
            ScanResult::Malformed);
}

TEST(ClamdClient, AFloodIsMalformedAndEnds) {
  const ScannerSocket::Serve flood = [](int connection) {
    const std::string text(65536, 'x');
    while (::send(connection, text.data(), text.size(), MSG_NOSIGNAL) > 0) continue;
  };
  EXPECT_EQ(scanWith(flood).result, ScanResult::Malformed);
}

TEST(ClamdClient, GivesUpAScannerThatHangs) {
  std::atomic<bool> isDone{false};
  const ScannerSocket::Serve hang = [&](int connection) {
    int descriptor;
    readCommand(connection, descriptor);
    ::close(descriptor);
    while (!isDone) std::this_thread::sleep_for(1ms);
  };
  ScannerSocket socket(hang);
  ClamdClient client(socket.name());
  EXPECT_EQ(client.scan(0, Clock::now() + 50ms).result, ScanResult::Deadline);
  isDone = true;
}

// The reply never ends, and never comes too late for the next wait.
TEST(ClamdClient, GivesUpAScannerThatIsSlow) {
  const ScannerSocket::Serve drip = [](int connection) {
    while (::send(connection, "f", 1, MSG_NOSIGNAL) > 0) std::this_thread::sleep_for(1ms);
  };
  EXPECT_EQ(scanWith(drip, 100ms).result, ScanResult::Deadline);
}

TEST(ClamdClient, GivesUpAScannerThatTakesNoConnections) {
  std::atomic<bool> isDone{false};
  ScannerSocket socket([&](int) {
    while (!isDone) std::this_thread::sleep_for(1ms);
  });
  // Its queue takes a few; they hang, and so does everything behind them.
  ClamdClient client(socket.name());
  for (int i = 0; i < 5; ++i) {
    EXPECT_EQ(client.scan(0, Clock::now() + 30ms).result, ScanResult::Deadline);
  }
  isDone = true;
}

TEST(ClamdClient, StopEndsAScanThatWaits) {
  std::atomic<bool> isDone{false};
  ScannerSocket socket([&](int) {
    while (!isDone) std::this_thread::sleep_for(1ms);
  });
  ClamdClient client(socket.name());
  std::thread stopper([&client] {
    std::this_thread::sleep_for(30ms);
    client.stop();
  });
  EXPECT_EQ(client.scan(0, Clock::now() + 10min).result, ScanResult::Unreachable);
  stopper.join();
  isDone = true;
}

TEST(ClamdClient, KeepsNoDescriptorThatTheScannerSends) {
  const ScannerSocket::Serve sendOne = [](int connection) {
    int descriptor;
    readCommand(connection, descriptor);
    iovec part = {const_cast<char*>("x"), 1};
    alignas(cmsghdr) char control[CMSG_SPACE(sizeof(int))] = {};
    msghdr message = {};
    message.msg_iov = &part;
    message.msg_iovlen = 1;
    message.msg_control = control;
    message.msg_controllen = sizeof control;
    cmsghdr* const header = CMSG_FIRSTHDR(&message);
    header->cmsg_level = SOL_SOCKET;
    header->cmsg_type = SCM_RIGHTS;
    header->cmsg_len = CMSG_LEN(sizeof(int));
    std::memcpy(CMSG_DATA(header), &descriptor, sizeof descriptor);
    ::sendmsg(connection, &message, MSG_NOSIGNAL);
    ::close(descriptor);
    ::send(connection, "\0", 1, MSG_NOSIGNAL);
  };
  ScannerSocket socket(sendOne);
  ClamdClient client(socket.name());
  client.scan(0, Clock::now() + 10s);
  const std::size_t before = openDescriptors();
  for (int i = 0; i < 20; ++i) {
    EXPECT_EQ(client.scan(0, Clock::now() + 10s).result, ScanResult::Malformed);
  }
  EXPECT_LT(openDescriptors(), before + 5);
}

}  // namespace
}  // namespace onaccess
