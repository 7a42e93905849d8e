// Walks a directory tree.

#ifndef QVLCTL_WALK_TREE_WALK_H
#define QVLCTL_WALK_TREE_WALK_H

#include <sys/stat.h>

#include <cstddef>
#include <string>

namespace qvlctl {

// What a walk meets. Paths are valid during the call only.
class TreeVisitor {
 public:
  virtual ~TreeVisitor() = default;

  // A folder begins; what is inside it follows, then its end.
  virtual void folderBegins(const std::string& path) = 0;
  virtual void folderEnds(const std::string& path) = 0;

  // All files of the folder that began last have been visited; at most so many folders in it
  // follow.
  virtual void folderRead(std::size_t /*subfolderCount*/) {}

  // A regular file.
  virtual void file(const std::string& path, const struct stat& status) = 0;

  // A folder inside the one that began last, or that folder itself, cannot be opened or read on, or
  // an entry in it cannot be examined. `error` is an errno value.
  virtual void unreadable(const std::string& path, int error) = 0;

  // A folder inside the one that began last is left out, with all that is in it, because a pseudo
  // file system of that name is mounted there.
  virtual void leftOut(const std::string& path, const std::string& fileSystem) = 0;
};

struct WalkOptions {
  bool oneFileSystem = false;      // leave out folders on other file systems than the root's
  bool pseudoFileSystems = false;  // walk pseudo file systems, too; a root is walked whatever it is
};

// Walks the tree under the folder `root`, an absolute path without symbolic links. No symbolic link
// is followed, in whatever moment it appears. Names may hold any bytes and paths be of any length.
// What disappears or turns into something else meanwhile is passed over. At most 64 folders are
// open at a time. False when the root cannot be opened or read, which the visitor is told.
bool walkTree(const std::string& root, const WalkOptions& options, TreeVisitor& visitor);

}  // namespace qvlctl

#endif  // QVLCTL_WALK_TREE_WALK_H
