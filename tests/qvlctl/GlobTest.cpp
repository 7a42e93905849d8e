// Patterns of shells and ignore files, taken apart and put together again.

#include "import/Glob.h"

#include <gtest/gtest.h>

#include <string>
#include <vector>

namespace qvlctl {
namespace {

std::string reasonFor(const std::string& pattern) {
  try {
    for (const std::string& text : expandBraces(pattern)) parseGlob(text);
  } catch (const GlobError& error) {
    return error.what();
  }
  return "none";
}

TEST(Glob, IsSaidInBothLanguagesOfRules) {
  const struct {
    const char* pattern;
    const char* withWildcards;
    const char* expression;
  } kCases[] = {
      {"/a.b", "/a.b", "/a\\.b"},
      {"/a/b", "/a/b", "/a/b"},
      {"/a//b/", "/a/b", "/a/b"},
      {"/*.o", "/*.o", "/[^/]*\\.o"},
      {"/a**b", "/a*b", "/a[^/]*b"},
      {"/a?", "/a?", "/a[^/]"},
      {"/a/**/b", "/a/**/b", "/a/(.*/|)b"},
      {"/**/**/b", "/**/b", "/(.*/|)b"},
      {"/c++ (1)", "/c\\+\\+ \\(1\\)", "/c\\+\\+ \\(1\\)"},
      {"/a\\*", "/a*", "/a\\*"},
      {"/a\\\\b", "/a\\\\b", "/a\\\\b"},
      {"/[ab]", "/[ab]", "/[ab]"},
      {"/[!ab]", "/[^ab/]", "/[^ab/]"},
      {"/[^a]", "/[^a/]", "/[^a/]"},
      {"/[]a]", "/[\\]a]", "/[\\]a]"},
      {"/[a-]", "/[a\\-]", "/[a\\-]"},
      {"/[a-c-]", "/[a-c\\-]", "/[a-c\\-]"},
      {"/[+-9]", "/[+-.0-9]", "/[+-.0-9]"},
      {"/[--/]", "/[\\--.]", "/[\\--.]"},
      {"/[a/b]", "/[ab]", "/[ab]"},
      {"/[[:digit:]_]", "/[0-9_]", "/[0-9_]"},
      {"/[\\]]", "/[\\]]", "/[\\]]"},
      {"/[ä-ü]", "/[ä-ü]", "/[ä-ü]"},
  };
  for (const auto& one : kCases) {
    const Glob glob = parseGlob(one.pattern);
    const GlobTexts texts = textsOf(glob.names);
    EXPECT_EQ(texts.withWildcards, one.withWildcards) << one.pattern;
    EXPECT_EQ(texts.expression, one.expression) << one.pattern;
  }
}

TEST(Glob, OfAPathMeansNothingElse) {
  const GlobTexts texts = textsOf(literalGlob("/a*/[b]?\\{c}/**/d").names);
  EXPECT_EQ(texts.expression, "/a\\*/\\[b\\]\\?\\\\\\{c\\}/\\*\\*/d");
}

TEST(Glob, KnowsWhereItsSlashesAre) {
  const struct {
    const char* pattern;
    bool begins;
    bool ends;
    std::size_t names;
  } kCases[] = {{"", false, false, 0},    {"/", true, true, 0},     {"a", false, false, 1},
                {"a/", false, true, 1},   {"/a/b", true, false, 2}, {"**", false, false, 1},
                {"a/**", false, false, 2}};
  for (const auto& one : kCases) {
    const Glob glob = parseGlob(one.pattern);
    EXPECT_EQ(glob.beginsWithSlash, one.begins) << one.pattern;
    EXPECT_EQ(glob.endsInSlash, one.ends) << one.pattern;
    EXPECT_EQ(glob.names.size(), one.names) << one.pattern;
  }
  EXPECT_TRUE(parseGlob("/a/**").names.back().isDeep);
  EXPECT_FALSE(parseGlob("/a/\\*\\*").names.back().isDeep);
}

TEST(Glob, SaysWhyItIsNone) {
  const struct {
    const char* pattern;
    const char* reason;
  } kCases[] = {
      {"/[ab", "[ has no ] that ends it"},
      {"/[", "[ has no ] that ends it"},
      {"/[]", "[ has no ] that ends it"},
      {"/[[:alpha:", "[: has no :] that ends it"},
      {"/[[:vowel:]]", "there is no class of characters \"vowel\""},
      {"/[b-a]", "the range b-a is upside down"},
      {"/[/]", "a set that holds no character but a slash"},
      {"/a\\", "a backslash at the end takes the meaning of nothing away"},
      {"/{a", "{ has no } that ends it; for itself it is \\{"},
      {"/a}", "} has no { that begins it; for itself it is \\}"},
      {"/{a}",
       "expected alternatives in { }, with commas between them; for themselves braces are \\{ and "
       "\\}"},
  };
  for (const auto& one : kCases) EXPECT_EQ(reasonFor(one.pattern), one.reason) << one.pattern;
}

TEST(Glob, BracesStandForSeveral) {
  using Texts = std::vector<std::string>;
  EXPECT_EQ(expandBraces("a"), (Texts{"a"}));
  EXPECT_EQ(expandBraces("{a,b}c"), (Texts{"ac", "bc"}));
  EXPECT_EQ(expandBraces("x{a,{b,c}d,}{1,2}"),
            (Texts{"xa1", "xa2", "xbd1", "xbd2", "xcd1", "xcd2", "x1", "x2"}));
  EXPECT_EQ(expandBraces("\\{a,b\\}"), (Texts{"\\{a,b\\}"}));
  EXPECT_EQ(expandBraces("{a\\,b,c}"), (Texts{"a\\,b", "c"}));
  std::string many;
  for (int i = 0; i < 60; ++i) many += "{a,b}";
  EXPECT_EQ(reasonFor("/" + many), "expected at most 1000 alternatives in braces");
}

}  // namespace
}  // namespace qvlctl
