#include "qvl/trace/TraceLog.h"

#include <locale.h>
#if defined(__APPLE__)
#include <xlocale.h>
#endif
#include <fcntl.h>
#include <sys/stat.h>
#include <syslog.h>
#include <unistd.h>

#include <atomic>
#include <cerrno>
#include <csignal>
#include <cstdarg>
#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <cwchar>
#include <memory>
#include <mutex>
#include <optional>
#include <string>
#include <utility>
#include <vector>

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

using QVL::TraceDetail::fileTakes;
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

// Guards everything below and the writing of a line. Nothing that may wait for somebody else
// happens while it is held: no file is opened and no configuration read, and the system log is told
// afterwards. A host that answers the kernel's questions about opened files logs while it does, and
// must not wait for an open that waits for its answer.
std::mutex logMutex;

// The stream that was closed last. While traceInited is 0, logFilePtr may still point to it.
const FILE* closedStream = nullptr;

// Counts the starts and reloads. They run beside each other, and the one that began last decides.
std::uint64_t lastBegun = 0;
std::uint64_t lastInForce = 0;

// While a thread starts the log, the messages of the others are kept for it, up to this many bytes.
struct KeptMessage {
  int level;
  std::string text;
};
constexpr std::size_t kMostKeptBytes = 4 << 20;
std::atomic<bool> starting{false};
std::vector<KeptMessage> keptMessages;
std::size_t keptBytes = 0;

// Set while this thread is inside of an operation of the log: a reload that arrives as a signal
// meanwhile waits for its end.
thread_local volatile std::sig_atomic_t insideLog = 0;
thread_local volatile std::sig_atomic_t reloadPending = 0;

// The three exported variables are plain, so that hosts can use them as such; the library's own
// accesses are atomic, so that asking for the level needs no lock.
template <typename T>
void store(T& variable, T value) {
  __atomic_store_n(&variable, value, __ATOMIC_RELAXED);
}

struct CloseStream {
  void operator()(FILE* stream) const { std::fclose(stream); }
};
using Stream = std::unique_ptr<FILE, CloseStream>;

struct CloseDescriptor {
  int descriptor;
  ~CloseDescriptor() {
    if (descriptor >= 0) close(descriptor);
  }
};

// Does it take a line without waiting for a reader? A full named pipe would stop every thread that
// logs, and so would a terminal that is held.
bool takesLinesAtOnce(int descriptor, const struct stat& status) {
  return S_ISREG(status.st_mode) || (S_ISCHR(status.st_mode) && !isatty(descriptor));
}

// Opens the trace file; null when it cannot be, or is nothing to write lines to.
Stream openTraceFile() {
  // Not waiting for the other end of a named pipe, and not passed on to programs that the host
  // starts.
  CloseDescriptor file{open(
      kTraceFile, O_RDWR | O_APPEND | O_CREAT | O_CLOEXEC | O_NONBLOCK | O_NOCTTY, kTraceFileMode)};
  if (file.descriptor < 0) {
    chmod(kTraceFile, kTraceFileMode);
    return nullptr;
  }
  struct stat status;
  if (fstat(file.descriptor, &status) != 0 || !takesLinesAtOnce(file.descriptor, status)) {
    return nullptr;
  }
  // The mode of a device belongs to everybody who uses it.
  if (S_ISREG(status.st_mode)) fchmod(file.descriptor, kTraceFileMode);
  Stream stream(fdopen(file.descriptor, "a+"));
  if (stream) file.descriptor = -1;
  return stream;
}

// The level that the configuration file sets; none without a usable one.
std::optional<int> readLevel(const char* path) {
  try {
    LibXmlWrapper configuration{std::string(path)};
    const unsigned long level = configuration.getXPathUnsignedLongValue(kLevelXPath);
    return static_cast<int>(static_cast<std::uint32_t>(level));
  } catch (...) {
    return std::nullopt;
  }
}

void openSystemLog() {
  openlog(kSystemLogIdent, LOG_PID, LOG_LOCAL7);
}

