// Regular expressions without back references, look-around, atomic or possessive parts, recursion
// and conditions: a rule answers, and throws, as the regular expression engine does. Expressions
// are drawn from a grammar, each with a text that it probably matches, and texts that differ a
// little.

#include <gtest/gtest.h>

#include <boost/regex/icu.hpp>
#include <cstddef>
#include <exception>
#include <optional>
#include <string>
#include <utility>
#include <vector>

#include "qvl/qvl.h"
#include "tests/support/Dice.h"
#include "tests/support/Outcome.h"
#include "tests/support/Requests.h"

namespace QVL {
namespace Test {
namespace {

using Texts = std::vector<std::string>;  // of one character each, for a text

struct Atom {
  std::string expression;
  Texts characters;  // that it matches; none: the empty text
};

// Characters whose case has more than two forms, or whose folding leaves ASCII, are among them.
const Texts kCharacters = {
    "a",      "a",      "b",      "c",      "A",      "B",          "k",         "K",
    "s",      "i",      "/",      "/",      "_",      "1",          "7",         ".",
    "-",      "\n",     "\t",     " ",      "\u00e9", "\u00c9",     "\u00e0",    "\u00df",
    "\u017f", "\u212a", "\u0130", "\u0131", "\u03c3", "\u03c2",     "\u03a3",    "\u65e5",
    "\u0661", "\u00a0", "\u2028", "\u0085", "\u01c5", "\U0001F600", "\U00010400"};
const Texts kNotUtf8 = {"\x80", "\xc3", "\xe9", "\xff", "\xe2\x82", "\xf0\x9f\x98", "\xc0\xaf"};

const std::vector<Atom> kAtoms = {
    {".", {"a", "/", "\n", "\u00e9"}},
    {"\\.", {"."}},
    {"\\d", {"1", "7"}},
    {"\\D", {"a", "/"}},
    {"\\w", {"a", "_", "1", "\u00e9"}},
    {"\\W", {"/", "-", " "}},
    {"\\s", {" ", "\t", "\n"}},
    {"\\S", {"a", "/"}},
    {"\\l", {"a", "\u00e9"}},
    {"\\u", {"A", "\u00c9"}},
    {"\\h", {" ", "\t"}},
    {"\\v", {"\n"}},
    {"\\x61", {"a"}},
    {"\\x{e9}", {"\u00e9"}},
    {"\\n", {"\n"}},
    {"\\t", {"\t"}},
    {"\\Qa.b\\E", {}},
    {"[ab]", {"a", "b"}},
    {"[a-c]", {"a", "b", "c"}},
    {"[^/]", {"a", ".", "\u65e5"}},
    {"[^ab/]", {"c", "1", "\n"}},
    {"[a\\-c]", {"a", "-", "c"}},
    {"[-a]", {"-", "a"}},
    {"[]a]", {"a"}},
    {"[^]a]", {"b"}},
    {"[a-]", {"a", "-"}},
    {"[\\d_]", {"1", "_"}},
    {"[^\\w]", {"/", "-"}},
    {"[\\s/]", {"/", " "}},
    {"[.*]", {"."}},
    {"[A-Z]", {"A", "B", "K"}},
    {"[\u00e0-\u00ff]", {"\u00e9", "\u00e0"}},
    {"[a-\u00e9]", {"a", "\u00e0"}},
    {"[^\u00e9]", {"a", "\u00e0"}},
    {"[\u03a3a]", {"\u03c3", "a"}},
    {"[[:alpha:]]", {"a", "\u00e9"}},
    {"[[:digit:]]", {"1"}},
    {"[[:alnum:]_]", {"a", "1", "_"}},
    {"[^[:space:]]", {"a", "/"}},
    {"[[:upper:]]", {"A"}},
    {"[[:lower:]]", {"a"}},
    {"[[:punct:]]", {".", "-"}},
    {"[[:word:]]", {"a"}},
    {"[[:blank:]]", {" "}},
    {"[[:cntrl:]]", {"\n"}},
    {"[[:xdigit:]]", {"a", "1"}},
    {"[[:^alpha:]]", {"1", "/"}},
    {"[[:unicode:]]", {"\u65e5"}},
    {"[[=a=]]", {"a"}},
    {"[[.hyphen.]]", {"-"}},
    {"\\p{L}", {"a", "\u65e5"}},
    {"\\pN", {"1"}},
    {"\\P{L}", {"1", "/"}},
    {"^", {}},
    {"$", {}},
    {"\\b", {}},
    {"\\B", {}},
    {"\\<", {}},
    {"\\>", {}},
    {"\\A", {}},
    {"\\z", {}},
    {"\\Z", {}},
    {"\\`", {}},
    {"\\'", {}},
    {"()", {}},
    {"(|a)", {"a"}},
};

struct Drawn {
  std::string expression;
  Texts sample;
};

class Grammar {
 public:
  explicit Grammar(Dice& dice) : m_dice(dice) {}

