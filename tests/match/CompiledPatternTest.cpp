// The library's own reading and matching of expressions, held against the engine that defines them.

#include "qvl/match/CompiledPattern.h"

#include <gtest/gtest.h>

#include <boost/regex/icu.hpp>
#include <memory>
#include <optional>
#include <stdexcept>
#include <string>
#include <vector>

#include "qvl/match/Engine.h"
#include "qvl/match/Expression.h"
#include "tests/support/Dice.h"
#include "tests/support/Outcome.h"

namespace QVL {
namespace Test {
namespace {

// Pieces that expressions of rules are made of, the frequent ones first.
const std::vector<std::string> kCommon = {"a",       "b",    "/",     "[^/]*", ".*",
                                          "/(.*/|)", "[^/]", "(a|b)", "\\.",   "é"};
const std::vector<std::string> kAny = {
    // literals
    "a", "b", "k", "K", "\u212a", "s", "\u017f", "ß", "İ", "Σ", "😀", "日", "\n", ",", "]", "}",
    // wildcards, groups and alternatives
    ".", "(a|)", "|", "(", ")", "()", "(.*/|)", "(a/b|b|.*)", "(a(b|/)|)", "(k|\u017f)",
    // repetition
    "a*", "b+", "/?", "(ab)?", "a{2}", "b{1,}", "a{,2}", "[^/]+", ".*?", "a++", "(a|b)*", "*", "{",
    "(a|b)+?", "(ab){1,2}?", "(a*)+", "(a|b*)*", "(a+b?)+", "[a-z]{2,}", "a??", "b{0,2}?", "é*",
    // braces that are no counts
    "{a", "{1", "{1,", "{ ", "2}", "{b|a}", "a{b}", "{1a-b}", "b{,a}", "{}", "{1,2", "{,", "{2}",
    "{9999}", "{\u00a0", "{1{", "{a{1}",
    // quotations, comments, names and codes
    "\\Qa.b\\E", "\\Q(", "\\E", "\\Qé", "(?<n>a|b)", "(?<n1>.)", "(?<=a)", "\\x{62}", "\\x{}",
    "\\x{e9}", "\\cA", "\\c]", "\\Z", "\n\\Z", "\\v", "\\V", "\\H", "\\h",
    // repetition of more
    "(?:ab|c)+", "(a?){3}", "(a|ab)(c|bcd)?", "[^a]*?", "(.*/)?", "([^/]+/)*", "(\\d+|b)*",
    // sets and escapes
    "[ab]", "[^a]", "[]a]", "[[:alpha:]]", "[k-s]", "[\\]]", "[", "\\/", "\\*", "\\-", "\\=", "\\ ",
    "\\p{L}", "\\s", "\\w", "[^\\w]", "[é-日]", "[[:upper:]]", "\\B", "\\>", "\\A", "\\z", "\\;",
    "\\{", "\\d", "\\W", "\\b", "\\\\", "\\n", "\\x41", "\\1", "\\<", "\\",
    // places and options
    "^", "$", "(?:a)", "(?i)", "(?=a)", "\\G", "\\C", "(?-i)", "(?i:a|k)", "(?-i:[a-k]B)", "(?s)",
    "(?-s)", "(?-s:.)", "(?m)", "(?-m)", "(?-m:^|$)", "(?x)", "(?x: a b )", "(?x: a # b\n )",
    "(?ims-x:K)", "(?|a|(b))", "(?i", "(?-)", "(?-:b)", "(?i-s-m)", "(?é)", "(?a)",
    // not UTF-8
    "\xff", "\xe2\x82"};
const std::vector<std::string> kInputCommon = {"a", "b", "/", "a/", ".", "ab"};
const std::vector<std::string> kInputAny = {
    "é", "É", "k", "K", "\u212a", "s", "S", "\u017f", "ß", "\u1e9e", "i", "İ", "ı", "Σ", "ς", "σ",
    "😀", "日", "\n", ",", "]", "A", "1", "{", "}", "{a", "2}", "{1", "{1,", "+", "\r", "\r\n",
    "\u2028", "\f", "_", "c",
    // not UTF-8
    "\xff", "\x80", "\xe2\x82", "\xed\xa0\x80", "\xc0\xaf", "\xf0\x9f\x98", "\xf4\x90\x80\x80"};

std::string mixed(Dice& dice, const std::vector<std::string>& common,
                  const std::vector<std::string>& any, std::size_t least, std::size_t most) {
  std::string text;
  for (std::size_t count = least + dice.below(most - least + 1); count > 0; --count) {
    text += dice.pick(dice.oneIn(3) ? any : common);
  }
  return text;
}

// The engine's own compilation; absent when it refuses the expression.
std::optional<boost::u32regex> engineFor(const std::string& expression, bool caseSensitive) {
  boost::regex_constants::syntax_option_type options = boost::regex_constants::perl;
  if (!caseSensitive) options |= boost::regex_constants::icase;
  try {
    return boost::make_u32regex(expression, options);
  } catch (const std::exception&) {
    return std::nullopt;
  }
}

// "match", "no match", "not UTF-8", or "gives up" for what an engine throws that took too long.
template <typename Match>
std::string outcomeOf(Match match) {
  try {
    return match() ? "match" : "no match";
  } catch (const std::out_of_range&) {
    return "not UTF-8";
  } catch (const std::runtime_error&) {
    return "gives up";
  }
}

std::string outcomeOf(const CompiledPattern& pattern, const std::string& text) {
  return outcomeOf([&] {
    TextScratch scratch;
    Text subject(text, scratch);
    return pattern.matches(subject);
  });
}

// What came of comparisons of a pattern with the engine.
struct Compared {
  std::size_t all = 0;
  std::size_t matched = 0;
  std::size_t thrown = 0;

