// When a file was made and changed.

#ifndef QVLCTL_IO_FILE_TIMES_H
#define QVLCTL_IO_FILE_TIMES_H

#include <ctime>
#include <optional>
#include <string>

namespace qvlctl {

// Whole seconds. The creation is missing where the file system does not keep it.
struct FileTimes {
  std::optional<std::time_t> creation;
  std::time_t modification = 0;
};

// The times of the file, links followed as the engine does; nothing, with errno set, when it cannot
// be examined.
std::optional<FileTimes> readFileTimes(const std::string& path);

// "2024-02-29T23:59:59Z".
std::string timeText(std::time_t time);

}  // namespace qvlctl

#endif  // QVLCTL_IO_FILE_TIMES_H
