// The process-wide trace log: a trace file whose verbosity comes from a configuration file, and the
// system log for errors and warnings.
//
// Levels: 1 error, 4 warning, 5 trace. A message reaches the trace file when the configured level
// is at least its own; errors and warnings reach the system log whatever is configured.
//
// The log starts by itself with the first message, whatever that message's level, once per process.
// A host that wants it earlier calls InitTraceLogger (file and level) and InitProdLogger (system
// log).
//
// What the start does to the host: without a configuration file it writes "Error: unable to parse
// file ..." to standard error, as every later reading does; and it takes the process's connection
// to the system log over: from then on the host's own messages carry the ident "Varnel: " and the
// facility local7. A host with an ident of its own calls openlog after the first message.
//
// Thread safety: TraceLogMessage, InitTraceLogger, InitProdLogger, closeTraceLogger and
// reloadHandler may be called from any thread at any time. Nobody who logs waits for a file that is
// being opened or a configuration that is being read: during a reload lines go into the file that
// is open; while one thread starts the log, the messages of others are kept for it, up to four
// million bytes, and lost beyond. The tests TraceWaiting and TracePermission hold this. The three
// variables are plain: a host that writes them does so while no other thread logs.

#ifndef QVL_TRACE_TRACE_LOG_H
#define QVL_TRACE_TRACE_LOG_H

#include <cstdio>

#include "qvl/core/Export.h"

#if defined(__GNUC__) || defined(__clang__)
// Has the compiler check the arguments of a call against its format.
#define QVL_PRINTF_LIKE(text, first) __attribute__((format(printf, text, first)))
#else
#define QVL_PRINTF_LIKE(text, first)
#endif

// 1 while the trace file counts as open, else 0. It is 1 even when opening the file failed. A host
// that sets it to 1 has put an open stream, or null, into logFilePtr.
extern QVL_EXPORT int traceInited;

// The trace file; null when it was never opened or could not be. Not reset when the log is closed:
// it points to a closed stream then.
extern QVL_EXPORT FILE* logFilePtr;

// The configured level: messages of this level and below reach the trace file. 0 until the
// configuration has been read.
extern QVL_EXPORT int ScanAvoidanceFlowvalue;

// Emits one message, formatted by the rules of printf and without limit of length; a text that goes
// to the system log is cut at 511 bytes there. Never throws and reports no failure. A message that
// no output takes is not formatted.
QVL_EXPORT void TraceLogMessage(int level, const char* format, ...) QVL_PRINTF_LIKE(2, 3);

// Opens the trace file unless it counts as open already, and reads the level from the trace
// configuration file. When the file cannot be opened, messages are not written to it; when the
// configuration has no usable level, the level stays as it was. Only a file, or a device that takes
// a line without waiting for a reader, such as /dev/null, is opened: no named pipe, no socket, no
// terminal. The file gets the mode 0744 and is not inherited by programs that the host starts.
QVL_EXPORT void InitTraceLogger();

// Opens the connection to the system log.
QVL_EXPORT void InitProdLogger();

// Closes the trace file and the connection to the system log. Nothing reaches the file afterwards
// until InitTraceLogger or reloadHandler opens it again. Safe to call when nothing is open.
QVL_EXPORT void closeTraceLogger();

// For the hang-up signal (number 1): reads the level again and opens the trace file anew in place
// of the one before. Any other number is ignored. It allocates and reads files: a host installs it
// as a signal handler only where that is acceptable. When it interrupts an operation of the log in
// its own thread, the reload happens at the end of that. Of several at once the one that began last
// decides, and a file that was opened meanwhile stays.
QVL_EXPORT void reloadHandler(int signalNumber);

#endif  // QVL_TRACE_TRACE_LOG_H