// An operation of the log in this thread. Operations may nest; a reload that came as a signal
// follows the outermost.
class Operation {
 public:
  Operation() : m_outermost(insideLog == 0) { insideLog = 1; }
  ~Operation() {
    if (!m_outermost) return;
    insideLog = 0;
    if (!reloadPending) return;
    reloadPending = 0;
    try {
      reloadHandler(kHangUpSignal);
    } catch (...) {  // nobody is there to be told
    }
  }
  Operation(const Operation&) = delete;
  Operation& operator=(const Operation&) = delete;

 private:
  bool m_outermost;
};

using LogLock = std::lock_guard<std::mutex>;

// The locale that makes UTF-8 the encoding of wide output. Null, which changes nothing, where no
// such locale exists or no memory is left for it; the next message then asks again, which serves
// the files whose first line is still to be written. Never released: it serves until the last
// message of the process.
std::atomic<locale_t> utf8Locale{locale_t()};

// Makes UTF-8 the encoding of wide output in this thread, whatever locale the process has chosen.
class Utf8Output {
 public:
  Utf8Output() : m_previous(uselocale(utf8Locale.load(std::memory_order_acquire))) {}
  ~Utf8Output() { uselocale(m_previous); }
  Utf8Output(const Utf8Output&) = delete;
  Utf8Output& operator=(const Utf8Output&) = delete;

 private:
  locale_t m_previous;
};

// Has the C library convert a letter with a locale, as it will have to for a line.
void convertOnce(locale_t locale) {
  const locale_t previous = uselocale(locale);
  const wchar_t* letter = L"\u00E4";
  char bytes[8];
  std::mbstate_t state{};
  std::wcsrtombs(bytes, &letter, sizeof bytes, &state);
  uselocale(previous);
}

// Makes that locale ahead of the line that needs it, since the C library reads files for it.
void prepareOutput() {
  for (const char* name : {"C.UTF-8", "UTF-8", "en_US.UTF-8"}) {
    if (utf8Locale.load(std::memory_order_acquire)) return;
    const locale_t made = newlocale(LC_CTYPE_MASK, name, locale_t());
    if (!made) continue;
    convertOnce(made);
    locale_t none = locale_t();
    if (!utf8Locale.compare_exchange_strong(none, made)) freelocale(made);
  }
}

// --- With the mutex held
// -----------------------------------------------------------------------------------------

// traceInited tells whether logFilePtr is open. While it is 0, only a stream that is not the one
// closed last can be: one that the host has put there.
bool fileIsOpen() {
  return logFilePtr && (traceInited != 0 || logFilePtr != closedStream);
}

// Takes the open stream, if any, out of the log; whoever gets it closes it.
Stream takeStream() {
  const bool open = fileIsOpen();
  store(traceInited, 0);
  if (!open) return nullptr;
  closedStream = logFilePtr;
  return Stream(logFilePtr);
}

// Puts a stream, which may be null, in the place of the one before.
void putStream(Stream stream) {
  closedStream = nullptr;
  store(logFilePtr, stream.release());
  store(traceInited, 1);
}

// Can another file be opened while this one is open?
bool leavesADescriptor(FILE* stream) {
  const CloseDescriptor spare{dup(fileno(stream))};
  return spare.descriptor >= 0 || errno != EMFILE;
}

void writeToFile(const std::wstring& message) {
  const Utf8Output utf8;
  std::fwprintf(logFilePtr, L"%ls\n", message.c_str());
  std::fflush(logFilePtr);
}

// --- Without it
// --------------------------------------------------------------------------------------------------

enum class File { OpenUnlessItIs, OpenAgain };

