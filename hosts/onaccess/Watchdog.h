// Sees that no open stays unanswered.

#ifndef QVL_ONACCESS_WATCHDOG_H
#define QVL_ONACCESS_WATCHDOG_H

#include <condition_variable>
#include <functional>
#include <mutex>
#include <thread>

#include "InFlight.h"

namespace onaccess {

// Raises its alarm, once, when an open has been waiting for longer than the limit; at the latest a
// tenth of the limit after that. Its thread asks nothing of the others and waits for none.
class Watchdog {
 public:
  Watchdog(const InFlight& inFlight, Duration limit, std::function<void()> alarm);
  ~Watchdog();
  Watchdog(const Watchdog&) = delete;
  Watchdog& operator=(const Watchdog&) = delete;

 private:
  void watch();

  const InFlight& m_inFlight;
  const Duration m_limit;
  const std::function<void()> m_alarm;
  std::mutex m_mutex;
  std::condition_variable m_ended;
  bool m_isEnding = false;  // guarded by m_mutex
  std::thread m_thread;
};

}  // namespace onaccess

#endif  // QVL_ONACCESS_WATCHDOG_H
