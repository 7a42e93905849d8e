// What has to hold before anything is watched.

#ifndef QVL_ONACCESS_START_CHECK_H
#define QVL_ONACCESS_START_CHECK_H

#include <cstddef>
#include <string>
#include <vector>

#include "Gate.h"
#include "Options.h"

namespace onaccess {

// The file systems to watch, each once. Throws Trouble when a folder is not where one is mounted,
// when it is the one of / and nobody confirmed that, or when --fail-closed names another one.
std::vector<WatchedMount> mountsToWatch(const Options& options);

// Throws Trouble when the host would write on a file system that it watches: its metrics, its
// socket, its log on standard error, and the library's trace file. There, an open waits for the
// host, and so might the host for itself.
void checkThatNothingIsWritten(const Options& options, const std::vector<WatchedMount>& mounts);

// Allows the process that many open files. Throws Trouble when it may not have as many: out of
// them, the kernel denies opens.
void allowOpenFiles(std::size_t count);

}  // namespace onaccess

#endif  // QVL_ONACCESS_START_CHECK_H
