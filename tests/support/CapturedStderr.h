// Collects what anybody in the process, the C libraries included, writes to standard error.

#ifndef QVL_TESTS_SUPPORT_CAPTURED_STDERR_H
#define QVL_TESTS_SUPPORT_CAPTURED_STDERR_H

#include <fcntl.h>
#include <unistd.h>

#include <cstdio>
#include <stdexcept>
#include <string>

namespace QVL {
namespace Test {

// Diverts the file descriptor, not the stream, for as long as it lives.
class CapturedStderr {
 public:
  CapturedStderr() {
    std::fflush(stderr);
    m_original = fcntl(STDERR_FILENO, F_DUPFD_CLOEXEC, 0);
    if (!m_file || m_original < 0 || dup2(fileno(m_file), STDERR_FILENO) < 0) {
      throw std::runtime_error("standard error cannot be diverted");
    }
  }

  ~CapturedStderr() {
    std::fflush(stderr);
    dup2(m_original, STDERR_FILENO);
    close(m_original);
    std::fclose(m_file);
  }

  CapturedStderr(const CapturedStderr&) = delete;
  CapturedStderr& operator=(const CapturedStderr&) = delete;

  // What was written since the capture started or take was last called.
  std::string take() {
    std::fflush(stderr);
    std::string fresh;
    char block[4096];
    for (ssize_t size; (size = pread(fileno(m_file), block, sizeof block, m_taken)) > 0;) {
      fresh.append(block, static_cast<std::size_t>(size));
      m_taken += size;
    }
    return fresh;
  }

 private:
  std::FILE* m_file = std::tmpfile();
  int m_original = -1;
  off_t m_taken = 0;
};

}  // namespace Test
}  // namespace QVL

#endif  // QVL_TESTS_SUPPORT_CAPTURED_STDERR_H
