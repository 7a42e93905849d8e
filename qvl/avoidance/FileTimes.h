// A file's timestamps, where platforms differ. Private to the library.

#ifndef QVL_AVOIDANCE_FILE_TIMES_H
#define QVL_AVOIDANCE_FILE_TIMES_H

#include <ctime>
#include <optional>

namespace QVL {

struct FileTimes {
  // Absent where the file system does not know it; 0 is no time of creation either.
  std::optional<std::time_t> creation;
  std::time_t modification;
};

// The timestamps of the file that a path names, symbolic links followed, in whole seconds since the
// epoch; absent when its status cannot be read.
std::optional<FileTimes> readFileTimes(const char* path);

}  // namespace QVL

#endif  // QVL_AVOIDANCE_FILE_TIMES_H
