#include "qvl/match/Beginnings.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <functional>
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

using Owners = std::set<const void*>;

// Patterns that all ignore case or all do not, in the order of their beginnings.
class Ordered {
 public:
  explicit Ordered(bool folded = false) : m_folded(folded) {}

  void add(ExpressionText expression) {
    auto pattern = std::make_unique<CompiledPattern>(std::move(expression), !m_folded);
    if (!pattern->program()) return;
    for (std::uint32_t i = 0; i < Program::Signs::choices(*pattern->program()); ++i) {
      m_members.push_back({pattern->program(), pattern.get(), i});
    }
    m_patterns.push_back(std::move(pattern));
  }
  void addGlob(const std::string& glob) { add(ExpressionText(expressionOfGlob(glob))); }

  // Members stand still from here on.
  void order() {
    for (const Beginnings::Member& member : m_members) m_beginnings.insert(member);
  }

  // All choices of a pattern.
  void erase(std::size_t i) {
    const void* const owner = m_patterns[i].get();
    for (Beginnings::Member& member : m_members) {
      if (member.owner != owner) continue;
      m_beginnings.erase(member);
      member = {};
    }
  }

  std::size_t size() const { return m_patterns.size(); }

  // What is found for a text: each that reads on, and each once. Answers with the work that it
  // took.
  std::uint64_t look(const std::string& path, std::size_t* readingOn = nullptr) const {
    TextScratch scratch;
    Text text(path, scratch);
    std::vector<const void*> found;
    std::uint64_t steps = 0;
    const auto find = [&](const void* owner) {
      found.push_back(owner);
      return false;
    };
    if (!m_beginnings.eachThatReadsOn(text, m_folded, Asked::Followed, find, &steps)) {
      EXPECT_FALSE(*m_beginnings.eachThatReadsOn(text, m_folded, Asked::Rest, find, &steps));
    }
    const Owners once(found.begin(), found.end());
    EXPECT_LE(found.size(), m_members.size()) << shown(path);
    Owners expected;
    for (const Beginnings::Member& member : m_members) {
      TextScratch alone;
      Text subject(path, alone);
      if (member.program && member.program->readsOn(subject)) expected.insert(member.owner);
    }
    EXPECT_EQ(once, expected) << shown(path);
    if (readingOn) *readingOn += expected.size();
    return steps + scratch.steps;
  }

  // Does looking stop at the first that is found?
  std::size_t foundUntilTheFirst(const std::string& path) const {
    TextScratch scratch;
    Text text(path, scratch);
    std::size_t found = 0;
    const auto find = [&](const void*) {
      ++found;
      return true;
    };
    if (!m_beginnings.eachThatReadsOn(text, m_folded, Asked::Followed, find)) {
      m_beginnings.eachThatReadsOn(text, m_folded, Asked::Rest, find);
    }
    return found;
  }

 private:
  using Asked = Beginnings::Asked;

  const bool m_folded;
  std::vector<std::unique_ptr<CompiledPattern>> m_patterns;
  std::vector<Beginnings::Member> m_members;
  Beginnings m_beginnings;
};

// Few signs, so that many patterns begin alike.
TEST(Beginnings, FindEachPatternThatReadsOn) {
  const std::vector<std::string> pieces = {"/",  "a", "b",   "ab", "\xC3\xA4", "?",
                                           "/a", "*", "/*/", "**", "/**/",     "?a?b?a?b?a?b"};
  const std::vector<std::string> expressions = {"[^/]*", ".*",     ".",         "[ab]*", "(a|/b)",
                                                "(ab)*", "(a|b|)", "((a|b)|/)", "(|)",   "(a.*|b)",
                                                "a",     "/b",     "\xC3\xA4",  "[^/]",  "/"};
  const std::vector<std::string> turns = {"?a", "a*", "a?*", "*?", "aa?", "?a*b*"};
  const std::vector<std::string> texts = {"/", "a", "b", "ab", "\xC3\xA4", "/a", "/b", "A"};
  Dice dice;
  SCOPED_TRACE(dice.origin());
  std::size_t asked = 0;
  std::size_t readingOn = 0;
  for (std::size_t round = 0; round < Dice::cases(300); ++round) {
    Ordered patterns(dice.oneIn(2));
    const auto few = std::make_shared<const Alternation>(std::set<std::string>{"a", "b/", "ab"});
    std::set<std::string> values;
    const std::vector<std::string> plain = {"a", "b", "/", "."};
    const std::vector<std::string> wild = {"a", "b", "/", ".", "[^/]*", "[^/]*a", "\xC3\xA4"};
    const auto& ofValues = dice.oneIn(2) ? plain : wild;
    for (int i = 0; i < 80; ++i) values.insert(dice.join(ofValues, 0, 4));
    const auto many = std::make_shared<const Alternation>(values);
    for (std::size_t i = dice.below(60); i > 0; --i) {
      if (dice.oneIn(2)) {
        patterns.addGlob(dice.join(pieces, 0, 5));
        continue;
      }
      if (dice.oneIn(8)) {
        // Many turns of wildcards and bytes, in which several patterns agree.
        const std::string unit = dice.join(turns, 1, 2);
        std::string glob = dice.oneIn(3) ? "**" : "";
        for (std::size_t count = 20 + dice.below(40); count > 0; --count) glob += unit;
        if (dice.oneIn(2)) glob += "**" + unit;
        for (int k = 0; k < 3; ++k) patterns.addGlob(glob + dice.join(pieces, 0, 2));
        continue;
      }
      ExpressionText expression(dice.join(expressions, 0, 3) + "K" + dice.join(expressions, 0, 2));
      expression.substitute("K", dice.oneIn(3) ? few : many);
      patterns.add(std::move(expression));
    }
    patterns.order();
    for (std::size_t i = 0; i < patterns.size(); ++i) {
      if (dice.oneIn(5)) patterns.erase(i);
    }
    for (int i = 0; i < 20; ++i, asked += patterns.size()) {
      // Behind a long run there are so many places that few patterns are asked by themselves.
      const std::string run(dice.oneIn(5) ? 100 + dice.below(100) : 0, 'a');
      patterns.look(dice.join(texts, 0, 3) + run + dice.join(texts, 0, 3) +
                        (dice.oneIn(2) ? "\xFF" : "\xFF/a"),
                    &readingOn);
    }
    if (HasFailure()) return;
  }
  EXPECT_GT(readingOn, asked / 20);
  EXPECT_LT(readingOn, asked / 2);
}

