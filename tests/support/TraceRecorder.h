// Collects the trace lines that the library writes while the recorder lives.

#ifndef QVL_TESTS_SUPPORT_TRACE_RECORDER_H
#define QVL_TESTS_SUPPORT_TRACE_RECORDER_H

#include <cstdio>
#include <cwchar>
#include <memory>
#include <string>

#include "qvl/trace/TraceLog.h"

namespace QVL {
namespace Test {

// Starts the trace log, then diverts it, at level 5, into a stream; at the end of its life the log
// is as it was. One diversion inside another at most; no other thread may be logging when one
// starts or ends. The stream outlives it.
class TraceDiversion {
 public:
  explicit TraceDiversion(std::FILE* stream) {
    InitTraceLogger();
    TraceLogMessage(0, "%s", "");  // the one-time start, if it has not happened, must not undo ours
    m_file = logFilePtr;
    m_level = ScanAvoidanceFlowvalue;
    logFilePtr = stream;
    ScanAvoidanceFlowvalue = 5;
  }

  ~TraceDiversion() {
    logFilePtr = m_file;
    ScanAvoidanceFlowvalue = m_level;
  }

  TraceDiversion(const TraceDiversion&) = delete;
  TraceDiversion& operator=(const TraceDiversion&) = delete;

 private:
  std::FILE* m_file = nullptr;
  int m_level = 0;
};

struct CloseStream {
  void operator()(std::FILE* stream) const { std::fclose(stream); }
};
using Stream = std::unique_ptr<std::FILE, CloseStream>;

// Keeps what is traced while it lives, in a temporary file.
class TraceRecorder {
 public:
  // What was written since the recorder started or take was last called. Every message stands there
  // followed by one newline, so a message that ends in one itself is followed by an empty line.
  std::string take() {
    std::rewind(m_own.get());
    std::string text;
    for (std::wint_t c; (c = std::fgetwc(m_own.get())) != WEOF;) {
      text += c < 0x80 ? static_cast<char>(c) : '?';
    }
    const std::string fresh = text.substr(m_taken);
    m_taken = text.size();
    std::fseek(m_own.get(), 0, SEEK_END);
    return fresh;
  }

 private:
  Stream m_own{std::tmpfile()};
  TraceDiversion m_diversion{m_own.get()};
  std::size_t m_taken = 0;
};

}  // namespace Test
}  // namespace QVL

#endif  // QVL_TESTS_SUPPORT_TRACE_RECORDER_H