// Reads the configuration, and opens the trace file. Lines of other threads go where they went
// before until the file is open.
void readAndOpen(File wanted) {
  Stream former;
  std::uint64_t begun = 0;
  {
    const LogLock lock(logMutex);
    begun = ++lastBegun;
    if (wanted == File::OpenAgain && fileIsOpen() && !leavesADescriptor(logFilePtr)) {
      former = takeStream();
    }
  }
  former.reset();
  const std::optional<int> level = readLevel(kConfigurationFile);
  prepareOutput();

  // Asked before opening and again with the open stream in hand: somebody may have been faster.
  const auto outdated = [&] { return lastInForce > begun; };
  const auto opens = [&] { return traceInited == 0 || (wanted == File::OpenAgain && !outdated()); };
  bool opening = false;
  {
    const LogLock lock(logMutex);
    opening = opens();
  }
  Stream stream = opening ? openTraceFile() : nullptr;
  {
    const LogLock lock(logMutex);
    if (opening && opens()) {
      if (wanted == File::OpenAgain && fileIsOpen()) former.reset(logFilePtr);
      putStream(std::move(stream));
    }
    if (!outdated()) {
      lastInForce = begun;
      if (level) store(ScanAvoidanceFlowvalue, *level);
    }
  }
}

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

// Leaves a message to the thread that starts the log; false when none does.
bool keep(int level, const char* message) {
  if (started.load(std::memory_order_acquire)) return false;
  const LogLock lock(logMutex);
  if (started.load(std::memory_order_relaxed) || !starting) return false;
  const std::size_t bytes = sizeof(KeptMessage) + std::strlen(message);
  if (bytes <= kMostKeptBytes - keptBytes) {
    keptMessages.push_back({level, message});
    keptBytes += bytes;
  }
  return true;
}

// The end of the start: what other threads had to say meanwhile comes before all that follows.
void endStart() {
  std::vector<KeptMessage> messages;
  {
    const LogLock lock(logMutex);
    messages.swap(keptMessages);
    for (const KeptMessage& message : messages) {
      try {
        if (fileTakes(message.level)) writeToFile(decode(message.text.c_str()));
      } catch (...) {  // costs this line
      }
    }
    started.store(true, std::memory_order_release);
  }
  for (const KeptMessage& message : messages) {
    if (severityOf(message.level)) writeToSystemLog(message.level, message.text.c_str());
  }
}

}  // namespace

bool QVL::TraceDetail::start() {
  if (starting.exchange(true)) return started.load(std::memory_order_acquire);
  const Operation operation;
  try {
    if (!started.load(std::memory_order_acquire)) {
      readAndOpen(File::OpenUnlessItIs);
      openSystemLog();
      endStart();
    }
  } catch (...) {  // the next message starts the log
  }
  starting = false;
  return true;
}

void TraceLogMessage(int level, const char* format, ...) {
  try {
    const bool toFile = QVL::traceFileTakes(level);
    const bool toSystemLog = severityOf(level) != nullptr;
    if (!toFile && !toSystemLog) return;

    const Operation operation;
    char* formatted = nullptr;
    va_list arguments;
    va_start(arguments, format);
    const int length = vasprintf(&formatted, format, arguments);
    va_end(arguments);
    if (length < 0) return;
    const std::unique_ptr<char, FreeMemory> message(formatted);
    if (keep(level, message.get())) return;

    if (toFile) {
      prepareOutput();
      const std::wstring wide = decode(message.get());
      const LogLock lock(logMutex);
      // Asked again: the file may have been closed meanwhile.
      if (fileTakes(level)) writeToFile(wide);
    }
    if (toSystemLog) writeToSystemLog(level, message.get());
  } catch (...) {
  }
}

void InitTraceLogger() {
  const Operation operation;
  readAndOpen(File::OpenUnlessItIs);
}

void InitProdLogger() {
  const Operation operation;
  openSystemLog();
}

void closeTraceLogger() {
  const Operation operation;
  Stream former;
  {
    const LogLock lock(logMutex);
    former = takeStream();
  }
  closelog();
}

void reloadHandler(int signalNumber) {
  if (signalNumber != kHangUpSignal) return;
  if (insideLog) {
    reloadPending = 1;
    return;
  }
  const Operation operation;
  readAndOpen(File::OpenAgain);
}
