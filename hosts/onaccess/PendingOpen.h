// An open that waits for its answer.

#ifndef QVL_ONACCESS_PENDING_OPEN_H
#define QVL_ONACCESS_PENDING_OPEN_H

#include <utility>

#include "Clock.h"
#include "InFlight.h"
#include "Kernel.h"

namespace onaccess {

// Owns an event from the moment when it was received. It is answered exactly once: by answer(), or,
// if it comes to its end unanswered, by "allow", since an open without an answer would wait for
// ever.
class PendingOpen {
 public:
  PendingOpen(Kernel& kernel, InFlight& inFlight, const Event& event, Time now)
      : m_kernel(&kernel),
        m_inFlight(&inFlight),
        m_event(event),
        m_arrival(now),
        m_place(inFlight.enter(now)) {}

  PendingOpen(PendingOpen&& other) noexcept
      : m_kernel(std::exchange(other.m_kernel, nullptr)),
        m_inFlight(other.m_inFlight),
        m_event(other.m_event),
        m_arrival(other.m_arrival),
        m_place(other.m_place),
        m_isAnswered(other.m_isAnswered) {}

  PendingOpen& operator=(PendingOpen&&) = delete;

  ~PendingOpen() {
    if (m_kernel == nullptr) return;
    answer(true);
    m_kernel->close(m_event.descriptor);
  }

  int descriptor() const { return m_event.descriptor; }
  pid_t process() const { return m_event.process; }
  Time arrival() const { return m_arrival; }

  // Only the first answer counts. False when nobody waited for it any more. The descriptor stays
  // readable.
  bool answer(bool isAllowed) {
    if (m_isAnswered) return true;
    m_isAnswered = true;
    const bool isTaken = m_kernel->answer(m_event.descriptor, isAllowed);
    m_inFlight->leave(m_place);
    return isTaken;
  }

 private:
  Kernel* m_kernel;  // null once moved from
  InFlight* m_inFlight;
  Event m_event;
  Time m_arrival;
  std::size_t m_place;
  bool m_isAnswered = false;
};

}  // namespace onaccess

#endif  // QVL_ONACCESS_PENDING_OPEN_H
