#include "io/FileTimes.h"

#include <fcntl.h>
#include <sys/stat.h>

namespace qvlctl {

#if defined(__APPLE__)

std::optional<FileTimes> readFileTimes(const std::string& path) {
  struct stat status;
  if (::stat(path.c_str(), &status) != 0) return std::nullopt;
  return FileTimes{status.st_birthtimespec.tv_sec, status.st_mtimespec.tv_sec};
}

#else

std::optional<FileTimes> readFileTimes(const std::string& path) {
  struct statx status;
  if (::statx(AT_FDCWD, path.c_str(), 0, STATX_MTIME | STATX_BTIME, &status) != 0) {
    return std::nullopt;
  }
  FileTimes times{std::nullopt, static_cast<std::time_t>(status.stx_mtime.tv_sec)};
  if (status.stx_mask & STATX_BTIME) {
    times.creation = static_cast<std::time_t>(status.stx_btime.tv_sec);
  }
  return times;
}

#endif

std::string timeText(std::time_t time) {
  std::tm utc;
  if (::gmtime_r(&time, &utc) == nullptr) return std::to_string(time);
  char text[64];
  return {text, std::strftime(text, sizeof text, "%Y-%m-%dT%H:%M:%SZ", &utc)};
}

}  // namespace qvlctl
