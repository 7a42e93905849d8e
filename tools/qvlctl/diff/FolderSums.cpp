#include "diff/FolderSums.h"

#include <algorithm>
#include <cstdint>
#include <functional>
#include <iterator>
#include <tuple>
#include <utility>

namespace qvlctl {
namespace {

bool isFolder(std::string_view name) {
  return !name.empty() && name.back() == '/';
}

// Bytes and files both count, as in the audit's picture.
std::uint64_t weightOf(const Tally& tally) {
  return tally.bytes + 4096 * tally.files;
}

}  // namespace

void FolderSums::add(std::string_view path, const Tally& tally) {
  Node* node = &m_root;
  node->tally.add(tally);
  bool isLast = false;
  while (!isLast && !node->isClosed) {
    const std::size_t slash = path.find('/');
    isLast = slash == std::string_view::npos;
    const std::string_view name = isLast ? path : path.substr(0, slash + 1);
    path.remove_prefix(name.size());
    auto child = node->children.find(name);
    if (child == node->children.end()) {
      child = node->children.emplace(std::string(name), Node()).first;
      ++m_count;
    }
    node = &child->second;
    node->tally.add(tally);
  }
  while (m_count > kMostNodes) {
    const std::function<std::size_t(const Node&)> depthOf = [&](const Node& one) {
      std::size_t deepest = 0;
      for (const auto& [name, child] : one.children)
        deepest = std::max(deepest, 1 + depthOf(child));
      return deepest;
    };
    m_count -= closeDeepest(m_root, 1, depthOf(m_root));
  }
}

// Closes the folders whose children are at that depth. Returns how many children those were.
std::size_t FolderSums::closeDeepest(Node& node, std::size_t depth, std::size_t deepest) {
  if (depth == deepest) {
    const std::size_t count = node.children.size();
    if (count > 0) node.isClosed = true;
    node.children.clear();
    return count;
  }
  std::size_t count = 0;
  for (auto& [name, child] : node.children) count += closeDeepest(child, depth + 1, deepest);
  return count;
}

// The only thing in it, in it, and so on.
FolderSums::Candidate FolderSums::descended(Candidate candidate) {
  while (!candidate.line.isDirect && candidate.node->children.size() == 1) {
    const auto& [name, child] = *candidate.node->children.begin();
    candidate = {&child, {candidate.line.path + name, false, child.tally}};
  }
  return candidate;
}

// What is in a folder: its folders, and its files one by one or together.
std::vector<FolderSums::Candidate> FolderSums::inside(const Candidate& folder, bool withFiles) {
  std::vector<Candidate> found;
  Tally direct;
  for (const auto& [name, child] : folder.node->children) {
    if (withFiles || isFolder(name)) {
      found.push_back(descended({&child, {folder.line.path + name, false, child.tally}}));
    } else {
      direct.add(child.tally);
    }
  }
  if (direct.files > 0) found.push_back({folder.node, {folder.line.path, true, direct}});
  return found;
}

std::vector<FolderSums::Line> FolderSums::lines(std::size_t count) const {
  std::vector<Candidate> candidates = {descended({&m_root, {"", false, m_root.tally}})};
  std::vector<Line> result;
  bool isFirst = true;
  // The largest one is replaced by what is in it, or is a line.
  while (!candidates.empty()) {
    const auto largest = std::max_element(candidates.begin(), candidates.end(),
                                          [](const Candidate& a, const Candidate& b) {
                                            return weightOf(a.line.tally) < weightOf(b.line.tally);
                                          });
    const Candidate candidate = std::move(*largest);
    candidates.erase(largest);
    const std::size_t room = count - std::min(count, candidates.size() + result.size());
    std::vector<Candidate> below;
    if (!candidate.line.isDirect && !candidate.node->children.empty()) {
      below = inside(candidate, true);
      if (below.size() > room) below = inside(candidate, false);
      const bool hasFolders = std::any_of(below.begin(), below.end(),
                                          [](const Candidate& one) { return !one.line.isDirect; });
      if (!hasFolders || (below.size() > room && !isFirst)) below.clear();
    }
    isFirst = false;
    if (below.empty()) {
      result.push_back(candidate.line);
    } else {
      std::move(below.begin(), below.end(), std::back_inserter(candidates));
    }
  }
  std::stable_sort(result.begin(), result.end(), [](const Line& a, const Line& b) {
    return std::tie(a.tally.bytes, a.tally.files) > std::tie(b.tally.bytes, b.tally.files);
  });
  return result;
}

}  // namespace qvlctl