  Drawn expression(int depth) {
    Drawn drawn = sequence(depth);
    if (!m_dice.oneIn(3)) return drawn;
    // The sample of one of the alternatives.
    for (std::size_t more = 1 + m_dice.below(2); more > 0; --more) {
      Drawn other = sequence(depth);
      drawn.expression += "|" + other.expression;
      if (m_dice.oneIn(2)) drawn.sample = std::move(other.sample);
    }
    return drawn;
  }

 private:
  Drawn sequence(int depth) {
    Drawn drawn;
    for (std::size_t left = m_dice.below(5); left > 0; --left) {
      const Drawn part = repeated(depth);
      drawn.expression += part.expression;
      drawn.sample.insert(drawn.sample.end(), part.sample.begin(), part.sample.end());
    }
    return drawn;
  }

  Drawn repeated(int depth) {
    struct Repeat {
      const char* text;
      std::size_t least, most;  // times that a sample has it
    };
    static const std::vector<Repeat> kRepeats = {
        {"*", 0, 3},      {"+", 1, 3},     {"?", 0, 1},         {"*?", 0, 3},   {"+?", 1, 3},
        {"??", 0, 1},     {"{2}", 2, 2},   {"{0}", 0, 0},       {"{1,}", 1, 3}, {"{0,2}", 0, 2},
        {"{1,3}?", 1, 3}, {"{2,}?", 2, 3}, {"{ 1 , 2 }", 1, 2}, {"{,2}", 1, 1},
    };
    const bool group = depth > 0 && m_dice.oneIn(4);
    Drawn one = group ? this->group(depth - 1) : atom();
    if (!m_dice.oneIn(3)) return one;
    const Repeat& repeat = m_dice.pick(kRepeats);
    Drawn drawn{one.expression + repeat.text, {}};
    for (std::size_t times = repeat.least + m_dice.below(repeat.most - repeat.least + 1); times > 0;
         --times) {
      drawn.sample.insert(drawn.sample.end(), one.sample.begin(), one.sample.end());
    }
    return drawn;
  }

  Drawn group(int depth) {
    static const Texts kOpenings = {"(", "(", "(", "(?:", "(?:", "(?i:", "(?-i:", "(?s:", "(?-s:"};
    Drawn inside = expression(depth);
    inside.expression = m_dice.pick(kOpenings) + inside.expression + ")";
    return inside;
  }

  Drawn atom() {
    if (m_dice.oneIn(2)) {
      const std::string& character = m_dice.pick(kCharacters);
      const bool escaped = character == "." || character == "-";
      return {(escaped ? "\\" : "") + character, {character}};
    }
    const Atom& atom = m_dice.pick(kAtoms);
    Drawn drawn{atom.expression, {}};
    if (atom.expression == "\\Qa.b\\E") drawn.sample = {"a", ".", "b"};
    if (!atom.characters.empty()) drawn.sample.push_back(m_dice.pick(atom.characters));
    return drawn;
  }

