// The folders of an audit, the large ones one by one.

#ifndef QVLCTL_AUDIT_FOLDER_TREE_H
#define QVLCTL_AUDIT_FOLDER_TREE_H

#include <cstddef>
#include <cstdint>
#include <string>
#include <vector>

#include "audit/Tally.h"

namespace qvlctl {

struct FolderNode {
  std::string name;                 // a root's is its path
  TalliesByReason files;            // directly in the folder
  std::vector<FolderNode> folders;  // the large ones in it, in the order of the walk
  TalliesByReason rest;             // everything in the other folders in it
  std::uint64_t restFolders = 0;    // how many those are, the ones inside them included
};

// Builds a tree of the largest folders while walks go on, in memory that does not grow with the
// number of files or folders. A folder is as large as its bytes and 4096 more for each file, so
// that both count; a folder is never larger than the one that it is in, so the largest ones are a
// tree.
class FolderTree {
 public:
  // At most `folderCount` folders are kept in each root.
  explicit FolderTree(std::size_t folderCount) : m_folderCount(folderCount) {}

  // In the order of the walk.
  void folderBegins(const std::string& path);
  void file(std::size_t reason, const Tally& tally);
  void folderEnds();

  // The folders that the walks began with, each with the largest ones in it; to be called when all
  // of them have ended.
  const std::vector<FolderNode>& roots();

 private:
  // A node with what is needed to make it smaller.
  struct OpenNode {
    FolderNode node;
    std::size_t below = 0;  // nodes in it
  };

  const std::size_t m_folderCount;
  std::vector<OpenNode> m_open;
  std::vector<FolderNode> m_roots;
};

}  // namespace qvlctl

#endif  // QVLCTL_AUDIT_FOLDER_TREE_H
