#include "StartCheck.h"

#include <fcntl.h>
#include <sys/resource.h>
#include <sys/stat.h>
#include <sys/sysmacros.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <optional>

#include "Log.h"
#include "Trouble.h"
#include "fmt/format.h"

namespace onaccess {
namespace {

struct stat statusOf(const std::string& path) {
  struct stat status;
  if (::stat(path.c_str(), &status) != 0) {
    throw Trouble(fmt::format("cannot examine {}: {}", quoted(path), std::strerror(errno)));
  }
  return status;
}

bool isMountedAt(const std::string& folder) {
  struct statx status;
  if (::statx(AT_FDCWD, folder.c_str(), 0, STATX_BASIC_STATS, &status) != 0) return false;
  return (status.stx_attributes & STATX_ATTR_MOUNT_ROOT) != 0;
}

const WatchedMount* findMount(const std::vector<WatchedMount>& mounts, dev_t device) {
  const auto found =
      std::find_if(mounts.begin(), mounts.end(),
                   [device](const WatchedMount& mount) { return mount.device == device; });
  return found == mounts.end() ? nullptr : &*found;
}

std::string folderOf(const std::string& file) {
  const std::size_t slash = file.rfind('/');
  if (slash == std::string::npos) return ".";
  return slash == 0 ? "/" : file.substr(0, slash);
}

void checkDevice(const std::string& what, dev_t device, const std::vector<WatchedMount>& mounts) {
  const WatchedMount* const mount = findMount(mounts, device);
  if (mount == nullptr) return;
  throw Trouble(fmt::format(
      "{} lies on the file system at {}, which is to be watched; expected a place on another one, "
      "such as below /run: an open there would wait for the host that makes it",
      what, mount->folder));
}

// The folder in which the file is made, and the file itself when it is there: a link leads
// elsewhere.
void checkFile(const char* option, const std::string& file,
               const std::vector<WatchedMount>& mounts) {
  const std::string what = fmt::format("{} {}", option, quoted(file));
  checkDevice(what, statusOf(folderOf(file)).st_dev, mounts);
  struct stat status;
  if (::stat(file.c_str(), &status) == 0) checkDevice(what, status.st_dev, mounts);
}

}  // namespace

std::vector<WatchedMount> mountsToWatch(const Options& options) {
  const dev_t root = statusOf("/").st_dev;
  std::vector<WatchedMount> mounts;
  for (const std::string& folder : options.mounts) {
    const struct stat status = statusOf(folder);
    if (!isMountedAt(folder)) {
      throw Trouble(fmt::format(
          "--mount {}: expected a folder at which a file system is mounted, since file systems are "
          "watched as a whole; found one inside of a file system (`findmnt --target` names its "
          "mount)",
          quoted(folder)));
    }
    if (status.st_dev == root && !options.isRootConfirmed) {
      throw Trouble(
          fmt::format("--mount {}: this is the file system of /. A mistake there can stop the "
                      "machine; expected "
                      "--confirm-root beside it, after a --dry-run",
                      quoted(folder)));
    }
    if (findMount(mounts, status.st_dev) == nullptr) {
      mounts.push_back({folder, status.st_dev, FailurePolicy::Open});
    }
  }
  for (const std::string& folder : options.failClosed) {
    const dev_t device = statusOf(folder).st_dev;
    const auto mount =
        std::find_if(mounts.begin(), mounts.end(),
                     [device](const WatchedMount& other) { return other.device == device; });
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
      checkDevice(descriptor == STDOUT_FILENO ? "standard output" : "the log, standard error,",
                  status.st_dev, mounts);
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
