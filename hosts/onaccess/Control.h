// The socket by which `qvl-onaccess status` and `reload` reach the host that runs.

#ifndef QVL_ONACCESS_CONTROL_H
#define QVL_ONACCESS_CONTROL_H

#include <functional>
#include <string>

#include "Descriptor.h"

namespace onaccess {

struct ControlReply {
  bool isSuccess;
  std::string text;
};

// The host's side. A request is one word in one message; a reply is "ok" or "failed", a line break
// and a text, up to the end of the connection. Only the owner, root, may connect.
class ControlServer {
 public:
  // Throws Trouble when the socket cannot be made or a host answers at it already. What a host that
  // ended left behind is replaced.
  explicit ControlServer(const std::string& socket);
  ~ControlServer();
  ControlServer(const ControlServer&) = delete;
  ControlServer& operator=(const ControlServer&) = delete;

  // Readable when somebody connects.
  int descriptor() const { return m_listener.get(); }

  // Takes one connection and answers its request. Gives up a client that has it wait for five
  // seconds.
  void serve(const std::function<ControlReply(const std::string&)>& answer);

 private:
  const std::string m_socket;
  Descriptor m_listener;
};

// The client's side: asks the host that runs. Throws Trouble when none answers.
ControlReply askHost(const std::string& socket, const std::string& request);

}  // namespace onaccess

#endif  // QVL_ONACCESS_CONTROL_H
