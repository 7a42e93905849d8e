// Which of many patterns may match a text, or cover another pattern?

#ifndef QVLPOLICY_PIECE_INDEX_H
#define QVLPOLICY_PIECE_INDEX_H

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <functional>
#include <string>
#include <string_view>
#include <vector>

namespace qvlpolicy {

// An inverted index of patterns by their runs, the texts between their wildcards: what stands in a
// pattern as a run stands in all that it matches, and in a run of every pattern that it covers.
// Each pattern is listed under one piece of its runs, of at most kLongest characters: of the
// longest pieces the one that fewest patterns hold.
//
// Thread safety: any number of threads may look up at once.
class PieceIndex {
 public:
  using Runs = std::vector<std::string>;

  PieceIndex() = default;

  // Of the patterns from 0 to `count`. `runsOf` is called twice with each, and answers null for one
  // that is left out.
  PieceIndex(std::size_t count, const std::function<const Runs*(std::size_t)>& runsOf);

  // Calls `take` with the patterns, some more than once, of which a run may be in one of the texts,
  // until it answers false.
  template <typename Take>
  void eachCandidate(const Runs& texts, Take take) const {
    for (const std::uint32_t pattern : m_everywhere) {
      if (!take(pattern)) return;
    }
    for (const std::string& text : texts) {
      for (std::size_t length = 1; length <= std::min(text.size(), kLongest); ++length) {
        if (!m_hasLength[length]) continue;
        for (std::size_t i = 0; i + length <= text.size(); ++i) {
          const std::uint32_t hash = hashOf(std::string_view(text).substr(i, length));
          const std::size_t list = hash & (m_ends.size() - 1);
          for (std::size_t at = list == 0 ? 0 : m_ends[list - 1]; at < m_ends[list]; ++at) {
            if (m_entries[at].hash == hash && !take(m_entries[at].pattern)) return;
          }
        }
      }
    }
  }

 private:
  static constexpr std::size_t kLongest = 8;

  struct Entry {
    std::uint32_t hash;  // two pieces that have the same cost a comparison
    std::uint32_t pattern;
  };

  static std::uint32_t hashOf(std::string_view piece) {
    return static_cast<std::uint32_t>(std::hash<std::string_view>()(piece));
  }

  // The lists stand one behind the other, in the order of the lowest bits of their hashes.
  std::vector<Entry> m_entries;
  std::vector<std::uint32_t> m_ends;        // of the lists; a power of two
  std::vector<std::uint32_t> m_everywhere;  // patterns without a run
  bool m_hasLength[kLongest + 1] = {};      // are there pieces of that length?
};

}  // namespace qvlpolicy

#endif  // QVLPOLICY_PIECE_INDEX_H
