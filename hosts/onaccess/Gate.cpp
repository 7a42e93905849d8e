#include "Gate.h"

#include <pthread.h>
#include <unistd.h>

#include <array>
#include <exception>
#include <optional>
#include <utility>

#include "fmt/format.h"

namespace onaccess {

Gate::Gate(Kernel& kernel, Scanner& scanner, Exclusions& exclusions, Log& log,
           const GateOptions& options)
    : m_kernel(kernel),
      m_scanner(scanner),
      m_exclusions(exclusions),
      m_log(log),
      m_options(options),
      m_inFlight(options.decidingThreads * kBatch + options.queue + options.scanThreads),
      m_cache(options.remembered),
      m_scannerProcess(kernel),
      m_decision(kernel, exclusions, m_cache, m_scannerProcess, ::getpid()),
      m_breaker(options.breakerFailures, options.breakerPause),
      m_version("not asked yet"),
      m_pool(scanner, m_breaker, options.scanThreads, options.queue, options.deadline,
             [this](Scan& scan, Outcome outcome, const ScanReply& reply) {
               settle(scan, outcome, reply);
             }) {
  for (std::size_t i = 0; i < options.decidingThreads; ++i) {
    m_threads.emplace_back([this] { receive(); });
  }
}

Gate::~Gate() {
  stop();
}

void Gate::stop() {
  m_kernel.letEverythingPass();
  m_scanner.stop();
  for (std::thread& thread : m_threads) thread.join();
  m_threads.clear();
}

// Beside the events: the folder and the file that each deciding thread looks at, the connections of
// the scan threads, and what any process has.
std::size_t Gate::descriptorsFor(const GateOptions& options) {
  return options.decidingThreads * (kBatch + 2) + options.queue + 2 * options.scanThreads + 64;
}

std::string Gate::scannerVersion() const {
  const std::lock_guard<std::mutex> lock(m_versionMutex);
  return m_version;
}

bool Gate::checkScanner(Time deadline) {
  const VersionReply reply = m_scanner.version(deadline);
  bool isNew = false;
  {
    const std::lock_guard<std::mutex> lock(m_versionMutex);
    m_version = reply.text;
    // A scanner that is silent for a while, since it has much to do, is no other one.
    isNew = reply.isKnown && m_lastKnownVersion != reply.text;
    if (reply.isKnown) m_lastKnownVersion = reply.text;
  }
  if (m_scannerProcess.sawReplyOf(reply.process) || isNew) forgetDatabase();
  return reply.isKnown;
}

void Gate::forgetDatabase() {
  m_decision.setDatabase(m_nextDatabase++);
  m_cache.forgetAll();
}

void Gate::receive() {
  ::pthread_setname_np(::pthread_self(), "decide");
  std::array<Event, kBatch> events;
  Facts facts;
  for (;;) {
    const Received received = m_kernel.receive(events.data(), events.size());
    const Time now = Clock::now();
    m_metrics.overflows += received.overflows;
    if (received.hasFailed) ++m_metrics.kernelFailures;
    if (received.events == 0 && received.overflows == 0 && !received.hasFailed) return;
    // All of them at once: the watchdog sees the ones behind the first, too.
    std::array<std::optional<PendingOpen>, kBatch> opens;
    for (std::size_t i = 0; i < received.events; ++i) {
      opens[i].emplace(m_kernel, m_inFlight, events[i], now);
    }
    for (std::size_t i = 0; i < received.events; ++i) {
      handle(std::move(*opens[i]), facts);
      opens[i].reset();
    }
  }
}

void Gate::handle(PendingOpen open, Facts& facts) {
  if (m_options.isDryRun) open.answer(true);
  std::optional<Outcome> outcome;
  try {
    outcome = m_decision.decide({open.descriptor(), open.process()}, facts);
    ++m_metrics.nameTroubles[static_cast<std::size_t>(facts.trouble)];
    if (!outcome) outcome = m_pool.offer(open, facts);
    if (!outcome) return;
  } catch (const std::exception&) {
    outcome = Outcome::Unreadable;  // out of memory; the open is still ours
  }
  conclude(open, *outcome, facts, {}, m_metrics.decided);
}

void Gate::settle(Scan& scan, Outcome outcome, const ScanReply& reply) {
  try {
    if (m_scannerProcess.sawReplyOf(reply.process)) forgetDatabase();
  } catch (const std::bad_alloc&) {
    // The next reply tells as well who it is.
  }
  const Facts& facts = scan.facts;
  if (outcome == Outcome::Clean && facts.mayRemember && facts.status) {
    try {
      m_cache.remember(*facts.status, facts.database, facts.ticket);
    } catch (const std::bad_alloc&) {
      // It is scanned again the next time.
    }
  }
  conclude(scan.open, outcome, facts, reply.detail, m_metrics.scanned);
}

// An open whose file system is unknown gets the strictest policy that there is.
FailurePolicy Gate::failurePolicyFor(const Facts& facts) const {
  bool isAnyClosed = false;
  for (const WatchedMount& mount : m_options.mounts) {
    if (facts.status && facts.status->identity.device == mount.device) return mount.failurePolicy;
    isAnyClosed |= mount.failurePolicy == FailurePolicy::Closed;
  }
  return isAnyClosed ? FailurePolicy::Closed : FailurePolicy::Open;
}

void Gate::conclude(PendingOpen& open, Outcome outcome, const Facts& facts,
                    const std::string& detail, Histogram& histogram) {
  const bool isAllowed = onaccess::isAllowed(outcome, failurePolicyFor(facts));
  const std::uint64_t number = ++m_number;
  const bool isRemarkable = !isAllowed || isFailure(outcome);
  const bool isSample = m_options.logEvery != 0 && number % m_options.logEvery == 0;
  if (isRemarkable || isSample) tell(open, outcome, isAllowed, facts, detail);

  if (!open.answer(isAllowed)) ++m_metrics.unawaited;
  histogram.add(Clock::now() - open.arrival());
  ++m_metrics.outcomes[static_cast<std::size_t>(outcome)];
  ++(isAllowed ? m_metrics.allowed : m_metrics.denied);
}

// Before the answer: the program is there to be named as long as it waits.
void Gate::tell(const PendingOpen& open, Outcome outcome, bool isAllowed, const Facts& facts,
                const std::string& detail) try {
  std::string line = fmt::format("{}{}: {}", m_options.isDryRun ? "would have " : "",
                                 isAllowed ? "allowed" : "denied", nameOf(outcome));
  if (!detail.empty()) line += fmt::format(" ({})", detail);
  line += fmt::format(" path={}", quoted(facts.path));
  if (facts.trouble != NameTrouble::None) line += fmt::format(" trouble={}", nameOf(facts.trouble));
  if (!facts.dataSets.empty()) {
    line += fmt::format(" data_sets={}", fmt::join(facts.dataSets, ","));
  }
  line += fmt::format(" process={}", open.process());
  std::string program = facts.program;
  if (!program.empty() || m_kernel.programOf(open.process(), program)) {
    line += fmt::format(" program={}", quoted(program));
  }
  m_log.saySparingly(isAllowed && !isFailure(outcome) ? Level::Info : Level::Warning, line);
} catch (const std::exception&) {
  return;  // no memory for a message; the open is counted all the same
}

}  // namespace onaccess
