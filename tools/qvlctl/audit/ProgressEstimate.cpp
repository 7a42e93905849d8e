#include "audit/ProgressEstimate.h"

#include <algorithm>
#include <cmath>

#include "fmt/format.h"
#include "io/Output.h"

namespace qvlctl {
namespace {

std::string durationInWords(double seconds) {
  constexpr double kMinute = 60;
  constexpr double kHour = 60 * kMinute;
  const auto count = [](double value) {
    return static_cast<std::uint64_t>(std::max(std::round(value), 1.0));
  };
  if (seconds < 1.5 * kMinute) return counted(count(seconds), "second", "seconds");
  if (seconds < 1.5 * kHour) return counted(count(seconds / kMinute), "minute", "minutes");
  return counted(count(seconds / kHour), "hour", "hours");
}

}  // namespace

void ProgressEstimate::folderBegins() {
  const double share = m_folders.empty() ? m_shareOfRoot : m_folders.back().shareOfOne;
  m_folders.push_back({m_done + share});
}

void ProgressEstimate::folderRead(std::size_t subfolderCount) {
  Folder& folder = m_folders.back();
  folder.shareOfOne = (folder.end - m_done) / static_cast<double>(subfolderCount + 1);
  m_done += folder.shareOfOne;
}

void ProgressEstimate::folderEnds() {
  m_done = std::min(m_folders.back().end, 1.0);
  m_folders.pop_back();
}

std::string progressInWords(std::uint64_t files, std::chrono::duration<double> elapsed,
                            double done) {
  constexpr double kShortest = 1;
  constexpr double kLeast = 0.01;
  const double seconds = elapsed.count();
  if (seconds < kShortest) return {};
  std::string text =
      fmt::format("{} a second, {:.0f} %",
                  grouped(static_cast<std::uint64_t>(static_cast<double>(files) / seconds)),
                  std::floor(100 * done));
  if (done >= kLeast) {
    text += fmt::format(", about {} left", durationInWords(seconds / done * (1 - done)));
  }
  return text;
}

}  // namespace qvlctl
