// Where walks begin.

#ifndef QVLCTL_WALK_ROOTS_H
#define QVLCTL_WALK_ROOTS_H

#include <string>
#include <vector>

namespace qvlctl {

// The folders to walk: real paths, none twice and none inside another, which is told on standard
// error. Throws Trouble when a folder does not exist.
std::vector<std::string> rootsOf(const std::vector<std::string>& folders);

}  // namespace qvlctl

#endif  // QVLCTL_WALK_ROOTS_H
