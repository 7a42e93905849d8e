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
    const std::size_t count = of(key);
    if (count == std::numeric_limits<std::uint8_t>::max()) return;
    // A greater count tells of other keys, too, and stays.
    for (const std::size_t place : placesOf(key)) {
      if (m_counts[place] == count) m_counts[place] = static_cast<std::uint8_t>(count + 1);
    }
  }

  std::size_t of(PathKeys::Key key) const {
    const std::array<std::size_t, 2> places = placesOf(key);
    return std::min(m_counts[places[0]], m_counts[places[1]]);
  }

 private:
  static constexpr std::size_t kCounts = std::size_t{1} << 15;
  static constexpr std::size_t kAddedUntilHalved = 4 * kCounts;

  static std::array<std::size_t, 2> placesOf(PathKeys::Key key) {
    return {(key >> 40) % kCounts, (key >> 14) % kCounts};
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
