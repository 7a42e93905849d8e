#include "qvl/trace/TraceLog.h"

#include <locale.h>
#if defined(__APPLE__)
#include <xlocale.h>
#endif
#include <sys/stat.h>
#include <syslog.h>

#include <csignal>
#include <cstdarg>
#include <cstdint>
#include <cstdlib>
#include <cwchar>
#include <memory>
#include <mutex>
#include <string>

#include "qvl/trace/TraceCall.h"
#include "qvl/xml/LibXmlWrapper.h"

int traceInited = 0;
FILE* logFilePtr = nullptr;
int ScanAvoidanceFlowvalue = 0;

namespace QVL {
namespace TraceDetail {
std::atomic<bool> started{false};
}
}  // namespace QVL

namespace {

using QVL::TraceDetail::started;

constexpr char kTraceFile[] = QVL_HOME "/var/ScanAvoidanceTraces.log";
constexpr char kConfigurationFile[] = QVL_HOME "/config/traceValues.xml";
constexpr char kLevelXPath[] = "/TraceValues/ScanAvoidanceFlow";
constexpr mode_t kTraceFileMode = 0744;

constexpr char kSystemLogIdent[] = "Varnel: ";
constexpr std::size_t kSystemLogTextSize = 512;

constexpr int kErrorLevel = 1;
constexpr int kWarningLevel = 4;
constexpr int kHangUpSignal = 1;

// Guards everything below and the writing of a line. Messages that no output takes do not come
// here.
std::mutex logMutex;

// The stream that was closed last, for as long as logFilePtr may still point to it.
const FILE* closedStream = nullptr;

// Set from before this thread asks for the mutex until after it has let it go: a reload that
// arrives as a signal meanwhile waits for that.
thread_local volatile std::sig_atomic_t insideLog = 0;
thread_local volatile std::sig_atomic_t reloadPending = 0;

// The three exported variables are plain, so that hosts can use them as such; the library's own
// accesses are atomic, so that asking for the level needs no lock.
template <typename T>
void store(T& variable, T value) {
  __atomic_store_n(&variable, value, __ATOMIC_RELAXED);
}

void openTraceFile() {
  store(logFilePtr, std::fopen(kTraceFile, "a+"));
  closedStream = nullptr;
  chmod(kTraceFile, kTraceFileMode);
  store(traceInited, 1);
}

void closeTraceFile() {
  store(traceInited, 0);
  if (logFilePtr && logFilePtr != closedStream) {
    std::fclose(logFilePtr);
    closedStream = logFilePtr;
  }
}

void openSystemLog() {
  openlog(kSystemLogIdent, LOG_PID, LOG_LOCAL7);
}

// Reads the level; without a usable one the level in force stays.
void loadTraceValues(const char* path) {
  try {
    LibXmlWrapper configuration{std::string(path)};
    const unsigned long level = configuration.getXPathUnsignedLongValue(kLevelXPath);
    store(ScanAvoidanceFlowvalue, static_cast<int>(static_cast<std::uint32_t>(level)));
  } catch (...) {
  }
}

// Holds the log for one operation.
class LogLock {
 public:
  LogLock() {
    insideLog = 1;
    logMutex.lock();
  }
  ~LogLock() {
    logMutex.unlock();
    insideLog = 0;
    if (reloadPending) {
      reloadPending = 0;
      reloadHandler(kHangUpSignal);
    }
  }
  LogLock(const LogLock&) = delete;
  LogLock& operator=(const LogLock&) = delete;
};

void reload() {
  closeTraceFile();
  loadTraceValues(kConfigurationFile);
  openTraceFile();
}

// Makes UTF-8 the encoding of wide output in this thread, whatever locale the process has chosen.
class Utf8Output {
 public:
  Utf8Output() : m_previous(uselocale(utf8())) {}
  ~Utf8Output() { uselocale(m_previous); }
  Utf8Output(const Utf8Output&) = delete;
  Utf8Output& operator=(const Utf8Output&) = delete;

 private:
  // Never released: it serves until the last message of the process. Null, which changes nothing,
  // where no such locale exists or no memory is left for it; the next message then asks again.
  static locale_t utf8() {
    static locale_t locale = locale_t();  // guarded by logMutex
    for (const char* name : {"C.UTF-8", "UTF-8", "en_US.UTF-8"}) {
      if (locale) break;
      locale = newlocale(LC_CTYPE_MASK, name, locale_t());
    }
    return locale;
  }

