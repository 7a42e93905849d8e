// How far a walk has come, and how that is told.

#include "audit/ProgressEstimate.h"

#include <gtest/gtest.h>

namespace qvlctl {
namespace {

TEST(ProgressEstimate, SharesAFolderEvenlyAmongItsFilesAndItsFolders) {
  ProgressEstimate progress(1);
  EXPECT_EQ(progress.done(), 0);
  progress.folderBegins();
  progress.folderRead(3);  // and its own files
  EXPECT_DOUBLE_EQ(progress.done(), 0.25);
  progress.folderBegins();
  progress.folderRead(1);
  EXPECT_DOUBLE_EQ(progress.done(), 0.375);
  progress.folderBegins();
  progress.folderRead(0);
  EXPECT_DOUBLE_EQ(progress.done(), 0.5);
  progress.folderEnds();
  progress.folderEnds();
  EXPECT_DOUBLE_EQ(progress.done(), 0.5);
}

TEST(ProgressEstimate, SkipsOverFoldersThatAreLeftOut) {
  ProgressEstimate progress(1);
  progress.folderBegins();
  progress.folderRead(9);
  progress.folderBegins();
  progress.folderRead(9);
  EXPECT_DOUBLE_EQ(progress.done(), 0.11);
  progress.folderEnds();
  EXPECT_DOUBLE_EQ(progress.done(), 0.2);
  progress.folderEnds();
  EXPECT_DOUBLE_EQ(progress.done(), 1);
}

TEST(ProgressEstimate, SharesTheWorkEvenlyAmongTheTrees) {
  ProgressEstimate progress(2);
  progress.folderBegins();
  progress.folderRead(0);
  progress.folderEnds();
  EXPECT_DOUBLE_EQ(progress.done(), 0.5);
  progress.folderBegins();
  progress.folderEnds();
  EXPECT_DOUBLE_EQ(progress.done(), 1);
}

TEST(ProgressEstimate, IsToldInWords) {
  struct Row {
    std::uint64_t files;
    double seconds;
    double done;
    const char* words;
  };
  const Row rows[] = {
      {100, 0.9, 0.5, ""},
      {100, 1, 0.009, "100 a second, 0 %"},
      {1234567, 10, 0.01, "123,456 a second, 1 %, about 17 minutes left"},
      {20000, 2, 0.5, "10,000 a second, 50 %, about 2 seconds left"},
      {20000, 100, 0.999, "200 a second, 99 %, about 1 second left"},
      {20000, 100, 0.5, "200 a second, 50 %, about 2 minutes left"},
      {20000, 600, 0.1, "33 a second, 10 %, about 2 hours left"},
      {20000, 10, 1, "2,000 a second, 100 %, about 1 second left"},
  };
  for (const Row& row : rows) {
    EXPECT_EQ(progressInWords(row.files, std::chrono::duration<double>(row.seconds), row.done),
              row.words);
  }
}

}  // namespace
}  // namespace qvlctl
