// Numbers of files, and which verdict they got for which reason.

#ifndef QVLCTL_AUDIT_TALLY_H
#define QVLCTL_AUDIT_TALLY_H

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <utility>
#include <vector>

namespace qvlctl {

struct Tally {
  std::uint64_t files = 0;
  std::uint64_t bytes = 0;

  void add(const Tally& other) {
    files += other.files;
    bytes += other.bytes;
  }
};

// Files by the reason for their verdict: an index into a list of reasons, ascending and each once.
// Folders have few reasons, so a list is smaller and faster than a map.
class TalliesByReason {
 public:
  using Entry = std::pair<std::size_t, Tally>;

  void add(std::size_t reason, const Tally& tally) {
    const auto place =
        std::lower_bound(m_entries.begin(), m_entries.end(), reason,
                         [](const Entry& entry, std::size_t other) { return entry.first < other; });
    if (place != m_entries.end() && place->first == reason) {
      place->second.add(tally);
    } else {
      m_entries.insert(place, {reason, tally});
    }
  }

  void add(const TalliesByReason& other) {
    for (const auto& [reason, tally] : other.m_entries) add(reason, tally);
  }

  Tally total() const {
    Tally sum;
    for (const Entry& entry : m_entries) sum.add(entry.second);
    return sum;
  }

  const std::vector<Entry>& entries() const { return m_entries; }

 private:
  std::vector<Entry> m_entries;
};

}  // namespace qvlctl

#endif  // QVLCTL_AUDIT_TALLY_H