// Such texts are no paths: each pattern is asked by itself, whatever its choices.
TEST(Beginnings, FindEachPatternForAVeryLongText) {
  Ordered patterns;
  for (const char* const glob :
       {"/*b/x", "/*/x", "/(*a|*b|c)/x", "/*/y/**", "/*a/(x|y)", "/b/**", "/?a**"}) {
    patterns.addGlob(glob);
  }
  patterns.order();
  std::size_t readingOn = 0;
  for (const std::size_t length : {65000u, 66000u, 1000000u}) {
    patterns.look("/" + std::string(length, 'a') + "/\xFF", &readingOn);
  }
  EXPECT_EQ(readingOn, 3u * 5u);
}

TEST(Beginnings, StopWhereTheyAreTold) {
  Ordered patterns;
  for (const char* const glob : {"/a/*", "/a/**", "/a/?b", "/a/b/c"}) patterns.addGlob(glob);
  patterns.order();
  EXPECT_EQ(patterns.foundUntilTheFirst("/a/\xFF"), 1u);
  EXPECT_EQ(patterns.foundUntilTheFirst("/b/\xFF"), 0u);
}

struct Family {
  const char* name;
  std::function<std::string(std::size_t)> glob;
  std::string prefix;  // in front of a byte that is no character
};

const std::vector<Family> kFamilies = {
    {"Folders", [](std::size_t i) { return "/srv/app" + std::to_string(i) + "/cache/**"; },
     "/home/ann/Musik/Bj"},
    {"BehindAFolderOfAnyName", [](std::size_t i) { return "/home/*/x" + std::to_string(i); },
     "/home/ann/Musik/Bj"},
    {"Extensions", [](std::size_t i) { return "*.x" + std::to_string(i); }, "/home/ann/Musik/Bj"},
    {"NamesOfAnyEnd", [](std::size_t i) { return "/home/*/M*" + std::to_string(i) + "/x"; },
     "/home/ann/Musik/Bj"},
    {"Groups", [](std::size_t i) { return "/(home|Users)/(ann|bob|)/" + std::to_string(i); },
     "/home/ann/Musik/Bj"},
    {"Characters", [](std::size_t i) { return "/hom?/?nn/" + std::to_string(i) + "/*"; },
     "/home/ann/Musik/Bj"},
};

class ManyBeginnings : public testing::TestWithParam<Family> {};

// Ten times as many patterns take hardly more work: what begins alike is followed once.
TEST_P(ManyBeginnings, AreFollowedTogether) {
  std::uint64_t steps[2];
  for (const std::size_t i : {std::size_t{0}, std::size_t{1}}) {
    Ordered patterns;
    for (std::size_t k = 0; k < (i == 0 ? 100 : 1000); ++k) patterns.addGlob(GetParam().glob(k));
    patterns.order();
    steps[i] = patterns.look(GetParam().prefix + "\xF6rk/track.mp3");
  }
  EXPECT_GT(steps[0], 0u);
  EXPECT_LE(steps[1], steps[0] + 20);
  EXPECT_LE(steps[1], 40 + 8 * GetParam().prefix.size());
}

INSTANTIATE_TEST_SUITE_P(Of, ManyBeginnings, testing::ValuesIn(kFamilies),
                         [](const auto& family) { return family.param.name; });

}  // namespace
}  // namespace Test
}  // namespace QVL
