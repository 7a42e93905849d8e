#include "diff/ChangeGroups.h"

#include <algorithm>
#include <utility>

namespace qvlctl {

void ChangeGroups::add(ChangeKey key, std::string_view path, const Tally& tally) {
  if (m_groups.size() >= kMostGroups && m_groups.count(key) == 0) {
    key = {key.isSkipped, {}, {"for other reasons"}, {}};
  }
  ChangeGroup& group = m_groups[key];
  if (group.tally.files == 0) group.key = std::move(key);
  group.tally.add(tally);
  group.folders.add(path, tally);
}

std::vector<const ChangeGroup*> ChangeGroups::largestFirst(bool isSkipped) const {
  std::vector<const ChangeGroup*> groups;
  for (const auto& [key, group] : m_groups) {
    if (key.isSkipped == isSkipped) groups.push_back(&group);
  }
  std::stable_sort(groups.begin(), groups.end(), [](const ChangeGroup* a, const ChangeGroup* b) {
    return std::tie(a->tally.bytes, a->tally.files) > std::tie(b->tally.bytes, b->tally.files);
  });
  return groups;
}

}  // namespace qvlctl
