// How far a walk has come.

#ifndef QVLCTL_AUDIT_PROGRESS_ESTIMATE_H
#define QVLCTL_AUDIT_PROGRESS_ESTIMATE_H

#include <chrono>
#include <cstddef>
#include <cstdint>
#include <optional>
#include <string>
#include <vector>

namespace qvlctl {

// Estimates which share of a walk is done before anything is known of the folders ahead: what is in
// a folder shares the folder's part of the work evenly, its own files together as one. Never goes
// back, and ends at 1.
class ProgressEstimate {
 public:
  // The walk goes through `rootCount` trees, one after the other.
  explicit ProgressEstimate(std::size_t rootCount)
      : m_shareOfRoot(1 / static_cast<double>(rootCount)) {}

  // In the order of the walk. Folders that are left out need not be told.
  void folderBegins();
  void folderRead(std::size_t subfolderCount);
  void folderEnds();

  // From 0 to 1.
  double done() const { return m_done; }

 private:
  struct Folder {
    double end;             // what is done when this folder is
    double shareOfOne = 0;  // of each folder in it
  };

  const double m_shareOfRoot;
  double m_done = 0;
  std::vector<Folder> m_folders;
};

// "9,000 a second, 25 %, about 2 minutes left", as far as it can be told yet: nothing in the first
// second, no time left before there is something to judge it by.
std::string progressInWords(std::uint64_t files, std::chrono::duration<double> elapsed,
                            double done);

}  // namespace qvlctl

#endif  // QVLCTL_AUDIT_PROGRESS_ESTIMATE_H
