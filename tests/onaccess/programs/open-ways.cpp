// open-ways FILE FOLDER: tries to get at FILE in every way that opens one, and prints for each of
// them "denied WAY", "opened WAY" or "skipped WAY: REASON", where this system has no such way.
// FOLDER lies on the same file system and takes second names of the file. Exit status 1 when any
// way opened it.

#include <fcntl.h>
#include <linux/io_uring.h>
#include <linux/openat2.h>
#include <sched.h>
#include <sys/mman.h>
#include <sys/mount.h>
#include <sys/stat.h>
#include <sys/syscall.h>
#include <sys/wait.h>
#include <unistd.h>

#include <atomic>
#include <cerrno>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <functional>
#include <string>

namespace {

bool isAnyOpened = false;

// `result` is a descriptor, or -1 with errno.
void report(const char* way, long result) {
  if (result >= 0) {
    isAnyOpened = true;
    std::printf("opened %s\n", way);
  } else if (errno == EPERM) {
    std::printf("denied %s\n", way);
  } else {
    std::printf("skipped %s: %s\n", way, std::strerror(errno));
  }
  std::fflush(stdout);
}

std::string linkOf(long descriptor) {
  return "/proc/self/fd/" + std::to_string(descriptor);
}

long openUnder(const std::string& folder, const char* path, std::uint64_t resolve) {
  open_how how = {};
  how.flags = O_RDONLY;
  how.resolve = resolve;
  const int root = ::open(folder.c_str(), O_PATH | O_DIRECTORY);
  return ::syscall(SYS_openat2, root, path, &how, sizeof how);
}

long openByHandle(const char* file) {
  struct {
    file_handle handle;
    unsigned char bytes[MAX_HANDLE_SZ];
  } place;
  place.handle.handle_bytes = MAX_HANDLE_SZ;
  int mount;
  if (::name_to_handle_at(AT_FDCWD, file, &place.handle, &mount, 0) != 0) return -1;
  const int root = ::open(std::string(file, std::strrchr(file, '/')).c_str(), O_RDONLY);
  return ::open_by_handle_at(root, &place.handle, O_RDONLY);
}

// One request, which the kernel fulfils in a thread of its own.
long openByRing(const char* file) {
  io_uring_params params = {};
  const long ring = ::syscall(SYS_io_uring_setup, 1, &params);
  if (ring < 0) return -1;
  const auto map = [&](std::size_t size, std::uint64_t offset) {
    return static_cast<char*>(::mmap(nullptr, size, PROT_READ | PROT_WRITE, MAP_SHARED,
                                     static_cast<int>(ring), static_cast<off_t>(offset)));
  };
  char* const requests =
      map(params.sq_off.array + params.sq_entries * sizeof(std::uint32_t), IORING_OFF_SQ_RING);
  char* const results =
      map(params.cq_off.cqes + params.cq_entries * sizeof(io_uring_cqe), IORING_OFF_CQ_RING);
  auto* const request = reinterpret_cast<io_uring_sqe*>(
      map(params.sq_entries * sizeof(io_uring_sqe), IORING_OFF_SQES));
  request->opcode = IORING_OP_OPENAT;
  request->fd = AT_FDCWD;
  request->flags = IOSQE_ASYNC;
  request->addr = reinterpret_cast<std::uintptr_t>(file);
  request->open_flags = O_RDONLY;
  *reinterpret_cast<std::uint32_t*>(requests + params.sq_off.array) = 0;
  reinterpret_cast<std::atomic<std::uint32_t>*>(requests + params.sq_off.tail)->store(1);
  if (::syscall(SYS_io_uring_enter, ring, 1, 1, IORING_ENTER_GETEVENTS, nullptr, 0) != 1) return -1;
  const long result = reinterpret_cast<io_uring_cqe*>(results + params.cq_off.cqes)->res;
  if (result < 0) errno = static_cast<int>(-result);
  return result;
}

// A copy of the mount that is attached nowhere: its files have names that lead nowhere.
long openDetached(const std::string& folder, const char* name) {
  const long tree = ::syscall(SYS_open_tree, AT_FDCWD, folder.c_str(), OPEN_TREE_CLONE);
  return tree < 0 ? -1 : ::openat(static_cast<int>(tree), name, O_RDONLY);
}

// In a child: 0 when it runs what it has become.
long inChild(const std::function<void()>& become) {
  const pid_t child = ::fork();
  if (child == 0) {
    become();
    ::_exit(errno == EPERM ? 101 : 102);
  }
  int status = 0;
  ::waitpid(child, &status, 0);
  if (WIFEXITED(status) && WEXITSTATUS(status) == 101) errno = EPERM;
  if (WIFEXITED(status) && WEXITSTATUS(status) == 102) errno = ENOEXEC;
  return WIFEXITED(status) && WEXITSTATUS(status) > 100 ? -1 : 0;
}

}  // namespace

