// The pattern language of the file path and process rules: what each text matches.

#include <gtest/gtest.h>

#include <cstddef>
#include <memory>
#include <set>
#include <string>
#include <vector>

#include "qvl/qvl.h"
#include "tests/support/Outcome.h"
#include "tests/support/RuleKinds.h"

namespace QVL {
namespace Test {
namespace {

struct Row {
  std::string rule;
  std::string input;
  bool expected;
};

// The file path and the process rule (without its default folder) compile alike.
template <typename KindUnderTest>
class Pattern : public ::testing::Test {
 protected:
  using Kind = KindUnderTest;

  struct Settings {
    bool wildCards = true;
    bool caseSensitive = true;
  };

  static void expectRows(const std::vector<Row>& rows, Settings settings) {
    for (const Row& row : rows) {
      std::unique_ptr<typename Kind::Rule> rule;
      if (!settings.wildCards) {
        // A raw expression need not be a glob that compiles: begin with one that does.
        rule = Kind::make(std::string("x"));
        ASSERT_TRUE(rule->validate(row.rule, AnyAccess)) << shown(row.rule);
        rule->disableWildCardSearch();
      } else {
        ASSERT_EQ(thrownBy([&] { rule = Kind::make(row.rule); }), "nothing") << shown(row.rule);
      }
      rule->setCaseSensitiveSearch(settings.caseSensitive ? 1 : 0);
      ASSERT_TRUE(rule->updateRegex()) << shown(row.rule);
      LookupData request = Kind::request(row.input);
      EXPECT_EQ(rule->canAvoid(request), row.expected)
          << "rule " << shown(row.rule) << ", input " << shown(row.input);
    }
  }
  static void expectRows(const std::vector<Row>& rows) { expectRows(rows, Settings()); }

