#include "io/TraceLog.h"

#include <fcntl.h>
#include <qvl/qvl.h>
#include <unistd.h>

#include "io/FileDescriptor.h"

namespace qvlctl {

void keepTraceLogSilent() {
  // The log starts with its first message, opens the trace file unless that counts as open, and
  // reports a missing configuration on standard error.
  traceInited = 1;
  const FileDescriptor standardError(::dup(STDERR_FILENO));
  const FileDescriptor nowhere(::open("/dev/null", O_WRONLY | O_CLOEXEC));
  if (standardError && nowhere) ::dup2(nowhere.get(), STDERR_FILENO);
  TraceLogMessage(5, "%s", "");
  if (standardError && nowhere) ::dup2(standardError.get(), STDERR_FILENO);
  ScanAvoidanceFlowvalue = 0;
}

}  // namespace qvlctl
