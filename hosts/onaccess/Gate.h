// Receives opens, has them decided and scanned, and answers them.

#ifndef QVL_ONACCESS_GATE_H
#define QVL_ONACCESS_GATE_H

#include <atomic>
#include <cstddef>
#include <mutex>
#include <string>
#include <thread>
#include <vector>

#include "Breaker.h"
#include "Clock.h"
#include "Decision.h"
#include "Exclusions.h"
#include "InFlight.h"
#include "Kernel.h"
#include "Log.h"
#include "Metrics.h"
#include "Outcome.h"
#include "PendingOpen.h"
#include "ScanPool.h"
#include "Scanner.h"
#include "ScannerProcess.h"
#include "VerdictCache.h"

namespace onaccess {

// A file system that is watched.
struct WatchedMount {
  std::string folder;
  dev_t device;      // of the files there; on Btrfs, those of this subvolume
  dev_t fileSystem;  // of it as a whole
  FailurePolicy failurePolicy;
};

struct GateOptions {
  std::vector<WatchedMount> mounts;
  bool isDryRun = false;  // "allow" answers everything, at once
  std::size_t decidingThreads = 2;
  std::size_t scanThreads = 4;
  std::size_t queue = 256;
  Duration deadline = std::chrono::seconds(10);
  unsigned int breakerFailures = 5;
  Duration breakerPause = std::chrono::seconds(10);
  std::size_t remembered = 100000;
  std::size_t logEvery =
      0;  // every so many opens one is logged; 0: none but denied and failed ones
};

// Deciding threads receive opens and decide; they wait for the kernel and for nothing else, so that
// a scanner that hangs delays nothing but what it is to scan. Scans wait for theirs in the pool.
// Neither opens a file.
//
// Thread safety: all operations may be called from any thread at any time, stop() once.
class Gate {
 public:
  // Threads start; kernel, scanner, exclusions and log stay the caller's and must live longer.
  Gate(Kernel& kernel, Scanner& scanner, Exclusions& exclusions, Log& log,
       const GateOptions& options);
  ~Gate();
  Gate(const Gate&) = delete;
  Gate& operator=(const Gate&) = delete;

  // Ends all threads. The kernel lets pass what waits.
  void stop();

  // Asks the scanner for its version and learns who it is; a new one of either, and all verdicts
  // are forgotten. False when there is no answer by the deadline; nothing is forgotten then.
  bool checkScanner(Time deadline);

  // To be told when another policy is in force.
  void forgetVerdicts() { m_cache.forgetAll(); }

  // How many descriptors the gate holds at most.
  static std::size_t descriptorsFor(const GateOptions& options);

  const Metrics& metrics() const { return m_metrics; }
  const InFlight& inFlight() const { return m_inFlight; }
  const Breaker& breaker() const { return m_breaker; }
  std::size_t remembered() const { return m_cache.size(); }
  std::size_t waitingScans() const { return m_pool.waiting(); }
  std::string scannerVersion() const;  // or why there is none

 private:
  static constexpr std::size_t kBatch = 8;  // opens that a deciding thread takes at a time

  void receive();
  void handle(PendingOpen open, Facts& facts);
  void settle(Scan& scan, Outcome outcome, const ScanReply& reply);
  void conclude(PendingOpen& open, Outcome outcome, const Facts& facts, const std::string& detail,
                Histogram& histogram);
  void tell(const PendingOpen& open, Outcome outcome, bool isAllowed, const Facts& facts,
            const std::string& detail);
  FailurePolicy failurePolicyFor(const Facts& facts) const;
  void forgetDatabase();

  Kernel& m_kernel;
  Scanner& m_scanner;
  Exclusions& m_exclusions;
  Log& m_log;
  const GateOptions m_options;
  Metrics m_metrics;
  std::atomic<std::uint64_t> m_number{0};  // of the open that is answered
  InFlight m_inFlight;
  VerdictCache m_cache;
  ScannerProcess m_scannerProcess;
  Decision m_decision;
  Breaker m_breaker;
  std::atomic<std::uint64_t> m_nextDatabase{1};
  mutable std::mutex m_versionMutex;
  // Guarded by m_versionMutex:
  std::string m_version;  // the last answer, also when it is none
  std::string m_lastKnownVersion;
  ScanPool m_pool;
  std::vector<std::thread> m_threads;
};

}  // namespace onaccess

#endif  // QVL_ONACCESS_GATE_H
