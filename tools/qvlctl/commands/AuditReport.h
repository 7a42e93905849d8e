// What an audit finds in the trees that it walks.

#ifndef QVLCTL_COMMANDS_AUDIT_REPORT_H
#define QVLCTL_COMMANDS_AUDIT_REPORT_H

#include <chrono>
#include <cstddef>
#include <cstdint>
#include <functional>
#include <map>
#include <string>
#include <vector>

#include "policy/Engine.h"
#include "walk/TreeWalk.h"

namespace qvlctl {

struct Tally {
  std::uint64_t files = 0;
  std::uint64_t bytes = 0;

  void add(const Tally& other) {
    files += other.files;
    bytes += other.bytes;
  }
};

// A folder of which every file is skipped, those in its subfolders included; or one of which some
// are, and then the skipped files directly in it, outside any folder that is skipped whole.
struct SkippedFolder {
  std::string path;
  Tally skipped;
  bool isWhole;
};

struct UnreadableFolder {
  std::string path;
  int error;
};

// Asks about every file that it visits, and counts. The memory that it takes does not grow with the
// number of files.
class AuditReport : public TreeVisitor {
 public:
  // `request` holds the process and the access type of all questions; `mayShowProgress` is called
  // now and then. At most `folderCount` skipped folders and as many unreadable ones are kept.
  AuditReport(Engine& engine, const QVL::LookupData& request, std::size_t folderCount,
              std::function<void()> mayShowProgress);

  void folderBegins(const std::string& path) override;
  void folderEnds(const std::string& path) override;
  void file(const std::string& path, const struct stat& status) override;
  void unreadable(const std::string& path, int error) override;

  const Tally& seen() const { return m_seen; }
  const Tally& skipped() const { return m_skipped; }

  // The skipped files for which a data set was asked and matched.
  Tally skippedBy(unsigned int dataSet) const;

  // The skipped files for which no data set matched, because the logic negates.
  const Tally& skippedByNone() const { return m_skippedByNone; }

  // The largest ones first.
  const std::vector<SkippedFolder>& skippedFolders() const { return m_skippedFolders; }

  std::uint64_t unreadableCount() const { return m_unreadableCount; }
  const std::vector<UnreadableFolder>& unreadableFolders() const { return m_unreadable; }

  // The time spent in questions alone.
  std::chrono::duration<double> questionTime() const { return m_questionTime; }

  // The folder whose files are being visited.
  const std::string& currentFolder() const { return m_currentFolder; }

 private:
  // A folder that has begun and not ended.
  struct OpenFolder {
    Tally seen;              // in the whole tree below, as far as it has been walked
    Tally skipped;           // likewise
    Tally skippedDirectly;   // files of the folder itself
    bool isComplete = true;  // nothing below was unreadable
    std::vector<SkippedFolder> skippedFolders;  // below, the largest ones
  };

  // Adds a folder to a list that keeps the largest m_folderCount ones.
  void keep(std::vector<SkippedFolder>& list, SkippedFolder folder) const;

  Engine& m_engine;
  QVL::LookupData m_request;
  const std::size_t m_folderCount;
  const std::function<void()> m_mayShowProgress;

  Tally m_seen;
  Tally m_skipped;
  Tally m_skippedByNone;
  std::map<unsigned int, Tally> m_skippedBy;
  std::vector<OpenFolder> m_openFolders;
  std::vector<SkippedFolder> m_skippedFolders;
  std::uint64_t m_unreadableCount = 0;
  std::vector<UnreadableFolder> m_unreadable;
  std::chrono::duration<double> m_questionTime{};
  std::string m_currentFolder;
};

}  // namespace qvlctl

#endif  // QVLCTL_COMMANDS_AUDIT_REPORT_H
