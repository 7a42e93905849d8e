#include "walk/Missing.h"

#include "fmt/format.h"
#include "io/Files.h"
#include "io/Output.h"
#include "io/OutputChoices.h"

namespace qvlctl {

void Missing::unreadable(const std::string& path, int error) {
  ++m_unreadableCount;
  if (m_unreadable.size() < m_count) m_unreadable.push_back({path, error});
}

void Missing::leftOut(const std::string& path, const std::string& fileSystem) {
  ++m_leftOutCount;
  if (m_leftOut.size() < m_count) m_leftOut.push_back({path, fileSystem});
}

void Missing::tell() const {
  const auto tellRest = [](std::uint64_t count, std::size_t told) {
    if (count > told) remark(fmt::format("  and {} more", grouped(count - told)));
  };
  if (m_leftOutCount > 0) {
    remark(fmt::format("note: {} left out; --pseudo-file-systems walks them, too",
                       m_leftOutCount == 1 ? "1 pseudo file system is"
                                           : grouped(m_leftOutCount) + " pseudo file systems are"));
    for (const LeftOutFolder& folder : m_leftOut) {
      remark(fmt::format("  {}: {}", escaped(folder.path), folder.fileSystem));
    }
    tellRest(m_leftOutCount, m_leftOut.size());
  }
  if (m_unreadableCount > 0) {
    remark(fmt::format("warning: {} could not be read and {} missing above",
                       counted(m_unreadableCount, "folder", "folders"),
                       m_unreadableCount == 1 ? "is" : "are"));
    for (const UnreadableFolder& folder : m_unreadable) {
      remark(fmt::format("  {}: {}", escaped(folder.path), errorText(folder.error)));
    }
    tellRest(m_unreadableCount, m_unreadable.size());
  }
}

}  // namespace qvlctl
