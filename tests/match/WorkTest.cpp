// How much a match costs, counted: steps of the simulation, each over 64 places of the text.

#include <gtest/gtest.h>

#include <algorithm>
#include <cstdint>
#include <memory>
#include <set>
#include <string>
#include <vector>

#include "qvl/match/CompiledPattern.h"
#include "qvl/match/Keywords.h"
#include "qvl/match/PatternLanguage.h"
#include "tests/support/Dice.h"
#include "tests/support/Outcome.h"

namespace QVL {
namespace Test {
namespace {

std::string repeated(const std::string& text, std::size_t times) {
  std::string all;
  for (std::size_t i = 0; i < times; ++i) all += text;
  return all;
}

std::uint64_t stepsOf(const CompiledPattern& pattern, const std::string& text) {
  TextScratch scratch;
  Text subject(text, scratch);
  pattern.matches(subject);
  return scratch.steps;
}

// Each character of an expression stands for at most one instruction and one byte of it.
std::uint64_t mostStepsOfGlob(const std::string& expression, const std::string& text) {
  return 2 * expression.size() * (text.size() / 64 + 1);
}

// A set, a place or a list of literals is gone through place by place; each loop, with what it
// holds, at most once from each place of a block.
std::uint64_t mostStepsOf(const std::string& expression, const std::string& text) {
  const auto loops =
      static_cast<std::uint64_t>(std::count_if(expression.begin(), expression.end(), [](char c) {
        return c == '*' || c == '+' || c == '{';
      }));
  return 66 * (1 + loops) * mostStepsOfGlob(expression, text) * 66;
}

TEST(Work, OfOneGlobIsLinearInTheText) {
  struct Case {
    std::string glob;
    std::string piece;
  };
  const std::vector<Case> cases = {
      {"/**/a/**z**", "/a"},
      {"/**" + repeated("?", 2000) + "*Q*c", "é"},
      {"/**" + repeated("?/", 1000) + "?*Q*c", "a/"},
      {repeated("*a", 40) + "*z", "a"},
      {"/**/" + repeated("a*", 60) + "b", "/aaaa"},
      {repeated("**/x", 100), "/x/y"},
      {repeated("**/*é*", 40) + "z", "/éa"},
  };
  for (const Case& one : cases) {
    const std::string expression = expressionOfGlob(one.glob);
    const CompiledPattern pattern(expression, true);
    ASSERT_NE(pattern.program(), nullptr);
    for (const std::size_t length : {64u, 1024u, 4096u, 16384u}) {
      const std::string text = repeated(one.piece, length / one.piece.size());
      EXPECT_LE(stepsOf(pattern, text), mostStepsOfGlob(expression, text))
          << shown(one.glob) << ", " << length << " bytes";
    }
  }
}

// Of very many alternatives only those cost something that a text goes along with.
TEST(Work, OfManyAlternativesIsThatOfTheFewThatFit) {
  struct Case {
    std::string before;
    std::string after;
    std::string piece;
  };
  const std::vector<Case> cases = {
      {"d", "/[^/]*", "d0/"},
      {"[^/]*x", "", "x1"},
      {"[^/]*", "/[^/]*", "1/"},
      {".*/a", "b.*", "/a1"},
  };
  for (const Case& one : cases) {
    std::uint64_t steps[2];
    for (const std::size_t i : {std::size_t{0}, std::size_t{1}}) {
      std::string expression = "/.*(";
      for (std::size_t k = 0; k < (i == 0 ? 500 : 5000); ++k) {
        expression += (k == 0 ? "" : "|") + one.before + std::to_string(k) + one.after;
      }
      const CompiledPattern pattern(expression + ")/", true);
      ASSERT_NE(pattern.program(), nullptr);
      steps[i] = stepsOf(pattern, "/" + repeated(one.piece, 4000 / one.piece.size()) + "/");
    }
    EXPECT_GT(steps[0], 64u);
    EXPECT_LE(steps[0], 64u * 250) << one.before << "N" << one.after;
    EXPECT_LE(steps[1], steps[0] * 11 / 10) << one.before << "N" << one.after;
  }
}

// However many patterns look for the values of a keyword at all places of a text, these are
// compared with it once.
TEST(Work, OfManyPatternsThatNameAKeywordIsThatOfAFewWordsEach) {
  std::set<std::string> values;
  for (int i = 0; i < 8; ++i) values.insert(std::to_string(i) + "a");
  const auto alternation = std::make_shared<const Alternation>(values);
  std::string text;
  for (int i = 0; text.size() < 4000; ++i) text += std::to_string(i) + "a/";
  TextScratch scratch;
  Text subject(text, scratch);
  constexpr std::size_t kPatterns = 100;
  for (std::size_t i = 0; i < kPatterns; ++i) {
    ExpressionText expression(".*K[^/]" + std::to_string(i) + ".*");
    expression.substitute("K", alternation);
    const CompiledPattern pattern(expression, true);
    EXPECT_FALSE(pattern.matches(subject));
  }
  const std::size_t blocks = text.size() / 64 + 1;
  constexpr std::size_t kInstructions = 6;  // the digits of the number included
  EXPECT_LE(scratch.steps, 2 * text.size() + kPatterns * blocks * 2 * kInstructions);
  EXPECT_GT(scratch.steps, kPatterns * blocks);
}

// Places with too little behind them are not gone on from.
TEST(Work, OfALongPatternIsThatOfThePlacesWhereItMayStand) {
  struct Case {
    std::string glob;
    std::size_t least;
  };
  const std::vector<Case> cases = {
      {"*" + repeated("a?", 1900) + "/", 3801},
      {"**" + repeated("?/", 1900) + "x", 3801},
      {"**/" + repeated("a?", 1900) + "b*", 3801},
  };
  for (const Case& one : cases) {
    const CompiledPattern pattern(expressionOfGlob(one.glob), true);
    ASSERT_NE(pattern.program(), nullptr);
    for (const char* const piece : {"a", "a/", "aa/b"}) {
      const std::string text = repeated(piece, 4093 / std::string(piece).size());
      const std::size_t blocksOfPlaces = (text.size() - one.least) / 64 + 3;
      EXPECT_LE(stepsOf(pattern, text), (one.least + 200) * blocksOfPlaces) << piece;
    }
  }
}

// Characters that are counted cost a word operation each, for 64 places, and no instruction.
TEST(Work, OfCountedCharactersIsThatOfTheirNumber) {
  struct Case {
    std::string expression;
    std::uint64_t characters;
  };
  const std::vector<Case> cases = {{".*[a-z]{0,1000}[0-9]", 1000},
                                   {".*[a-z]{1,500}?(a|b){0,500}[0-9]", 1000},
                                   {".*(a|[^b]){1000}[0-9]", 1000},
                                   {".*a{0,800}[0-9]", 800}};
  for (const Case& one : cases) {
    const CompiledPattern pattern(one.expression, true);
    ASSERT_NE(pattern.program(), nullptr);
    EXPECT_LE(pattern.program()->size(), one.characters / 64 + 10) << one.expression;
    const std::string text(4096, 'a');
    EXPECT_LE(stepsOf(pattern, text), (one.characters + 300) * (4096 / 64 + 1)) << one.expression;
  }
}

TEST(Work, OfOneExpressionIsLinearInTheText) {
  struct Case {
    std::string expression;
    std::string piece;
  };
  const std::vector<Case> cases = {
      {"(a|a)*c", "a"},
      {"(a+)+[0-9]", "a"},
      {"[a-z]*[a-z]*[a-z]*[0-9]", "abc"},
      {"(x+x+)+y", "x"},
      {"((a|b)*c|(a|ab)*)*d", "ab"},
      {"(([a-c]+)*([b-d]+)*)*e", "abcd"},
      {".*(a|aa|aaa)+\\b.*z", "aaa "},
      {"((((a*)*)*)*)*b", "a"},
  };
  for (const Case& one : cases) {
    const CompiledPattern pattern(one.expression, true);
    ASSERT_NE(pattern.program(), nullptr) << one.expression;
    std::uint64_t before = 0;
    for (const std::size_t length : {1024u, 2048u, 4096u, 8192u}) {
      const std::string text = repeated(one.piece, length / one.piece.size());
      const std::uint64_t steps = stepsOf(pattern, text);
      EXPECT_LE(steps, mostStepsOf(one.expression, text)) << one.expression << ", " << length;
      // Twice the text, twice the work.
      if (before != 0) {
        EXPECT_LE(steps, before * 21 / 10) << one.expression << ", " << length;
      }
      before = steps;
    }
  }
}

TEST(Work, OfRandomGlobsAndTextsIsLinearInTheText) {
  const std::vector<std::string> parts = {"/", "a",  "b",    "aa", "é",
                                          "*", "**", "/**/", "?",  "(a|b)"};
  const std::vector<std::string> pieces = {"/", "a", "b", "aa", "é", "/a", "ab/"};
  Dice dice;
  SCOPED_TRACE(dice.origin());
  std::uint64_t most = 0;
  for (std::size_t i = Dice::cases(3000); i > 0; --i) {
    const std::string unit = dice.join(parts, 1, 5);
    const std::string glob = repeated(unit, 1 + dice.below(40)) + dice.join(parts, 0, 4);
    const std::string expression = expressionOfGlob(glob);
    const CompiledPattern pattern(expression, dice.oneIn(2));
    if (!pattern.program()) continue;
    const std::string text = repeated(dice.join(pieces, 1, 4), 1 + dice.below(600));
    const std::uint64_t steps = stepsOf(pattern, text);
    ASSERT_LE(steps, mostStepsOfGlob(expression, text)) << shown(glob) << " on " << shown(text);
    most = std::max(most, steps);
  }
  EXPECT_GT(most, 1000u);
}

TEST(Work, OfRandomExpressionsAndTextsIsLinearInTheText) {
  const std::vector<std::string> parts = {
      "a",  "b",   "[ab]", "[a-z]*", ".*",        "(a|b)*", "(a+)+", "(ab)*", "é", "\\w+",
      "a?", "\\b", "(",    ")",      "(a|ab|b)+", "{2,3}",  "(b*)*", "|",     "$"};
  const std::vector<std::string> pieces = {"a", "b", "ab", "é", " ", "ba", "aab"};
  Dice dice;
  SCOPED_TRACE(dice.origin());
  std::size_t tried = 0;
  std::size_t isTelling = 0;  // so much work that twice as much would be too much
  for (std::size_t i = Dice::cases(3000); i > 0; --i) {
    const std::string expression = dice.join(parts, 1, 6);
    std::unique_ptr<const CompiledPattern> pattern;
    try {
      pattern = std::make_unique<const CompiledPattern>(expression, true);
    } catch (const std::exception&) {
      continue;
    }
    if (!pattern->program()) continue;
    ++tried;
    const std::string text = repeated(dice.join(pieces, 1, 4), 1 + dice.below(4000));
    const std::uint64_t steps = stepsOf(*pattern, text);
    ASSERT_LE(steps, mostStepsOf(expression, text)) << shown(expression) << " on " << shown(text);
    // Twice the text, twice the work, but for what the ends of a text make different.
    const std::uint64_t atTheEnds = 66 * mostStepsOfGlob(expression, "");
    ASSERT_LE(stepsOf(*pattern, text + text), 2 * steps + steps / 10 + atTheEnds)
        << shown(expression) << " on twice " << shown(text);
    isTelling += steps > 2 * atTheEnds;
  }
  EXPECT_GT(tried, Dice::cases(3000) / 10);
  EXPECT_GT(isTelling, tried / 20);
}

}  // namespace
}  // namespace Test
}  // namespace QVL