  void compare(const CompiledPattern& pattern, const boost::u32regex& engine,
               const std::string& text) {
    compare(pattern, text, outcomeOf([&] {
              return boost::u32regex_match(text.data(), text.data() + text.size(), engine);
            }));
  }

  // The same with the engine that gives up soon.
  void compare(const CompiledPattern& pattern, const Engine& engine, const std::string& text) {
    compare(pattern, text, outcomeOf([&] { return engine.matches(text); }));
  }

  void compare(const CompiledPattern& pattern, const std::string& text,
               const std::string& expected) {
    if (expected == "gives up") return;
    const std::string outcome = outcomeOf(pattern, text);
    // The library's engine has a limit of its own; what a program matches never comes to it.
    if (outcome == "gives up" && !pattern.program()) return;
    ASSERT_EQ(outcome, expected) << "text " << shown(text);
    ++all;
    matched += expected == "match";
    thrown += expected == "not UTF-8";
  }

  // The test would be worth little if the pieces did not come together well.
  void expectAllSorts() const {
    testing::Test::RecordProperty("compared", std::to_string(all));
    EXPECT_GT(matched, all / 100);
    EXPECT_GT(thrown, all / 100);
  }
};

// The pattern, unless the engine refuses it, as the library has to, too.
std::unique_ptr<CompiledPattern> patternAsTheEngine(const std::string& expression,
                                                    bool caseSensitive, bool engineTakesIt) {
  std::unique_ptr<CompiledPattern> pattern;
  try {
    pattern = std::make_unique<CompiledPattern>(expression, caseSensitive);
  } catch (const std::exception&) {
  }
  EXPECT_EQ(pattern != nullptr, engineTakesIt);
  return pattern;
}

// Draws expressions, and calls `compareTexts(pattern, engine)` for those that the engine takes,
// until something fails. Answers how many of them are matched without the engine.
template <typename Draw, typename CompareTexts>
std::size_t eachDrawn(Dice& dice, std::size_t expressions, Draw draw, CompareTexts compareTexts) {
  std::size_t linear = 0;
  for (std::size_t i = 0; i < expressions && !testing::Test::HasFailure(); ++i) {
    const std::string expression = draw();
    const bool caseSensitive = dice.oneIn(2);
    SCOPED_TRACE("expression " + shown(expression) + (caseSensitive ? "" : ", case ignored"));
    const auto engine = engineFor(expression, caseSensitive);
    const auto pattern = patternAsTheEngine(expression, caseSensitive, engine.has_value());
    if (!engine || !pattern) continue;
    linear += pattern->program() != nullptr;
    compareTexts(*pattern, *engine);
  }
  return linear;
}

TEST(CompiledPattern, AnswersAsTheEngineDoes) {
  Dice dice;
  SCOPED_TRACE(dice.origin());
  Compared compared;
  const std::size_t expressions = Dice::cases(60000);
  const auto draw = [&] { return mixed(dice, kCommon, kAny, 1, 7); };
  const std::size_t linear = eachDrawn(
      dice, expressions, draw, [&](const CompiledPattern& pattern, const boost::u32regex& engine) {
        for (int j = 0; j < 20; ++j) {
          compared.compare(pattern, engine, mixed(dice, kInputCommon, kInputAny, 0, 8));
        }
      });
  if (HasFailure()) return;
  compared.expectAllSorts();
  EXPECT_GT(linear, expressions / 4);
}

// What comes behind a group is no part of its last alternative.
TEST(CompiledPattern, EndsGroupsWhereTheyEnd) {
  struct Row {
    const char* expression;
    const char* matching;
    const char* other;
  };
  const std::vector<Row> rows = {
      {"(ab|[^/])[^/]", "abc", "a/"},
      {"(ab|x[^/])[^/]", "abc", "ab"},
      {"(ab|[^/])[^/][^/]", "xyz", "xy"},
      {"(a.*|[^/])[^/]", "xy", "a/"},
      {"(a.*|.).", "xy", "x"},
      {"(x[^/])*[^/]", "x", "x/"},
      {"(a|(b|[^/])[^/])[^/]", "ab", "a/"},
  };
  for (const Row& row : rows) {
    for (const std::string before : {"", ".*/", "[^/]*/"}) {
      const CompiledPattern pattern(before + row.expression, true);
      ASSERT_NE(pattern.program(), nullptr);
      const std::string start = before.empty() ? "" : "/";
      EXPECT_EQ(outcomeOf(pattern, start + row.matching), "match") << before << row.expression;
      EXPECT_EQ(outcomeOf(pattern, start + row.other), "no match") << before << row.expression;
    }
  }
}

// So many that they are a program of their own, in which what begins alike is read once.
TEST(CompiledPattern, AnswersAsTheEngineDoesForManyAlternatives) {
  const std::vector<std::string> pieces = {"a", "b", "/", "é",    "[^/]*", ".*",
                                           ".", "A", "a", "[^/]", "[ab]",  "(.*/|)"};
  const std::vector<std::string> rare = {"(a|b)*", "\\b", "[ab]*", "(a|/b)", "a?", "$", ""};
  const std::vector<std::string> texts = {"a", "b", "/", "é", "A", "ab", "\xFF"};
  Dice dice;
  SCOPED_TRACE(dice.origin());
  Compared compared;
  const std::size_t expressions = Dice::cases(200);
  const auto part = [&] { return mixed(dice, pieces, dice.oneIn(10) ? rare : pieces, 0, 4); };
  const auto draw = [&] {
    std::string expression = part() + "(" + part();
    for (std::size_t count = 17 + dice.below(40); count > 0; --count) expression += "|" + part();
    expression += ")" + part();
    if (dice.oneIn(4))
      expression = "(" + expression + "|" + part() + ")" + (dice.oneIn(2) ? "*" : "");
    return expression;
  };
  const std::size_t linear = eachDrawn(
      dice, expressions, draw, [&](const CompiledPattern& pattern, const boost::u32regex& engine) {
        for (int j = 0; j < 20 && pattern.program(); ++j) {
          // Now and then over the border of a block.
          const std::string before(dice.oneIn(4) ? 55 + dice.below(12) : 0, 'b');
          compared.compare(pattern, engine, before + dice.join(texts, 0, 6));
        }
      });
  if (HasFailure()) return;
  compared.expectAllSorts();
  EXPECT_GT(linear, expressions / 2);
}

// To the engine what has read nothing once is not repeated any more.
TEST(CompiledPattern, RepeatsWhatReadsNothingAsTheEngineDoes) {
  for (const std::string one : {"\\b[^/]{0,2}", "\\b(a|)", "(\\b|a)", "(\\ba*|)", "a?$", "(^a?)*",
                                "\\ba", "((\\b)b?){2}", "\\<a*", "(?:\\B|a)b?"}) {
    for (const std::string count : {"{2}", "{3}", "{2,}", "{2,4}", "{1,3}", "+", "{0,2}"}) {
      const std::string expression = "(" + one + ")" + count;
      const auto engine = engineFor(expression, true);
      ASSERT_TRUE(engine) << expression;
      const CompiledPattern pattern(expression, true);
      Compared compared;
      for (const char* const text : {"", "a", "b", "\n", "ab", "a\n", "Aé\n", "ab ", "a b", "aa",
                                     "é", "ab\n", "a\na", "abab", "a ab", "aab ", "\n\n"}) {
        compared.compare(pattern, *engine, text);
      }
      EXPECT_EQ(compared.all, 17u) << expression;
    }
  }
}

// Of characters that are counted all in one row, over the borders of blocks, and of options.
TEST(CompiledPattern, AnswersAsTheEngineDoesForCountsAndOptions) {
  const std::vector<std::string> counted = {"a",     "b",     "[ab]",     ".",     "[^/]",
                                            "(a|b)", "(a|é)", "(é|[^a])", "é",     "(?:a|(b|[^/]))",
                                            "[^é]",  "(ab)",  "\\w",      "[A-B]", "(|a)"};
  const std::vector<std::string> counts = {"{2}",  "{3,}",   "{0,2}",   "{1,3}", "{62,66}", "{64}",
                                           "{65}", "{0,70}", "{1,130}", "*",     "+",       "?"};
  const std::vector<std::string> few = {"{2}", "{0,2}", "*", "+"};
  const std::vector<std::string> others = {
      "a",    "b",     "/",   ".*", "[^/]*", "(.*/|)", "(?i)",   "(?-i)", "(?i:B)", "(?-s)",
      "(?s)", "(?-m)", "\\<", "$",  "^",     "é",      "(?i:é)", "\\b",   "(?x) ",  "(?-i:a)"};
  const std::vector<std::string> texts = {"a", "b", "/", "é", "A", "B", "É", "\n", "ab", "\xFF"};
  Dice dice;
  SCOPED_TRACE(dice.origin());
  Compared compared;
  const std::size_t expressions = Dice::cases(3000);
  const auto draw = [&] {
    std::string expression;
    for (std::size_t count = 1 + dice.below(2); count > 0; --count) {
      const auto other = [&] { return dice.oneIn(2) ? dice.pick(others) : std::string(); };
      const std::string lazy = dice.oneIn(6) ? "?" : "";
      expression += other() + dice.pick(counted) + dice.pick(counts) + lazy + other();
    }
    return dice.oneIn(5) ? "(" + expression + "|b)" + dice.pick(few) : expression;
  };
  const std::size_t linear =
      eachDrawn(dice, expressions, draw, [&](const CompiledPattern& pattern, const auto&) {
        // The engine alone may take seconds for one of these.
        const Engine engine(pattern.expression().whole(), pattern.caseSensitive());
        for (int j = 0; j < 10; ++j) {
          std::string text = dice.join(texts, 0, 3);
          for (std::size_t count = dice.below(3); count > 0; --count) {
            const std::string& piece = dice.pick(texts);
            for (std::size_t i = dice.below(dice.oneIn(2) ? 4 : 80); i > 0; --i) text += piece;
          }
          compared.compare(pattern, engine, text + dice.join(texts, 0, 2));
        }
      });
  if (HasFailure()) return;
  compared.expectAllSorts();
  EXPECT_GT(linear, expressions * 9 / 10);
}

TEST(CompiledPattern, UnderstandsNothingThatTheEngineRefuses) {
  Dice dice;
  SCOPED_TRACE(dice.origin());
  const std::vector<std::string> pieces = {
      "a", "é", "/", ".", "*", "[^/]", "(", ")", "|", "\\", "]",  "[", "-", "=", "{",
      "}", "?", "+", "^", "$", "2",    ",", " ", "#", ";",  "\"", "!", "~", "%", "(.*/|)"};
  std::size_t understood = 0;
  const std::size_t expressions = Dice::cases(100000);
  for (std::size_t i = 0; i < expressions; ++i) {
    const std::string expression = dice.join(pieces, 1, 7);
    const std::optional<Reading> reading = readExpression(expression, true);
    if (!reading || !reading->isCertain) continue;
    ++understood;
    ASSERT_TRUE(engineFor(expression, true)) << shown(expression);
  }
  EXPECT_GT(understood, expressions / 20);
}

// At the end of each the engine may look for more of the set than there is.
TEST(CompiledPattern, RefusesSetsThatAreLeftOpen) {
  for (const char* const set : {"[", "[^", "[a", "[a-", "[a-b", "[a-b-", "[-", "[--", "[---", "[]",
                                "[[:alpha:]", "[[:alpha:]-", "[[.a.]-", "[[=a=]", "[\\", "[a-\\"}) {
    for (const std::string& before : {std::string(), std::string("/"), std::string(200, 'a')}) {
      EXPECT_ANY_THROW(CompiledPattern(before + set, true)) << before + set;
    }
  }
}

TEST(CompiledPattern, LiteralsOfAnOutlineAreInEveryTextThatMatches) {
  Dice dice;
  SCOPED_TRACE(dice.origin());
  std::size_t checked = 0;
  const std::size_t expressions = Dice::cases(40000);
  for (std::size_t i = 0; i < expressions; ++i) {
    const std::string expression = mixed(dice, kCommon, kAny, 1, 7);
    const auto engine = engineFor(expression, true);
    if (!engine) continue;
    const CompiledPattern pattern(expression, true);
    if (!pattern.program() || !pattern.program()->caseSensitive()) continue;
    const std::vector<Steps> alternatives = multipliedOut(pattern.program()->outline(64), 64);
    for (int j = 0; j < 20; ++j) {
      const std::string text = mixed(dice, kInputCommon, kInputAny, 0, 8);
      if (outcomeOf([&] {
            return boost::u32regex_match(text.data(), text.data() + text.size(), *engine);
          }) != "match") {
        continue;
      }
      bool holds = false;
      for (const Steps& steps : alternatives) {
        std::size_t from = 0;
        for (const Step& step : steps) {
          if (step.kind != Step::Literal || from == std::string::npos) continue;
          from = text.find(step.bytes, from);
          if (from != std::string::npos) from += step.bytes.size();
        }
        holds = holds || from != std::string::npos;
      }
      ASSERT_TRUE(holds) << "expression " << shown(expression) << ", text " << shown(text);
      ++checked;
    }
  }
  EXPECT_GT(checked, expressions / 10);
}

// A code point, encoded.
std::string utf8(unsigned code) {
  const auto rest = [](unsigned bits) { return static_cast<char>(0x80 | (bits & 0x3F)); };
  if (code < 0x80) return {static_cast<char>(code)};
  if (code < 0x800) return {static_cast<char>(0xC0 | code >> 6), rest(code)};
  if (code < 0x10000) {
    return {static_cast<char>(0xE0 | code >> 12), rest(code >> 6), rest(code)};
  }
  return {static_cast<char>(0xF0 | code >> 18), rest(code >> 12), rest(code >> 6), rest(code)};
}

TEST(CompiledPattern, FoldsCaseAsTheEngineDoes) {
  // Every character of the Basic Multilingual Plane, against a few that others fold to.
  for (const char* const letter : {"k", "s", "i", "ß", "ς", "é", "ǆ", "\u1e9e"}) {
    const CompiledPattern pattern(std::string(letter), false);
    ASSERT_NE(pattern.program(), nullptr);
    const auto engine = engineFor(letter, false);
    for (unsigned code = 1; code < 0x10000; ++code) {
      if (code >= 0xD800 && code < 0xE000) continue;
      const std::string text = utf8(code);
      ASSERT_EQ(outcomeOf(pattern, text),
                boost::u32regex_match(text, *engine) ? "match" : "no match")
          << letter << " on code point " << code;
    }
  }
}

TEST(CaseFolding, MakesThreeBytesOfTwoAtMost) {
  // HashedText::kLongest counts on it.
  bool grows = false;
  std::string folded;
  for (unsigned code = 1; code < 0x110000; ++code) {
    if (code >= 0xD800 && code < 0xE000) continue;
    const std::string text = utf8(code);
    foldCase(text, folded);
    ASSERT_LE(folded.size() * 2, text.size() * 3) << "code point " << code;
    grows = grows || folded.size() > text.size();
  }
  EXPECT_TRUE(grows);
}

TEST(CompiledPattern, AnswersWhereTheEngineGivesUp) {
  const std::string expression = "/Users/[^/]*a[^/]*a[^/]*a[^/]*ab";
  const std::string text = "/Users/" + std::string(200, 'a');
  const auto engine = engineFor(expression, true);
  ASSERT_EQ(outcomeOf([&] { return boost::u32regex_match(text, *engine); }), "gives up");
  const CompiledPattern pattern(expression, true);
  EXPECT_EQ(outcomeOf(pattern, text), "no match");
  EXPECT_EQ(outcomeOf(pattern, text + "b"), "match");
}

// What only the engine can match ends nevertheless, and texts of ordinary length are answered.
TEST(CompiledPattern, LetsTheEngineRead200000Characters) {
  const CompiledPattern repeating(std::string("(a)\\1a*"), true);
  ASSERT_EQ(repeating.program(), nullptr);
  EXPECT_EQ(outcomeOf(repeating, std::string(4096, 'a')), "match");
  EXPECT_EQ(outcomeOf(repeating, std::string(199000, 'a')), "match");
  EXPECT_EQ(outcomeOf(repeating, std::string(201000, 'a')), "gives up");

  const CompiledPattern backtracking(std::string("(a*)(a*)(a*)\\1c"), true);
  EXPECT_EQ(outcomeOf(backtracking, std::string(4096, 'a')), "gives up");
  EXPECT_EQ(outcomeOf(backtracking, "aaac"), "match");
}

}  // namespace
}  // namespace Test
}  // namespace QVL
