// What an audit finds in the trees that it walks.

#ifndef QVLCTL_AUDIT_AUDIT_REPORT_H
#define QVLCTL_AUDIT_AUDIT_REPORT_H

#include <chrono>
#include <cstddef>
#include <cstdint>
#include <functional>
#include <map>
#include <string>
#include <utility>
#include <vector>

#include "audit/FolderTree.h"
#include "audit/ProgressEstimate.h"
#include "audit/RuleHits.h"
#include "audit/Tally.h"
#include "policy/Engine.h"
#include "queries/Queries.h"
#include "walk/Missing.h"
#include "walk/TreeWalk.h"

namespace qvlctl {

// A folder of which every file is skipped, those in its subfolders included; or one of which some
// are, and then the skipped files directly in it, outside any folder that is skipped whole.
struct SkippedFolder {
  std::string path;
  Tally skipped;
  bool isWhole;
};

// Why files have their verdict: the first query that skips them, by its index, and the data sets
// that matched then, ascending.
struct Reason {
  bool isSkipped;
  std::size_t query;                   // 0 where files are scanned
  std::vector<unsigned int> dataSets;  // none where files are scanned; that has one reason for all
};

// Asks all queries about every file that it visits, and counts. A file is skipped when one of the
// queries skips it. The memory that it takes does not grow with the number of files.
class AuditReport : public TreeVisitor {
 public:
  // How many folders the tree of folders holds, at most, for each of the trees walked.
  static constexpr std::size_t kTreeFolders = 1500;

  // `mayShowProgress` is called now and then. At most `folderCount` skipped folders are kept. The
  // policy, the engine made from it, the queries and `missing`, to which is added, have to outlive
  // this; `rootCount` trees are walked.
  AuditReport(Engine& engine, const std::vector<Query>& queries, Missing& missing,
              std::size_t rootCount, std::size_t folderCount,
              std::function<void()> mayShowProgress);

  void folderBegins(const std::string& path) override;
  void folderRead(std::size_t subfolderCount) override;
  void folderEnds(const std::string& path) override;
  void file(const std::string& path, const struct stat& status) override;
  void unreadable(const std::string& path, int error) override;
  void leftOut(const std::string& path, const std::string& fileSystem) override;

  const Tally& seen() const { return m_seen; }
  const Tally& skipped() const { return m_skipped; }
  Tally scanned() const { return {m_seen.files - m_skipped.files, m_seen.bytes - m_skipped.bytes}; }

  // What a query skips, by its index, and what all of them do.
  const Tally& skippedFor(std::size_t query) const { return m_queries[query].skipped; }
  const Tally& skippedAlways() const { return m_skippedAlways; }

  // The skipped files for which a data set was asked and matched.
  Tally skippedBy(unsigned int dataSet) const;

  // The skipped files for which no data set matched, because the logic negates.
  const Tally& skippedByNone() const { return m_skippedByNone; }

  // The largest ones first.
  const std::vector<SkippedFolder>& skippedFolders() const { return m_skippedFolders; }

  // The folders that were walked, the largest ones by themselves; to be called after the walks. The
  // tallies are by reason: indices into reasons().
  const std::vector<FolderNode>& folderTree() { return m_tree.roots(); }

  // The first is that of the scanned files.
  const std::vector<Reason>& reasons() const { return m_reasons; }

  const RuleHits& ruleHits() const { return m_ruleHits; }

  const Missing& missing() const { return m_missing; }

  // How many questions were asked, and the time spent in them alone.
  std::uint64_t questionCount() const { return m_seen.files * m_queries.size(); }
  std::chrono::duration<double> questionTime() const { return m_questionTime; }

  // Which share of the walks is done, from 0 to 1.
  double done() const { return m_progress.done(); }

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

  // A query as it is asked.
  struct AskedQuery {
    QVL::LookupData request;
    bool isSkipped = false;
    Tally skipped;
  };

  void ask(const std::string& path);
  void countSkipped(const Tally& one);

  // The reason of the verdict that the file has got.
  std::size_t reason();

  // Adds a folder to a list that keeps the largest m_folderCount ones.
  void keep(std::vector<SkippedFolder>& list, SkippedFolder folder) const;

  Engine& m_engine;
  Missing& m_missing;
  std::vector<AskedQuery> m_queries;
  const std::size_t m_folderCount;
  const std::function<void()> m_mayShowProgress;

  Tally m_seen;
  Tally m_skipped;
  Tally m_skippedByNone;
  Tally m_skippedAlways;
  std::vector<Reason> m_reasons = {{false, 0, {}}};
  // Indices into m_reasons, by the query and the data sets.
  std::map<std::pair<std::size_t, std::vector<unsigned int>>, std::size_t> m_skipReasons;
  std::vector<unsigned int> m_matched;
  FolderTree m_tree;
  RuleHits m_ruleHits;
  ProgressEstimate m_progress;
  std::map<unsigned int, Tally> m_skippedBy;
  std::vector<OpenFolder> m_openFolders;
  std::vector<SkippedFolder> m_skippedFolders;
  std::chrono::duration<double> m_questionTime{};
  std::string m_currentFolder;
};

}  // namespace qvlctl

#endif  // QVLCTL_AUDIT_AUDIT_REPORT_H
