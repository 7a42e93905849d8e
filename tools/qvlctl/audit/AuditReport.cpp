#include "audit/AuditReport.h"

#include <algorithm>
#include <tuple>
#include <utility>

namespace qvlctl {
namespace {

bool isLarger(const SkippedFolder& a, const SkippedFolder& b) {
  return std::tie(b.skipped.bytes, b.skipped.files, a.path) <
         std::tie(a.skipped.bytes, a.skipped.files, b.path);
}

}  // namespace

AuditReport::AuditReport(Engine& engine, const std::vector<Query>& queries, Missing& missing,
                         std::size_t rootCount, std::size_t folderCount,
                         std::function<void()> mayShowProgress)
    : m_engine(engine),
      m_missing(missing),
      m_folderCount(folderCount),
      m_mayShowProgress(std::move(mayShowProgress)),
      m_tree(kTreeFolders),
      m_ruleHits(engine, queries),
      m_progress(rootCount) {
  for (const Query& query : queries) m_queries.push_back({requestFor(query), false, {}});
}

void AuditReport::folderBegins(const std::string& path) {
  m_openFolders.emplace_back();
  m_currentFolder = path;
  m_tree.folderBegins(path);
  m_progress.folderBegins();
  m_mayShowProgress();
}

void AuditReport::folderRead(std::size_t subfolderCount) {
  m_progress.folderRead(subfolderCount);
}

void AuditReport::file(const std::string& path, const struct stat& status) {
  ask(path);
  const Tally one = {1, static_cast<std::uint64_t>(status.st_size)};
  const bool isSkipped = std::any_of(m_queries.begin(), m_queries.end(),
                                     [](const AskedQuery& query) { return query.isSkipped; });
  OpenFolder& folder = m_openFolders.back();
  m_seen.add(one);
  folder.seen.add(one);
  if (isSkipped) {
    countSkipped(one);
    folder.skipped.add(one);
    folder.skippedDirectly.add(one);
  }
  m_tree.file(isSkipped ? reason() : 0, one);
  m_ruleHits.count(one);
  constexpr std::uint64_t kFilesBetweenProgress = 256;
  if (m_seen.files % kFilesBetweenProgress == 0) m_mayShowProgress();
}

void AuditReport::ask(const std::string& path) {
  using Clock = std::chrono::steady_clock;
  for (std::size_t i = 0; i < m_queries.size(); ++i) {
    AskedQuery& query = m_queries[i];
    query.request.m_filePath = path;
    const Clock::time_point start = Clock::now();
    query.isSkipped = m_engine.isExcluded(query.request);
    m_questionTime += Clock::now() - start;
    m_ruleHits.note(i, query.request, query.isSkipped);
  }
}

void AuditReport::countSkipped(const Tally& one) {
  m_skipped.add(one);
  bool isAlways = true;
  bool isByNone = false;
  m_matched.clear();
  for (AskedQuery& query : m_queries) {
    isAlways = isAlways && query.isSkipped;
    if (!query.isSkipped) continue;
    query.skipped.add(one);
    const std::vector<unsigned int>& matched = query.request.m_matchIdentifiers;
    isByNone = isByNone || matched.empty();
    for (const unsigned int number : matched) {
      if (std::find(m_matched.begin(), m_matched.end(), number) == m_matched.end()) {
        m_matched.push_back(number);
        m_skippedBy[number].add(one);
      }
    }
  }
  if (isAlways) m_skippedAlways.add(one);
  if (isByNone) m_skippedByNone.add(one);
}

void AuditReport::folderEnds(const std::string& path) {
  OpenFolder folder = std::move(m_openFolders.back());
  m_openFolders.pop_back();
  m_tree.folderEnds();
  m_progress.folderEnds();

  const bool isWhole = folder.isComplete && folder.skipped.files == folder.seen.files;
  const Tally& skipped = isWhole ? folder.skipped : folder.skippedDirectly;
  if (isWhole) folder.skippedFolders.clear();
  if (skipped.files > 0) keep(folder.skippedFolders, {path, skipped, isWhole});

  const bool isRoot = m_openFolders.empty();
  std::vector<SkippedFolder>& list =
      isRoot ? m_skippedFolders : m_openFolders.back().skippedFolders;
  for (SkippedFolder& skippedFolder : folder.skippedFolders) keep(list, std::move(skippedFolder));
  if (isRoot) return;
  OpenFolder& parent = m_openFolders.back();
  parent.seen.add(folder.seen);
  parent.skipped.add(folder.skipped);
  parent.isComplete = parent.isComplete && folder.isComplete;
}

void AuditReport::unreadable(const std::string& path, int error) {
  m_missing.unreadable(path, error);
  if (!m_openFolders.empty()) m_openFolders.back().isComplete = false;
}

void AuditReport::leftOut(const std::string& path, const std::string& fileSystem) {
  m_missing.leftOut(path, fileSystem);
}

Tally AuditReport::skippedBy(unsigned int dataSet) const {
  const auto found = m_skippedBy.find(dataSet);
  return found == m_skippedBy.end() ? Tally() : found->second;
}

std::size_t AuditReport::reason() {
  const auto first = std::find_if(m_queries.begin(), m_queries.end(),
                                  [](const AskedQuery& query) { return query.isSkipped; });
  const auto query = static_cast<std::size_t>(first - m_queries.begin());
  m_matched = first->request.m_matchIdentifiers;
  std::sort(m_matched.begin(), m_matched.end());
  const auto [place, isNew] = m_skipReasons.emplace(std::pair(query, m_matched), m_reasons.size());
  if (isNew) m_reasons.push_back({true, query, m_matched});
  return place->second;
}

void AuditReport::keep(std::vector<SkippedFolder>& list, SkippedFolder folder) const {
  const auto place = std::upper_bound(list.begin(), list.end(), folder, isLarger);
  list.insert(place, std::move(folder));
  if (list.size() > m_folderCount) list.pop_back();
}

}  // namespace qvlctl
