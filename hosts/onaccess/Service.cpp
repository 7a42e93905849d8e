#include "Service.h"

#include <cap-ng.h>
#include <poll.h>
#include <qvl/qvl.h>
#include <sys/prctl.h>
#include <sys/signalfd.h>
#include <sys/stat.h>
#include <systemd/sd-daemon.h>
#include <unistd.h>

#include <fcntl.h>
#include <cerrno>
#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <memory>

#include "ClamdClient.h"
#include "Control.h"
#include "Fanotify.h"
#include "Gate.h"
#include "Log.h"
#include "PolicyInForce.h"
#include "StartCheck.h"
#include "Trouble.h"
#include "Watchdog.h"
#include "fmt/format.h"

namespace onaccess {
namespace {

constexpr int kAlarmStatus = 70;
constexpr Duration kCheckEvery = std::chrono::seconds(5);
constexpr Duration kScannerCheckTime = std::chrono::seconds(1);

Duration inSeconds(double seconds) {
  return std::chrono::duration_cast<Duration>(std::chrono::duration<double>(seconds));
}

qvlpolicy::Counting countingOf(const std::string& name) {
  if (name == "rules") return qvlpolicy::Counting::Rules;
  return name == "data-sets" ? qvlpolicy::Counting::DataSets : qvlpolicy::Counting::Nothing;
}

GateOptions gateOptionsOf(const Options& options) {
  GateOptions gate;
  gate.mounts = mountsToWatch(options);
  gate.isDryRun = options.isDryRun;
  gate.decidingThreads = options.decidingThreads;
  gate.scanThreads = options.scanThreads;
  gate.queue = options.queue;
  gate.deadline = inSeconds(options.deadline);
  gate.breakerFailures = options.breakerFailures;
  gate.breakerPause = inSeconds(options.breakerPause);
  gate.remembered = options.remembered;
  gate.logEvery = options.logEvery;
  return gate;
}

// The library starts its trace log with the first message, writes a complaint to standard error
// when it has no configuration, and logs in the threads that ask. Started here, it opens no file
// later.
void startTraceLog(bool isTracing) {
  if (isTracing) {
    InitTraceLogger();
    InitProdLogger();
    return;
  }
  traceInited = 1;
  const Descriptor standardError(::dup(STDERR_FILENO));
  const Descriptor nowhere(::open("/dev/null", O_WRONLY | O_CLOEXEC));
  if (standardError && nowhere) ::dup2(nowhere.get(), STDERR_FILENO);
  TraceLogMessage(5, "%s", "");
  if (standardError && nowhere) ::dup2(standardError.get(), STDERR_FILENO);
  ScanAvoidanceFlowvalue = 0;
}

// What the signals of operation are read from. All threads that start later block them, too.
Descriptor takeSignals() {
  sigset_t signals;
  sigemptyset(&signals);
  for (const int number : {SIGHUP, SIGTERM, SIGINT}) sigaddset(&signals, number);
  ::pthread_sigmask(SIG_BLOCK, &signals, nullptr);
  // A lease that is asked for while it is held tells so by SIGIO.
  std::signal(SIGIO, SIG_IGN);
  std::signal(SIGPIPE, SIG_IGN);
  Descriptor descriptor(::signalfd(-1, &signals, SFD_CLOEXEC | SFD_NONBLOCK));
  if (!descriptor) throw Trouble(fmt::format("cannot take signals: {}", std::strerror(errno)));
  return descriptor;
}

// Keeps what answering needs: names of files and programs of all users, and leases on their files.
// Permission events and marks are there already.
void dropCapabilities() {
  capng_clear(CAPNG_SELECT_CAPS);
  capng_updatev(CAPNG_ADD, static_cast<capng_type_t>(CAPNG_EFFECTIVE | CAPNG_PERMITTED),
                CAP_DAC_READ_SEARCH, CAP_SYS_PTRACE, CAP_LEASE, -1);
  if (capng_apply(CAPNG_SELECT_CAPS) != 0) {
    throw Trouble(
        "cannot keep the capabilities CAP_DAC_READ_SEARCH, CAP_SYS_PTRACE and CAP_LEASE and drop "
        "the "
        "others; expected to be started as root");
  }
}

// The kernel writes a core dump while the events are still open: its open of the file, or that of
// the program that takes it, could wait for a host that answers no more.
void leaveNoCoreDump() {
  if (::prctl(PR_SET_DUMPABLE, 0, 0, 0, 0) != 0) {
    throw Trouble(fmt::format("cannot do without core dumps: {}", std::strerror(errno)));
  }
}

// Replaces the file as a whole: who reads it never sees a part. False when that fails.
bool replaceFile(const std::string& file, const std::string& text) {
  const std::string temporary = file + ".new";
  std::FILE* const stream = std::fopen(temporary.c_str(), "we");
  if (stream == nullptr) return false;
  const bool isWritten = std::fwrite(text.data(), 1, text.size(), stream) == text.size();
  return (std::fclose(stream) == 0) && isWritten &&
         std::rename(temporary.c_str(), file.c_str()) == 0;
}

class Service {
 public:
  explicit Service(const Options& options)
      : m_options(options), m_gateOptions(gateOptionsOf(options)), m_signals(takeSignals()) {}

