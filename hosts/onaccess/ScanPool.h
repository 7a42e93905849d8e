// Scans, by a bounded number of threads behind a bounded queue.

#ifndef QVL_ONACCESS_SCAN_POOL_H
#define QVL_ONACCESS_SCAN_POOL_H

#include <condition_variable>
#include <cstddef>
#include <deque>
#include <functional>
#include <mutex>
#include <optional>
#include <thread>
#include <utility>
#include <vector>

#include "Breaker.h"
#include "Decision.h"
#include "PendingOpen.h"
#include "Scanner.h"

namespace onaccess {

struct Scan {
  Scan(PendingOpen&& pending, Facts&& found) noexcept
      : open(std::move(pending)), facts(std::move(found)) {}

  PendingOpen open;
  Facts facts;
};

// Each scan ends by its deadline, which counts from the open's arrival: scans have the same time
// and are taken first come, first served, so the one before has ended by its own, earlier deadline.
//
// Thread safety: offer and waiting may be called from any thread at any time.
class ScanPool {
 public:
  // Called by the pool's threads with each scan that was taken, once.
  using Settle = std::function<void(Scan&, Outcome, const ScanReply&)>;

  ScanPool(Scanner& scanner, Breaker& breaker, std::size_t threads, std::size_t queue,
           Duration deadline, Settle settle);
  ~ScanPool();  // what is queued ends as Unreachable; the scanner has to be stopped before
  ScanPool(const ScanPool&) = delete;
  ScanPool& operator=(const ScanPool&) = delete;

  // Takes the open, or leaves it as it is and tells why: BreakerOpen or QueueFull. Without memory
  // it leaves it, too, and throws std::bad_alloc.
  std::optional<Outcome> offer(PendingOpen& open, const Facts& facts);

  std::size_t waiting() const;

 private:
  void work();
  ScanReply run(const Scan& scan);

  Scanner& m_scanner;
  Breaker& m_breaker;
  const std::size_t m_capacity;
  const Duration m_deadline;
  const Settle m_settle;
  mutable std::mutex m_mutex;
  std::condition_variable m_changed;
  // Guarded by m_mutex:
  std::deque<Scan> m_queue;
  bool m_isEnding = false;
  std::vector<std::thread> m_threads;
};

}  // namespace onaccess

#endif  // QVL_ONACCESS_SCAN_POOL_H