int main(int argc, char** argv) {
  if (argc != 3) return 2;
  const char* const file = argv[1];
  const std::string path = file;
  const std::string folder = path.substr(0, path.rfind('/'));
  const char* const name = file + folder.size() + 1;
  const std::string other = argv[2];
  char* const arguments[] = {argv[0], nullptr};

  for (const int flags : {O_RDONLY, O_WRONLY, O_RDWR, O_RDONLY | O_TRUNC, O_RDONLY | O_NONBLOCK,
                          O_RDONLY | O_DIRECT, O_RDONLY | O_NOATIME, O_WRONLY | O_APPEND}) {
    char way[32];
    std::snprintf(way, sizeof way, "open with flags 0x%x", static_cast<unsigned int>(flags));
    report(way, ::open(file, flags));
  }
  report("creat", ::creat(file, 0700));
  report("openat2 beneath a folder", openUnder(folder, name, RESOLVE_BENEATH));
  report("openat2 by what is cached", openUnder(folder, name, RESOLVE_CACHED));
  report("openat2 in a root", openUnder(folder, file + folder.size(), RESOLVE_IN_ROOT));
  report("the link of an O_PATH descriptor",
         ::open(linkOf(::open(file, O_PATH)).c_str(), O_RDONLY));
  report("/proc/self/root", ::open(("/proc/self/root" + path).c_str(), O_RDONLY));
  report("a file handle", openByHandle(file));
  report("io_uring", openByRing(file));
  report("a detached mount", openDetached(folder, name));
  report("execve", inChild([&] { ::execv(file, arguments); }));
  report("execveat", inChild([&] {
           const long descriptor = ::open(file, O_PATH);
           ::syscall(SYS_execveat, descriptor, "", arguments, nullptr, AT_EMPTY_PATH);
         }));
  report("a child with a root of its own", inChild([&] {
           if (::chroot(folder.c_str()) != 0) return;
           if (::open((std::string("/") + name).c_str(), O_RDONLY) >= 0) ::_exit(0);
         }));

  const std::string hard = other + "/hard";
  report("a hard link", ::link(file, hard.c_str()) != 0 ? -1 : ::open(hard.c_str(), O_RDONLY));
  const std::string soft = other + "/soft";
  report("a symbolic link",
         ::symlink(file, soft.c_str()) != 0 ? -1 : ::open(soft.c_str(), O_RDONLY));
  const std::string moved = other + "/moved";
  report("a rename",
         ::rename(hard.c_str(), moved.c_str()) != 0 ? -1 : ::open(moved.c_str(), O_RDONLY));
  const std::string harmless = other + "/harmless";
  const int made = ::open(harmless.c_str(), O_CREAT | O_RDWR, 0600);
  report("an exchange of two files",
         made < 0 || ::syscall(SYS_renameat2, AT_FDCWD, harmless.c_str(), AT_FDCWD, moved.c_str(),
                               2 /* RENAME_EXCHANGE */) != 0
             ? -1
             : ::open(harmless.c_str(), O_RDONLY));
  // Written by a file without a name, which gets one.
  const int nameless = ::open(other.c_str(), O_TMPFILE | O_RDWR, 0700);
  if (nameless >= 0 && ::write(nameless, "TEST-VIRUS\n", 11) == 11) {
    report("a file without a name, by its link", ::open(linkOf(nameless).c_str(), O_RDONLY));
    const std::string named = other + "/named";
    report("the same with a name", ::linkat(AT_FDCWD, linkOf(nameless).c_str(), AT_FDCWD,
                                            named.c_str(), AT_SYMLINK_FOLLOW) != 0
                                       ? -1
                                       : ::open(named.c_str(), O_RDONLY));
  }
  report("a user namespace", inChild([&] {
           if (::unshare(CLONE_NEWUSER | CLONE_NEWNS) != 0) {
             errno = ENOSYS;
           } else if (::open(file, O_RDONLY) >= 0) {
             ::_exit(0);
           }
         }));
  report("a mount of its own there", inChild([&] {
           if (::unshare(CLONE_NEWUSER | CLONE_NEWNS) != 0 ||
               ::mount(folder.c_str(), other.c_str(), nullptr, MS_BIND, nullptr) != 0) {
             errno = ENOSYS;
           } else if (::open((other + "/" + name).c_str(), O_RDONLY) >= 0) {
             ::_exit(0);
           }
         }));
  return isAnyOpened ? 1 : 0;
}
