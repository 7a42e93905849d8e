#include "Watchdog.h"

#include <utility>

namespace onaccess {

Watchdog::Watchdog(const InFlight& inFlight, Duration limit, std::function<void()> alarm)
    : m_inFlight(inFlight),
      m_limit(limit),
      m_alarm(std::move(alarm)),
      m_thread([this] { watch(); }) {}

Watchdog::~Watchdog() {
  {
    const std::lock_guard<std::mutex> lock(m_mutex);
    m_isEnding = true;
  }
  m_ended.notify_all();
  m_thread.join();
}

void Watchdog::watch() {
  std::unique_lock<std::mutex> lock(m_mutex);
  while (!m_ended.wait_for(lock, m_limit / 10, [this] { return m_isEnding; })) {
    if (m_inFlight.longest(Clock::now()) <= m_limit) continue;
    m_alarm();
    return;
  }
}

}  // namespace onaccess
