// The library's trace log, as far as qvlctl has to do with it.

#ifndef QVLCTL_IO_TRACE_LOG_H
#define QVLCTL_IO_TRACE_LOG_H

namespace qvlctl {

// Starts the trace log without outputs: the trace file belongs to the scanner, and whether its
// configuration is there is not qvlctl's business. To be called before anything else of the
// library.
void keepTraceLogSilent();

}  // namespace qvlctl

#endif  // QVLCTL_IO_TRACE_LOG_H
