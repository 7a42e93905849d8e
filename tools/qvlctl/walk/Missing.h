// What walks do not reach.

#ifndef QVLCTL_WALK_MISSING_H
#define QVLCTL_WALK_MISSING_H

#include <cstddef>
#include <cstdint>
#include <string>
#include <vector>

namespace qvlctl {

struct UnreadableFolder {
  std::string path;
  int error;
};

struct LeftOutFolder {
  std::string path;
  std::string fileSystem;
};

// Keeps the first ones of them and counts the others.
class Missing {
 public:
  static constexpr std::size_t kDefaultCount = 10;

  explicit Missing(std::size_t count = kDefaultCount) : m_count(count) {}

  void unreadable(const std::string& path, int error);
  void leftOut(const std::string& path, const std::string& fileSystem);

  std::uint64_t unreadableCount() const { return m_unreadableCount; }
  const std::vector<UnreadableFolder>& unreadableFolders() const { return m_unreadable; }

  std::uint64_t leftOutCount() const { return m_leftOutCount; }
  const std::vector<LeftOutFolder>& leftOutFolders() const { return m_leftOut; }

  // Says it on standard error.
  void tell() const;

 private:
  const std::size_t m_count;
  std::uint64_t m_unreadableCount = 0;
  std::vector<UnreadableFolder> m_unreadable;
  std::uint64_t m_leftOutCount = 0;
  std::vector<LeftOutFolder> m_leftOut;
};

}  // namespace qvlctl

#endif  // QVLCTL_WALK_MISSING_H
