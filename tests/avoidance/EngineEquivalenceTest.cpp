// Whatever means the library uses to be fast: it answers, and throws, as the regular expression
// engine does on the translated text.

#include <gtest/gtest.h>
#include <unicode/uchar.h>
#include <unicode/unistr.h>

#include <algorithm>
#include <boost/regex/icu.hpp>
#include <iterator>
#include <memory>
#include <optional>
#include <random>
#include <stdexcept>
#include <string>
#include <utility>
#include <vector>

#include "qvl/qvl.h"
#include "tests/support/Outcome.h"
#include "tests/support/Requests.h"

namespace QVL {
namespace Test {
namespace {

std::string translated(std::string text) {
  const std::pair<const char*, const char*> steps[] = {
      {".", "\\."},   {"/**/", "DOUBLEWITHSLASH"},    {"**", "DOUBLE"},
      {"*", "[^/]*"}, {"DOUBLEWITHSLASH", "/(.*/|)"}, {"DOUBLE", ".*"},
      {"?", "[^/]"},
  };
  for (const auto& [from, to] : steps) {
    std::string result;
    std::size_t begin = 0;
    for (std::size_t at; (at = text.find(from, begin)) != std::string::npos;) {
      result += text.substr(begin, at - begin) + to;
      begin = at + std::string(from).size();
    }
    text = result + text.substr(begin);
  }
  return text;
}

// "match", "no match" or "throws".
template <typename Match>
std::string outcomeOf(Match&& match) {
  try {
    return match() ? "match" : "no match";
  } catch (const std::exception&) {
    return "throws";
  }
}

struct Mode {
  bool wildCards;
  bool caseSensitive;
};

// Compares rules made from random parts on random inputs.
class Comparison {
 public:
  Comparison(std::vector<std::string> parts, std::vector<std::string> inputParts, Mode mode)
      : m_parts(std::move(parts)), m_inputParts(std::move(inputParts)), m_mode(mode) {}

  void run(int rules, int inputsPerRule) {
    for (int i = 0; i < rules; ++i) {
      const std::string text = join(m_parts, 1, 7);
      if (text.empty() || text.back() == '/') continue;
      compareRule(text, inputsPerRule);
      if (::testing::Test::HasFailure()) return;
    }
    EXPECT_GT(m_compared, static_cast<std::size_t>(rules) * 2);
    EXPECT_GT(m_matched, m_compared / 200) << "the inputs hardly ever match";
  }

 private:
  std::string join(const std::vector<std::string>& parts, std::size_t least, std::size_t most) {
    std::string text;
    const std::size_t count = least + m_random() % (most - least + 1);
    for (std::size_t i = 0; i < count; ++i) text += parts[m_random() % parts.size()];
    return text;
  }

  void compareRule(const std::string& text, int inputs) {
    boost::regex_constants::syntax_option_type options = boost::regex_constants::perl;
    if (!m_mode.caseSensitive) options |= boost::regex_constants::icase;
    std::optional<boost::u32regex> engine;
    try {
      engine = boost::make_u32regex(m_mode.wildCards ? translated(text) : text, options);
    } catch (const std::exception&) {
    }

    FilePathAvoidance rule("x", AnyAccess);
    ASSERT_TRUE(rule.validate(text, AnyAccess));
    rule.setWildCardSearch(m_mode.wildCards ? 1 : 0);
    rule.setCaseSensitiveSearch(m_mode.caseSensitive ? 1 : 0);
    ASSERT_EQ(rule.updateRegex(), engine.has_value()) << shown(text);
    if (!engine) return;

    for (int i = 0; i < inputs; ++i) {
      LookupData request = fileRequest(join(m_inputParts, 0, 8));
      const std::string expected =
          outcomeOf([&] { return boost::u32regex_match(request.m_filePath, *engine); });
      ASSERT_EQ(outcomeOf([&] { return rule.canAvoid(request); }), expected)
          << "rule " << shown(text) << ", input " << shown(request.m_filePath);
      ++m_compared;
      m_matched += expected == "match";
    }
  }

