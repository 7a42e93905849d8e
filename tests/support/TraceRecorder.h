// Collects the trace lines that the library writes while the recorder lives.

#ifndef QVL_TESTS_SUPPORT_TRACE_RECORDER_H
#define QVL_TESTS_SUPPORT_TRACE_RECORDER_H

#include <cstdio>
#include <cwchar>
#include <string>

#include "qvl/trace/TraceLog.h"

namespace QVL {
namespace Test {

// Starts the trace log, then diverts it, at level 5, into a temporary file of its own; at the end
// of its life the log is as it was. One recorder at a time; no other thread may be logging when it
// starts or ends.
class TraceRecorder {
 public:
  TraceRecorder() {
    InitTraceLogger();
    TraceLogMessage(0, "%s", "");  // the one-time start, if it has not happened, must not undo ours
    m_file = logFilePtr;
    m_level = ScanAvoidanceFlowvalue;
    logFilePtr = m_own;
    ScanAvoidanceFlowvalue = 5;
  }

  ~TraceRecorder() {
    logFilePtr = m_file;
    ScanAvoidanceFlowvalue = m_level;
    std::fclose(m_own);
  }

  TraceRecorder(const TraceRecorder&) = delete;
  TraceRecorder& operator=(const TraceRecorder&) = delete;

  // What was written since the recorder started or take was last called. Every message stands there
  // followed by one newline, so a message that ends in one itself is followed by an empty line.
  std::string take() {
    std::rewind(m_own);
    std::string text;
    for (std::wint_t c; (c = std::fgetwc(m_own)) != WEOF;) {
      text += c < 0x80 ? static_cast<char>(c) : '?';
    }
    const std::string fresh = text.substr(m_taken);
    m_taken = text.size();
    std::fseek(m_own, 0, SEEK_END);
    return fresh;
  }

 private:
  std::FILE* m_own = std::tmpfile();
  std::size_t m_taken = 0;
  std::FILE* m_file = nullptr;
  int m_level = 0;
};

}  // namespace Test
}  // namespace QVL

#endif  // QVL_TESTS_SUPPORT_TRACE_RECORDER_H
