// A scanner that speaks clamd's protocol as a test says: scripted-clamd SOCKET [MODE]
//
//   scan       replies FOUND to files with the text TEST-VIRUS in their first bytes (the default)
//   hang       never replies
//   slow       replies after half a second
//   die        ends each connection in the middle of a reply
//   nonsense   replies what is none of the protocol
//   flood      replies without end
//
// VERSION is answered in every mode but hang. Runs until it is killed.

#include <sys/socket.h>
#include <sys/un.h>
#include <unistd.h>

#include <chrono>
#include <csignal>
#include <cstdio>
#include <cstring>
#include <string>
#include <thread>

namespace {

// Reads a command; `descriptor` gets what came beside it, -1: none. Empty at the end.
std::string readCommand(int connection, int& descriptor) {
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
    if (::recvmsg(connection, &message, 0) <= 0) return {};
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

void reply(int connection, const std::string& text) {
  ::send(connection, text.c_str(), text.size() + 1, MSG_NOSIGNAL);
}

std::string verdictAbout(int file) {
  char content[65536];
  const ssize_t count = ::pread(file, content, sizeof content, 0);
  const std::string text(content, count > 0 ? static_cast<std::size_t>(count) : 0);
  return text.find("TEST-VIRUS") == std::string::npos ? "fd[9]: OK" : "fd[9]: Test.Virus FOUND";
}

void serve(int connection, const std::string& mode) {
  int file = -1;
  const std::string command = readCommand(connection, file);
  if (mode == "hang") {
    ::pause();
  } else if (command == "zVERSION") {
    reply(connection, "ClamAV 0.0.0/1/scripted");
  } else if (file >= 0) {
    if (mode == "slow") std::this_thread::sleep_for(std::chrono::milliseconds(500));
    if (mode == "die") {
      ::send(connection, "fd[9", 4, MSG_NOSIGNAL);
    } else if (mode == "nonsense") {
      reply(connection, "fd[9]: PERHAPS");
    } else if (mode == "flood") {
      while (::send(connection, "fd[9]: flood", 12, MSG_NOSIGNAL) > 0) continue;
    } else {
      reply(connection, verdictAbout(file));
    }
  }
  if (file >= 0) ::close(file);
  ::close(connection);
}

}  // namespace

int main(int argc, char** argv) {
  if (argc < 2) return 2;
  const std::string mode = argc > 2 ? argv[2] : "scan";
  sockaddr_un address = {};
  address.sun_family = AF_UNIX;
  std::strncpy(address.sun_path, argv[1], sizeof address.sun_path - 1);
  ::unlink(argv[1]);
  const int listener = ::socket(AF_UNIX, SOCK_STREAM, 0);
  if (::bind(listener, reinterpret_cast<sockaddr*>(&address), sizeof address) != 0 ||
      ::listen(listener, 100) != 0) {
    std::perror(argv[1]);
    return 2;
  }
  for (;;) {
    const int connection = ::accept(listener, nullptr, nullptr);
    if (connection >= 0) std::thread(serve, connection, mode).detach();
  }
}
