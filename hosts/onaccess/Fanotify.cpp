#include "Fanotify.h"

#include <fcntl.h>
#include <linux/limits.h>
#include <linux/magic.h>
#include <linux/openat2.h>
#include <poll.h>
#include <sys/eventfd.h>
#include <sys/fanotify.h>
#include <sys/stat.h>
#include <sys/syscall.h>
#include <sys/sysmacros.h>
#include <sys/vfs.h>

#include <algorithm>
#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <ctime>
#include <fstream>
#include <memory>

#include "Log.h"
#include "Trouble.h"
#include "fmt/format.h"

namespace onaccess {
namespace {

std::int64_t nanoseconds(const timespec& time) {
  return std::int64_t{time.tv_sec} * 1'000'000'000 + time.tv_nsec;
}

// The coarsest times that file systems keep are two seconds apart. One that lies ahead is no older.
bool isLately(std::int64_t time) {
  timespec now = {};
  ::clock_gettime(CLOCK_REALTIME_COARSE, &now);
  return time > nanoseconds(now) - 2'100'000'000;
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

// What the kernel knows of a file without asking its file system anew: that of a user may never
// answer. `path` is empty for the file behind `folder` itself.
std::optional<FileIdentity> identityAt(int folder, const char* path) {
  struct statx status;
  if (::statx(folder, path, AT_EMPTY_PATH | AT_STATX_DONT_SYNC, STATX_TYPE | STATX_INO, &status) !=
          0 ||
      S_ISLNK(status.stx_mode)) {
    return std::nullopt;
  }
  return FileIdentity{makedev(status.stx_dev_major, status.stx_dev_minor), status.stx_ino};
}

// A name from the kernel has no symbolic links in it, so one that has is somebody's own. To look
// where a name leads in this way opens nothing: no event comes of it.
Descriptor lookUp(int folder, const char* path, std::uint64_t resolve) {
  open_how how = {};
  how.flags = O_PATH | O_CLOEXEC | O_NOFOLLOW;
  how.resolve = RESOLVE_NO_SYMLINKS | resolve;
  return Descriptor(static_cast<int>(::syscall(SYS_openat2, folder, path, &how, sizeof how)));
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
        fmt::format("cannot get permission events from the kernel: {}. Expected to be started as "
                    "root (CAP_SYS_ADMIN), by a kernel with CONFIG_FANOTIFY_ACCESS_PERMISSIONS",
                    std::strerror(errno)));
  }
  if (!m_nothing || !m_wake) {
    throw Trouble(fmt::format("cannot open /dev/null and an eventfd: {}", std::strerror(errno)));
  }
  // Without it no name would lead anywhere, and nothing would ever be excluded.
  if (!lookUp(AT_FDCWD, "/", RESOLVE_CACHED) && errno != EAGAIN) {
    throw Trouble(
        fmt::format("cannot look up names by openat2: {}. Expected Linux 5.12 or later, and nobody "
                    "who forbids it, as RestrictSUIDSGID= of a systemd unit does",
                    std::strerror(errno)));
  }
}

Fanotify::~Fanotify() = default;

void Fanotify::watchFileSystemOf(const std::string& folder) {
  // Of what a program's name leads to, most lies on the file system of /.
  for (const char* const place : {folder.c_str(), "/"}) {
    const std::unique_ptr<char, decltype(&std::free)> path(::realpath(place, nullptr), &std::free);
    if (path) m_folders.emplace_back(path.get());
  }
  if (::fanotify_mark(m_events.get(), FAN_MARK_ADD | FAN_MARK_FILESYSTEM, FAN_OPEN_PERM, AT_FDCWD,
                      folder.c_str()) != 0) {
    throw Trouble(fmt::format(
        "cannot watch the file system at {}: {}{}", quoted(folder), std::strerror(errno),
        errno == EINVAL ? "; the kernel gives no permission events for such a one" : ""));
  }
}

std::size_t Fanotify::fileSystems() const {
  std::ifstream marks(fmt::format("/proc/self/fdinfo/{}", m_events.get()));
  std::size_t count = 0;
  for (std::string line; std::getline(marks, line);) {
    if (line.rfind("fanotify sdev:", 0) == 0) ++count;
  }
  return count;
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
    // To return without anything would say that the host stops.
    if (received.events + received.overflows > 0) return received;
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
  answer.isChangedLately = isLately(answer.changed);
  return answer;
}

// The kernel grants a read lease only while nobody has the file open for writing. A writable
// mapping keeps the file open, and an open for writing that waits for its answer counts already.
// Not so on an overlay: there a mapping may keep the file below open instead, and writes may go to
// that one past the overlay.
bool Fanotify::mayHaveWriters(int descriptor) {
  struct statfs fileSystem;
  if (::fstatfs(descriptor, &fileSystem) != 0 || fileSystem.f_type == OVERLAYFS_SUPER_MAGIC) {
    return true;
  }
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
  return identityAt(AT_FDCWD, linkOfProgram(process).text);
}

// The folder of a process belongs to its effective user, even if it hides the files there.
std::optional<uid_t> Fanotify::userOf(pid_t process) {
  LinkName name;
  std::snprintf(name.text, sizeof name.text, "/proc/%d", static_cast<int>(process));
  struct stat status;
  if (process <= 0 || ::stat(name.text, &status) != 0) return std::nullopt;
  return status.st_uid;
}

// A name can lead, for the host, into a file system that never answers: one of a user's own, or of
// a server that is gone. The kernel knows the true name of a file that is being opened, so it is
// asked for what it knows; what it does not, such as who may enter a folder, is looked up without
// leaving the file system of a watched mount or of /.
std::optional<FileIdentity> Fanotify::fileAt(const std::string& path) {
  static constexpr int kTries = 3;  // it gives up when something is renamed or mounted meanwhile
  Descriptor file;
  for (int i = 0; i < kTries && !file; ++i) {
    file = lookUp(AT_FDCWD, path.c_str(), RESOLVE_CACHED);
    if (!file && errno != EAGAIN) return std::nullopt;
  }
  for (const std::string& folder : m_folders) {
    if (file) break;
    const std::size_t length = folder == "/" ? 0 : folder.size();
    if (path.compare(0, length, folder, 0, length) != 0 || path[length] != '/') continue;
    const Descriptor root(::open(folder.c_str(), O_PATH | O_DIRECTORY | O_CLOEXEC));
    if (root) file = lookUp(root.get(), path.c_str() + length + 1, RESOLVE_NO_XDEV);
  }
  return file ? identityAt(file.get(), "") : std::nullopt;
}

}  // namespace onaccess
