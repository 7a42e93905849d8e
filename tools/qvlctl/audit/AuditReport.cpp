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

AuditReport::AuditReport(const Policy& policy, Engine& engine, const QVL::LookupData& request,
                         std::size_t rootCount, std::size_t folderCount,
                         std::function<void()> mayShowProgress)
    : m_engine(engine),
      m_request(request),
      m_folderCount(folderCount),
      m_mayShowProgress(std::move(mayShowProgress)),
      m_tree(kTreeFolders),
      m_ruleHits(policy),
      m_progress(rootCount) {}

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
  using Clock = std::chrono::steady_clock;
  m_request.m_filePath = path;
  const Clock::time_point start = Clock::now();
  const bool isSkipped = m_engine.isExcluded(m_request);
  m_questionTime += Clock::now() - start;

  const Tally one = {1, static_cast<std::uint64_t>(status.st_size)};
  OpenFolder& folder = m_openFolders.back();
  m_seen.add(one);
  folder.seen.add(one);
  if (isSkipped) {
    m_skipped.add(one);
    folder.skipped.add(one);
    folder.skippedDirectly.add(one);
    for (const unsigned int number : m_request.m_matchIdentifiers) m_skippedBy[number].add(one);
    if (m_request.m_matchIdentifiers.empty()) m_skippedByNone.add(one);
  }
  m_tree.file(reasonOf(isSkipped), one);
  m_ruleHits.count(m_request, isSkipped, one);
  constexpr std::uint64_t kFilesBetweenProgress = 256;
  if (m_seen.files % kFilesBetweenProgress == 0) m_mayShowProgress();
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
  ++m_unreadableCount;
  if (m_unreadable.size() < m_folderCount) m_unreadable.push_back({path, error});
  if (!m_openFolders.empty()) m_openFolders.back().isComplete = false;
}

Tally AuditReport::skippedBy(unsigned int dataSet) const {
  const auto found = m_skippedBy.find(dataSet);
  return found == m_skippedBy.end() ? Tally() : found->second;
}

std::size_t AuditReport::reasonOf(bool isSkipped) {
  if (!isSkipped) return 0;
  m_matched = m_request.m_matchIdentifiers;
  std::sort(m_matched.begin(), m_matched.end());
  const auto [place, isNew] = m_skipReasons.emplace(m_matched, m_reasons.size());
  if (isNew) m_reasons.push_back({true, m_matched});
  return place->second;
}

void AuditReport::keep(std::vector<SkippedFolder>& list, SkippedFolder folder) const {
  const auto place = std::upper_bound(list.begin(), list.end(), folder, isLarger);
  list.insert(place, std::move(folder));
  if (list.size() > m_folderCount) list.pop_back();
}

}  // namespace qvlctl
