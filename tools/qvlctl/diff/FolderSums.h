// Where files are, in few lines.

#ifndef QVLCTL_DIFF_FOLDER_SUMS_H
#define QVLCTL_DIFF_FOLDER_SUMS_H

#include <cstddef>
#include <map>
#include <string>
#include <string_view>
#include <vector>

#include "audit/Tally.h"

namespace qvlctl {

// Adds files up by folder, in any order. Memory does not grow with their number: when there are
// more than kMostNodes folders and files, the deepest ones are known by the sums of their folders
// only.
class FolderSums {
 public:
  static constexpr std::size_t kMostNodes = 1024;

  struct Line {
    std::string path;       // a folder's ends in a slash
    bool isDirect = false;  // only the files directly in the folder
    Tally tally;
  };

  void add(std::string_view path, const Tally& tally);

  // Lines that add up to everything, the largest first: the folders just below the one that holds
  // all files, and what is in them as long as there are no more lines than `count`. A file has a
  // line of its own where there is room for all of its folder.
  std::vector<Line> lines(std::size_t count) const;

 private:
  // A folder, its name ending in a slash, or a file.
  struct Node {
    Tally tally;
    std::map<std::string, Node, std::less<>> children;
    bool isClosed = false;  // what is below is not told apart
  };

  // A node that may become a line, or be replaced by those below it.
  struct Candidate {
    const Node* node;
    Line line;
  };

  static std::vector<Candidate> inside(const Candidate& folder, bool withFiles);
  static Candidate descended(Candidate candidate);
  std::size_t closeDeepest(Node& node, std::size_t depth, std::size_t deepest);

  Node m_root;
  std::size_t m_count = 0;  // of nodes
};

}  // namespace qvlctl

#endif  // QVLCTL_DIFF_FOLDER_SUMS_H
