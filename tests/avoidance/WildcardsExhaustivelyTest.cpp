// Every small pattern on every small string, against the wildcard rules as they are told.

#include <gtest/gtest.h>

#include <cstdint>
#include <memory>
#include <string>
#include <string_view>
#include <vector>

#include "qvl/qvl.h"
#include "tests/support/Requests.h"

namespace QVL {
namespace Test {
namespace {

// --- The reference -------------------------------------------------------------------------------
// Reads the pattern from left to right and keeps the set of places in the text, a bit each, to
// which what was read so far can reach. Shares nothing with the library.

class Reference {
 public:
  explicit Reference(std::string_view text) : m_text(text) {}

  bool matches(std::string_view pattern) const {
    Places places = 1;
    while (!pattern.empty() && places != 0) {
      if (skip(pattern, "/**/")) {
        places = afterFolders(after(places, [](char c) { return c == '/'; }));
      } else if (skip(pattern, "**")) {
        places = afterRun(places, [](char) { return true; });
      } else if (skip(pattern, "*")) {
        places = afterRun(places, [](char c) { return c != '/'; });
      } else if (skip(pattern, "?")) {
        places = after(places, [](char c) { return c != '/'; });
      } else {
        places = after(places, [wanted = pattern[0]](char c) { return c == wanted; });
        pattern.remove_prefix(1);
      }
    }
    return places >> m_text.size() & 1;
  }

 private:
  using Places = std::uint32_t;

  static bool skip(std::string_view& pattern, std::string_view token) {
    if (pattern.substr(0, token.size()) != token) return false;
    pattern.remove_prefix(token.size());
    return true;
  }

  // One character that fits.
  template <typename Fits>
  Places after(Places before, Fits fits) const {
    Places places = 0;
    for (std::size_t i = 0; i < m_text.size(); ++i) {
      if ((before >> i & 1) != 0 && fits(m_text[i])) places |= Places{2} << i;
    }
    return places;
  }

  // Any number of characters that fit, none included.
  template <typename Fits>
  Places afterRun(Places places, Fits fits) const {
    for (std::size_t i = 0; i < m_text.size(); ++i) {
      if ((places >> i & 1) != 0 && fits(m_text[i])) places |= Places{2} << i;
    }
    return places;
  }

  // Nothing, or whatever ends in a slash.
  Places afterFolders(Places before) const {
    Places places = before;
    for (std::size_t i = 0; i < m_text.size(); ++i) {
      const bool reached = (before & ((Places{2} << i) - 1)) != 0;
      if (reached && m_text[i] == '/') places |= Places{2} << i;
    }
    return places;
  }