  const std::vector<std::string> m_parts;
  const std::vector<std::string> m_inputParts;
  const Mode m_mode;
  std::mt19937 m_random{20240917};
  std::size_t m_compared = 0;
  std::size_t m_matched = 0;
};

const std::vector<Mode> kModes = {{true, true}, {true, false}, {false, true}, {false, false}};

TEST(EngineEquivalence, OfGlobs) {
  for (const bool caseSensitive : {true, false}) {
    Comparison({"a", "b", "/", "?", "*", "**", "/**/", ".", "A"}, {"a", "b", "/", ".", "A", "\n"},
               {true, caseSensitive})
        .run(4000, 40);
  }
}

TEST(EngineEquivalence, OfGlobsWithCharactersOfSeveralBytes) {
  for (const bool caseSensitive : {true, false}) {
    Comparison({"é", "É", "日", "😀", "k", "\u212a", "s", "/", "?", "*", "**", "/**/", "İ", "ß"},
               {"é", "É", "日", "😀", "k", "\u212a", "\u017f", "s", "/", "i", "ß", "\u1e9e"},
               {true, caseSensitive})
        .run(4000, 40);
  }
}

TEST(EngineEquivalence, OfGlobsThatCarryPiecesOfExpressions) {
  for (const Mode mode : kModes) {
    Comparison({"a", "b",   "/",  "?", "*", "**", "(a|b)", "(",   ")", "|", "[ab]", "[^/]",
                "+", "{2}", "\\", "^", "$", ".",  "(ab|)", "\\d", "[", "]", "{",    "}"},
               {"a", "b", "/", "1", ".", "+", "^"}, mode)
        .run(6000, 20);
  }
}

TEST(EngineEquivalence, OfRawExpressions) {
  for (const bool caseSensitive : {true, false}) {
    Comparison({"a", "b", "/", ".", ".*", "[^/]", "[^/]*", "/(.*/|)", "(a|b)", "a*", "b+", "/?",
                "(/|a.*)", "(.*/|)", "\\.", "(?:a)", "(a|)", "A"},
               {"a", "b", "/", ".", "A"}, {false, caseSensitive})
        .run(4000, 40);
  }
}

TEST(EngineEquivalence, OfInputsThatAreNotUtf8) {
  const std::vector<std::string> inputs = {
      "a",
      "b",
      "/",
      "é",
      "\x80",
      "\xc3",
      "\xff",
      "\xe2\x82",
      "\xf0\x9f\x98",
      "\xc0\xaf",
      "\xed\xa0\x80",
      "\xf4\x90\x80\x80",
      "a/b",
      "/a/",
      "aa",
  };
  for (const Mode mode : kModes) {
    Comparison({"a", "b", "/", "?", "*", "**", "/**/", "é", "(a|b)", "[ab]", ".", "a|b"}, inputs,
               mode)
        .run(6000, 40);
  }
}

// Releases of the engine differ in the rarer pairs, such as LONG S and s: it turns characters to
// lower case, or folds them.
TEST(EngineEquivalence, OfTheCaseOfEveryCharacter) {
  const auto utf8 = [](UChar32 character) {
    std::string text;
    icu::UnicodeString(character).toUTF8String(text);
    return text;
  };
  int pairs = 0;
  int equal = 0;
  for (UChar32 character = 1; character <= 0x10ffff; ++character) {
    if (character >= 0xd800 && character <= 0xdfff) continue;
    const UChar32 forms[] = {u_tolower(character), u_toupper(character), u_totitle(character),
                             u_foldCase(character, U_FOLD_CASE_DEFAULT)};
    if (std::all_of(std::begin(forms), std::end(forms),
                    [&](UChar32 form) { return form == character; })) {
      continue;
    }
    const std::string text = utf8(character);
    const auto engine = boost::make_u32regex(text, boost::regex_constants::icase);
    FilePathAvoidance rule(text, AnyAccess);
    rule.disableCaseSensitiveSearch();
    ASSERT_TRUE(rule.updateRegex());
    for (const UChar32 form : forms) {
      LookupData request = fileRequest(utf8(form));
      const bool expected = boost::u32regex_match(request.m_filePath, engine);
      EXPECT_EQ(rule.canAvoid(request), expected) << shown(text) << shown(request.m_filePath);
      ++pairs;
      equal += expected;
    }
  }
  EXPECT_GT(pairs, 10000);
  EXPECT_GT(equal, pairs / 2);
}

TEST(EngineEquivalence, OfFoldersAndTheirSuffix) {
  std::mt19937 random(7);
  const std::vector<std::string> parts = {"a", "b", "/", "?", "*", "**", "/**/", "é", "(a|b)"};
  const std::vector<std::string> inputParts = {"a", "b", "/", "é", "/a", "\x80", "\xff"};
  const auto join = [&random](const std::vector<std::string>& from, std::size_t most) {
    std::string text;
    for (std::size_t count = random() % (most + 1); count > 0; --count) {
      text += from[random() % from.size()];
    }
    return text;
  };
  for (int i = 0; i < 4000; ++i) {
    const std::string text = join(parts, 6) + "/";
    const bool deep = random() % 2 == 0;
    const auto engine = boost::make_u32regex(translated(text) + (deep ? ".*" : "[^/]*"));
    FolderAvoidance rule(text, AnyAccess, deep ? 1 : 0);
    for (int j = 0; j < 20; ++j) {
      LookupData request = fileRequest(join(inputParts, 8));
      ASSERT_EQ(outcomeOf([&] { return rule.canAvoid(request); }),
                outcomeOf([&] { return boost::u32regex_match(request.m_filePath, engine); }))
          << "folder " << shown(text) << (deep ? " deep" : "") << ", input "
          << shown(request.m_filePath);
    }
  }
}

TEST(EngineEquivalence, OfFileTypes) {
  std::mt19937 random(11);
  const std::vector<std::string> parts = {"a", "B", "?", "*", ".", "é", "|", "/", "[ab]", "(", ")"};
  const std::vector<std::string> inputParts = {"a", "b", "A", "*", "é", "É", "/", "\xc3", "\xff"};
  for (int i = 0; i < 6000; ++i) {
    std::string text;
    std::string expression;
    for (std::size_t count = 1 + random() % 4; count > 0; --count) {
      const std::string& part = parts[random() % parts.size()];
      if (text.size() + part.size() > 12) break;
      text += part;
      expression += part == "?" ? "[^/]" : part == "*" ? "\\*" : part;
    }
    const bool caseSensitive = random() % 2 == 0;
    boost::regex_constants::syntax_option_type options = boost::regex_constants::perl;
    if (!caseSensitive) options |= boost::regex_constants::icase;
    std::optional<boost::u32regex> engine;
    try {
      engine = boost::make_u32regex(expression, options);
    } catch (const std::exception&) {
    }
    FileTypeAvoidance rule("x", AnyAccess);
    ASSERT_TRUE(rule.validate(text, AnyAccess));
    rule.setCaseSensitiveSearch(caseSensitive ? 1 : 0);
    ASSERT_EQ(rule.updateRegex(), engine.has_value()) << shown(text);
    if (!engine) continue;
    for (int j = 0; j < 20; ++j) {
      std::string extension;
      for (std::size_t count = random() % 5; count > 0; --count) {
        extension += inputParts[random() % inputParts.size()];
      }
      LookupData request = fileRequest("/x." + extension);
      ASSERT_EQ(outcomeOf([&] { return rule.canAvoid(request); }),
                outcomeOf([&] { return boost::u32regex_match(extension, *engine); }))
          << "type " << shown(text) << ", extension " << shown(extension);
    }
  }
}

}  // namespace
}  // namespace Test
}  // namespace QVL