  locale_t m_previous;
};

// The characters of a UTF-8 text. A byte that is not UTF-8 becomes one REPLACEMENT CHARACTER, and
// costs none of its neighbours: what stands in a path must be recognisable in the trace.
std::wstring decode(const char* text) {
  constexpr wchar_t kReplacement = 0xFFFD;
  std::wstring wide;
  const auto* next = reinterpret_cast<const unsigned char*>(text);
  while (*next) {
    const unsigned char lead = *next++;
    const int trailing = lead < 0x80                     ? 0
                         : (lead >= 0xC2 && lead < 0xE0) ? 1
                         : (lead >= 0xE0 && lead < 0xF0) ? 2
                         : (lead >= 0xF0 && lead < 0xF5) ? 3
                                                         : -1;
    if (trailing < 0) {
      wide += kReplacement;
      continue;
    }
    std::uint32_t code = trailing == 0 ? lead : lead & (0x3Fu >> trailing);
    int read = 0;
    for (; read < trailing && (next[read] & 0xC0) == 0x80; ++read) {
      code = (code << 6) | (next[read] & 0x3Fu);
    }
    constexpr std::uint32_t kSmallest[] = {0, 0x80, 0x800, 0x10000};
    const bool surrogate = code >= 0xD800 && code <= 0xDFFF;
    if (read < trailing || code < kSmallest[trailing] || code > 0x10FFFF || surrogate) {
      wide += kReplacement;
      continue;
    }
    wide += static_cast<wchar_t>(code);
    next += trailing;
  }
  return wide;
}

void writeToFile(const char* message) {
  const std::wstring wide = decode(message);
  const Utf8Output utf8;
  std::fwprintf(logFilePtr, L"%ls\n", wide.c_str());
  std::fflush(logFilePtr);
}

const char* severityOf(int level) {
  return level == kErrorLevel ? "ERROR" : level == kWarningLevel ? "WARNING" : nullptr;
}

void writeToSystemLog(int level, const char* message) {
  char text[kSystemLogTextSize];
  std::snprintf(text, sizeof text, "%s : ScanAvoidance : %s", severityOf(level), message);
  // The text is the format, with the message as its one argument: readers of the system log rely on
  // how it has always been called.
#pragma GCC diagnostic push
#pragma GCC diagnostic ignored "-Wformat-nonliteral"
#pragma GCC diagnostic ignored "-Wformat-security"
#pragma GCC diagnostic ignored "-Wformat-extra-args"
  syslog(level, text, message);
#pragma GCC diagnostic pop
}

struct FreeMemory {
  void operator()(char* text) const { std::free(text); }
};

}  // namespace

void QVL::TraceDetail::start() {
  try {
    const LogLock lock;
    if (started.load(std::memory_order_relaxed)) return;
    if (traceInited == 0) openTraceFile();
    loadTraceValues(kConfigurationFile);
    openSystemLog();
    started.store(true, std::memory_order_release);
  } catch (...) {
  }
}

void TraceLogMessage(int level, const char* format, ...) {
  try {
    const bool toFile = QVL::traceFileTakes(level);
    const bool toSystemLog = severityOf(level) != nullptr;
    if (!toFile && !toSystemLog) return;

    char* formatted = nullptr;
    va_list arguments;
    va_start(arguments, format);
    const int length = vasprintf(&formatted, format, arguments);
    va_end(arguments);
    if (length < 0) return;
    const std::unique_ptr<char, FreeMemory> message(formatted);

    const LogLock lock;
    // Asked again: the file may have been closed meanwhile.
    if (toFile && QVL::traceFileTakes(level) && logFilePtr != closedStream) {
      writeToFile(message.get());
    }
    if (toSystemLog) writeToSystemLog(level, message.get());
  } catch (...) {
  }
}

void InitTraceLogger() {
  const LogLock lock;
  if (traceInited == 0) openTraceFile();
  loadTraceValues(kConfigurationFile);
}

void InitProdLogger() {
  const LogLock lock;
  openSystemLog();
}

void closeTraceLogger() {
  const LogLock lock;
  closeTraceFile();
  closelog();
}

void reloadHandler(int signalNumber) {
  if (signalNumber != kHangUpSignal) return;
  if (insideLog) {
    reloadPending = 1;
    return;
  }
  const LogLock lock;
  reload();
}
