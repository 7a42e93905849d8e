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
        const bool goesOn = eachPiece(text, length, [&](std::uint32_t hash) {
          const std::size_t list = hash & (m_ends.size() - 1);
          for (std::size_t at = list == 0 ? 0 : m_ends[list - 1]; at < m_ends[list]; ++at) {
            if (m_entries[at].hash == hash && !take(m_entries[at].pattern)) return false;
          }
          return true;
        });
        if (!goesOn) return;
      }
    }
  }

 private:
  static constexpr std::size_t kLongest = sizeof(std::uint64_t);

  struct Entry {
    std::uint32_t hash;  // two pieces that have the same cost a comparison
    std::uint32_t pattern;
  };

  // Calls `take` with the hash of each piece of that length until it answers false; answers whether
  // it never did. Pieces have at most as many bytes as fit into a number.
  template <typename Take>
  static bool eachPiece(std::string_view text, std::size_t length, Take take) {
    const std::uint64_t all =
        length < kLongest ? (std::uint64_t{1} << (8 * length)) - 1 : UINT64_MAX;
    std::uint64_t piece = 0;
    for (std::size_t i = 0; i < text.size(); ++i) {
      piece = (piece << 8 | static_cast<unsigned char>(text[i])) & all;
      if (i + 1 >= length && !take(hashOf(piece, length))) return false;
    }
    return true;
  }

  // A product's upper half depends on the lower half of its factor; folded in between, on all.
  static std::uint32_t hashOf(std::uint64_t piece, std::size_t length) {
    constexpr std::uint64_t kMultiplier = 0x9E3779B97F4A7C15;
    const std::uint64_t mixed = (piece ^ length) * kMultiplier;
    return static_cast<std::uint32_t>((mixed ^ mixed >> 32) * kMultiplier >> 32);
  }

  // The lists stand one behind the other, in the order of the lowest bits of their hashes.
  std::vector<Entry> m_entries;
  std::vector<std::uint32_t> m_ends;        // of the lists; a power of two
  std::vector<std::uint32_t> m_everywhere;  // patterns without a run
  bool m_hasLength[kLongest + 1] = {};      // are there pieces of that length?
};

}  // namespace qvlpolicy

#endif  // QVLPOLICY_PIECE_INDEX_H
