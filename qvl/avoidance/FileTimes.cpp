#include "qvl/avoidance/FileTimes.h"

#include <fcntl.h>
#include <sys/stat.h>

namespace QVL {

namespace {

// Some tools make file systems that say they know the time of creation, and have 0 for it.
std::optional<std::time_t> knownTime(std::time_t seconds) {
  if (seconds == 0) return std::nullopt;
  return seconds;
}

}  // namespace

#if defined(__APPLE__)

std::optional<FileTimes> readFileTimes(const char* path) {
  struct stat status;
  if (stat(path, &status) != 0) return std::nullopt;
  return FileTimes{knownTime(status.st_birthtimespec.tv_sec), status.st_mtimespec.tv_sec};
}

#else

std::optional<FileTimes> readFileTimes(const char* path) {
  struct statx status;
  if (statx(AT_FDCWD, path, 0, STATX_MTIME | STATX_BTIME, &status) != 0) return std::nullopt;
  FileTimes times{std::nullopt, static_cast<std::time_t>(status.stx_mtime.tv_sec)};
  if (status.stx_mask & STATX_BTIME) {
    times.creation = knownTime(static_cast<std::time_t>(status.stx_btime.tv_sec));
  }
  return times;
}

#endif

}  // namespace QVL
