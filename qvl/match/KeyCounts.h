// About how many patterns have a key. Private to the library.

#ifndef QVL_MATCH_KEY_COUNTS_H
#define QVL_MATCH_KEY_COUNTS_H

#include <algorithm>
#include <array>
#include <cstddef>
#include <cstdint>
#include <limits>

#include "qvl/match/PathKeys.h"

namespace QVL {

// A count-min sketch of the keys that patterns have, whichever they stand under, and of late rather
// than ever: all counts are halved now and then. So its size does not depend on how many patterns
// there are, and no pattern has to be taken out again. It tells a key that many have from one that
// few have, and no more.
class KeyCounts {
 public:
  // One more pattern has the key.
  void add(PathKeys::Key key) {
    if (++m_added == kAddedUntilHalved) halve();
    // Only the lesser count: the greater tells of other keys, too.
    std::uint8_t& least = m_counts[leastOf(key)];
    if (least < std::numeric_limits<std::uint8_t>::max()) ++least;
  }

  std::size_t of(PathKeys::Key key) const { return m_counts[leastOf(key)]; }

 private:
  static constexpr std::size_t kCounts = std::size_t{1} << 15;
  static constexpr std::size_t kAddedUntilHalved = 4 * kCounts;

  std::size_t leastOf(PathKeys::Key key) const {
    const std::size_t one = (key >> 40) % kCounts;
    const std::size_t other = (key >> 14) % kCounts;
    return m_counts[one] <= m_counts[other] ? one : other;
  }

  void halve() {
    for (std::uint8_t& count : m_counts) count /= 2;
    m_added /= 2;
  }

  std::array<std::uint8_t, kCounts> m_counts{};
  std::size_t m_added = 0;
};

}  // namespace QVL

#endif  // QVL_MATCH_KEY_COUNTS_H
