// Where walks begin.

#ifndef QVLCTL_WALK_ROOTS_H
#define QVLCTL_WALK_ROOTS_H

#include <string>
#include <vector>

#include "CLI/CLI.hpp"
#include "walk/Missing.h"
#include "walk/TreeWalk.h"

namespace qvlctl {

// The folders to walk: real paths, none twice and none inside another, which is told on standard
// error. What does not exist is added to `missing`.
std::vector<std::string> rootsOf(const std::vector<std::string>& folders, Missing& missing);

// Walks all of them. Those that cannot be opened are told to the visitor. Throws Trouble when none
// can, or when there is none because of what is in `missing`.
void walkTrees(const std::vector<std::string>& roots, const WalkOptions& options,
               TreeVisitor& visitor, const Missing& missing);

// Adds the options that say how.
void addWalkOptions(CLI::App& command, WalkOptions& options);

}  // namespace qvlctl

#endif  // QVLCTL_WALK_ROOTS_H
