#include "qvl/match/Expression.h"

#include <gtest/gtest.h>

#include <optional>
#include <string>
#include <vector>

#include "tests/match/StepNotation.h"
#include "tests/support/Outcome.h"

namespace QVL {
namespace Test {
namespace {

// The alternatives in the notation of steps, with ',' between them; "-" when there are none.
std::string readAs(const std::string& expression, bool caseSensitive = true) {
  const auto alternatives = alternativesOf(expression, caseSensitive);
  if (!alternatives) return "-";
  std::string all;
  for (const GlobSteps& steps : *alternatives) {
    if (&steps != &alternatives->front()) all += ',';
    all += notationOf(steps);
  }
  return all;
}

struct Row {
  std::string expression;
  std::string alternatives;
};

void expectRows(const std::vector<Row>& rows) {
  for (const Row& row : rows) {
    EXPECT_EQ(readAs(row.expression), row.alternatives) << shown(row.expression);
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

TEST(Expression, MultipliesGroupsOut) {
  expectRows({
      {"a|b", "a,b"},
      {"a|", "a,"},
      {"|a", ",a"},
      {"(a|b)c", "ac,bc"},
      {"(a|b)(c|d)", "ac,bc,ad,bd"},
      {"x(a|b|)y", "xay,xby,xy"},
      {"(a(b|c)|d)e", "abe,ace,de"},
      {"(a|b/.*)|[^/]*", "a,b/=,*"},
      {"()", ""},
      {"(a)", "a"},
  });
}

TEST(Expression, TakesEscapedSignsForThemselves) {
  for (const char sign : std::string("/+()[]{}|^$\\-%#@&,;:\" ")) {
    EXPECT_EQ(readAs(std::string("a\\") + sign + "b"), std::string("a") + sign + "b");
  }
}

TEST(Expression, KnowsThatSomethingStandsWhereItCannotTellWhat) {
  expectRows({
      {"a[bc]d", "a!d"},
      {"a[]]d", "a!d"},
      {"a[^]/]d", "a!d"},
      {"a[\\]]d", "a!d"},
      {"a[[:alpha:]]d", "a!d"},
      {"^a$", "!a!"},
      {"a\\d\\bc", "a!!c"},
      // What is quantified may be missing, or there more than once.
      {"ab*", "a!"},
      {"ab?c", "a!c"},
      {"ab+?c", "a!c"},
      {"ab{2,3}+c", "a!c"},
      {"(a|b)*c", "!c"},
      {"[^/]+", "!"},
      {".*?", "!"},
      {"é+", "!"},
      {"(.*/|)+a", "!a"},
  });
}

TEST(Expression, SaysNothingWhereItIsNotCertain) {
  expectRows({
      {"(?i)a", "-"},
      {"(?:a)", "-"},
      {"(*ACCEPT)a", "-"},
      {"(a)\\1", "-"},
      {"\\Qa", "-"},
      {"\\x41", "-"},
      {"a\\", "-"},
      {"(a", "-"},
      {"a)", "-"},
      {"[a", "-"},
      {"*a", "-"},
      {"a**", "-"},
      {"a|*b", "-"},
      {"{a", "-"},
      {"a}", "-"},
      {"a{b|c}", "-"},
      {"[\\c]]", "-"},
      {"|", "-"},
      {"(|)", "-"},
      {"a\xff", "-"},
      {"a\xe2\x82", "-"},
      {repeated("(", 17) + "a" + repeated(")", 17), "-"},
      {repeated("(a|b)", 7), "-"},
      {repeated("a|", 64) + "a", "-"},
      {std::string(64 * 1024 + 1, 'a'), "-"},
  });
}

TEST(Expression, FoldsLiteralsUnlessCaseMatters) {
  EXPECT_EQ(readAs("/Tmp/(A|b)", false), "/tmp/a,/tmp/b");
  EXPECT_EQ(readAs("/Tmp/(A|b)", true), "/Tmp/A,/Tmp/b");
  EXPECT_EQ(readAs("É", false), "é");
  EXPECT_EQ(readAs("\u212a", false), "k") << "KELVIN SIGN";
}

}  // namespace
}  // namespace Test
}  // namespace QVL
