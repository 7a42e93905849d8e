// A port of this machine that tells whether anybody has connected to it.

#ifndef QVL_TESTS_XML_LOCAL_LISTENER_H
#define QVL_TESTS_XML_LOCAL_LISTENER_H

#include <arpa/inet.h>
#include <netinet/in.h>
#include <poll.h>
#include <sys/socket.h>
#include <unistd.h>

#include <stdexcept>
#include <string>

namespace QVL {
namespace Test {

class LocalListener {
 public:
  LocalListener() {
    sockaddr_in address{};
    address.sin_family = AF_INET;
    address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
    socklen_t size = sizeof address;
    auto* plain = reinterpret_cast<sockaddr*>(&address);
    if (m_socket < 0 || bind(m_socket, plain, size) != 0 || listen(m_socket, 8) != 0 ||
        getsockname(m_socket, plain, &size) != 0) {
      throw std::runtime_error("no local port to listen on");
    }
    m_port = std::to_string(ntohs(address.sin_port));
  }

  ~LocalListener() { close(m_socket); }

  LocalListener(const LocalListener&) = delete;
  LocalListener& operator=(const LocalListener&) = delete;

  const std::string& port() const { return m_port; }

  // A connection is complete, and waits here, as soon as the caller's connect has returned.
  bool wasCalled() const {
    pollfd waiting{m_socket, POLLIN, 0};
    return poll(&waiting, 1, 0) != 0;
  }

 private:
  int m_socket = socket(AF_INET, SOCK_STREAM, 0);
  std::string m_port;
};

}  // namespace Test
}  // namespace QVL

#endif  // QVL_TESTS_XML_LOCAL_LISTENER_H
