// The tree of the largest folders.

#include "audit/FolderTree.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cstdint>
#include <random>
#include <set>
#include <string>
#include <vector>

namespace qvlctl {
namespace {

// "name(files) [folders...] +rest": the shape of a tree, sizes in bytes.
std::string shape(const FolderNode& node) {
  std::string text = node.name + '(' + std::to_string(node.files.total().bytes) + ')';
  if (!node.folders.empty()) {
    text += " [";
    for (const FolderNode& folder : node.folders) {
      text += (text.back() == '[' ? "" : " ") + shape(folder);
    }
    text += ']';
  }
  if (node.restFolders > 0) {
    text += " +" + std::to_string(node.restFolders) + '(' +
            std::to_string(node.rest.total().bytes) + ')';
  }
  return text;
}

// Folders as nested brackets: "a 5 (b 3) (c 1)" has a file of 5 bytes in a, of 3 in a/b.
void walk(FolderTree& tree, const std::string& text) {
  std::string path;
  std::vector<std::size_t> lengths;
  for (std::size_t i = 0; i < text.size(); ++i) {
    if (text[i] == '(') {
      ++i;
      lengths.push_back(path.size());
      path += '/';
      path += text[i];
      tree.folderBegins(path);
    } else if (text[i] == ')') {
      tree.folderEnds();
      path.resize(lengths.back());
      lengths.pop_back();
    } else if (text[i] != ' ') {
      tree.file(1, {1, static_cast<std::uint64_t>(text[i] - '0')});
    }
  }
}

std::string shapeOf(std::size_t folderCount, const std::string& text) {
  FolderTree tree(folderCount);
  walk(tree, text);
  std::string shapes;
  for (const FolderNode& root : tree.roots()) shapes += (shapes.empty() ? "" : "; ") + shape(root);
  return shapes;
}

TEST(FolderTree, KeepsEverythingThatFits) {
  EXPECT_EQ(shapeOf(3, "(r 1 (a 5 (b 3)) (c 2))"), "/r(1) [a(5) [b(3)] c(2)]");
}

TEST(FolderTree, KeepsTheLargestFoldersAndSumsUpTheRest) {
  EXPECT_EQ(shapeOf(2, "(r (a 1) (b 9) (c 2 (d 5)) (e 3))"), "/r(0) [b(9) c(2) +1(5)] +2(4)");
  EXPECT_EQ(shapeOf(0, "(r 7 (a 1 (b 2)))"), "/r(7) +2(3)");
}

TEST(FolderTree, KeepsTheFirstOfEqualFolders) {
  EXPECT_EQ(shapeOf(2, "(r (a 1) (b 1) (c 1))"), "/r(0) [a(1) b(1)] +1(1)");
}

TEST(FolderTree, CountsFilesWithoutBytes) {
  EXPECT_EQ(shapeOf(1, "(r (a 9) (b 0 0))"), "/r(0) [b(0)] +1(9)");
}

TEST(FolderTree, KeepsEveryRoot) {
  EXPECT_EQ(shapeOf(1, "(r (a 9)(b 9)) (s) (t 1 (c 1))"),
            "/r(0) [a(9)] +1(9); /s(0); /t(1) [c(1)]");
}

TEST(FolderTree, KeepsReasonsApart) {
  FolderTree tree(0);
  tree.folderBegins("/r");
  tree.file(2, {1, 5});
  tree.file(0, {1, 7});
  tree.file(2, {1, 1});
  tree.folderEnds();
  const auto& entries = tree.roots().front().files.entries();
  ASSERT_EQ(entries.size(), 2u);
  EXPECT_EQ(entries[0].first, 0u);
  EXPECT_EQ(entries[0].second.bytes, 7u);
  EXPECT_EQ(entries[1].first, 2u);
  EXPECT_EQ(entries[1].second.files, 2u);
  EXPECT_EQ(entries[1].second.bytes, 6u);
}

// What a folder is measured by, worked out anew.
std::uint64_t sizeOf(const FolderNode& node) {
  std::uint64_t size = node.files.total().bytes + 4096 * node.files.total().files;
  for (const FolderNode& folder : node.folders) size += sizeOf(folder);
  return size;
}

void collect(const FolderNode& node, std::vector<const FolderNode*>& all) {
  for (const FolderNode& folder : node.folders) {
    all.push_back(&folder);
    collect(folder, all);
  }
}

// The part of a whole tree that consists of the folders wanted, in one look at all of them.
FolderNode cut(const FolderNode& node, const std::set<const FolderNode*>& wanted) {
  FolderNode result;
  result.name = node.name;
  result.files = node.files;
  for (const FolderNode& folder : node.folders) {
    FolderNode part = cut(folder, wanted);
    if (wanted.count(&folder) > 0) {
      result.folders.push_back(part);
    } else {
      result.rest.add(part.files);
      result.rest.add(part.rest);
      result.restFolders += 1 + part.restFolders;
    }
  }
  return result;
}

TEST(FolderTree, MakesSmallOnTheWayWhatOneLookAtTheEndWouldMakeOfTheWholeTree) {
  constexpr std::size_t kWanted = 4;
  std::mt19937 dice(7);
  std::size_t cutTrees = 0;
  for (int round = 0; round < 300; ++round) {
    std::string text = "(r";
    for (int depth = 1; depth > 0;) {
      const auto choice = dice() % 9;
      if (choice < 3 && depth < 6 && text.size() < 200) {
        text += "(x";
        ++depth;
      } else if (choice < 6) {
        text += std::to_string(dice() % 10);
      } else {
        text += ')';
        --depth;
      }
    }
    SCOPED_TRACE(text);
    FolderTree whole(1000);
    walk(whole, text);
    const FolderNode& root = whole.roots().front();
    std::vector<const FolderNode*> folders;
    collect(root, folders);
    std::stable_sort(folders.begin(), folders.end(), [](const FolderNode* a, const FolderNode* b) {
      return sizeOf(*a) > sizeOf(*b);
    });
    if (folders.size() > 2 * kWanted) ++cutTrees;
    folders.resize(std::min(folders.size(), kWanted));
    const FolderNode expected = cut(root, {folders.begin(), folders.end()});
    ASSERT_EQ(shapeOf(kWanted, text), shape(expected));
  }
  EXPECT_GT(cutTrees, 50u);
}

}  // namespace
}  // namespace qvlctl
