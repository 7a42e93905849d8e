#include "ScannerProcess.h"

#include <poll.h>
#include <sys/syscall.h>

namespace onaccess {
namespace {

using Lock = std::lock_guard<std::mutex>;

Descriptor handleOf(pid_t process) {
  return Descriptor(static_cast<int>(::syscall(SYS_pidfd_open, process, 0)));
}

bool runs(const Descriptor& handle) {
  pollfd waited = {handle.get(), POLLIN, 0};
  return handle && ::poll(&waited, 1, 0) == 0;
}

}  // namespace

bool ScannerProcess::sawReplyOf(pid_t process) {
  if (process <= 0) return false;
  const Lock lock(m_mutex);
  if (process != m_candidate || !runs(m_handle)) {
    m_candidate = process;
    m_handle = handleOf(process);
    m_trusted = 0;
    return false;
  }
  if (m_trusted == process) return false;
  m_program = m_kernel.programFileOf(process);
  if (!m_kernel.programOf(process, m_programName)) m_programName.clear();
  m_user = m_kernel.userOf(process);
  m_trusted = process;
  return true;
}

bool ScannerProcess::is(pid_t process) {
  if (process <= 0 || m_trusted != process) return false;
  const Lock lock(m_mutex);
  return m_trusted == process && runs(m_handle);
}

bool ScannerProcess::mayBecome(pid_t process) {
  const std::optional<FileIdentity> program = m_kernel.programFileOf(process);
  if (!program) return false;
  const Lock lock(m_mutex);
  if (!m_user || !isItsProgram(process, *program)) return false;
  const std::optional<uid_t> user = m_kernel.userOf(process);
  return user && (*user == 0 || *user == *m_user);
}

bool ScannerProcess::isItsProgram(pid_t process, const FileIdentity& program) {
  if (m_program && *m_program == program) return true;
  std::string name;
  if (m_programName.empty() || !m_kernel.programOf(process, name) || name != m_programName) {
    return false;
  }
  const std::optional<FileIdentity> named = m_kernel.fileAt(name);
  return named && *named == program;
}

}  // namespace onaccess
