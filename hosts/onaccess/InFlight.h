// The opens that wait for an answer, and since when.

#ifndef QVL_ONACCESS_IN_FLIGHT_H
#define QVL_ONACCESS_IN_FLIGHT_H

#include <atomic>
#include <cstddef>
#include <cstdint>
#include <vector>

#include "Clock.h"

namespace onaccess {

// A table of times. It takes no lock and no memory, so that the watchdog can read it whatever state
// the other threads are in.
//
// Thread safety: all operations may be called from any thread at any time.
class InFlight {
 public:
  // Room for as many opens as can wait at once.
  explicit InFlight(std::size_t capacity) : m_since(capacity) {}

  std::size_t capacity() const { return m_since.size(); }

  // Enters an open, and tells its place. Spins while there is no room, which is a defect: the
  // watchdog ends it.
  std::size_t enter(Time now) {
    const std::int64_t since = now.time_since_epoch().count();
    for (std::size_t i = m_next++;; ++i) {
      std::atomic<std::int64_t>& place = m_since[i % m_since.size()];
      std::int64_t expected = kFree;
      if (place.compare_exchange_strong(expected, since)) return i % m_since.size();
    }
  }

  void leave(std::size_t place) { m_since[place] = kFree; }

  // How long the oldest open has been waiting; zero when none does.
  Duration longest(Time now) const {
    std::int64_t longest = 0;
    for (const std::atomic<std::int64_t>& place : m_since) {
      const std::int64_t since = place;
      if (since != kFree) longest = std::max(longest, now.time_since_epoch().count() - since);
    }
    return Duration(longest);
  }

  std::size_t count() const {
    std::size_t count = 0;
    for (const std::atomic<std::int64_t>& place : m_since) count += place != kFree ? 1 : 0;
    return count;
  }

 private:
  static constexpr std::int64_t kFree = INT64_MIN;

  // Value-initialised atomics would hold 0.
  struct Place : std::atomic<std::int64_t> {
    Place() : std::atomic<std::int64_t>(kFree) {}
    using std::atomic<std::int64_t>::operator=;
  };
  std::vector<Place> m_since;
  std::atomic<std::size_t> m_next{0};
};

}  // namespace onaccess

#endif  // QVL_ONACCESS_IN_FLIGHT_H
