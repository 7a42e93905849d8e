#include "Control.h"

#include <sys/socket.h>
#include <sys/stat.h>
#include <sys/time.h>
#include <sys/un.h>

#include <cerrno>
#include <cstring>

#include "Log.h"
#include "Trouble.h"
#include "fmt/format.h"

namespace onaccess {
namespace {

constexpr std::size_t kLongestRequest = 64;

[[noreturn]] void fail(const char* operation, const std::string& socket) {
  throw Trouble(fmt::format("cannot {} {}: {}", operation, quoted(socket), std::strerror(errno)));
}

sockaddr_un addressOf(const std::string& socket) {
  sockaddr_un address = {};
  address.sun_family = AF_UNIX;
  if (socket.empty() || socket.size() >= sizeof address.sun_path) {
    throw Trouble(fmt::format("expected the path of a socket, of 1 to {} bytes; found {}",
                              sizeof address.sun_path - 1, quoted(socket)));
  }
  socket.copy(address.sun_path, socket.size());
  return address;
}

Descriptor newSocket() {
  Descriptor made(::socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0));
  if (!made) throw Trouble(fmt::format("cannot create a socket: {}", std::strerror(errno)));
  return made;
}

bool connectTo(const Descriptor& descriptor, const std::string& socket) {
  const sockaddr_un address = addressOf(socket);
  return ::connect(descriptor.get(), reinterpret_cast<const sockaddr*>(&address), sizeof address) ==
         0;
}

// Long enough for a client that has to wait for a processor between connecting and asking.
void limitWaiting(const Descriptor& connection) {
  const timeval limit = {5, 0};
  ::setsockopt(connection.get(), SOL_SOCKET, SO_RCVTIMEO, &limit, sizeof limit);
  ::setsockopt(connection.get(), SOL_SOCKET, SO_SNDTIMEO, &limit, sizeof limit);
}

bool sendAll(const Descriptor& connection, std::string_view text) {
  while (!text.empty()) {
    const ssize_t count = ::send(connection.get(), text.data(), text.size(), MSG_NOSIGNAL);
    if (count < 0 && errno == EINTR) continue;
    if (count <= 0) return false;
    text.remove_prefix(static_cast<std::size_t>(count));
  }
  return true;
}

}  // namespace

ControlServer::ControlServer(const std::string& socket)
    : m_socket(socket), m_listener(newSocket()) {
  const sockaddr_un address = addressOf(socket);
  if (connectTo(newSocket(), socket)) {
    throw Trouble(fmt::format("another qvl-onaccess runs: it answers at {}", quoted(socket)));
  }
  struct stat status;
  if (::lstat(socket.c_str(), &status) == 0) {
    if (!S_ISSOCK(status.st_mode)) {
      throw Trouble(
          fmt::format("expected nothing or a socket at {}; found another file", quoted(socket)));
    }
    ::unlink(socket.c_str());
  }
  const mode_t others = ::umask(0177);
  const int result =
      ::bind(m_listener.get(), reinterpret_cast<const sockaddr*>(&address), sizeof address);
  ::umask(others);
  if (result != 0) fail("make the socket", socket);
  if (::listen(m_listener.get(), 8) != 0) fail("listen at", socket);
}

ControlServer::~ControlServer() {
  ::unlink(m_socket.c_str());
}

void ControlServer::serve(const std::function<ControlReply(const std::string&)>& answer) {
  const Descriptor connection(::accept4(m_listener.get(), nullptr, nullptr, SOCK_CLOEXEC));
  if (!connection) return;
  limitWaiting(connection);
  char request[kLongestRequest];
  const ssize_t count = ::recv(connection.get(), request, sizeof request, 0);
  if (count <= 0) return;
  const ControlReply reply = answer(std::string(request, static_cast<std::size_t>(count)));
  sendAll(connection, fmt::format("{}\n{}", reply.isSuccess ? "ok" : "failed", reply.text));
}

ControlReply askHost(const std::string& socket, const std::string& request) {
  const Descriptor connection = newSocket();
  if (!connectTo(connection, socket)) fail("reach a qvl-onaccess at", socket);
  if (!sendAll(connection, request)) fail("ask at", socket);
  std::string reply;
  char part[4096];
  for (;;) {
    const ssize_t count = ::recv(connection.get(), part, sizeof part, 0);
    if (count < 0 && errno == EINTR) continue;
    if (count < 0) fail("hear from", socket);
    if (count == 0) break;
    reply.append(part, static_cast<std::size_t>(count));
  }
  const std::size_t end = reply.find('\n');
  if (end == std::string::npos) {
    throw Trouble(fmt::format("expected a reply from {}; it ended before", quoted(socket)));
  }
  return {reply.substr(0, end) == "ok", reply.substr(end + 1)};
}

}  // namespace onaccess
