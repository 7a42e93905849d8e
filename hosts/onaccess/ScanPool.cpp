#include "ScanPool.h"

#include <pthread.h>

#include <exception>
#include <new>
#include <utility>

namespace onaccess {
namespace {

Outcome outcomeOf(ScanResult result) {
  switch (result) {
    case ScanResult::Clean:
      return Outcome::Clean;
    case ScanResult::Infected:
      return Outcome::Infected;
    case ScanResult::Refused:
      return Outcome::Refused;
    case ScanResult::Deadline:
      return Outcome::Deadline;
    case ScanResult::Unreachable:
      return Outcome::Unreachable;
    case ScanResult::Malformed:
      return Outcome::Malformed;
  }
  return Outcome::Malformed;
}

// Does it tell about the scanner rather than about the file?
bool isTheScannersFault(ScanResult result) {
  return result == ScanResult::Deadline || result == ScanResult::Unreachable ||
         result == ScanResult::Malformed;
}

}  // namespace

ScanPool::ScanPool(Scanner& scanner, Breaker& breaker, std::size_t threads, std::size_t queue,
                   Duration deadline, Settle settle)
    : m_scanner(scanner),
      m_breaker(breaker),
      m_capacity(queue),
      m_deadline(deadline),
      m_settle(std::move(settle)) {
  for (std::size_t i = 0; i < threads; ++i) m_threads.emplace_back([this] { work(); });
}

ScanPool::~ScanPool() {
  {
    const std::lock_guard<std::mutex> lock(m_mutex);
    m_isEnding = true;
  }
  m_changed.notify_all();
  for (std::thread& thread : m_threads) thread.join();
}

std::optional<Outcome> ScanPool::offer(PendingOpen& open, const Facts& facts) {
  Facts copy = facts;
  if (!m_breaker.letsThrough(Clock::now())) return Outcome::BreakerOpen;
  try {
    const std::lock_guard<std::mutex> lock(m_mutex);
    if (m_queue.size() < m_capacity && !m_isEnding) {
      m_queue.emplace_back(std::move(open), std::move(copy));
      m_changed.notify_one();
      return std::nullopt;
    }
  } catch (const std::bad_alloc&) {
    m_breaker.wasNotTried();
    throw;
  }
  m_breaker.wasNotTried();
  return Outcome::QueueFull;
}

std::size_t ScanPool::waiting() const {
  const std::lock_guard<std::mutex> lock(m_mutex);
  return m_queue.size();
}

void ScanPool::work() {
  ::pthread_setname_np(::pthread_self(), "scan");
  std::unique_lock<std::mutex> lock(m_mutex);
  for (;;) {
    m_changed.wait(lock, [this] { return m_isEnding || !m_queue.empty(); });
    if (m_queue.empty()) return;
    {
      Scan scan = std::move(m_queue.front());
      m_queue.pop_front();
      lock.unlock();
      ScanReply reply;
      Outcome outcome = Outcome::Unreadable;
      try {
        reply = run(scan);
        outcome = outcomeOf(reply.result);
        if (isTheScannersFault(reply.result)) {
          m_breaker.failed(Clock::now());
        } else {
          m_breaker.succeeded();
        }
      } catch (const std::exception&) {
        m_breaker.wasNotTried();  // out of memory: the scanner is not to blame
      }
      m_settle(scan, outcome, reply);
    }
    lock.lock();
  }
}

ScanReply ScanPool::run(const Scan& scan) {
  const Time deadline = scan.open.arrival() + m_deadline;
  if (Clock::now() >= deadline) {
    return {ScanResult::Deadline, "waited too long for other scans", 0};
  }
  return m_scanner.scan(scan.open.descriptor(), deadline);
}

}  // namespace onaccess
