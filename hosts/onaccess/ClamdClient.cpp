#include "ClamdClient.h"

#include <poll.h>
#include <sys/eventfd.h>
#include <sys/socket.h>
#include <sys/un.h>

#include <algorithm>
#include <cerrno>
#include <cstdint>
#include <cstring>

#include "Trouble.h"
#include "fmt/format.h"

namespace onaccess {
namespace {

constexpr std::size_t kLongestReply = 4096;

bool takeSuffix(std::string_view& text, std::string_view suffix) {
  if (text.size() < suffix.size() || text.substr(text.size() - suffix.size()) != suffix) {
    return false;
  }
  text.remove_suffix(suffix.size());
  return true;
}

// Takes "fd[N]: " from the beginning.
bool takeName(std::string_view& text) {
  static constexpr std::string_view kStart = "fd[";
  if (text.substr(0, kStart.size()) != kStart) return false;
  const std::size_t end =
      std::min(text.find_first_not_of("0123456789", kStart.size()), text.size());
  if (end == kStart.size() || text.substr(end, 3) != "]: ") return false;
  text.remove_prefix(end + 3);
  return true;
}

// A reply may hold anything; a log line must not.
std::string printable(std::string_view text) {
  std::string safe(text.substr(0, 100));
  std::replace_if(
      safe.begin(), safe.end(), [](char c) { return c < ' ' || c > '~'; }, '?');
  return safe;
}

sockaddr_un addressOf(const std::string& socket) {
  sockaddr_un address = {};
  address.sun_family = AF_UNIX;
  socket.copy(address.sun_path, sizeof address.sun_path - 1);
  return address;
}

}  // namespace

// One command and its reply, and why there is none.
struct ClamdClient::Conversation {
  explicit Conversation(Time end) : deadline(end) {}

  bool fail(ScanResult result, std::string reason) {
    failure.result = result;
    failure.detail = std::move(reason);
    return false;
  }
  bool failWithError(const char* operation) {
    return fail(ScanResult::Unreachable, fmt::format("{}: {}", operation, std::strerror(errno)));
  }

