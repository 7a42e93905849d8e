// Which patterns may match a text, by a piece of theirs.

#include "qvlpolicy/PieceIndex.h"

#include <gtest/gtest.h>

#include <random>
#include <set>
#include <string>
#include <vector>

namespace qvlpolicy {
namespace {

std::set<std::size_t> candidatesOf(const PieceIndex& index, const PieceIndex::Runs& texts) {
  std::set<std::size_t> found;
  index.eachCandidate(texts, [&](std::size_t pattern) {
    found.insert(pattern);
    return true;
  });
  return found;
}

TEST(PieceIndex, LeavesOutNoPatternWhoseRunsAreInTheText) {
  std::mt19937_64 random(15);
  const auto word = [&](std::size_t longest) {
    std::string made;
    for (std::size_t i = random() % (longest + 1); i > 0; --i) made += "abcde/"[random() % 6];
    return made;
  };
  std::size_t expected = 0;
  for (int round = 0; round < 200; ++round) {
    std::vector<PieceIndex::Runs> patterns(random() % 50);
    for (PieceIndex::Runs& runs : patterns) {
      for (std::size_t i = random() % 4; i > 0; --i) runs.push_back(word(12));
    }
    const PieceIndex index(patterns.size(), [&](std::size_t i) { return &patterns[i]; });
    const std::string text = word(20);
    PieceIndex::Runs parts = {text};
    if (!patterns.empty()) {
      for (const std::string& run : patterns[0]) parts[0] += run + word(3);
    }
    const std::set<std::size_t> found = candidatesOf(index, parts);
    for (std::size_t i = 0; i < patterns.size(); ++i) {
      bool fits = true;
      for (const std::string& run : patterns[i]) {
        fits = fits && parts[0].find(run) != std::string::npos;
      }
      expected += fits ? 1 : 0;
      EXPECT_TRUE(!fits || found.count(i) == 1) << parts[0];
    }
  }
  EXPECT_GT(expected, 300u);
}

TEST(PieceIndex, ListsPatternsUnderTheirRarestPiece) {
  std::vector<PieceIndex::Runs> patterns;
  for (int i = 1000; i < 5000; ++i) {
    patterns.push_back({"/srv/share/" + std::to_string(i) + "/cache/"});
  }
  const PieceIndex index(patterns.size(), [&](std::size_t i) { return &patterns[i]; });
  EXPECT_LE(candidatesOf(index, {"/srv/share/x/cache/"}).size(), 20u);
  EXPECT_EQ(candidatesOf(index, {"/srv/share/1234/cache/"}).count(234), 1u);
}

TEST(PieceIndex, LeavesOutWhatHasNoRunsToBeAskedFor) {
  const PieceIndex::Runs none;
  const PieceIndex::Runs some = {"abc"};
  const PieceIndex index(3, [&](std::size_t i) {
    return i == 0 ? nullptr : i == 1 ? &none : &some;
  });
  EXPECT_EQ(candidatesOf(index, {"xabcx"}), (std::set<std::size_t>{1, 2}));
  EXPECT_EQ(candidatesOf(index, {"xaxbxc"}), (std::set<std::size_t>{1}));
  EXPECT_EQ(candidatesOf(index, {}), (std::set<std::size_t>{1}));
  EXPECT_TRUE(candidatesOf(PieceIndex(), {"abc", ""}).empty());
}

}  // namespace
}  // namespace qvlpolicy
