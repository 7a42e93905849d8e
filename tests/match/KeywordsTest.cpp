#include "qvl/match/Keywords.h"

#include <gtest/gtest.h>

#include <cstddef>
#include <map>
#include <memory>
#include <set>
#include <string>
#include <vector>

#include "qvl/avoidance/Utility.h"
#include "qvl/match/CompiledPattern.h"
#include "qvl/match/Engine.h"
#include "qvl/match/LiteralSet.h"
#include "tests/match/StepNotation.h"
#include "tests/support/Dice.h"
#include "tests/support/Outcome.h"

namespace QVL {
namespace Test {
namespace {

std::shared_ptr<const Alternation> alternationOf(std::set<std::string> values) {
  return std::make_shared<const Alternation>(std::move(values));
}

std::string readAs(const ExpressionText& expression, bool caseSensitive) {
  const std::optional<Reading> reading = readExpression(expression, caseSensitive);
  if (!reading) return "-";
  return notationOf(reading->steps) + (reading->isCertain ? "" : " ?") +
         (reading->caseSensitive ? "" : " i");
}

std::set<std::string> numbered(const std::string& stem, int count) {
  std::set<std::string> values;
  for (int i = 0; i < count; ++i) values.insert(stem + std::to_string(i));
  return values;
}

TEST(Keywords, AreSubstitutedByTheirValuesInAscendingOrder) {
  ExpressionText expression("/opt/%TOOLS%/bin/%TOOLS%");
  expression.substitute("%TOOLS%", alternationOf({"beta", "alpha"}));
  EXPECT_EQ(expression.whole(), "/opt/(alpha|beta)/bin/(alpha|beta)");
  EXPECT_EQ(expression.places().size(), 2u);
}

TEST(Keywords, ThatStandInValuesAreSubstitutedThereToo) {
  ExpressionText expression("%A%");
  expression.substitute("%A%", alternationOf({"x%B%", "y"}));
  expression.substitute("%B%", alternationOf({"b"}));
  EXPECT_EQ(expression.whole(), "(x(b)|y)");
}

TEST(Keywords, ThatReachOverTheBorderOfValuesAreSubstitutedThereToo) {
  for (const char* const keyword : {"a(x", "y)b", "(", ")", "|", "()"}) {
    ExpressionText expression("aKb()");
    expression.substitute("K", alternationOf({"x", "y"}));
    expression.substitute(keyword, alternationOf({"z"}));
    EXPECT_EQ(expression.whole(), Utility::replaceAll("a(x|y)b()", keyword, "(z)")) << keyword;
  }
}

// Whatever texts, keywords and values are made of, sharing the values changes neither the
// expression nor what is read of it.
TEST(Keywords, MeanWhatTheirValuesInPlaceWouldMean) {
  const std::vector<std::string> parts = {
      "%A%", "%B%", "%C%", "K", "/",    "a",   "\\",  "[",    "]",   "(",     ")",     "*",   "+?",
      "{2}", "|",   ".*",  "é", "(?i)", "(?:", "\\Q", "\xc3", "(?#", "(?-s)", "(?-m:", "(?x)"};
  const std::vector<std::string> values = {"a",   "b",    "é",   "[ab]", "x*",      "%B%", "K",
                                           "a|b", "a)(b", "(b)", "",     "(?i)x",   "(",   "\xa9",
                                           "\\",  "]",    "?:a", "?i)a", "a{2}\\b", "A",   "\\1",
                                           ".",   "a b",  "a$",  "?-s",  "?s:.",    "?|a"};
  const std::vector<std::string> keywords = {"%A%", "%B%", "%C%", "K", "(", "a)", "|", "()"};
  Dice dice;
  SCOPED_TRACE(dice.origin());
  std::size_t shared = 0;
  std::size_t read = 0;
  for (std::size_t i = Dice::cases(40000); i > 0; --i) {
    const std::string text = dice.join(parts, 1, 6);
    std::map<std::string, std::set<std::string>> table;
    for (std::size_t count = 1 + dice.below(3); count > 0; --count) {
      std::set<std::string>& of = table[dice.pick(keywords)];
      for (std::size_t many = 1 + dice.below(4); many > 0; --many) of.insert(dice.pick(values));
      if (dice.oneIn(8)) of.merge(numbered("v", 20));
    }
    ExpressionText expression(text);
    std::string plain = text;
    for (const auto& [keyword, of] : table) {
      const auto alternation = alternationOf(of);
      expression.substitute(keyword, alternation);
      plain = Utility::replaceAll(std::move(plain), keyword, alternation->expression());
    }
    ASSERT_EQ(expression.whole(), plain) << shown(text);
    const bool caseSensitive = dice.oneIn(2);
    const std::string asPlain = readAs(ExpressionText(plain), caseSensitive);
    ASSERT_EQ(readAs(expression, caseSensitive), asPlain) << shown(text) << " as " << shown(plain);
    shared += expression.places().empty() ? 0 : 1;
    read += asPlain == "-" ? 0 : 1;
  }
  EXPECT_GT(shared, Dice::cases(40000) / 8);
  EXPECT_GT(read, Dice::cases(40000) / 20);
}

// Options reach into the values that stand behind them.
TEST(Keywords, AreReadAsTheOptionsBeforeThemSay) {
  const struct {
    const char* expression;
    const char* value;
    const char* matching;
    const char* other;
  } rows[] = {
      {"(?-s)K", "a.b", "a-b", "a\nb"},
      {"(?s)K", "a.b", "a\nb", "ab"},
      {"x(?-s:K).", "a.b", "xa-b\n", "xa\nb\n"},
      {"(?-m)K\nb", "a\nb|c", "c\nb", "a\nc"},
      {"(?-m)K.*", "b|a$", "b\nc", "a\nc"},
      {"(?x)K", "a b", "ab", "a b"},
      {"a(?i)K", "b", "aB", "AB"},
      {"K.", "?-s", "a", "\n"},
      {"(?i)a(?-i)K", "b", "Ab", "AB"},
  };
  for (const auto& row : rows) {
    ExpressionText expression(row.expression);
    expression.substitute("K", alternationOf({row.value}));
    const CompiledPattern pattern(expression, true);
    const Engine engine(expression.whole(), true);
    TextScratch scratch;
    Text matching(row.matching, scratch);
    EXPECT_TRUE(pattern.matches(matching)) << expression.whole();
    EXPECT_TRUE(engine.matches(row.matching)) << expression.whole();
    Text other(row.other, scratch);
    EXPECT_FALSE(pattern.matches(other)) << expression.whole();
    EXPECT_FALSE(engine.matches(row.other)) << expression.whole();
  }
}

TEST(Keywords, AreReadOnceForAllExpressions) {
  const auto values = alternationOf(numbered("value", 5000));
  ExpressionText first("/a/K");
  ExpressionText second("/b/*K/c");
  first.substitute("K", values);
  second.substitute("K", values);
  const std::optional<Reading> one = readExpression(first, true);
  const std::optional<Reading> other = readExpression(second, true);
  ASSERT_TRUE(one && other);
  ASSERT_EQ(one->steps.size(), 2u);
  const auto& alternatives = one->steps[1].alternatives;
  ASSERT_NE(alternatives, nullptr);
  ASSERT_NE(alternatives->literals, nullptr);
  EXPECT_EQ(alternatives->literals->pieces().size(), 5000u);
  EXPECT_EQ(alternatives, values->atom(true)->steps.front().alternatives);
  EXPECT_EQ(other->steps[2].kind, Step::Group);
  EXPECT_EQ(other->steps[2].alternatives, alternatives);
}

// Also where values have wildcards for more than single characters.
TEST(Keywords, AreCompiledOnceForAllExpressions) {
  std::set<std::string> wild;
  for (const std::string& value : numbered("value", 5000)) wild.insert(value + "/[^/]*");
  const auto values = alternationOf(wild);
  std::vector<std::unique_ptr<const CompiledPattern>> patterns;
  for (const char* const text : {"/a/K", "/b/.*K/c", "K", "KK", "/(x|K)/d"}) {
    ExpressionText expression(text);
    expression.substitute("K", values);
    patterns.push_back(std::make_unique<const CompiledPattern>(expression, true));
    const Program* const program = patterns.back()->program();
    ASSERT_NE(program, nullptr);
    EXPECT_LE(program->size(), 10u) << text;
  }
  const auto& alternatives = values->atom(true)->steps.front().alternatives;
  const std::shared_ptr<const Program> shared = alternatives->program(true);
  EXPECT_EQ(shared, alternatives->program(true));
  EXPECT_GT(shared->size(), 5000u);
  // Those of the patterns, the one here, and that of the alternatives themselves.
  EXPECT_EQ(shared.use_count(), 6 + 1 + 1);
}

TEST(Keywords, TablesShareUntilOneChanges) {
  KeywordTable table;
  EXPECT_TRUE(table.empty());
  table.set("a", alternationOf({"1"}));
  KeywordTable copy = table;
  EXPECT_TRUE(copy.sharesWith(table));
  copy.set("b", alternationOf({"2"}));
  EXPECT_FALSE(copy.sharesWith(table));
  EXPECT_FALSE(table.has("b"));
  EXPECT_TRUE(copy.has("a"));
  EXPECT_FALSE(table.erase("b"));
  EXPECT_TRUE(copy.erase("a"));
  EXPECT_TRUE(table.has("a"));
}

LiteralSet::Piece pieceOf(const std::string& value) {
  LiteralSet::Piece piece;
  for (const char c : value) {
    piece += c == '.' ? LiteralSet::kOne : static_cast<unsigned char>(c);
  }
  return piece;
}

// At most places of an ordinary path the first two bytes tell that none of a thousand values stands
// there.
TEST(LiteralSet, LooksAtFewPlacesOfAnOrdinaryPath) {
  std::vector<LiteralSet::Piece> pieces;
  for (int i = 0; i < 1000; ++i) {
    pieces.push_back(pieceOf("customer-" + std::to_string(i)));
    pieces.push_back(pieceOf(std::to_string(i) + "-archive"));
  }
  const LiteralSet set(pieces);
  const std::string path = "/Users/anna/Library/Containers/com.example.app/17-archives/customer-x";
  std::size_t places = 0;
  for (std::size_t at = 0; at < path.size(); ++at) places += set.mayStand(path.substr(at));
  EXPECT_LE(places, path.size() / 10);
}

TEST(LiteralSet, GivesTheStepsOfAPieceBack) {
  using Set = LiteralSet;
  const struct {
    Set::Piece piece;
    std::size_t steps;
  } rows[] = {
      {{}, 0},
      {{u'a', u'b'}, 1},
      {{Set::kOne, Set::kOneNotSlash}, 2},
      {{u'a', u'b', Set::kOne, u'c', Set::kOneNotSlash, Set::kOne, u'd', u'e'}, 6},
  };
  for (const auto& row : rows) {
    const Steps steps = Set::stepsOf(row.piece);
    EXPECT_EQ(steps.size(), row.steps);
    EXPECT_EQ(Set::pieceOf(steps), row.piece);
  }
}

// A character counts as the four bytes that it may have.
TEST(LiteralSet, TakesPiecesOfTheMostBytesAndNoLongerOnes) {
  const Step half = {Step::Literal, std::string(LiteralSet::kLongest / 2, 'a'), {}};
  const Step restBesideOne = {Step::Literal, std::string(LiteralSet::kLongest / 2 - 4, 'b'), {}};
  const Step one = {Step::One, {}, {}};
  const Step byte = {Step::Literal, "c", {}};
  EXPECT_TRUE(LiteralSet::pieceOf({half, one, restBesideOne}).has_value());
  EXPECT_FALSE(LiteralSet::pieceOf({half, one, restBesideOne, byte}).has_value());
  EXPECT_FALSE(LiteralSet::pieceOf({half, one, half}).has_value());
}

// A point stands for any character.
TEST(LiteralSet, TellsByTwoBytesWhereNoPieceCanStand) {
  const auto mayStand = [](const std::string& piece, const std::string& text) {
    return LiteralSet({pieceOf(piece)}).mayStand(text);
  };
  EXPECT_TRUE(mayStand("ab", "abc"));
  EXPECT_FALSE(mayStand("ab", "acb"));
  EXPECT_FALSE(mayStand("abc", "acb"));
  for (const char* const piece : {"", "a", "a.", "a.b", ".", ".b"}) {
    EXPECT_TRUE(mayStand(piece, "acb")) << piece;
  }
  EXPECT_TRUE(mayStand("ab", "a")) << "which goes on behind its end";
}

// Whatever stands at a place is found, wildcards included, and told whether more could stand there.
TEST(LiteralSet, FindsWhatOneByOneFinds) {
  const std::vector<std::string> parts = {"a", "b", "A", "1", ".", "..", "ab", "/", "-"};
  Dice dice;
  SCOPED_TRACE(dice.origin());
  for (std::size_t round = Dice::cases(2000); round > 0; --round) {
    std::vector<LiteralSet::Piece> pieces;
    for (std::size_t i = 1 + dice.below(dice.oneIn(2) ? 4 : 60); i > 0; --i) {
      pieces.push_back(pieceOf(dice.join(parts, dice.oneIn(20) ? 0 : 1, 4)));
    }
    const LiteralSet set(pieces);
    const std::string text = dice.join({"a", "b", "A", "1", "/", "-", "c"}, 0, 7);
    std::multiset<std::size_t> found;
    const bool ranOut = set.match(text, [&](std::size_t length) { found.insert(length); });
    std::multiset<std::size_t> expected;
    bool expectedToRunOut = false;
    for (const LiteralSet::Piece& piece : set.pieces()) {
      std::size_t at = 0;
      while (at < piece.size() && at < text.size() &&
             (piece[at] == LiteralSet::kOne || piece[at] == static_cast<unsigned char>(text[at]))) {
        ++at;
      }
      if (at == piece.size()) expected.insert(at);
      expectedToRunOut = expectedToRunOut || (at == text.size() && at < piece.size());
    }
    ASSERT_EQ(found, expected) << shown(text);
    ASSERT_EQ(ranOut, expectedToRunOut) << shown(text);
  }
}

}  // namespace
}  // namespace Test
}  // namespace QVL
