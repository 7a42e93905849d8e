// Text that is kept for later.

#ifndef QVLCTL_IO_SPOOL_H
#define QVLCTL_IO_SPOOL_H

#include <cstdio>
#include <functional>
#include <memory>
#include <string>
#include <string_view>

namespace qvlctl {

// Keeps text of any size in constant memory: what is too much goes to a temporary file without a
// name.
class Spool {
 public:
  // Throws Trouble when there is no room for it.
  void add(std::string_view text);

  // Calls `take` with all of the text, piece by piece. Throws Trouble.
  void read(const std::function<void(std::string_view)>& take);

 private:
  void moveToFile();

  std::string m_latest;
  std::unique_ptr<std::FILE, int (*)(std::FILE*)> m_file{nullptr, &std::fclose};
};

}  // namespace qvlctl

#endif  // QVLCTL_IO_SPOOL_H