  Dice& m_dice;
};

// A text that differs from the sample in a character or two, or not at all.
std::string textFrom(Texts sample, const Texts& others, Dice& dice) {
  for (std::size_t changes = dice.below(3); changes > 0; --changes) {
    const std::size_t at = dice.below(sample.size() + 1);
    const auto place = sample.begin() + static_cast<std::ptrdiff_t>(at);
    switch (dice.below(3)) {
      case 0:
        sample.insert(place, dice.pick(others));
        break;
      case 1:
        if (place != sample.end()) sample.erase(place);
        break;
      default:
        if (place != sample.end()) *place = dice.pick(others);
    }
  }
  std::string text;
  for (const std::string& character : sample) text += character;
  return text;
}

// "match", "no match" or what is thrown.
template <typename Match>
std::string outcomeOf(Match&& match) {
  try {
    return match() ? "match" : "no match";
  } catch (const std::exception& failure) {
    return failure.what();
  }
}

class Comparison {
 public:
  // Texts are varied by these characters.
  explicit Comparison(Texts others) : m_others(std::move(others)) {}

  void run() {
    constexpr std::size_t kExpressions = 3000;
    SCOPED_TRACE(m_dice.origin());
    const std::size_t count = Dice::cases(kExpressions);
    for (std::size_t i = 0; i < count && !::testing::Test::HasFailure(); ++i) {
      const Drawn drawn = Grammar(m_dice).expression(2);
      // What a file path rule does not take.
      if (drawn.expression.empty() || drawn.expression.back() == '/') continue;
      compare(drawn, m_dice.oneIn(2));
    }
    EXPECT_GT(m_pairs, count);
    EXPECT_GT(m_matches, m_pairs / 20) << "the texts hardly ever match";
    ::testing::Test::RecordProperty("pairs", std::to_string(m_pairs));
    ::testing::Test::RecordProperty("matches", std::to_string(m_matches));
  }

 private:
  void compare(const Drawn& drawn, bool caseSensitive) {
    constexpr int kTexts = 30;
    boost::regex_constants::syntax_option_type options = boost::regex_constants::perl;
    if (!caseSensitive) options |= boost::regex_constants::icase;
    std::optional<boost::u32regex> engine;
    try {
      engine = boost::make_u32regex(drawn.expression, options);
    } catch (const std::exception&) {
    }
    FilePathAvoidance rule("x", AnyAccess);
    ASSERT_TRUE(rule.validate(drawn.expression, AnyAccess));
    rule.disableWildCardSearch();
    rule.setCaseSensitiveSearch(caseSensitive ? 1 : 0);
    ASSERT_EQ(rule.updateRegex(), engine.has_value()) << shown(drawn.expression);
    if (!engine) return;
    for (int i = 0; i < kTexts; ++i) {
      LookupData request = fileRequest(textFrom(drawn.sample, m_others, m_dice));
      const std::string expected =
          outcomeOf([&] { return boost::u32regex_match(request.m_filePath, *engine); });
      ASSERT_EQ(outcomeOf([&] { return rule.canAvoid(request); }), expected)
          << "expression " << shown(drawn.expression) << (caseSensitive ? "" : " ignoring case")
          << ", text " << shown(request.m_filePath);
      ++m_pairs;
      m_matches += expected == "match";
    }
  }

  const Texts m_others;
  Dice m_dice;
  std::size_t m_pairs = 0;
  std::size_t m_matches = 0;
};

TEST(LinearExpressions, AnswerAsTheEngineDoes) {
  Comparison(kCharacters).run();
}

TEST(LinearExpressions, AnswerAsTheEngineDoesOnAsciiTexts) {
  Comparison({"a", "b", "A", "/", "1", "_", ".", "-", "\n", " "}).run();
}

TEST(LinearExpressions, ThrowAsTheEngineDoesForTextsThatAreNotUtf8) {
  Comparison(kNotUtf8).run();
}

}  // namespace
}  // namespace Test
}  // namespace QVL
