// How the library's own operations write their trace lines. Private to the library.

#ifndef QVL_TRACE_TRACE_CALL_H
#define QVL_TRACE_TRACE_CALL_H

#include <atomic>

#include "qvl/trace/TraceLog.h"

namespace QVL {

// The level of every message that the library writes.
constexpr int kTraceLevel = 5;

namespace TraceDetail {
// Set once the one-time start is done.
extern std::atomic<bool> started;
// Starts the log; false when another thread is at it.
bool start();

inline bool fileTakes(int level) {
  return __atomic_load_n(&ScanAvoidanceFlowvalue, __ATOMIC_RELAXED) >= level &&
         __atomic_load_n(&traceInited, __ATOMIC_RELAXED) != 0 &&
         __atomic_load_n(&logFilePtr, __ATOMIC_RELAXED) != nullptr;
}
}  // namespace TraceDetail

// Will the trace file take a message of this level? The first question starts the log, as the first
// message would; while another thread starts it, the file may. Costs a few nanoseconds when the
// answer is no.
inline bool traceFileTakes(int level) {
  if (!TraceDetail::started.load(std::memory_order_acquire) && !TraceDetail::start()) return true;
  return TraceDetail::fileTakes(level);
}

// Writes "<class>::<operation>\n".
inline void traceCall(const char* className, const char* operation) {
  if (traceFileTakes(kTraceLevel)) TraceLogMessage(kTraceLevel, "%s::%s\n", className, operation);
}

}  // namespace QVL

#endif  // QVL_TRACE_TRACE_CALL_H
