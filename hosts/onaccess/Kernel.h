// What the host asks and tells the kernel about opens. An interface, so that tests can put a
// scripted kernel in its place.

#ifndef QVL_ONACCESS_KERNEL_H
#define QVL_ONACCESS_KERNEL_H

#include <sys/types.h>

#include <cstddef>
#include <cstdint>
#include <optional>
#include <string>

namespace onaccess {

// Which file it is, whatever it is called.
struct FileIdentity {
  dev_t device = 0;
  ino_t inode = 0;
};

inline bool operator==(const FileIdentity& a, const FileIdentity& b) {
  return a.device == b.device && a.inode == b.inode;
}

// As far as a change of the content shows in it. Times are nanoseconds since 1970.
struct FileStatus {
  FileIdentity identity;
  bool isRegular = false;
  std::int64_t size = 0;
  std::int64_t modified = 0;
  std::int64_t changed = 0;
  // Another change now may leave the same times: clocks of file systems tick, some every second.
  bool isChangedLately = false;
};

// An open that waits for its answer. The descriptor reads the file and raises no events of its own.
struct Event {
  int descriptor;
  pid_t process;  // 0: in another process namespace
};

// What came with one reading of events.
struct Received {
  std::size_t events = 0;
  std::size_t overflows = 0;  // how often the kernel let opens pass because its queue was full
  bool hasFailed = false;     // the kernel could not hand an event over, and denied that open
};

// Thread safety: all operations may be called from any thread at any time.
class Kernel {
 public:
  Kernel() = default;
  virtual ~Kernel() = default;
  Kernel(const Kernel&) = delete;
  Kernel& operator=(const Kernel&) = delete;

  // Waits for events and takes at most `capacity` of them. Nothing came when stop() was called.
  // Whoever takes an event answers it and then closes its descriptor, or gives both up by `answer`.
  virtual Received receive(Event* events, std::size_t capacity) = 0;

  // Lets the open go on or fail. False when nobody waits for the answer any more.
  virtual bool answer(int descriptor, bool isAllowed) = 0;

  // Closes the descriptor of an event that has been answered.
  virtual void close(int descriptor) = 0;

  // Makes receive() return in every thread, now and from now on.
  virtual void stop() = 0;

  // Gives up all events: the kernel lets every open pass that waits or comes. Takes no lock and no
  // memory.
  virtual void letEverythingPass() = 0;

  virtual std::optional<FileStatus> statusOf(int descriptor) = 0;

  // May somebody have the file open or mapped for writing? True also when the file system cannot
  // tell.
  virtual bool mayHaveWriters(int descriptor) = 0;

  // The name under which the file was opened. False when there is none.
  virtual bool pathOf(int descriptor, std::string& path) = 0;

  // The program that a process runs, by name and by file. False and nothing when the process is
  // lost.
  virtual bool programOf(pid_t process, std::string& path) = 0;
  virtual std::optional<FileIdentity> programFileOf(pid_t process) = 0;
  virtual std::optional<uid_t> userOf(pid_t process) = 0;

  // The file to which a name leads now, for this process. Nothing when there is none, or when the
  // name leads there over a symbolic link.
  virtual std::optional<FileIdentity> fileAt(const std::string& path) = 0;
};

}  // namespace onaccess

#endif  // QVL_ONACCESS_KERNEL_H
