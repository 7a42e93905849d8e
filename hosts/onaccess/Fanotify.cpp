#include "Fanotify.h"

#include <fcntl.h>
#include <linux/limits.h>
#include <linux/openat2.h>
#include <poll.h>
#include <sys/eventfd.h>
#include <sys/fanotify.h>
#include <sys/stat.h>
#include <sys/syscall.h>

#include <algorithm>
#include <cerrno>
#include <cstdio>
#include <cstring>

#include "Trouble.h"
#include "fmt/format.h"

namespace onaccess {
namespace {

std::int64_t nanoseconds(const timespec& time) {
  return std::int64_t{time.tv_sec} * 1'000'000'000 + time.tv_nsec;
}

// The text of a symbolic link of /proc; false when there is none, or it may be cut off.
bool readLink(const char* link, std::string& text) {
  char buffer[PATH_MAX];
  const ssize_t length = ::readlink(link, buffer, sizeof buffer);
  if (length <= 0 || length == sizeof buffer) return false;
  text.assign(buffer, static_cast<std::size_t>(length));
  return true;
}

struct LinkName {
  char text[48];
};

LinkName linkOfDescriptor(int descriptor) {
  LinkName name;
  std::snprintf(name.text, sizeof name.text, "/proc/self/fd/%d", descriptor);
  return name;
}

LinkName linkOfProgram(pid_t process) {
  LinkName name;
  std::snprintf(name.text, sizeof name.text, "/proc/%d/exe", static_cast<int>(process));
  return name;
}

std::optional<FileIdentity> identityAt(const char* path) {
  struct stat status;
  if (::stat(path, &status) != 0) return std::nullopt;
  return FileIdentity{status.st_dev, status.st_ino};
}

}  // namespace

// Content class: permission events come with a readable descriptor. The queue is unlimited, since
// the kernel lets opens pass that find it full; it holds at most one event for each waiting thread.
// Not to block: a FIFO is opened for its event, too.
Fanotify::Fanotify()
    : m_events(::fanotify_init(FAN_CLASS_CONTENT | FAN_CLOEXEC | FAN_NONBLOCK | FAN_UNLIMITED_QUEUE,
                               O_RDONLY | O_LARGEFILE | O_CLOEXEC | O_NONBLOCK | O_NOATIME)),
      m_nothing(::open("/dev/null", O_RDWR | O_CLOEXEC)),
      m_wake(::eventfd(0, EFD_CLOEXEC | EFD_NONBLOCK)) {
  if (!m_events) {
    throw Trouble(
        fmt::format("cannot get permission events from the kernel: {}. Expected a kernel with "
                    "CONFIG_FANOTIFY_ACCESS_PERMISSIONS and the capability CAP_SYS_ADMIN",
                    std::strerror(errno)));
  }
  if (!m_nothing || !m_wake) {
    throw Trouble(fmt::format("cannot open /dev/null and an eventfd: {}", std::strerror(errno)));
  }
}

Fanotify::~Fanotify() = default;

void Fanotify::watchFileSystemOf(const std::string& folder) {
  if (::fanotify_mark(m_events.get(), FAN_MARK_ADD | FAN_MARK_FILESYSTEM, FAN_OPEN_PERM, AT_FDCWD,
                      folder.c_str()) != 0) {
    throw Trouble(
        fmt::format("cannot watch the file system at {}: {}", folder, std::strerror(errno)));
  }
}

Received Fanotify::receive(Event* events, std::size_t capacity) {
  static constexpr std::size_t kMost = 16;
  alignas(fanotify_event_metadata) char buffer[kMost * FAN_EVENT_METADATA_LEN];
  const std::size_t wanted = std::min(capacity, kMost) * FAN_EVENT_METADATA_LEN;
  Received received;
  while (!m_isStopped) {
    ssize_t length = ::read(m_events.get(), buffer, wanted);
    if (length < 0 && errno == EAGAIN) {
      pollfd waited[] = {{m_events.get(), POLLIN, 0}, {m_wake.get(), POLLIN, 0}};
      ::poll(waited, 2, -1);
      continue;
    }
    if (length == 0 || (length < 0 && errno == EINTR)) continue;
    if (length < 0) {
      received.hasFailed = true;
      return received;
    }
    for (auto* event = reinterpret_cast<fanotify_event_metadata*>(buffer);
         FAN_EVENT_OK(event, length); event = FAN_EVENT_NEXT(event, length)) {
      if (event->mask & FAN_Q_OVERFLOW) ++received.overflows;
      if (event->fd >= 0) events[received.events++] = {event->fd, event->pid};
    }
    return received;
  }
  return received;
}

bool Fanotify::answer(int descriptor, bool isAllowed) {
  const fanotify_response response = {descriptor,
                                      static_cast<std::uint32_t>(isAllowed ? FAN_ALLOW : FAN_DENY)};
  for (;;) {
    if (::write(m_events.get(), &response, sizeof response) >= 0) return true;
    if (errno != EINTR) return false;
  }
}

void Fanotify::close(int descriptor) {
  ::close(descriptor);
}

void Fanotify::stop() {
  m_isStopped = true;
  const std::uint64_t one = 1;
  if (::write(m_wake.get(), &one, sizeof one) < 0) return;  // full: it is readable, then
}

// The descriptor is replaced rather than closed: a late answer must not reach another file under
// its number. What waits in receive() holds the kernel's object until it leaves.
void Fanotify::letEverythingPass() {
  stop();
  ::dup2(m_nothing.get(), m_events.get());
}

std::optional<FileStatus> Fanotify::statusOf(int descriptor) {
  struct stat status;
  if (::fstat(descriptor, &status) != 0) return std::nullopt;
  FileStatus answer;
  answer.identity = {status.st_dev, status.st_ino};
  answer.isRegular = S_ISREG(status.st_mode);
  answer.size = status.st_size;
  answer.modified = nanoseconds(status.st_mtim);
  answer.changed = nanoseconds(status.st_ctim);
  return answer;
}

// The kernel grants a read lease only while nobody has the file open for writing. A writable
// mapping keeps the file open, and an open for writing that waits for its answer counts already.
bool Fanotify::mayHaveWriters(int descriptor) {
  if (::fcntl(descriptor, F_SETLEASE, F_RDLCK) != 0) return true;
  return ::fcntl(descriptor, F_SETLEASE, F_UNLCK) != 0;
}

bool Fanotify::pathOf(int descriptor, std::string& path) {
  return readLink(linkOfDescriptor(descriptor).text, path);
}

bool Fanotify::programOf(pid_t process, std::string& path) {
  return process > 0 && readLink(linkOfProgram(process).text, path);
}

std::optional<FileIdentity> Fanotify::programFileOf(pid_t process) {
  if (process <= 0) return std::nullopt;
  return identityAt(linkOfProgram(process).text);
}

std::optional<uid_t> Fanotify::userOf(pid_t process) {
  LinkName name;
  std::snprintf(name.text, sizeof name.text, "/proc/%d", static_cast<int>(process));
  struct stat status;
  if (process <= 0 || ::stat(name.text, &status) != 0) return std::nullopt;
  return status.st_uid;
}

// A name from the kernel has no symbolic links in it, so one that has is somebody's own. To look
// where a name leads in this way opens nothing: no event comes of it.
std::optional<FileIdentity> Fanotify::fileAt(const std::string& path) {
  open_how how = {};
  how.flags = O_PATH | O_CLOEXEC | O_NOFOLLOW;
  how.resolve = RESOLVE_NO_SYMLINKS;
  const Descriptor file(
      static_cast<int>(::syscall(SYS_openat2, AT_FDCWD, path.c_str(), &how, sizeof how)));
  struct stat status;
  if (!file || ::fstat(file.get(), &status) != 0 || S_ISLNK(status.st_mode)) return std::nullopt;
  return FileIdentity{status.st_dev, status.st_ino};
}

}  // namespace onaccess