  static bool matches(typename Kind::Rule& rule, const std::string& input) {
    LookupData request = Kind::request(input);
    return rule.canAvoid(request);
  }
};
using PatternKinds = ::testing::Types<FilePathKind, ProcessKind>;
TYPED_TEST_SUITE(Pattern, PatternKinds, KindName);

// --- Wildcards -----------------------------------------------------------------------------------

TYPED_TEST(Pattern, MatchesTheWholeInput) {
  this->expectRows({
      {"/tmp/a", "/tmp/a", true},
      {"/tmp/a", "/tmp/ab", false},
      {"/tmp/a", "x/tmp/a", false},
      {"/tmp/a", "/tmp/a/", false},
      {"/tmp/a", "/tmp/", false},
      {"/tmp/a", "", false},
      {"/tmp/a", "/tmp/a\n", false},
      {"/tmp/a", "\n/tmp/a", false},
      {"*", "", true},
      {"**", "", true},
      {"?", "", false},
  });
}

TYPED_TEST(Pattern, ADotIsLiteral) {
  this->expectRows({
      {"file.txt", "file.txt", true},
      {"file.txt", "fileatxt", false},
      {"file.txt", "filetxt", false},
      {"a..b", "a..b", true},
      {"a..b", "axxb", false},
      {".", ".", true},
      {".", "x", false},
  });
}

TYPED_TEST(Pattern, AStarStaysInsideOneComponent) {
  this->expectRows({
      {"/tmp/*", "/tmp/a", true},
      {"/tmp/*", "/tmp/a.b c", true},
      {"/tmp/*", "/tmp/", true},
      {"/tmp/*", "/tmp", false},
      {"/tmp/*", "/tmp/a/b", false},
      {"/a/*/b", "/a/x/b", true},
      {"/a/*/b", "/a//b", true},
      {"/a/*/b", "/a/x/y/b", false},
      {"/a/*/b", "/a/b", false},
      {"*.log", "a.log", true},
      {"*.log", ".log", true},
      {"*.log", "a/b.log", false},
      {"*.log", "alog", false},
      {"a*b*c", "abc", true},
      {"a*b*c", "axxbyyc", true},
      {"a*b*c", "acb", false},
      {"a*b*c", "axx/byyc", false},
  });
}

TYPED_TEST(Pattern, AQuestionMarkIsOneCharacterOtherThanASlash) {
  this->expectRows({
      {"/a/?/b", "/a/x/b", true},
      {"/a/?/b", "/a/xy/b", false},
      {"/a/?/b", "/a//b", false},
      {"/a/?/b", "/a///b", false},
      {"?", "x", true},
      {"?", "?", true},
      {"?", "/", false},
      {"??", "xy", true},
      {"??", "x", false},
      {"??", "xyz", false},
      {"a?*", "ab", true},
      {"a?*", "abc", true},
      {"a?*", "a", false},
      {"a*?", "ab", true},
      {"a*?", "a", false},
      {"x.?", "x.y", true},
      {"x.?", "xzy", false},
  });
}

TYPED_TEST(Pattern, ADoubleStarCrossesFolders) {
  this->expectRows({
      {"/tmp/a**b", "/tmp/ab", true},
      {"/tmp/a**b", "/tmp/a/x/y/b", true},
      {"/tmp/a**b", "/tmp/axyb", true},
      {"/tmp/a**b", "/tmp/a", false},
      {"/tmp/a**b", "/tmp/x/ab", false},
      {"**", "/any/path", true},
      {"**.o", "/a/b/c.o", true},
      {"**.o", ".o", true},
      {"**.o", "/a/b/co", false},
      {"/a/**", "/a/", true},
      {"/a/**", "/a/b/c", true},
      {"/a/**", "/a", false},
      {"/a**", "/a", true},
      {"/a**", "/ab/c", true},
      {"**/b", "/b", true},
      {"**/b", "a/b", true},
      {"**/b", "b", false},
  });
}

TYPED_TEST(Pattern, ADoubleStarBetweenSlashesIsAnyNumberOfFolders) {
  this->expectRows({
      {"/a/**/b", "/a/b", true},
      {"/a/**/b", "/a/x/b", true},
      {"/a/**/b", "/a/x/y/b", true},
      {"/a/**/b", "/a//b", true},
      {"/a/**/b", "/ab", false},
      {"/a/**/b", "/a/xb", false},
      {"/a/**/b", "/a/b/c", false},
      {"/**/b", "/b", true},
      {"/**/b", "/x/y/b", true},
      {"/**/b", "b", false},
      {"/a/**/b/**/c", "/a/b/c", true},
      {"/a/**/b/**/c", "/a/x/b/y/z/c", true},
      {"/a/**/b/**/c", "/a/c", false},
      // The second "**" has lost its slash to the first: "/a/(.*/|).*/b"
      {"/a/**/**/b", "/a/x/b", true},
      {"/a/**/**/b", "/a//b", true},
      {"/a/**/**/b", "/a/b", false},
      {"/a/**/**/b", "/ab", false},
  });
}

TYPED_TEST(Pattern, LongRunsOfStarsAreReadTwoByTwo) {
  this->expectRows({
      {"a***b", "ab", true},
      {"a***b", "a/x/yb", true},
      {"a***b", "a/x/y", false},
      {"a****b", "a/x/b", true},
      {"a****b", "ba", false},
  });
}

TYPED_TEST(Pattern, WorkedExamplesMatchAsTheirExpressionsSay) {
  this->expectRows({
      // /Users/[^/]*/Library/(.*/|)cache[^/]\.db
      {"/Users/*/Library/**/cache?.db", "/Users/ann/Library/cache1.db", true},
      {"/Users/*/Library/**/cache?.db", "/Users/ann/Library/x/y/cache2.db", true},
      {"/Users/*/Library/**/cache?.db", "/Users//Library/cache1.db", true},
      {"/Users/*/Library/**/cache?.db", "/Users/ann/b/Library/cache1.db", false},
      {"/Users/*/Library/**/cache?.db", "/Users/ann/Library/xcache1.db", false},
      {"/Users/*/Library/**/cache?.db", "/Users/ann/Library/cache.db", false},
      {"/Users/*/Library/**/cache?.db", "/Users/ann/Library/cache/.db", false},
      {"/Users/*/Library/**/cache?.db", "/Users/ann/Library/cache1xdb", false},
      // /var/(.*/|)[^/]*\.log
      {"/var/**/*.log", "/var/a.log", true},
      {"/var/**/*.log", "/var/x/y/a.log", true},
      {"/var/**/*.log", "/var/.log", true},
      {"/var/**/*.log", "/vara.log", false},
      {"/var/**/*.log", "/var/alog", false},
      {"/var/**/*.log", "/var/a.log/b", false},
      // /tmp/a.*b
      {"/tmp/a**b", "/tmp/a/1/2/b", true},
      {"/tmp/a**b", "/tmp/a.*b", true},
      {"/tmp/a**b", "/tmp/a/1/2/c", false},
  });
  const auto rule = TypeParam::make(std::string("/opt/%TOOLS%/bin/*.plist"));
  ASSERT_TRUE(rule->addOrUpdateKeyword("%TOOLS%", {"beta", "alpha"}));
  ASSERT_TRUE(rule->updateRegex());
  EXPECT_TRUE(this->matches(*rule, "/opt/alpha/bin/x.plist"));
  EXPECT_TRUE(this->matches(*rule, "/opt/beta/bin/.plist"));
  EXPECT_FALSE(this->matches(*rule, "/opt/gamma/bin/x.plist"));
  EXPECT_FALSE(this->matches(*rule, "/opt/alphabeta/bin/x.plist"));
  EXPECT_FALSE(this->matches(*rule, "/opt/%TOOLS%/bin/x.plist"));
  EXPECT_FALSE(this->matches(*rule, "/opt/alpha/bin/x/y.plist"));
}

TYPED_TEST(Pattern, ThePlaceholderWordsStandForTheWildcards) {
  this->expectRows({
      {"/data/DOUBLE/x", "/data/y/x", true},
      {"/data/DOUBLE/x", "/data/a/b/c/x", true},
      {"/data/DOUBLE/x", "/data//x", true},
      {"/data/DOUBLE/x", "/data/x", false},
      {"aDOUBLEWITHSLASHb", "a/b", true},
      {"aDOUBLEWITHSLASHb", "a/x/y/b", true},
      {"aDOUBLEWITHSLASHb", "ab", false},
      {"aDOUBLEWITHSLASHb", "axb", false},
      {"DOUBLE", "anything/at all", true},
      {"DOUBLE", "DOUBLE", true},
      {"xDOUBLEx", "x", false},
      {"DOUBLE*", "a/b", true},
      {"double", "double", true},
      {"double", "x", false},
      {"DOUBLEWITH", "/a/WITH", true},
      {"DOUBLEWITH", "/a/", false},
      // "DOUBLEWITHSLASH" is put together by the wildcard and what follows it.
      {"**WITHSLASH", "/", true},
      {"**WITHSLASH", "/a/b/", true},
      {"**WITHSLASH", "WITHSLASH", false},
      {"DOUBLEDOUBLE", "", true},
      {"DOUDOUBLEBLE", "DOU/x/BLE", true},
      {"DOUDOUBLEBLE", "DOUBLE", true},
      {"DOUDOUBLEBLE", "/x/", false},
  });
}

TYPED_TEST(Pattern, OtherCharactersKeepTheirMeaningInExpressions) {
  this->expectRows({
      {"a+", "aaa", true},        {"a+", "a+", false},     {"(a|b)c", "ac", true},
      {"(a|b)c", "bc", true},     {"(a|b)c", "cc", false}, {"a|b", "a", true},
      {"a|b", "b", true},         {"a|b", "ab", false},    {"[a-c]x", "bx", true},
      {"[a-c]x", "dx", false},    {"[!a]x", "!x", true},   {"a{2}", "aa", true},
      {"a{2}", "aaa", false},     {"a{2}", "a{2}", false}, {"^a$", "a", true},
      {"^a$", "^a$", false},      {"\\d+", "123", true},   {"\\d+", "12x", false},
      {"\\[a\\]", "[a]", true},   {"a\\+b", "a+b", true},  {"a\\+b", "aab", false},
      {"/a b/c", "/a b/c", true}, {"%a%", "%a%", true},    {"a,b=c-d", "a,b=c-d", true},
  });
}

TYPED_TEST(Pattern, WildcardCharactersCannotBeEscaped) {
  this->expectRows({
      // "\?" becomes "\[^/]" and "\*" becomes "\[^/]*": an escaped bracket, and the rest literally.
      {"a\\?", "a[^/]", false},
      {"\\.", "\\x", true},  // "\\." : an escaped backslash, then any character
      {"\\.", ".", false},
  });
}

TYPED_TEST(Pattern, ANewlineIsACharacterLikeAnyOther) {
  this->expectRows({
      {"/a/*", "/a/x\ny", true},
      {"/a/?b", "/a/\nb", true},
      {"/a/**", "/a/x\n/y", true},
      {"/a/**/b", "/a/x\ny/b", true},
      {"/a/x\ny", "/a/x\ny", true},
      {"/a/x\ny", "/a/x y", false},
      {"/a/xy", "/a/x\ny", false},
      {"/a/*", "/a/x\n/y", false},
      {"/a", "/a\n/a", false},
      {"^/a$", "/a\n", false},
  });
}

// --- Raw expressions -----------------------------------------------------------------------------

TYPED_TEST(Pattern, WithoutWildcardsTheTextIsAnExpression) {
  typename TestFixture::Settings raw;
  raw.wildCards = false;
  this->expectRows(
      {
          {"file.txt", "file.txt", true},
          {"file.txt", "fileatxt", true},
          {"file.txt", "filetxt", false},
          {"/a/.*", "/a/b/c", true},
          {"/a/.*", "/b/b/c", false},
          {"ab*", "a", true},
          {"ab*", "abbb", true},
          {"ab*", "abx", false},
          {"ab?", "a", true},
          {"ab?", "ab", true},
          {"ab?", "abc", false},
          {"/data/DOUBLE/x", "/data/DOUBLE/x", true},
          {"/data/DOUBLE/x", "/data/y/x", false},
          {"DOUBLEWITHSLASH", "DOUBLEWITHSLASH", true},
          {"(a|b)+", "abba", true},
          {"(a|b)+", "abc", false},
          {"a", "aa", false},
          {"a|ab", "ab", true},
          {"[^/]*", "name", true},
          {"[^/]*", "a/b", false},
          {"\\p{L}+", "é", true},
          {"\\p{L}+", "1", false},
          {"(?i)abc", "ABC", true},
          {"a.c", "a\nc", true},
          {"a(?=b).", "ab", true},
          {"(a)\\1", "aa", true},
          {"(a)\\1", "ab", false},
          {"\\x{e9}", "é", true},
          {"\\x{e9}", "e", false},
      },
      raw);
}

TYPED_TEST(Pattern, SwitchingWildcardsTakesEffectAtTheNextUpdate) {
  const auto rule = TypeParam::make(std::string("file.txt"));
  EXPECT_FALSE(this->matches(*rule, "fileatxt"));
  rule->disableWildCardSearch();
  EXPECT_FALSE(this->matches(*rule, "fileatxt"));
  EXPECT_TRUE(rule->updateRegex());
  EXPECT_TRUE(this->matches(*rule, "fileatxt"));
  rule->enableWildCardSearch();
  EXPECT_TRUE(this->matches(*rule, "fileatxt"));
  EXPECT_TRUE(rule->updateRegex());
  EXPECT_FALSE(this->matches(*rule, "fileatxt"));
}

TYPED_TEST(Pattern, ExpressionsThatCannotBeBuilt) {
  for (const char* text :
       {"(", ")", "/a/(b", "/a)b", "[a", "\\", "+a", "(?", "[z-a]", "a|(", "[[:nosuchclass:]]"}) {
    EXPECT_EQ(thrownBy([&] { TypeParam::make(std::string(text)); }), TypeParam::kNotBuiltMessage)
        << text;
    EXPECT_EQ(thrownBy([&] { TypeParam::make(widened(text)); }), TypeParam::kWideNotBuiltMessage)
        << text;
  }
}

// --- Case ----------------------------------------------------------------------------------------

TYPED_TEST(Pattern, CaseMattersByDefault) {
  this->expectRows({
      {"/Tmp/*", "/Tmp/file", true},
      {"/Tmp/*", "/tmp/file", false},
      {"k", "\u212a", false},
      {"é", "É", false},
  });
}

// Which of the rarer characters are one is the engine's: see EngineEquivalence.
TYPED_TEST(Pattern, WithoutCaseUpperAndLowerAreOne) {
  typename TestFixture::Settings folded;
  folded.caseSensitive = false;
  this->expectRows(
      {
          {"/Tmp/*", "/tmp/file", true},
          {"/tmp/*", "/TMP/FILE", true},
          {"/tmp/*", "/tnp/FILE", false},
          {"k", "\u212a", true},  // KELVIN SIGN
          {"K", "\u212a", true},
          {"\u212a", "k", true},
          {"\u017f", "\u017f", true},
          {"Σ", "σ", true},
          {"å", "\u212b", true},  // ANGSTROM SIGN
          {"é", "É", true},
          {"É", "é", true},
          {"é", "e", false},
          {"я", "Я", true},
          {"ß", "\u1e9e", true},  // LATIN CAPITAL LETTER SHARP S
          {"ß", "ss", false},     // one character becomes one character
          {"ﬁ", "fi", false},
          {"ǆ", "ǅ", true},  // title case, too
          {"𐐨", "𐐀", true},  // beyond the 16-bit range
          {"𐐨", "𐐁", false},
          {"[a-c]", "B", true},
          {"[a-c]", "D", false},
      },
      folded);
}

TYPED_TEST(Pattern, SwitchingCaseTakesEffectAtTheNextUpdate) {
  const auto rule = TypeParam::make(std::string("/Tmp/*"));
  rule->disableCaseSensitiveSearch();
  EXPECT_FALSE(this->matches(*rule, "/tmp/x"));
  EXPECT_TRUE(rule->updateRegex());
  EXPECT_TRUE(this->matches(*rule, "/tmp/x"));
  for (const unsigned char value : std::vector<unsigned char>{1, 2, 255}) {
    rule->setCaseSensitiveSearch(value);
    EXPECT_TRUE(rule->updateRegex());
    EXPECT_FALSE(this->matches(*rule, "/tmp/x")) << int{value};
  }
  rule->setCaseSensitiveSearch(0);
  EXPECT_TRUE(rule->updateRegex());
  EXPECT_TRUE(this->matches(*rule, "/tmp/x"));
  rule->enableCaseSensitiveSearch();
  EXPECT_TRUE(rule->updateRegex());
  EXPECT_FALSE(this->matches(*rule, "/tmp/x"));
}

// --- Unicode -------------------------------------------------------------------------------------

TYPED_TEST(Pattern, CountsCharactersAndNotBytes) {
  this->expectRows({
      {"/?", "/é", true},
      {"/?", "/€", true},
      {"/?", "/😀", true},
      {"/??", "/é", false},
      {"/??", "/éa", true},
      {"/??", "/e\u0301", true},  // a letter and its combining accent are two characters
      {"/?", "/e\u0301", false},
      {"/é", "/e\u0301", false},  // no normalisation
      {"/???", "/日本語", true},
      {"/??", "/日本語", false},
      {"/*語", "/日本語", true},
      {"/*語", "/日本", false},
      {"/é*", "/été", true},
      {"/é*", "/ete", false},
      {"/**/日本", "/a/é/日本", true},
      {"[é€]", "€", true},
      {"[é€]", "è", false},
      {"é+", "ééé", true},
      {"é{2}", "éé", true},
      {"é{2}", "éa", false},
      {"\u00a0", "\u00a0", true},
      {"/\ufeff", "/\ufeff", true},
  });
}

TYPED_TEST(Pattern, AZeroByteIsACharacterLikeAnyOther) {
  using namespace std::string_literals;
  this->expectRows({
      {"a\0b"s, "a\0b"s, true},
      {"a\0b"s, "a"s, false},
      {"a"s, "a\0b"s, false},
      {"a*"s, "a\0b"s, true},
      {"a?b"s, "a\0b"s, true},
      {"a\0*"s, "a\0b"s, true},
      {"a\0*"s, "ab"s, false},
  });
  const auto rule = TypeParam::make("a\0b"s);
  EXPECT_EQ(rule->getKey(), "a\0b"s) << "a narrow text is kept whole";
}

TYPED_TEST(Pattern, AnInputThatIsNotUtf8ThrowsWhenItIsRead) {
  const struct {
    const char* rule;
    const char* input;
    bool throws;
  } rows[] = {
      {"/a/*", "/a/\xff", true},
      {"/a/*", "/a/b\x80", true},
      {"/a/*", "/a/\xc3z", true},
      {"**", "/a/\xed\xa0\x80/b", true},
      {"**", "/a/\xc0\xaf/b", true},
      // A text that begins with a continuation byte or ends in a cut sequence throws in any case.
      {"/a/*", "\x80/a", true},
      {"/b", "\x80/a", true},
      {"/b", "/a/\xc3", true},
      {"/b", "/a/\xe2\x82", true},
      {"/b", "\xff", true},
      // The match is lost before the bad byte is read.
      {"/b", "/a/\xff/long enough to hold it", false},
      {"/b/*", "/a\x80x", false},
  };
  for (const auto& row : rows) {
    const auto rule = TypeParam::make(std::string(row.rule));
    LookupData request = TypeParam::request(row.input, ReadAccess);
    if (row.throws) {
      EXPECT_THROW(rule->canAvoid(request), std::exception) << row.rule << shown(row.input);
      EXPECT_THROW(rule->canAvoidWithAccessType(request, false), std::exception)
          << row.rule << shown(row.input);
      const auto ofWriting = TypeParam::make(std::string(row.rule), WriteAccess);
      EXPECT_THROW(ofWriting->canAvoidWithAccessType(request, false), std::exception)
          << "the input comes before the access type: " << row.rule << shown(row.input);
    } else {
      bool avoided = true;
      EXPECT_NO_THROW(avoided = rule->canAvoid(request)) << row.rule << shown(row.input);
      EXPECT_FALSE(avoided) << row.rule << shown(row.input);
    }
    LookupData good = TypeParam::request("/b");
    EXPECT_NO_THROW(rule->canAvoid(good)) << "the rule works afterwards";
  }
}

// --- Keywords ------------------------------------------------------------------------------------

struct Keyword {
  std::string name;
  std::set<std::string> values;
};

struct KeywordRow {
  std::string rule;
  std::vector<Keyword> keywords;
  std::string input;
  bool expected;
};

TYPED_TEST(Pattern, KeywordsStandForAnyOfTheirValues) {
  const std::vector<KeywordRow> rows = {
      {"/%K%/x", {{"%K%", {"b", "a"}}}, "/a/x", true},
      {"/%K%/x", {{"%K%", {"b", "a"}}}, "/b/x", true},
      {"/%K%/x", {{"%K%", {"b", "a"}}}, "/ab/x", false},
      {"/%K%/x", {{"%K%", {"b", "a"}}}, "/%K%/x", false},
      {"/%K%/x", {{"%K%", {"a"}}}, "/a/x", true},
      {"/%K%/%K%", {{"%K%", {"a", "b"}}}, "/a/b", true},  // every occurrence
      {"/%K%/%K%", {{"%K%", {"a", "b"}}}, "/a/%K%", false},
      {"/%k%", {{"%K%", {"a"}}}, "/a", false},   // names are compared byte by byte
      {"/x", {{"%K%", {"a"}}}, "/x", true},      // unused
      {"/word", {{"word", {"a"}}}, "/a", true},  // any text can be a keyword
      {"/word", {{"or", {"a"}}}, "/wad", true},
      {"/x", {{"x", {"a", ""}}}, "/", true},  // the empty value
      {"/x", {{"x", {""}}}, "/", true},
      // Values are regular expression text and are not translated.
      {"%K%", {{"%K%", {"a.c"}}}, "abc", true},
      {"%K%", {{"%K%", {"a\\.c"}}}, "abc", false},
      {"%K%", {{"%K%", {"a\\.c"}}}, "a.c", true},
      {"%K%", {{"%K%", {"ab*"}}}, "abbb", true},
      {"%K%", {{"%K%", {"ab*"}}}, "axx", false},
      {"%K%", {{"%K%", {"a?b"}}}, "b", true},
      {"%K%", {{"%K%", {"DOUBLE"}}}, "DOUBLE", true},
      {"%K%", {{"%K%", {"DOUBLE"}}}, "x/y", false},
      {"%K%", {{"%K%", {".*"}}}, "a/b", true},
      {"%K%", {{"%K%", {"[a-c]"}}}, "b", true},
      {"%K%", {{"%K%", {"é"}}}, "é", true},
      {"%K%?", {{"%K%", {"a"}}}, "ab", true},  // "?" is a wildcard, not a repeat of the group
      {"%K%?", {{"%K%", {"a"}}}, "", false},
      {"%K%+", {{"%K%", {"a", "b"}}}, "abab", true},  // the value set is one group
      {"%K%{2}", {{"%K%", {"a", "b"}}}, "ab", true},
      // A name is not found in the rule where ".", "*" or "?" in it were translated before.
      {"/a.b", {{"a.b", {"z"}}}, "/z", false},
      {"/a.b", {{"a.b", {"z"}}}, "/a.b", true},
      {"/a*b", {{"a*b", {"z"}}}, "/z", false},
      {"/a?b", {{"a?b", {"z"}}}, "/z", false},
      // But a name may be found in what the translation has written.
      {"/a.b", {{"a\\.b", {"z"}}}, "/z", true},
      {"/*", {{"[^/]*", {"z"}}}, "/z", true},
      {"/*", {{"[^/]*", {"z"}}}, "/y", false},
      {"/a**", {{".", {"z"}}}, "/azz", true},
      {"/a**", {{".", {"z"}}}, "/ab", false},
      {"/a*", {{"*", {"z"}}}, "/abz", true},
      {"/a*", {{"*", {"z"}}}, "/ab", false},
      {"/a?", {{"?", {"z"}}}, "/ab", true},  // nothing is translated to a "?"
      {"/?", {{"^", {"z"}}}, "/)", true},
      {"DOUBLE", {{"DOUBLE", {"z"}}}, "x/y", true},
      // In ascending order of the names, each over the result of the one before.
      {"A", {{"A", {"B"}}, {"B", {"C"}}}, "C", true},
      {"A", {{"A", {"B"}}, {"B", {"C"}}}, "B", false},
      {"B", {{"B", {"A"}}, {"A", {"C"}}}, "A", true},
      {"B", {{"B", {"A"}}, {"A", {"C"}}}, "C", false},
      {"AB", {{"AB", {"x"}}, {"A", {"y"}}}, "yB", true},  // "A" comes before "AB"
      {"AB", {{"AB", {"x"}}, {"A", {"y"}}}, "x", false},
      {"ab", {{"a", {"x"}}, {"Z", {"y"}}}, "xb", true},
      {"aé", {{"é", {"z"}}, {"z", {"y"}}}, "az", true},  // bytes of 0x80 and above come last
      {"aé", {{"é", {"z"}}, {"z", {"y"}}}, "ay", false},
      {"%K%", {{"%K%", {"%K%", "a"}}}, "%K%", true},  // not over its own result
      // The parentheses and bars that substitution writes can be found, too.
      {"%A%", {{"%A%", {"x", "y"}}, {"|", {"-"}}}, "x-y", true},
      {"%A%", {{"%A%", {"x", "y"}}, {"|", {"-"}}}, "x", false},
  };
  for (const KeywordRow& row : rows) {
    const auto rule = TypeParam::make(row.rule);
    for (const Keyword& keyword : row.keywords) {
      EXPECT_TRUE(rule->addOrUpdateKeyword(keyword.name, keyword.values)) << keyword.name;
    }
    ASSERT_TRUE(rule->updateRegex()) << row.rule;
    EXPECT_EQ(this->matches(*rule, row.input), row.expected)
        << "rule " << row.rule << ", first keyword " << row.keywords.front().name << ", input "
        << row.input;
  }
}

TYPED_TEST(Pattern, KeywordValuesAreTriedInAscendingOrder) {
  // The group does not go back to a later value once a value has fitted, so that the order shows.
  const auto rule = TypeParam::make(std::string("%K%"));
  ASSERT_TRUE(rule->validate("(?>%K%)x", AnyAccess));
  rule->disableWildCardSearch();
  rule->addOrUpdateKeyword("%K%", {"ab", "a"});
  ASSERT_TRUE(rule->updateRegex());
  EXPECT_TRUE(this->matches(*rule, "ax"));
  EXPECT_FALSE(this->matches(*rule, "abx"));
}

TYPED_TEST(Pattern, KeywordsWorkInRawExpressions) {
  const auto rule = TypeParam::make(std::string("a.c%K%"));
  rule->disableWildCardSearch();
  rule->addOrUpdateKeyword("a.c", {"z"});
  rule->addOrUpdateKeyword("%K%", {"1", "2"});
  ASSERT_TRUE(rule->updateRegex());
  EXPECT_TRUE(this->matches(*rule, "z2"));
  EXPECT_FALSE(this->matches(*rule, "abc2"));
}

TYPED_TEST(Pattern, RefusesAnEmptyKeywordAndAnEmptyValueSet) {
  const auto rule = TypeParam::make(std::string("/%K%"));
  ASSERT_TRUE(rule->addOrUpdateKeyword("%K%", {"a"}));
  EXPECT_FALSE(rule->addOrUpdateKeyword("", {"b"}));
  EXPECT_FALSE(rule->addOrUpdateKeyword("%K%", {}));
  EXPECT_FALSE(rule->addOrUpdateKeyword("", {}));
  ASSERT_TRUE(rule->updateRegex());
  EXPECT_TRUE(this->matches(*rule, "/a")) << "the keyword stays";
  EXPECT_FALSE(rule->deleteKeyword("")) << "the empty one was not stored";
}

TYPED_TEST(Pattern, AKeywordIsReplacedAndDeletedAtTheNextUpdate) {
  const auto rule = TypeParam::make(std::string("/%K%"));
  EXPECT_FALSE(rule->deleteKeyword("%K%"));
  ASSERT_TRUE(rule->addOrUpdateKeyword("%K%", {"a"}));
  EXPECT_FALSE(this->matches(*rule, "/a")) << "before the update";
  EXPECT_TRUE(this->matches(*rule, "/%K%"));
  ASSERT_TRUE(rule->updateRegex());
  EXPECT_TRUE(this->matches(*rule, "/a"));

  ASSERT_TRUE(rule->addOrUpdateKeyword("%K%", {"b"}));
  EXPECT_TRUE(this->matches(*rule, "/a")) << "before the update";
  ASSERT_TRUE(rule->updateRegex());
  EXPECT_TRUE(this->matches(*rule, "/b"));
  EXPECT_FALSE(this->matches(*rule, "/a")) << "replaced, not merged";

  ASSERT_TRUE(rule->deleteKeyword("%K%"));
  EXPECT_FALSE(rule->deleteKeyword("%K%")) << "only once";
  EXPECT_TRUE(this->matches(*rule, "/b")) << "before the update";
  ASSERT_TRUE(rule->updateRegex());
  EXPECT_FALSE(this->matches(*rule, "/b"));
  EXPECT_TRUE(this->matches(*rule, "/%K%"));
}

TYPED_TEST(Pattern, AnInvalidKeywordValueLeavesTheOldExpressionInForce) {
  const auto rule = TypeParam::make(std::string("/%K%"));
  rule->addOrUpdateKeyword("%K%", {"a"});
  ASSERT_TRUE(rule->updateRegex());
  for (const char* value : {"(", "[", "**", "\\", "\xff"}) {
    EXPECT_TRUE(rule->addOrUpdateKeyword("%K%", {value})) << "values are not examined: " << value;
    EXPECT_FALSE(rule->updateRegex()) << value;
    EXPECT_TRUE(this->matches(*rule, "/a")) << value;
    EXPECT_FALSE(this->matches(*rule, "/%K%")) << value;
  }
  rule->addOrUpdateKeyword("%K%", {"b"});
  EXPECT_TRUE(rule->updateRegex());
  EXPECT_TRUE(this->matches(*rule, "/b"));
}

// --- Every small pattern -------------------------------------------------------------------------

// Does a pattern of the tokens a, b, /, ?, *, ** match? Written to be seen through, not to be fast.
bool matchesByHand(const char* pattern, const char* input) {
  const std::string rest = pattern;
  if (rest.empty()) return *input == '\0';
  if (rest.compare(0, 4, "/**/") == 0) {
    // A slash, then nothing or any text that ends in a slash.
    if (*input != '/') return false;
    ++input;
    if (matchesByHand(pattern + 4, input)) return true;
    for (; *input != '\0'; ++input) {
      if (*input == '/' && matchesByHand(pattern + 4, input + 1)) return true;
    }
    return false;
  }
  const bool crossesFolders = rest.compare(0, 2, "**") == 0;
  if (*pattern == '*') {
    const char* const after = pattern + (crossesFolders ? 2 : 1);
    while (true) {
      if (matchesByHand(after, input)) return true;
      if (*input == '\0' || (*input == '/' && !crossesFolders)) return false;
      ++input;
    }
  }
  if (*input == '\0') return false;
  const bool fits = *pattern == '?' ? *input != '/' : *pattern == *input;
  return fits && matchesByHand(pattern + 1, input + 1);
}

// Every text of up to `length` tokens.
std::vector<std::string> textsOf(const std::vector<std::string>& tokens, std::size_t length) {
  std::vector<std::string> texts = {""};
  std::size_t begin = 0;
  for (std::size_t i = 0; i < length; ++i) {
    const std::size_t end = texts.size();
    for (; begin < end; ++begin) {
      for (const std::string& token : tokens) texts.push_back(texts[begin] + token);
    }
  }
  return texts;
}

TYPED_TEST(Pattern, EverySmallPatternMatchesAsByHand) {
  const std::set<std::string> patterns = [] {
    const auto texts = textsOf({"a", "b", "/", "?", "*", "**"}, 4);
    return std::set<std::string>(texts.begin(), texts.end());
  }();
  const std::vector<std::string> inputs = textsOf({"a", "b", "/"}, 5);
  std::size_t compared = 0;
  for (const std::string& pattern : patterns) {
    if (pattern.empty() || pattern.back() == '/') continue;
    const auto rule = TypeParam::make(pattern);
    for (const std::string& input : inputs) {
      ASSERT_EQ(this->matches(*rule, input), matchesByHand(pattern.c_str(), input.c_str()))
          << "rule " << pattern << ", input " << shown(input);
      ++compared;
    }
  }
  EXPECT_GT(compared, 300000U);
}

}  // namespace
}  // namespace Test
}  // namespace QVL
