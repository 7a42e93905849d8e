// Which process the scanner is: its own opens must not wait for it.

#ifndef QVL_ONACCESS_SCANNER_PROCESS_H
#define QVL_ONACCESS_SCANNER_PROCESS_H

#include <sys/types.h>

#include <atomic>
#include <mutex>
#include <optional>
#include <string>

#include "Descriptor.h"
#include "Kernel.h"

namespace onaccess {

// Learns from the scanner's replies, whose sender the kernel names. A process number alone can be
// given to somebody else; so the process is held by a descriptor of its own, and trusted as soon as
// it has replied once more since that was opened, and as long as it runs.
//
// Thread safety: all operations may be called from any thread at any time.
class ScannerProcess {
 public:
  explicit ScannerProcess(Kernel& kernel) : m_kernel(kernel) {}

  // To be told of every reply; 0 is ignored. True when another process than before is trusted now.
  bool sawReplyOf(pid_t process);

  // Is it the one that replied last, and still there?
  bool is(pid_t process);

  // Does it run the scanner's program, as the scanner's user or as root? A scanner that starts
  // reads its files before it replies for the first time. After an update the program is another
  // file: the one to which its name leads.
  bool mayBecome(pid_t process);

 private:
  bool isItsProgram(pid_t process, const FileIdentity& program);

  Kernel& m_kernel;
  std::atomic<pid_t> m_trusted{0};
  std::mutex m_mutex;
  // Guarded by m_mutex:
  pid_t m_candidate = 0;
  Descriptor m_handle;  // of m_candidate
  std::optional<FileIdentity> m_program;
  std::string m_programName;
  std::optional<uid_t> m_user;
};

}  // namespace onaccess

#endif  // QVL_ONACCESS_SCANNER_PROCESS_H