  void run();

 private:
  void start();
  void announce();
  void operate();
  void tick(Time now);
  void lookForFileSystems();
  void takeSignal();
  ControlReply reload();
  ControlReply answer(const std::string& request);
  std::string status() const;
  std::string prometheusText() const;
  [[noreturn]] void alarm();

  const Options& m_options;
  const GateOptions m_gateOptions;
  const Descriptor m_signals;
  bool m_isEnding = false;
  Time m_nextCheck;
  Time m_nextMetrics;
  bool m_isScannerThere = false;
  std::size_t m_fileSystems = 0;  // that are watched
  // Ended from the last to the first.
  std::unique_ptr<PolicyInForce> m_policy;
  std::unique_ptr<ClamdClient> m_scanner;
  std::unique_ptr<ControlServer> m_control;
  std::unique_ptr<Fanotify> m_kernel;
  std::unique_ptr<Log> m_log;
  std::unique_ptr<Gate> m_gate;
  std::unique_ptr<Watchdog> m_watchdog;
};

void Service::run() {
  start();
  announce();
  operate();
  ::sd_notify(0, "STOPPING=1");
  m_watchdog.reset();
  m_gate->stop();
  m_log->say(Level::Notice, "ends: nothing is watched any more");
}

void Service::start() {
  m_kernel = std::make_unique<Fanotify>();  // first: who is not root is told so
  if (m_options.control == kDefaultControl) ::mkdir("/run/qvl-onaccess", 0755);
  checkThatNothingIsWritten(m_options, m_gateOptions.mounts);
  allowOpenFiles(Gate::descriptorsFor(m_gateOptions));
  leaveNoCoreDump();
  startTraceLog(m_options.isTracing);
  m_policy = std::make_unique<PolicyInForce>(m_options.policy, countingOf(m_options.count));
  m_scanner = std::make_unique<ClamdClient>(m_options.scanner);
  m_control = std::make_unique<ControlServer>(m_options.control);

  // From the first mark on, opens wait. Should anything go wrong before all threads are there, the
  // process is to end, and with it the waiting.
  ::alarm(10);
  for (const WatchedMount& mount : m_gateOptions.mounts) m_kernel->watchFileSystemOf(mount.folder);
  m_fileSystems = m_kernel->fileSystems();
  dropCapabilities();  // before the first thread: each has its own
  m_log = std::make_unique<Log>(STDERR_FILENO, isReadByJournal());
  m_gate = std::make_unique<Gate>(*m_kernel, *m_scanner, *m_policy, *m_log, m_gateOptions);
  m_watchdog = std::make_unique<Watchdog>(m_gate->inFlight(), inSeconds(m_options.watchdog),
                                          [this] { alarm(); });
  ::alarm(0);
}

void Service::announce() {
  if (!m_policy->warnings().empty()) m_log->say(Level::Warning, m_policy->warnings());
  for (const WatchedMount& mount : m_gateOptions.mounts) {
    m_log->say(Level::Notice,
               fmt::format("watches {}: what cannot be scanned is {}", mount.folder,
                           mount.failurePolicy == FailurePolicy::Open ? "allowed (fails open)"
                                                                      : "denied (fails closed)"));
  }
  if (m_options.isDryRun) m_log->say(Level::Notice, "dry run: everything is allowed");
  // The second reply tells for sure who the scanner is.
  m_isScannerThere = m_gate->checkScanner(Clock::now() + kScannerCheckTime) &&
                     m_gate->checkScanner(Clock::now() + kScannerCheckTime);
  m_log->say(m_isScannerThere ? Level::Notice : Level::Warning,
             fmt::format("scanner at {}: {}", m_options.scanner, m_gate->scannerVersion()));
  ::sd_notify(0, "READY=1");
}

void Service::operate() {
  while (!m_isEnding) {
    pollfd waited[] = {{m_signals.get(), POLLIN, 0}, {m_control->descriptor(), POLLIN, 0}};
    ::poll(waited, 2, 500);
    if (waited[0].revents != 0) takeSignal();
    if (waited[1].revents != 0) {
      m_control->serve([this](const std::string& request) { return answer(request); });
    }
    tick(Clock::now());
  }
}

void Service::tick(Time now) {
  ::sd_notify(0, "WATCHDOG=1");
  if (now >= m_nextCheck) {
    m_nextCheck = now + kCheckEvery;
    lookForFileSystems();
    const bool isThere = m_gate->checkScanner(now + kScannerCheckTime);
    if (isThere != m_isScannerThere) {
      m_log->say(isThere ? Level::Notice : Level::Warning,
                 fmt::format("scanner at {}: {}", m_options.scanner, m_gate->scannerVersion()));
    }
    m_isScannerThere = isThere;
  }
  if (!m_options.metrics.empty() && now >= m_nextMetrics) {
    m_nextMetrics = now + inSeconds(m_options.metricsEvery);
    if (!replaceFile(m_options.metrics, prometheusText())) {
      m_log->saySparingly(
          Level::Error,
          fmt::format("cannot write {}: {}", quoted(m_options.metrics), std::strerror(errno)));
    }
  }
}

// Who unmounts one may mount it again, and it looks as before.
void Service::lookForFileSystems() {
  const std::size_t count = m_kernel->fileSystems();
  if (count < m_fileSystems) {
    m_log->say(Level::Alert,
               fmt::format("{} of {} file systems have been unmounted and are watched no more; "
                           "expected a restart when they are there again",
                           m_fileSystems - count, m_fileSystems));
  }
  m_fileSystems = count;
}

void Service::takeSignal() {
  signalfd_siginfo signal;
  while (::read(m_signals.get(), &signal, sizeof signal) == sizeof signal) {
    if (signal.ssi_signo == SIGHUP) {
      reload();
    } else {
      m_isEnding = true;
    }
  }
}

ControlReply Service::reload() {
  ::sd_notify(0, "RELOADING=1");
  std::string words;
  const bool isTaken = m_policy->reload(words);
  if (isTaken) m_gate->forgetVerdicts();
  if (m_options.isTracing) ::reloadHandler(SIGHUP);
  words = (isTaken ? "the policy is reloaded\n" : "the policy is refused; the one before stays\n") +
          words;
  m_log->say(isTaken ? Level::Notice : Level::Error, words);
  ::sd_notify(0, "READY=1");
  return {isTaken, words};
}

ControlReply Service::answer(const std::string& request) {
  if (request == "status") return {true, status()};
  if (request == "metrics") return {true, prometheusText()};
  if (request == "reload") return reload();
  return {false, "expected status, metrics or reload\n"};
}

std::string Service::status() const {
  const Metrics& metrics = m_gate->metrics();
  std::string text = m_policy->summary();
  for (const WatchedMount& mount : m_gateOptions.mounts) {
    text += fmt::format("mount: {} (fails {})\n", mount.folder,
                        mount.failurePolicy == FailurePolicy::Open ? "open" : "closed");
  }
  if (m_options.isDryRun) text += "dry run: everything is allowed\n";
  text += fmt::format("scanner: {}{}\n", m_gate->scannerVersion(),
                      m_gate->breaker().isOpen() ? " (left alone after failures)" : "");
  text += fmt::format("opens: {}, {} allowed, {} denied\n", metrics.opens(), metrics.allowed.load(),
                      metrics.denied.load());
  for (std::size_t i = 0; i < kOutcomes; ++i) {
    const std::uint64_t count = metrics.outcomes[i];
    if (count != 0) text += fmt::format("  {}: {}\n", nameOf(static_cast<Outcome>(i)), count);
  }
  for (std::size_t i = 1; i < kNameTroubles; ++i) {
    const std::uint64_t count = metrics.nameTroubles[i];
    if (count != 0) {
      text += fmt::format("name not trusted, {}: {}\n", nameOf(static_cast<NameTrouble>(i)), count);
    }
  }
  text +=
      fmt::format("wait: half below {} s, 99 of 100 below {} s without a scan; {} s, {} s with\n",
                  metrics.decided.quantile(0.5), metrics.decided.quantile(0.99),
                  metrics.scanned.quantile(0.5), metrics.scanned.quantile(0.99));
  text += fmt::format("now: {} opens wait, {} for a thread that scans; {} clean files remembered\n",
                      m_gate->inFlight().count(), m_gate->waitingScans(), m_gate->remembered());
  return text;
}

std::string Service::prometheusText() const {
  std::string text = m_gate->metrics().inPrometheusText();
  const auto add = [&text](const char* name, const char* type, const char* help, double value) {
    text += prometheusMetric(name, type, help, value);
  };
  add("qvl_onaccess_waiting_opens", "gauge", "Opens that wait for an answer now.",
      static_cast<double>(m_gate->inFlight().count()));
  add("qvl_onaccess_waiting_scans", "gauge", "Scans that wait for a thread now.",
      static_cast<double>(m_gate->waitingScans()));
  add("qvl_onaccess_remembered_files", "gauge", "Clean files that are remembered.",
      static_cast<double>(m_gate->remembered()));
  add("qvl_onaccess_file_systems", "gauge", "File systems that are watched.",
      static_cast<double>(m_fileSystems));
  add("qvl_onaccess_scanner_up", "gauge", "Whether the scanner answered the last time.",
      m_isScannerThere ? 1 : 0);
  add("qvl_onaccess_breaker_open", "gauge", "Whether the scanner is left alone after failures.",
      m_gate->breaker().isOpen() ? 1 : 0);
  add("qvl_onaccess_breaker_openings_total", "counter", "How often that began, or began anew.",
      static_cast<double>(m_gate->breaker().openings()));
  add("qvl_onaccess_dropped_log_lines_total", "counter", "Log lines that were dropped.",
      static_cast<double>(m_log->dropped()));
  add("qvl_onaccess_dry_run", "gauge", "Whether everything is allowed.",
      m_options.isDryRun ? 1 : 0);
  return text + m_policy->inPrometheusText();
}

// In the watchdog's thread, with the others in an unknown state: no lock, no memory, and the opens
// first. Whoever reads standard error may be one who waits.
void Service::alarm() {
  m_kernel->letEverythingPass();
  ::alarm(2);
  static constexpr char kText[] =
      "<1>qvl-onaccess: an open was unanswered for too long. Everything is allowed now; the host "
      "ends.\n";
  if (::write(STDERR_FILENO, kText, sizeof kText - 1) < 0) ::_exit(kAlarmStatus);
  ::_exit(kAlarmStatus);
}

}  // namespace

void runService(const Options& options) {
  checkOptions(options);
  Service(options).run();
}

}  // namespace onaccess
