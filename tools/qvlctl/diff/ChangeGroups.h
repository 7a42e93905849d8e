// Changes of verdicts, those with the same reason together.

#ifndef QVLCTL_DIFF_CHANGE_GROUPS_H
#define QVLCTL_DIFF_CHANGE_GROUPS_H

#include <cstddef>
#include <map>
#include <string>
#include <string_view>
#include <tuple>
#include <vector>

#include "audit/Tally.h"
#include "diff/FolderSums.h"
#include "io/Sarif.h"

namespace qvlctl {

// What the changes of a group have in common.
struct ChangeKey {
  bool isSkipped;                    // newly skipped, or newly scanned
  std::vector<std::size_t> queries;  // by index
  std::vector<std::string> causes;   // in words
  std::vector<SarifPlace> places;    // of the causes; the same for the same causes

  bool operator<(const ChangeKey& other) const {
    return std::tie(isSkipped, queries, causes) <
           std::tie(other.isSkipped, other.queries, other.causes);
  }
};

struct ChangeGroup {
  ChangeKey key;
  Tally tally;
  FolderSums folders;
};

// Memory does not grow with the number of changes: what would be one group too many goes into one
// for all other reasons.
class ChangeGroups {
 public:
  static constexpr std::size_t kMostGroups = 500;

  void add(ChangeKey key, std::string_view path, const Tally& tally);

  // The groups of one direction. They stay valid until the next call of add.
  std::vector<const ChangeGroup*> largestFirst(bool isSkipped) const;

 private:
  std::map<ChangeKey, ChangeGroup> m_groups;
};

}  // namespace qvlctl

#endif  // QVLCTL_DIFF_CHANGE_GROUPS_H
