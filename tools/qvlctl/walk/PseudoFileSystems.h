// File systems without files of their own.

#ifndef QVLCTL_WALK_PSEUDO_FILE_SYSTEMS_H
#define QVLCTL_WALK_PSEUDO_FILE_SYSTEMS_H

#include <optional>
#include <string>

namespace qvlctl {

// The name of the file system that the open folder is on, such as "proc", when that shows what the
// kernel knows and holds no files that anybody has stored.
std::optional<std::string> pseudoFileSystemOf(int folder);

}  // namespace qvlctl

#endif  // QVLCTL_WALK_PSEUDO_FILE_SYSTEMS_H
