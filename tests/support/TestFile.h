// A file of the test's own, with timestamps to order.

#ifndef QVL_TESTS_SUPPORT_TEST_FILE_H
#define QVL_TESTS_SUPPORT_TEST_FILE_H

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cstdio>
#include <cstdlib>
#include <ctime>
#include <optional>
#include <stdexcept>
#include <string>
#include <vector>

namespace QVL {
namespace Test {

constexpr long kDay = 86400;

// An empty file in the build tree, removed at the end.
class TestFile {
 public:
  TestFile() {
    const std::string name = std::string(QVL_TEST_HOME) + "/test-file-XXXXXX";
    std::vector<char> buffer(name.c_str(), name.c_str() + name.size() + 1);
    const int descriptor = ::mkstemp(buffer.data());
    if (descriptor < 0) throw std::runtime_error("cannot make a file like " + name);
    ::close(descriptor);
    m_path = buffer.data();
  }
  ~TestFile() { std::remove(m_path.c_str()); }

  TestFile(const TestFile&) = delete;
  TestFile& operator=(const TestFile&) = delete;

  const std::string& path() const { return m_path; }

  // Sets the times of last access and modification.
  void setTimes(std::time_t accessed, std::time_t modified, long modifiedNanoseconds = 0) {
    const timespec times[2] = {{accessed, 0}, {modified, modifiedNanoseconds}};
    if (::utimensat(AT_FDCWD, m_path.c_str(), times, 0) != 0) {
      throw std::runtime_error("cannot set the times of " + m_path);
    }
  }

  // Makes the file modified that many seconds ago, and accessed now.
  void setModified(long secondsAgo) {
    const std::time_t now = std::time(nullptr);
    setTimes(now, now - secondsAgo);
  }

 private:
  std::string m_path;
};

// The time at which the file was made, where the file system knows it.
inline std::optional<std::time_t> birthTime(const std::string& path) {
#ifdef __APPLE__
  struct stat status;
  if (::stat(path.c_str(), &status) != 0) return std::nullopt;
  return status.st_birthtimespec.tv_sec;
#else
  struct statx status;
  if (::statx(AT_FDCWD, path.c_str(), 0, STATX_BTIME, &status) != 0) return std::nullopt;
  if ((status.stx_mask & STATX_BTIME) == 0) return std::nullopt;
  return status.stx_btime.tv_sec;
#endif
}

}  // namespace Test
}  // namespace QVL

#endif  // QVL_TESTS_SUPPORT_TEST_FILE_H