  std::string_view m_text;
};

TEST(WildcardReference, KnowsTheExamplesOfTheWildcards) {
  const struct {
    const char* pattern;
    const char* text;
    bool expected;
  } rows[] = {
      {"/a/**/b", "/a/b", true},
      {"/a/**/b", "/a/x/y/b", true},
      {"/a/**/b", "/ab", false},
      {"/a/**/b", "/a/xb", false},
      {"/a/*/b", "/a/x/b", true},
      {"/a/*/b", "/a/x/y/b", false},
      {"/a/?/b", "/a/x/b", true},
      {"/a/?/b", "/a/xy/b", false},
      {"/a/?/b", "/a///b", false},
      {"/t/a**b", "/t/ab", true},
      {"/t/a**b", "/t/a/x/b", true},
      {"/t/a**b", "/t/a/x/bc", false},
      {"/t/*", "/t/a", true},
      {"/t/*", "/t/a/b", false},
      {"/t/*", "/t/", true},
      {"/t/a", "/t/ab", false},
      {"*", "", true},
      {"?", "", false},
  };
  for (const auto& row : rows) {
    EXPECT_EQ(Reference(row.text).matches(row.pattern), row.expected)
        << row.pattern << " on " << row.text;
  }
}

// --- The library ---------------------------------------------------------------------------------

// Everything that up to `most` of these parts make, one after the other; the empty text excluded.
std::vector<std::string> madeOf(const std::vector<std::string>& parts, std::size_t most) {
  std::vector<std::string> all;
  std::size_t begin = 0;
  for (std::size_t count = 1; count <= most; ++count) {
    const std::size_t end = all.size();
    for (const std::string& part : parts) {
      if (count == 1) all.push_back(part);
      for (std::size_t i = begin; count > 1 && i < end; ++i) all.push_back(all[i] + part);
    }
    begin = end;
  }
  return all;
}

std::vector<std::string> patterns() {
  return madeOf({"a", "b", "/", "?", "*", "**"}, 5);
}

std::vector<LookupData> requests() {
  std::vector<LookupData> all = {fileRequest("")};
  for (std::string& text : madeOf({"a", "b", "/"}, 7)) all.push_back(fileRequest(std::move(text)));
  return all;
}

bool endsInSlash(const std::string& pattern) {
  return pattern.back() == '/';
}

// Puts every pattern to every string: by `make(pattern)`, whose result answers a request, and by
// the reference for `meant(pattern)`.
template <typename Make, typename Meant>
void compareAll(Make make, Meant meant) {
  const std::vector<std::string> all = patterns();
  std::vector<LookupData> asked = requests();
  ASSERT_EQ(all.size(), 9330U);
  ASSERT_EQ(asked.size(), 3280U);
  std::size_t compared = 0;
  std::size_t matched = 0;
  for (const std::string& pattern : all) {
    const auto answer = make(pattern);
    const std::string meaning = meant(pattern);
    for (LookupData& request : asked) {
      const bool expected = Reference(request.m_filePath).matches(meaning);
      ASSERT_EQ(answer(request), expected) << pattern << " on \"" << request.m_filePath << '"';
      matched += expected;
      ++compared;
    }
  }
  EXPECT_EQ(compared, 30602400U);
  EXPECT_GT(matched, compared / 20) << "the patterns hardly ever match";
  EXPECT_LT(matched, compared / 2);
}

// A path pattern that ends in a slash would name a folder and is refused: that one is asked of the
// folder rule, which puts a star behind it.
std::unique_ptr<IAvoidance> ruleFor(const std::string& pattern) {
  if (!endsInSlash(pattern)) return std::make_unique<FilePathAvoidance>(pattern, AnyAccess);
  EXPECT_THROW(FilePathAvoidance(pattern, AnyAccess), QVLException) << pattern;
  return std::make_unique<FolderAvoidance>(pattern, AnyAccess, 0);
}
std::string meaningOf(const std::string& pattern) {
  return endsInSlash(pattern) ? pattern + "*" : pattern;
}

TEST(WildcardsExhaustively, EverySmallPatternAsARule) {
  compareAll(
      [](const std::string& pattern) {
        return [rule = std::shared_ptr<IAvoidance>(ruleFor(pattern))](LookupData& request) {
          return rule->canAvoid(request);
        };
      },
      meaningOf);
}

TEST(WildcardsExhaustively, EverySmallPatternInADataSet) {
  compareAll(
      [](const std::string& pattern) {
        auto dataSet = std::make_shared<FilePathDataSet>();
        EXPECT_TRUE(dataSet->addToDataSet(ruleFor(pattern)));
        return [dataSet](LookupData& request) { return dataSet->isPresentInDataSet(request); };
      },
      meaningOf);
}

TEST(WildcardsExhaustively, EverySmallPatternAsAFolderWithItsSubfolders) {
  compareAll(
      [](const std::string& pattern) {
        return [rule = std::make_shared<FolderAvoidance>(pattern + "/", AnyAccess, 1)](
                   LookupData& request) { return rule->canAvoid(request); };
      },
      // The two stars that are put behind the folder do not join stars that end its pattern.
      [](const std::string& pattern) { return pattern + "/**"; });
}

// A data set holds many rules at once: present is what any of them matches.
TEST(WildcardsExhaustively, EverySmallPatternAmongOthers) {
  const std::vector<std::string> all = patterns();
  std::vector<LookupData> asked = requests();
  constexpr std::size_t kTogether = 30;  // neighbours in the row share most of their parts
  std::size_t compared = 0;
  std::size_t present = 0;
  for (std::size_t first = 0; first < all.size(); first += kTogether) {
    FilePathDataSet dataSet;
    for (std::size_t i = first; i < first + kTogether; ++i) dataSet.addToDataSet(ruleFor(all[i]));
    for (LookupData& request : asked) {
      const Reference reference(request.m_filePath);
      bool expected = false;
      for (std::size_t i = first; i < first + kTogether && !expected; ++i) {
        expected = reference.matches(meaningOf(all[i]));
      }
      ASSERT_EQ(dataSet.isPresentInDataSet(request), expected)
          << "patterns from " << all[first] << " on \"" << request.m_filePath << '"';
      present += expected;
      ++compared;
    }
  }
  EXPECT_EQ(compared, 311U * 3280U);
  EXPECT_GT(present, compared / 20);
}

}  // namespace
}  // namespace Test
}  // namespace QVL