  const Time deadline;
  Descriptor connection;
  std::string reply;  // without its NUL
  pid_t process = 0;
  ScanReply failure;
};

ClamdClient::ClamdClient(const std::string& socket)
    : m_socket(socket), m_wake(::eventfd(0, EFD_CLOEXEC | EFD_NONBLOCK)) {
  const std::size_t room = sizeof(sockaddr_un::sun_path) - 1;
  if (socket.empty() || socket.size() > room) {
    throw Trouble(fmt::format("expected the scanner's socket as a path of 1 to {} bytes; found {}",
                              room, socket));
  }
  if (!m_wake) throw Trouble(fmt::format("cannot create an eventfd: {}", std::strerror(errno)));
}

void ClamdClient::stop() {
  const std::uint64_t one = 1;
  if (::write(m_wake.get(), &one, sizeof one) < 0) return;  // full: it is readable, then
}

ScanReply ClamdClient::scan(int descriptor, Time deadline) {
  static constexpr std::string_view kCommand("zFILDES\0", 8);
  Conversation conversation(deadline);
  if (!connect(conversation) || !send(conversation, kCommand, std::nullopt) ||
      !send(conversation, std::string_view("\0", 1), descriptor) || !receive(conversation)) {
    return conversation.failure;
  }
  ScanReply reply = parseScanReply(conversation.reply);
  reply.process = conversation.process;
  return reply;
}

VersionReply ClamdClient::version(Time deadline) {
  static constexpr std::string_view kCommand("zVERSION\0", 9);
  Conversation conversation(deadline);
  if (!connect(conversation) || !send(conversation, kCommand, std::nullopt) ||
      !receive(conversation)) {
    return {false, conversation.failure.detail, 0};
  }
  VersionReply reply = parseVersionReply(conversation.reply);
  reply.process = conversation.process;
  return reply;
}

// Waits for the connection. False at the deadline or when stopped.
bool ClamdClient::wait(Conversation& conversation, short events) {
  for (;;) {
    const auto left =
        std::chrono::ceil<std::chrono::milliseconds>(conversation.deadline - Clock::now());
    if (left.count() <= 0) return conversation.fail(ScanResult::Deadline, "no reply in time");
    pollfd waited[] = {{m_wake.get(), POLLIN, 0}, {conversation.connection.get(), events, 0}};
    const int ready =
        ::poll(waited, 2, static_cast<int>(std::min<std::int64_t>(left.count(), 60000)));
    if (ready < 0 && errno != EINTR) return conversation.failWithError("poll");
    if (waited[0].revents != 0 && ready > 0) {
      return conversation.fail(ScanResult::Unreachable, "the host stops");
    }
    if (ready > 0) return true;
  }
}

bool ClamdClient::connect(Conversation& conversation) {
  conversation.connection =
      Descriptor(::socket(AF_UNIX, SOCK_STREAM | SOCK_NONBLOCK | SOCK_CLOEXEC, 0));
  if (!conversation.connection) return conversation.failWithError("socket");
  // The kernel then tells with each reply who wrote it. The socket's own peer would be whoever made
  // the socket, such as systemd.
  const int yes = 1;
  if (::setsockopt(conversation.connection.get(), SOL_SOCKET, SO_PASSCRED, &yes, sizeof yes) != 0) {
    return conversation.failWithError("SO_PASSCRED");
  }
  const sockaddr_un address = addressOf(m_socket);
  for (;;) {
    if (::connect(conversation.connection.get(), reinterpret_cast<const sockaddr*>(&address),
                  sizeof address) == 0) {
      return true;
    }
    if (errno != EAGAIN && errno != EINTR) return conversation.failWithError("connect");
    // The scanner's queue of connections is full, and nothing tells when it is no more.
    if (Clock::now() >= conversation.deadline) {
      return conversation.fail(ScanResult::Deadline, "no connection in time");
    }
    pollfd stopped = {m_wake.get(), POLLIN, 0};
    if (::poll(&stopped, 1, 2) > 0) {
      return conversation.fail(ScanResult::Unreachable, "the host stops");
    }
  }
}

bool ClamdClient::send(Conversation& conversation, std::string_view bytes,
                       std::optional<int> descriptor) {
  alignas(cmsghdr) char control[CMSG_SPACE(sizeof(int))] = {};
  while (!bytes.empty()) {
    iovec part = {const_cast<char*>(bytes.data()), bytes.size()};
    msghdr message = {};
    message.msg_iov = &part;
    message.msg_iovlen = 1;
    if (descriptor) {
      message.msg_control = control;
      message.msg_controllen = sizeof control;
      cmsghdr* const header = CMSG_FIRSTHDR(&message);
      header->cmsg_level = SOL_SOCKET;
      header->cmsg_type = SCM_RIGHTS;
      header->cmsg_len = CMSG_LEN(sizeof(int));
      std::memcpy(CMSG_DATA(header), &*descriptor, sizeof(int));
    }
    const ssize_t count = ::sendmsg(conversation.connection.get(), &message, MSG_NOSIGNAL);
    if (count >= 0) {
      bytes.remove_prefix(static_cast<std::size_t>(count));
      descriptor.reset();
    } else if (errno == EAGAIN) {
      if (!wait(conversation, POLLOUT)) return false;
    } else if (errno != EINTR) {
      return conversation.failWithError("send");
    }
  }
  return true;
}

bool ClamdClient::receive(Conversation& conversation) {
  char bytes[512];
  // Room for the sender and nothing else: the kernel then drops descriptors that nobody asked for.
  alignas(cmsghdr) char control[CMSG_SPACE(sizeof(ucred))];
  for (;;) {
    if (!wait(conversation, POLLIN)) return false;
    iovec part = {bytes, sizeof bytes};
    msghdr message = {};
    message.msg_iov = &part;
    message.msg_iovlen = 1;
    message.msg_control = control;
    message.msg_controllen = sizeof control;
    const ssize_t count =
        ::recvmsg(conversation.connection.get(), &message, MSG_DONTWAIT | MSG_CMSG_CLOEXEC);
    if (count < 0) {
      if (errno == EAGAIN || errno == EINTR) continue;
      return conversation.failWithError("receive");
    }
    for (cmsghdr* header = CMSG_FIRSTHDR(&message); header != nullptr;
         header = CMSG_NXTHDR(&message, header)) {
      if (header->cmsg_level != SOL_SOCKET) continue;
      if (header->cmsg_type == SCM_CREDENTIALS && count > 0) {
        ucred sender;
        std::memcpy(&sender, CMSG_DATA(header), sizeof sender);
        conversation.process = sender.pid;
      }
    }
    if (count == 0) {
      return conversation.fail(ScanResult::Unreachable, "the scanner ended before its reply");
    }
    const std::string_view came(bytes, static_cast<std::size_t>(count));
    const std::size_t end = came.find('\0');
    conversation.reply.append(came.substr(0, end));
    if (conversation.reply.size() > kLongestReply) {
      return conversation.fail(ScanResult::Malformed, "a reply without end");
    }
    if (end == std::string_view::npos) continue;
    if (end + 1 != came.size()) {
      return conversation.fail(ScanResult::Malformed, "more than one reply");
    }
    return true;
  }
}

ScanReply parseScanReply(std::string_view reply) {
  std::string_view rest = reply;
  if (takeName(rest)) {
    if (rest == "OK") return {ScanResult::Clean, {}, 0};
    if (takeSuffix(rest, " FOUND") && !rest.empty()) {
      return {ScanResult::Infected, printable(rest), 0};
    }
    if (takeSuffix(rest, " ERROR") && !rest.empty()) {
      return {ScanResult::Refused, printable(rest), 0};
    }
  }
  return {ScanResult::Malformed, "replied \"" + printable(reply) + "\"", 0};
}

VersionReply parseVersionReply(std::string_view reply) {
  static constexpr std::string_view kName = "ClamAV ";
  if (reply.size() > kName.size() && reply.substr(0, kName.size()) == kName) {
    return {true, printable(reply), 0};
  }
  return {false, "replied \"" + printable(reply) + "\"", 0};
}

}  // namespace onaccess
