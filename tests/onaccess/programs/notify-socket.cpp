// What systemd is told: notify-socket SOCKET prints each message that comes, until it is killed.

#include <sys/socket.h>
#include <sys/un.h>

#include <cstdio>
#include <cstring>

int main(int argc, char** argv) {
  if (argc != 2) return 2;
  sockaddr_un address = {};
  address.sun_family = AF_UNIX;
  std::strncpy(address.sun_path, argv[1], sizeof address.sun_path - 1);
  const int socket = ::socket(AF_UNIX, SOCK_DGRAM, 0);
  if (::bind(socket, reinterpret_cast<sockaddr*>(&address), sizeof address) != 0) return 2;
  for (;;) {
    char text[1024];
    const ssize_t count = ::recv(socket, text, sizeof text, 0);
    if (count <= 0) return 2;
    std::printf("%.*s\n", static_cast<int>(count), text);
    std::fflush(stdout);
  }
}
