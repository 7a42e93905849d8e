#include "audit/FolderTree.h"

#include <algorithm>
#include <functional>
#include <utility>

namespace qvlctl {
namespace {

constexpr std::uint64_t kBytesOfAFile = 4096;

TalliesByReason everythingIn(const FolderNode& node) {
  TalliesByReason all = node.files;
  all.add(node.rest);
  for (const FolderNode& folder : node.folders) all.add(everythingIn(folder));
  return all;
}

std::uint64_t foldersIn(const FolderNode& node) {
  std::uint64_t count = node.restFolders;
  for (const FolderNode& folder : node.folders) count += 1 + foldersIn(folder);
  return count;
}

// Collects the sizes of the nodes below in the order of the tree, a folder ahead of what is in it.
// Returns the size of the node itself.
std::uint64_t collectSizes(const FolderNode& node, std::vector<std::uint64_t>& sizes) {
  const auto sizeOf = [](const TalliesByReason& tallies) {
    const Tally total = tallies.total();
    return total.bytes + kBytesOfAFile * total.files;
  };
  std::uint64_t size = sizeOf(node.files) + sizeOf(node.rest);
  for (const FolderNode& folder : node.folders) {
    const std::size_t place = sizes.size();
    sizes.push_back(0);
    sizes[place] = collectSizes(folder, sizes);
    size += sizes[place];
  }
  return size;
}

// Which of the sizes are the `count` largest? Of equal ones the first.
std::vector<bool> largest(const std::vector<std::uint64_t>& sizes, std::size_t count) {
  std::vector<bool> isLarge(sizes.size(), count >= sizes.size());
  if (count >= sizes.size() || count == 0) return isLarge;
  std::vector<std::uint64_t> ordered = sizes;
  const auto place = ordered.begin() + static_cast<std::ptrdiff_t>(count) - 1;
  std::nth_element(ordered.begin(), place, ordered.end(), std::greater<>());
  const std::uint64_t least = *place;
  auto equalOnes = static_cast<std::size_t>(std::count(ordered.begin(), place + 1, least));
  for (std::size_t i = 0; i < sizes.size(); ++i) {
    isLarge[i] = sizes[i] > least || (sizes[i] == least && equalOnes > 0);
    if (sizes[i] == least && equalOnes > 0) --equalOnes;
  }
  return isLarge;
}

// Takes the folders that are not to be kept into the rest of the folder that they are in. `next` is
// the place of the first folder below `node` in `keep`, and ends behind the last.
void takeTogether(FolderNode& node, const std::vector<bool>& keep, std::size_t& next) {
  std::vector<FolderNode> kept;
  for (FolderNode& folder : node.folders) {
    const bool isKept = keep[next++];
    takeTogether(folder, keep, next);
    if (isKept) {
      kept.push_back(std::move(folder));
    } else {
      node.rest.add(everythingIn(folder));
      node.restFolders += 1 + foldersIn(folder);
    }
  }
  node.folders = std::move(kept);
}

// Keeps the largest nodes below `node`.
void keepLargest(FolderNode& node, std::size_t count) {
  std::vector<std::uint64_t> sizes;
  collectSizes(node, sizes);
  std::size_t next = 0;
  takeTogether(node, largest(sizes, count), next);
}

std::string nameOf(const std::string& path) {
  return path.substr(path.rfind('/') + 1);
}

}  // namespace

void FolderTree::folderBegins(const std::string& path) {
  m_open.emplace_back();
  m_open.back().node.name = m_open.size() == 1 ? path : nameOf(path);
}

void FolderTree::file(std::size_t reason, const Tally& tally) {
  m_open.back().node.files.add(reason, tally);
}

void FolderTree::folderEnds() {
  OpenNode ended = std::move(m_open.back());
  m_open.pop_back();
  if (m_open.empty()) {
    m_roots.push_back(std::move(ended.node));
    return;
  }
  OpenNode& parent = m_open.back();
  parent.below += 1 + ended.below;
  parent.node.folders.push_back(std::move(ended.node));
  // Twice as many as are wanted, so that the work is not done anew for each folder.
  if (parent.below > 2 * m_folderCount) {
    keepLargest(parent.node, m_folderCount);
    parent.below = m_folderCount;
  }
}

const std::vector<FolderNode>& FolderTree::roots() {
  for (FolderNode& root : m_roots) keepLargest(root, m_folderCount);
  return m_roots;
}

}  // namespace qvlctl
