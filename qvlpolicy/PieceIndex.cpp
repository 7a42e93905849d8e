#include "qvlpolicy/PieceIndex.h"

namespace qvlpolicy {
namespace {

// A power of two.
std::size_t sizeFor(std::size_t count) {
  std::size_t size = 1;
  while (size < count) size *= 2;
  return size;
}

}  // namespace

PieceIndex::PieceIndex(std::size_t count, const std::function<const Runs*(std::size_t)>& runsOf) {
  const auto eachPieceOf = [](const Runs& runs, std::size_t length, const auto& take) {
    for (const std::string& run : runs) {
      if (std::min(run.size(), kLongest) != length) continue;
      eachPiece(run, length, [&](std::uint32_t hash) {
        take(hash);
        return true;
      });
    }
  };
  // Of short pieces many patterns hold one that they are not listed under, so that those are only
  // for patterns that have no longer ones.
  const auto longestOf = [](const Runs& runs) {
    std::size_t longest = 0;
    for (const std::string& run : runs) longest = std::max(longest, run.size());
    return std::min(longest, kLongest);
  };

  // Pieces share counters: a count may be too high, which costs comparisons.
  std::vector<std::uint32_t> counts(sizeFor(16 * count));
  const std::size_t mask = counts.size() - 1;
  for (std::size_t i = 0; i < count; ++i) {
    const Runs* const runs = runsOf(i);
    if (runs == nullptr) continue;
    eachPieceOf(*runs, longestOf(*runs), [&](std::uint32_t hash) { ++counts[hash & mask]; });
  }

  std::vector<Entry> listed;
  m_ends.resize(sizeFor(count));
  for (std::size_t i = 0; i < count; ++i) {
    const Runs* const runs = runsOf(i);
    if (runs == nullptr) continue;
    const auto pattern = static_cast<std::uint32_t>(i);
    const std::size_t length = longestOf(*runs);
    if (length == 0) {
      m_everywhere.push_back(pattern);
      continue;
    }
    std::uint32_t least = UINT32_MAX;
    std::uint32_t rarest = 0;
    eachPieceOf(*runs, length, [&](std::uint32_t hash) {
      if (counts[hash & mask] >= least) return;
      least = counts[hash & mask];
      rarest = hash;
    });
    m_hasLength[length] = true;
    listed.push_back({rarest, pattern});
    ++m_ends[rarest & (m_ends.size() - 1)];
  }

  // A counting sort: the ends are the beginnings until the entries are put in.
  std::uint32_t begin = 0;
  for (std::uint32_t& end : m_ends) {
    const std::uint32_t size = end;
    end = begin;
    begin += size;
  }
  m_entries.resize(listed.size());
  for (const Entry& entry : listed) {
    m_entries[m_ends[entry.hash & (m_ends.size() - 1)]++] = entry;
  }
}

}  // namespace qvlpolicy
