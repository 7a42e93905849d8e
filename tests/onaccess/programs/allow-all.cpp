// The least that a host can do: allow-all DIR allows every open on the file system that is mounted
// there. Prints "ready" and runs until it is killed.

#include <fcntl.h>
#include <sys/fanotify.h>
#include <unistd.h>

#include <cstdint>
#include <cstdio>

int main(int argc, char** argv) {
  if (argc != 2) return 2;
  const int events = ::fanotify_init(FAN_CLASS_CONTENT | FAN_CLOEXEC | FAN_UNLIMITED_QUEUE,
                                     O_RDONLY | O_LARGEFILE | O_CLOEXEC | O_NONBLOCK);
  if (events < 0 || ::fanotify_mark(events, FAN_MARK_ADD | FAN_MARK_FILESYSTEM, FAN_OPEN_PERM,
                                    AT_FDCWD, argv[1]) != 0) {
    std::perror("fanotify");
    return 2;
  }
  std::puts("ready");
  std::fflush(stdout);
  alignas(fanotify_event_metadata) char buffer[16 * sizeof(fanotify_event_metadata)];
  for (;;) {
    ssize_t length = ::read(events, buffer, sizeof buffer);
    if (length <= 0) return 2;
    for (auto* event = reinterpret_cast<fanotify_event_metadata*>(buffer);
         FAN_EVENT_OK(event, length); event = FAN_EVENT_NEXT(event, length)) {
      const fanotify_response response = {event->fd, std::uint32_t{FAN_ALLOW}};
      if (::write(events, &response, sizeof response) < 0) return 2;
      ::close(event->fd);
    }
  }
}
