#include "qvl/match/PieceRows.h"

#include <gtest/gtest.h>

#include <string>
#include <string_view>
#include <vector>

#include "qvl/match/LiteralSet.h"
#include "tests/support/Dice.h"
#include "tests/support/Outcome.h"

namespace QVL {
namespace Test {
namespace {

LiteralSet::Piece pieceOf(const std::string& signs) {
  LiteralSet::Piece piece;
  for (const char sign : signs) {
    piece += sign == '_'   ? LiteralSet::kOne
             : sign == '?' ? LiteralSet::kOneNotSlash
                           : static_cast<unsigned char>(sign);
  }
  return piece;
}

// Where pieces end that begin at one of the places, looked for one by one.
std::vector<bool> endsByMatching(const LiteralSet& set, const std::string& text,
                                 const std::vector<bool>& places) {
  std::vector<bool> ends(text.size() + 1);
  for (std::size_t at = 0; at <= text.size(); ++at) {
    if (!places[at]) continue;
    set.match(std::string_view(text).substr(at),
              [&](std::size_t length) { ends[at + length] = true; });
  }
  return ends;
}

std::vector<bool> endsByRows(PieceRows& rows, const LiteralSet& set, const std::string& text,
                             const std::vector<bool>& places) {
  const PieceRows::Rows of = rows.rowsOf(set);
  const std::size_t blocks = text.size() / PieceRows::kBits + 1;
  std::vector<PieceRows::Word> ends(blocks + 1);
  for (std::size_t block = 0; block < blocks; ++block) {
    PieceRows::Word word = 0;
    for (std::size_t i = 0; i < PieceRows::kBits; ++i) {
      const std::size_t at = block * PieceRows::kBits + i;
      if (at <= text.size() && places[at]) word |= PieceRows::Word{1} << i;
    }
    of.addEnds(word, block, ends[block], ends[block + 1]);
  }
  std::vector<bool> result(text.size() + 1);
  for (std::size_t at = 0; at <= text.size(); ++at) {
    result[at] = (ends[at / PieceRows::kBits] >> at % PieceRows::kBits & 1) != 0;
  }
  return result;
}

TEST(PieceRows, TellWherePiecesEndAsMatchingThemDoes) {
  const std::vector<std::string> signs = {"a", "b", "/", "_", "?", "\xC3", "\xA9", "ab", "é"};
  const std::vector<std::string> pieces = {"a", "b", "/", "é", "ab", "aaaa", "日"};
  Dice dice;
  SCOPED_TRACE(dice.origin());
  std::size_t found = 0;
  PieceRows rows;  // used for one text after the other
  for (std::size_t i = Dice::cases(500); i > 0; --i) {
    std::vector<LiteralSet::Piece> all;
    for (std::size_t count = 1 + dice.below(6); count > 0; --count) {
      // Now and then as long as a piece may be.
      all.push_back(pieceOf(dice.oneIn(8) ? std::string(64, 'a') : dice.join(signs, 0, 4)));
    }
    const LiteralSet set(all);
    const std::string text =
        dice.join(pieces, 0, 60) + std::string(dice.oneIn(4) ? dice.below(140) : 0, 'a');
    rows.assign(text);
    ASSERT_FALSE(rows.pays(set, text.size()));
    ASSERT_TRUE(rows.pays(set, 1));
    for (int j = 0; j < 3; ++j) {
      std::vector<bool> places(text.size() + 1);
      for (std::size_t at = 0; at <= text.size(); ++at) {
        const bool isInside = at < text.size() && (text[at] & 0xC0) == 0x80;
        places[at] = !isInside && (j == 0 || dice.oneIn(3));
      }
      const std::vector<bool> expected = endsByMatching(set, text, places);
      ASSERT_EQ(endsByRows(rows, set, text, places), expected) << shown(text);
      for (const bool end : expected) found += end;
    }
  }
  EXPECT_GT(found, 1000u);
}

TEST(PieceRows, AreKeptForSomeSetsAndForNoVeryLongText) {
  std::vector<LiteralSet> sets;
  for (char c = 'a'; c < 'a' + 17; ++c) sets.emplace_back(std::vector{pieceOf(std::string(1, c))});
  PieceRows rows;
  rows.assign("abc");
  for (std::size_t i = 0; i < sets.size(); ++i) EXPECT_EQ(rows.pays(sets[i], 100), i < 16) << i;
  const std::string longText(8193, 'a');
  rows.assign(longText);
  EXPECT_FALSE(rows.pays(sets[0], 100000));
}

}  // namespace
}  // namespace Test
}  // namespace QVL
