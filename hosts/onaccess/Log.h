// The host's messages.

#ifndef QVL_ONACCESS_LOG_H
#define QVL_ONACCESS_LOG_H

#include <atomic>
#include <condition_variable>
#include <cstdint>
#include <deque>
#include <mutex>
#include <string>
#include <string_view>
#include <thread>

#include "Clock.h"

namespace onaccess {

// The levels of syslog.
enum class Level { Alert = 1, Error = 3, Warning = 4, Notice = 5, Info = 6 };

// Writes lines to a descriptor in a thread of its own. Who logs never waits for whoever reads the
// log: that may be a process that waits for an open that we are to answer. A line that finds the
// queue full is dropped, and counted.
//
// Thread safety: all operations may be called from any thread at any time.
class Log {
 public:
  // With `withLevels` each line starts with its level, as the journal reads it.
  Log(int descriptor, bool withLevels);
  ~Log();  // writes what is queued, unless that takes longer than a second
  Log(const Log&) = delete;
  Log& operator=(const Log&) = delete;

  // One line or several.
  void say(Level level, const std::string& text);

  // The same, but at most kPerSecond of these in a second; the rest is dropped, and counted.
  void saySparingly(Level level, const std::string& text);

  std::uint64_t dropped() const { return m_dropped; }

  static constexpr std::size_t kQueue = 1024;
  static constexpr unsigned int kPerSecond = 20;

 private:
  void write();

  const int m_descriptor;
  const bool m_withLevels;
  std::atomic<std::uint64_t> m_dropped{0};
  std::mutex m_mutex;
  std::condition_variable m_changed;
  // Guarded by m_mutex:
  std::deque<std::string> m_lines;
  bool m_isEnding = false;
  bool m_hasEnded = false;
  Time m_second;
  unsigned int m_saidInSecond = 0;
  std::thread m_thread;
};

// A text as whole lines; `withLevel`: each starts with the level, as "<3>".
std::string inLines(Level level, bool withLevel, std::string_view text);

// Is standard error, as far as systemd tells, read by the journal, which understands levels?
bool isReadByJournal();

// A text that others chose, in quotes and on one line: other bytes than printable ASCII as \xNN.
std::string quoted(std::string_view text);

}  // namespace onaccess

#endif  // QVL_ONACCESS_LOG_H
