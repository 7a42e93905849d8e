#include "qvl/match/Expression.h"

#include <gtest/gtest.h>

#include <optional>
#include <string>
#include <vector>

#include "qvl/match/Keywords.h"
#include "tests/match/StepNotation.h"
#include "tests/support/Outcome.h"

namespace QVL {
namespace Test {
namespace {

// What was read in the notation of steps, with "?" behind it when the engine has to be asked
// whether it accepts the expression; "-" when nothing can be said.
std::string readAs(const std::string& expression, bool caseSensitive = true) {
  const std::optional<Reading> reading = readExpression(expression, caseSensitive);
  if (!reading) return "-";
  return notationOf(reading->steps) + (reading->isCertain ? "" : " ?");
}

struct Row {
  std::string expression;
  std::string steps;
};

void expectRows(const std::vector<Row>& rows) {
  for (const Row& row : rows) {
    EXPECT_EQ(readAs(row.expression), row.steps) << shown(row.expression);
  }
}

std::string repeated(const std::string& text, int times) {
  std::string all;
  for (int i = 0; i < times; ++i) all += text;
  return all;
}

TEST(Expression, ReadsLiteralsAndWildcards) {
  expectRows({
      {"", ""},
      {"/tmp/a", "/tmp/a"},
      {"[^/]*[^/].*.", "*?=_"},
      {"/(.*/|)a", "/~a"},
      {"/Users/[^/]*/Library/(.*/|)cache[^/]\\.db", "/Users/*/Library/~cache?.db"},
      {"]", "]"},
  });
}

TEST(Expression, ReadsGroups) {
  expectRows({
      {"a|b", "{a,b}"},
      {"a|", "{a,}"},
      {"|a", "{,a}"},
      {"(a|b)c", "{a,b}c"},
      {"(a|b)(c|d)", "{a,b}{c,d}"},
      {"x(a|b|)y", "x{a,b,}y"},
      {"(a(b|c)|d)e", "{a{b,c},d}e"},
      {"(a|b/.*)|[^/]*", "{{a,b/=},*}"},
      {"()", ""},
      {"(a)", "a"},
      {"(?:a|b)c", "{a,b}c ?"},
  });
}

TEST(Expression, MultipliesGroupsOut) {
  const auto sequences = [](const std::string& expression, std::size_t most) {
    std::string all;
    for (const Steps& steps : multipliedOut(readExpression(expression, true)->steps, most)) {
      all += (all.empty() ? "" : " ") + notationOf(steps);
    }
    return all;
  };
  EXPECT_EQ(sequences("a", 4), "a");
  EXPECT_EQ(sequences("a|b", 4), "a b");
  EXPECT_EQ(sequences("(a|b)(c|d)", 4), "ac bc ad bd");
  EXPECT_EQ(sequences("(a(b|c)|d)e", 4), "abe ace de");
  EXPECT_EQ(sequences("x(a|b|c)(d|e)y", 2), "x{a,b,c}dy x{a,b,c}ey");
  EXPECT_EQ(sequences("x(a|b|c)(d|e)y", 5), "xa{d,e}y xb{d,e}y xc{d,e}y");
  EXPECT_EQ(sequences("(a|b)", 1), "{a,b}");
}

TEST(Expression, TakesEscapedSignsForThemselves) {
  for (const char sign : std::string("/+()[]{}|^$\\-%#@&,;:\" ")) {
    EXPECT_EQ(readAs(std::string("a\\") + sign + "b"), std::string("a") + sign + "b");
  }
}

TEST(Expression, LeavesItToTheEngineWhatASetHolds) {
  expectRows({
      {"a[bc]d", "a!d ?"},
      {"a[]]d", "a!d ?"},
      {"a[^]/]d", "a!d ?"},
      {"a[\\]]d", "a!d ?"},
      {"a[[:alpha:]]d", "a!d ?"},
      {"a\\dc", "a!c ?"},
      {"\\x41\\p{L}\\pLa", "!!!a ?"},
      {"^a$\\b", "!a!! ?"},
  });
}

TEST(Expression, ReadsRepetitions) {
  expectRows({
      {"ab*", "a{b}0- ?"},
      {"ab?c", "a{b}0-1c ?"},
      {"ab+?c", "a{b}1-c ?"},
      {"ab{2,3}c", "a{b}2-3c ?"},
      {"ab{2}c", "a{b}2-2c ?"},
      {"ab{2,}c", "a{b}2-c ?"},
      {"(a|b)*c", "{{a,b}}0-c ?"},
      {"[^/]+", "{?}1- ?"},
      {".*?", "{_}0- ?"},
      {"é+", "{é}1- ?"},
      {"(.*/|)+a", "{~}1-a ?"},
      {"(ab)+", "{ab}1- ?"},
  });
}

TEST(Expression, ReadsQuotationsCommentsNamesAndCodes) {
  expectRows({
      {"\\Qa.*\\Eb", "a.*b ?"},
      {"\\Qa.", "a. ?"},
      {"a(?#(b)c", "ac ?"},
      {"(?<name>a|b)c", "{a,b}c ?"},
      {"\\x{1F600}\\cA", "!! ?"},
  });
}

TEST(Expression, TakesBracesThatAreNoCountsForThemselves) {
  expectRows({
      {"{a", "{a ?"},
      {"a}", "a} ?"},
      {"a{b|c}", "{a{b,c}} ?"},
      {"a{,2}", "a{,2} ?"},
      {"{21EC2020-3AEA}", "{21EC2020-3AEA} ?"},
      {"a{2", "a{2 ?"},
      {"a{2,x}*", "a{2,x{}}0- ?"},
  });
}

TEST(Expression, CanSayItselfThatCaseDoesNotMatter) {
  EXPECT_EQ(readAs("(?i)A"), "a ?");
  EXPECT_FALSE(readExpression(std::string("(?i)A"), true)->caseSensitive);
  EXPECT_TRUE(readExpression(std::string("A"), true)->caseSensitive);
}

// What case does not matter to is a set then.
TEST(Expression, ReadsOptionsWhereverTheyStand) {
  expectRows({
      {"a(?i)b1", "a!1 ?"},
      {"a(?i:b)c", "a!c ?"},
      {"(a(?i)b|c)d", "{a!,!}d ?"},
      {"a(?-i)b", "ab ?"},
      {"a.(?-s).(?s).", "a_!_ ?"},
      {"(?-s:.*)(.*/|)", "{!}0-~ ?"},
      {"(?x: a # c\n b )c d", "abc d ?"},
      {"(?'n'a)", "-"},
  });
  EXPECT_FALSE(readExpression(std::string("(?i)A(?i)B"), true)->caseSensitive);
  EXPECT_TRUE(readExpression(std::string("A(?-i)B"), false)->caseSensitive);
}

TEST(Expression, SaysNothingWhereItIsNotCertain) {
  expectRows({
      {"a\\Z", "-"},
      {"(?=a)", "-"},
      {"(?>a)", "-"},
      {"(*ACCEPT)a", "-"},
      {"(a)\\1", "-"},
      {"\\Qab\\E*", "-"},
      {"a(?#b)*", "-"},
      {"(?<=a)", "-"},
      {"(?<a-b>c)", "-"},
      {"\\x{4g}", "-"},
      {"\\x4", "-"},
      {"a\\", "-"},
      {"(a", "-"},
      {"a)", "-"},
      {"[a", "-"},
      {"[[.a.]]", "-"},
      {"*a", "-"},
      {"a**", "-"},
      {"a++", "-"},
      {"a*?+", "-"},
      {"a|*b", "-"},
      {"a{{2", "-"},
      {"a{1{2}", "-"},
      {"a{ 2}", "-"},
      {"a{2 }", "-"},
      {"a{3,2}", "-"},
      {"a{1000001}", "-"},
      {"(\\b[ab]?){2}", "-"},
      {"(?i", "-"},

      {"(?i)*", "-"},
      {"(?x)a *", "-"},
      {"(?x)é", "-"},
      {"[\\c]]", "-"},
      {"|", "-"},
      {"(|)", "-"},
      {"a\xff", "-"},
      {"a\xe2\x82", "-"},
      {repeated("(", 101) + "a" + repeated(")", 101), "-"},
  });
}

TEST(Expression, FoldsLiteralsUnlessCaseMatters) {
  EXPECT_EQ(readAs("/Tmp/(A|b)", false), "/tmp/{a,b}");
  EXPECT_EQ(readAs("/Tmp/(A|b)", true), "/Tmp/{A,b}");
  EXPECT_EQ(readAs("É", false), "é");
  EXPECT_EQ(readAs("\u212a", false), "k") << "KELVIN SIGN";
}

}  // namespace
}  // namespace Test
}  // namespace QVL
