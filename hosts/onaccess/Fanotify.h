// The kernel's permission events.

#ifndef QVL_ONACCESS_FANOTIFY_H
#define QVL_ONACCESS_FANOTIFY_H

#include <atomic>
#include <cstddef>
#include <string>
#include <vector>

#include "Descriptor.h"
#include "Kernel.h"

namespace onaccess {

class Fanotify : public Kernel {
 public:
  // Watches nothing yet. Throws Trouble when the kernel or the process's capabilities do not allow
  // permission events.
  Fanotify();
  ~Fanotify() override;

  // Watches the whole file system that is mounted at `folder`. Throws Trouble. To be called before
  // events are received.
  void watchFileSystemOf(const std::string& folder);

  // How many file systems are watched. One that is unmounted is not any more, even if it is mounted
  // again.
  std::size_t fileSystems() const;

  Received receive(Event* events, std::size_t capacity) override;
  bool answer(int descriptor, bool isAllowed) override;
  void close(int descriptor) override;
  void stop() override;
  void letEverythingPass() override;
  std::optional<FileStatus> statusOf(int descriptor) override;
  bool mayHaveWriters(int descriptor) override;
  bool pathOf(int descriptor, std::string& path) override;
  bool programOf(pid_t process, std::string& path) override;
  std::optional<FileIdentity> programFileOf(pid_t process) override;
  std::optional<uid_t> userOf(pid_t process) override;
  std::optional<FileIdentity> fileAt(const std::string& path) override;

 private:
  const Descriptor m_events;
  const Descriptor m_nothing;  // takes the place of m_events when everything is to pass
  const Descriptor m_wake;     // readable once stopped
  std::atomic<bool> m_isStopped{false};
  std::vector<std::string> m_folders;  // where names are looked up that the kernel does not know
};

}  // namespace onaccess

#endif  // QVL_ONACCESS_FANOTIFY_H
