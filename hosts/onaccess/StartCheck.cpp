#include "StartCheck.h"

#include <fcntl.h>
#include <sys/resource.h>
#include <sys/stat.h>
#include <sys/sysmacros.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstdint>
#include <cstring>
#include <fstream>
#include <optional>
#include <sstream>

#include "Log.h"
#include "Trouble.h"
#include "fmt/format.h"

namespace onaccess {
namespace {

struct stat statusOf(const std::string& what, const std::string& path) {
  struct stat status;
  if (::stat(path.c_str(), &status) != 0) {
    throw Trouble(
        fmt::format("{}: cannot examine {}: {}", what, quoted(path), std::strerror(errno)));
  }
  return status;
}

// The device by which the kernel knows a file system as a whole, which is what is watched. Btrfs
// gives the files of each subvolume a device of their own, so the mount is looked up. `path` is
// empty for the file behind the descriptor `folder`. Nothing when there is no such file.
std::optional<dev_t> fileSystemOf(int folder, const char* path) {
  struct statx status;
  if (::statx(folder, path, AT_EMPTY_PATH, STATX_TYPE | STATX_MNT_ID, &status) != 0) {
    return std::nullopt;
  }
  std::ifstream mounts("/proc/self/mountinfo");
  for (std::string line; std::getline(mounts, line);) {
    std::uint64_t mount = 0;
    std::uint64_t parent = 0;
    unsigned int major = 0;
    unsigned int minor = 0;
    char colon = 0;
    if (std::istringstream(line) >> mount >> parent >> major >> colon >> minor &&
        mount == status.stx_mnt_id) {
      return makedev(major, minor);
    }
  }
  return makedev(status.stx_dev_major, status.stx_dev_minor);  // mounted for nobody to see
}

bool isMountedAt(const std::string& folder) {
  struct statx status;
  if (::statx(AT_FDCWD, folder.c_str(), 0, STATX_BASIC_STATS, &status) != 0) return false;
  return (status.stx_attributes & STATX_ATTR_MOUNT_ROOT) != 0;
}

std::vector<WatchedMount>::iterator findMount(std::vector<WatchedMount>& mounts, dev_t device) {
  return std::find_if(mounts.begin(), mounts.end(),
                      [device](const WatchedMount& mount) { return mount.device == device; });
}

std::string folderOf(const std::string& file) {
  const std::size_t slash = file.rfind('/');
  if (slash == std::string::npos) return ".";
  return slash == 0 ? "/" : file.substr(0, slash);
}

// `fileSystem`: nothing for a file that is not there.
void checkFileSystem(const std::string& what, std::optional<dev_t> fileSystem,
                     const std::vector<WatchedMount>& mounts) {
  const auto mount = std::find_if(
      mounts.begin(), mounts.end(),
      [fileSystem](const WatchedMount& other) { return fileSystem == other.fileSystem; });
  if (mount == mounts.end()) return;
  throw Trouble(fmt::format(
      "{} lies on the file system at {}, which is to be watched; expected a place on another one, "
      "such as below /run: an open there would wait for the host that makes it",
      what, quoted(mount->folder)));
}

// The folder in which the file is made, and the file itself when it is there: a link leads
// elsewhere.
void checkFile(const char* option, const std::string& file,
               const std::vector<WatchedMount>& mounts) {
  const std::string what = fmt::format("{} {}", option, quoted(file));
  const std::string folder = folderOf(file);
  statusOf(what, folder);
  checkFileSystem(what, fileSystemOf(AT_FDCWD, folder.c_str()), mounts);
  checkFileSystem(what, fileSystemOf(AT_FDCWD, file.c_str()), mounts);
}

}  // namespace

std::vector<WatchedMount> mountsToWatch(const Options& options) {
  const std::optional<dev_t> root = fileSystemOf(AT_FDCWD, "/");
  std::vector<WatchedMount> mounts;
  for (const std::string& folder : options.mounts) {
    const dev_t device = statusOf("--mount", folder).st_dev;
    if (!isMountedAt(folder)) {
      throw Trouble(fmt::format(
          "--mount {}: expected a folder at which a file system is mounted, since file systems are "
          "watched as a whole; found one inside of a file system (`findmnt --target` names its "
          "mount)",
          quoted(folder)));
    }
    const std::optional<dev_t> fileSystem = fileSystemOf(AT_FDCWD, folder.c_str());
    if (fileSystem == root && !options.isRootConfirmed) {
      throw Trouble(
          fmt::format("--mount {}: this is the file system of /. A mistake there can stop the "
                      "machine; expected "
                      "--confirm-root beside it, after a --dry-run",
                      quoted(folder)));
    }
    if (findMount(mounts, device) == mounts.end()) {
      mounts.push_back({folder, device, fileSystem.value_or(device), FailurePolicy::Open});
    }
  }
  for (const std::string& folder : options.failClosed) {
    const auto mount = findMount(mounts, statusOf("--fail-closed", folder).st_dev);
    if (mount == mounts.end() || !isMountedAt(folder)) {
      throw Trouble(fmt::format("--fail-closed {}: expected one of the mounts that --mount names",
                                quoted(folder)));
    }
    mount->failurePolicy = FailurePolicy::Closed;
  }
  return mounts;
}

void checkThatNothingIsWritten(const Options& options, const std::vector<WatchedMount>& mounts) {
  if (!options.metrics.empty()) checkFile("--metrics", options.metrics, mounts);
  checkFile("--control", options.control, mounts);
  if (options.isTracing) {
    checkFile("--trace: the file", QVL_HOME "/var/ScanAvoidanceTraces.log", mounts);
    checkFile("--trace: the configuration", QVL_HOME "/config/traceValues.xml", mounts);
  }
  for (const int descriptor : {STDOUT_FILENO, STDERR_FILENO}) {
    struct stat status;
    if (::fstat(descriptor, &status) == 0 && S_ISREG(status.st_mode)) {
      checkFileSystem(descriptor == STDOUT_FILENO ? "standard output" : "the log, standard error,",
                      fileSystemOf(descriptor, ""), mounts);
    }
  }
}

void allowOpenFiles(std::size_t count) {
  struct rlimit limit;
  if (::getrlimit(RLIMIT_NOFILE, &limit) != 0) {
    throw Trouble(fmt::format("cannot read the limit of open files: {}", std::strerror(errno)));
  }
  if (limit.rlim_cur >= count) return;
  limit.rlim_cur = count;
  if (limit.rlim_max < count || ::setrlimit(RLIMIT_NOFILE, &limit) != 0) {
    throw Trouble(fmt::format(
        "these numbers of threads and waiting scans need {} open files, and the process may have "
        "{}; "
        "expected a smaller --queue or a higher limit (LimitNOFILE= of the systemd unit)",
        count, limit.rlim_max));
  }
}

}  // namespace onaccess
