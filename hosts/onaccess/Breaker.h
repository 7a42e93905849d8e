// Stops asking a scanner that fails again and again.

#ifndef QVL_ONACCESS_BREAKER_H
#define QVL_ONACCESS_BREAKER_H

#include <cstdint>
#include <mutex>

#include "Clock.h"

namespace onaccess {

// Closed: scans are let through. After so many failures in a row it opens: none is, for a while.
// Then a single scan is let through; its success closes the breaker, and its failure opens it anew.
//
// Thread safety: all operations may be called from any thread at any time.
class Breaker {
 public:
  Breaker(unsigned int failures, Duration pause) : m_limit(failures), m_pause(pause) {}

  // May this scan be tried? Each true is followed by one of the next three.
  bool letsThrough(Time now) {
    const std::lock_guard<std::mutex> lock(m_mutex);
    if (m_failures < m_limit) return true;
    if (m_isProbing || now < m_openUntil) return false;
    m_isProbing = true;
    return true;
  }

  void succeeded() {
    const std::lock_guard<std::mutex> lock(m_mutex);
    m_failures = 0;
    m_isProbing = false;
  }

  void failed(Time now) {
    const std::lock_guard<std::mutex> lock(m_mutex);
    // Open, and nobody probes: this scan was let through before it opened, and tells nothing new.
    if (m_failures >= m_limit && !m_isProbing) return;
    m_isProbing = false;
    if (m_failures < m_limit) ++m_failures;
    if (m_failures < m_limit) return;
    m_openUntil = now + m_pause;
    ++m_openings;
  }

  // The scan was not tried after all.
  void wasNotTried() {
    const std::lock_guard<std::mutex> lock(m_mutex);
    m_isProbing = false;
  }

  bool isOpen() const {
    const std::lock_guard<std::mutex> lock(m_mutex);
    return m_failures >= m_limit;
  }

  // How often it has opened, anew included.
  std::uint64_t openings() const {
    const std::lock_guard<std::mutex> lock(m_mutex);
    return m_openings;
  }

 private:
  const unsigned int m_limit;
  const Duration m_pause;
  mutable std::mutex m_mutex;
  unsigned int m_failures = 0;  // in a row, at most m_limit
  bool m_isProbing = false;
  Time m_openUntil;
  std::uint64_t m_openings = 0;
};

}  // namespace onaccess

#endif  // QVL_ONACCESS_BREAKER_H
