// Files added up by folder.

#include "diff/FolderSums.h"

#include <gtest/gtest.h>

#include <string>
#include <vector>

namespace qvlctl {
namespace {

// "2 files 20 bytes /a/b/", a star behind a folder of which only the files directly in it count.
std::vector<std::string> linesOf(const FolderSums& sums, std::size_t count) {
  std::vector<std::string> lines;
  for (const FolderSums::Line& line : sums.lines(count)) {
    lines.push_back(std::to_string(line.tally.files) + " files " +
                    std::to_string(line.tally.bytes) + " bytes " + line.path +
                    (line.isDirect ? " *" : ""));
  }
  return lines;
}

using Lines = std::vector<std::string>;

TEST(FolderSums, AreAsFineAsThereIsRoom) {
  FolderSums sums;
  sums.add("/srv/a/x/1", {1, 1000});
  sums.add("/srv/a/x/2", {1, 2000});
  sums.add("/srv/a/y/3", {1, 4000});
  sums.add("/srv/b/4", {1, 10});
  sums.add("/srv/5", {1, 1});
  sums.add("/srv/6", {1, 2});
  EXPECT_EQ(linesOf(sums, 0), (Lines{"3 files 7000 bytes /srv/a/", "1 files 10 bytes /srv/b/4",
                                     "2 files 3 bytes /srv/ *"}));
  EXPECT_EQ(linesOf(sums, 3), linesOf(sums, 0));
  EXPECT_EQ(linesOf(sums, 4), (Lines{"3 files 7000 bytes /srv/a/", "1 files 10 bytes /srv/b/4",
                                     "1 files 2 bytes /srv/6", "1 files 1 bytes /srv/5"}));
  EXPECT_EQ(linesOf(sums, 5), (Lines{"1 files 4000 bytes /srv/a/y/3",
                                     "2 files 3000 bytes /srv/a/x/", "1 files 10 bytes /srv/b/4",
                                     "1 files 2 bytes /srv/6", "1 files 1 bytes /srv/5"}));
  EXPECT_EQ(linesOf(sums, 6).size(), 6u);
}

TEST(FolderSums, TakeAnyText) {
  FolderSums sums;
  for (const char* const path : {"", "x", "/", "//", "a//b", "/a/"}) sums.add(path, {1, 1});
  std::uint64_t files = 0;
  for (const FolderSums::Line& line : sums.lines(100)) files += line.tally.files;
  EXPECT_EQ(files, 6u);

  FolderSums one;
  one.add("/only", {1, 7});
  EXPECT_EQ(linesOf(one, 10), Lines{"1 files 7 bytes /only"});
}

TEST(FolderSums, AFolderOfManyFilesIsALine) {
  FolderSums sums;
  for (int i = 0; i < 100; ++i) sums.add("/srv/a/" + std::to_string(i), {1, 1});
  EXPECT_EQ(linesOf(sums, 10), Lines{"100 files 100 bytes /srv/a/"});
}

// Far more folders than are kept: nothing is lost, and the upper ones are still told apart.
TEST(FolderSums, AddUpToEverythingHoweverManyThereAre) {
  FolderSums sums;
  std::uint64_t added = 0;
  for (int i = 0; i < 20; ++i) {
    for (int j = 0; j < 2000; ++j) {
      const std::string number = std::to_string(j);
      sums.add("/srv/" + std::to_string(i) + "/" + number + "/deep/" + number, {1, 3});
      ++added;
    }
  }
  for (const std::size_t count : {std::size_t{0}, std::size_t{10}, std::size_t{1000000}}) {
    const std::vector<FolderSums::Line> lines = sums.lines(count);
    Tally total;
    for (const FolderSums::Line& line : lines) total.add(line.tally);
    EXPECT_EQ(total.files, added);
    EXPECT_EQ(total.bytes, 3 * added);
    EXPECT_GE(lines.size(), 20u);
    EXPECT_LE(lines.size(), FolderSums::kMostNodes);
  }
}

}  // namespace
}  // namespace qvlctl
