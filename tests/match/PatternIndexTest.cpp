#include "qvl/match/PatternIndex.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cstddef>
#include <functional>
#include <map>
#include <memory>
#include <set>
#include <string>
#include <string_view>
#include <vector>

#include "benchmarks/Workload.h"
#include "qvl/match/CompiledPattern.h"
#include "qvl/match/PatternLanguage.h"
#include "tests/support/Dice.h"
#include "tests/support/Outcome.h"

namespace QVL {
namespace Test {
namespace {

std::string repeated(const std::string& text, std::size_t times) {
  std::string all;
  for (std::size_t i = 0; i < times; ++i) all += text;
  return all;
}

// Patterns, and an index over them that tells what it did.
class Patterns {
 public:
  void add(ExpressionText expression, bool caseSensitive = true) {
    auto pattern = std::make_unique<const CompiledPattern>(std::move(expression), caseSensitive);
    ASSERT_NE(pattern->program(), nullptr);
    m_patterns.push_back(std::move(pattern));
    m_places.push_back(std::make_unique<PatternIndex::Place>());
    m_index.insert(*m_patterns.back()->program(), m_patterns.back().get(), 0, *m_places.back());
  }

  void addGlob(const std::string& glob, bool caseSensitive = true) {
    add(ExpressionText(expressionOfGlob(glob)), caseSensitive);
  }

  // Adds what is done to `work`.
  bool matchesAny(std::string_view path, PatternIndex::Work& work) {
    TextScratch textScratch;
    Text text(path, textScratch);
    return m_index.find(
        text, m_scratch, [](std::uint32_t) { return true; },
        [](PatternIndex::Owner a, PatternIndex::Owner b) { return a < b; },
        [](PatternIndex::Owner) { return true; }, &work);
  }

  void remove(std::size_t i) {
    m_index.erase(*m_places[i]);
    m_places.erase(m_places.begin() + static_cast<std::ptrdiff_t>(i));
    m_patterns.erase(m_patterns.begin() + static_cast<std::ptrdiff_t>(i));
  }

  std::size_t size() const { return m_patterns.size(); }

  // Looks for all patterns that match; checks them, and that each was found and visited as often as
  // it may be.
  PatternIndex::Work look(const std::string& path) {
    TextScratch textScratch;
    Text text(path, textScratch);
    PatternIndex::Work work;
    std::vector<PatternIndex::Owner> found;
    m_index.find(
        text, m_scratch, [](std::uint32_t) { return true; },
        [](PatternIndex::Owner a, PatternIndex::Owner b) { return a < b; },
        [&](PatternIndex::Owner owner) {
          found.push_back(owner);
          return false;
        },
        &work);
    const std::set<PatternIndex::Owner> once(found.begin(), found.end());
    std::set<PatternIndex::Owner> expected;
    for (const auto& pattern : m_patterns) {
      TextScratch scratch;
      Text subject(path, scratch);
      if (pattern->matches(subject)) expected.insert(pattern.get());
    }
    EXPECT_EQ(once, expected) << shown(path);
    EXPECT_EQ(found.size(), expected.size()) << shown(path) << ", each once";
    return work;
  }

 private:
  std::vector<std::unique_ptr<const CompiledPattern>> m_patterns;
  std::vector<std::unique_ptr<PatternIndex::Place>> m_places;
  PatternIndex m_index;
  PatternIndex::Scratch m_scratch;
};

struct Hostile {
  const char* name;
  std::function<std::string(std::size_t)> glob;
  std::string piece;  // that the path repeats
};

// Paths made up by somebody who has read the policy.
const std::vector<Hostile> kHostile = {
    {"FoldersAndRuns", [](std::size_t i) { return "/**/foo/**tok" + std::to_string(i) + "**"; },
     "/foo"},
    {"TailsOfComponents", [](std::size_t i) { return "**/a/*n" + std::to_string(i) + "*"; },
     "/a/aa/n1"},
    {"TailsOfFiles", [](std::size_t i) { return "/**/foo/*_" + std::to_string(i) + ".log"; },
     "/foo"},
    {"Prefixes", [](std::size_t i) { return "/srv/app" + std::to_string(i) + "/cache/**"; },
     "/srv/app7/cache"},
    {"Heads", [](std::size_t i) { return "/**/head" + std::to_string(i) + "*/x"; }, "/head12/x"},
    {"Anywhere", [](std::size_t i) { return "**" + std::to_string(i) + "**"; }, "/17"},
};

class HostilePaths : public testing::TestWithParam<Hostile> {};

// However often a piece occurs in a path, each key is looked up once, and no pattern is visited or
// run more than once.
TEST_P(HostilePaths, VisitEachPatternOnce) {
  for (const std::size_t count : {10u, 100u, 1000u}) {
    Patterns patterns;
    for (std::size_t i = 0; i < count; ++i) patterns.addGlob(GetParam().glob(i));
    PatternIndex::Work least;
    for (const std::size_t length : {256u, 1024u, 4096u}) {
      const std::string path = repeated(GetParam().piece, length / GetParam().piece.size());
      const PatternIndex::Work work = patterns.look(path);
      EXPECT_LE(work.entries, count) << count << " patterns, " << length << " bytes";
      EXPECT_LE(work.programs, work.entries);
      // One period of the path has all the keys that the path has, prefixes apart, of which there
      // is one of each depth in use.
      if (length == 256) least = work;
      EXPECT_LE(work.keys, least.keys + 1) << count << " patterns, " << length << " bytes";
    }
  }
}

INSTANTIATE_TEST_SUITE_P(Of, HostilePaths, testing::ValuesIn(kHostile),
                         [](const auto& of) { return std::string(of.param.name); });

TEST(PatternIndex, RunsHardlyAnyPatternWhosePiecesTheTextLacks) {
  Patterns patterns;
  for (int i = 0; i < 1000; ++i) patterns.addGlob("/**/foo/**tok" + std::to_string(i) + "**");
  EXPECT_LE(patterns.look(repeated("/foo", 1000)).programs, 12u) << "until grams are asked for";
}

TEST(PatternIndex, FindsOneOfManyByOneKey) {
  Patterns patterns;
  for (int i = 0; i < 10000; ++i) patterns.addGlob("/srv/app" + std::to_string(i) + "/cache/**");
  const PatternIndex::Work work = patterns.look("/srv/app77/cache/entry");
  EXPECT_LE(work.entries, 3u);
  EXPECT_EQ(work.programs, 1u);
}

// Of many patterns whose pieces are all there, the one that matches and comes first is not looked
// for behind all others.
// Each pattern has names that many have, and one of its own, the shortest. A name that many have is
// a poor key even while nothing stands under it: many texts have it, too.
TEST(PatternIndex, LetsFewPatternsStandUnderWhatManyHave) {
  constexpr std::size_t kPatterns = 1000;
  constexpr std::size_t kNames = 400;
  Dice dice;
  SCOPED_TRACE(dice.origin());
  const auto common = [](std::size_t i) { return "/common" + std::to_string(i); };
  Patterns patterns;
  for (std::size_t i = 0; i < kPatterns; ++i) {
    std::string glob = "/**";
    for (int names = 0; names < 8; ++names) glob += common(dice.below(kNames)) + "/*";
    patterns.addGlob(glob + "/u" + std::to_string(i) + "/*");
  }
  std::size_t entries = 0;
  for (std::size_t i = 0; i < kNames; ++i)
    entries += patterns.look("/x" + common(i) + "/y").entries;
  EXPECT_LE(entries, kNames / 2) << "one for each name, were it not for the others that have it";
}

// What the benchmarks ask, and so what an ordinary query costs, counted for so many rules.
PatternIndex::Work workOfOrdinaryPaths(std::size_t rules) {
  Bench::Workload workload(Bench::Kind::Mixed, rules);
  std::map<std::string, std::shared_ptr<const Alternation>> keywords;
  for (const auto& [name, values] : workload.keywords) {
    keywords[name] = std::make_shared<const Alternation>(values);
  }
  Patterns patterns;
  for (const Bench::Rule& rule : workload.rules) {
    ExpressionText expression(expressionOfGlob(rule.text));
    for (const auto& [name, values] : keywords) expression.substitute(name, values);
    patterns.add(std::move(expression), rule.caseSensitive);
  }
  PatternIndex::Work unused;
  workload.makeAccesses([&](std::string_view text) { return patterns.matchesAny(text, unused); });
  EXPECT_EQ(workload.mixed.size(), Bench::Workload::kAccesses);

  PatternIndex::Work work;
  for (const Bench::Access& access : workload.mixed) patterns.matchesAny(access.subject, work);
  return work;
}

TEST(PatternIndex, VisitsHardlyAnythingForOrdinaryPaths) {
  constexpr std::size_t kPaths = Bench::Workload::kAccesses;
  const PatternIndex::Work work = workOfOrdinaryPaths(10000);
  EXPECT_LE(work.keys, 4 * kPaths);
  EXPECT_LE(work.entries, 9 * kPaths);
  EXPECT_LE(work.programs, kPaths / 4) << "of which 15 % match";
}

TEST(PatternIndex, RunsHardlyAnyOfAFewPatternsForOrdinaryPaths) {
  const PatternIndex::Work work = workOfOrdinaryPaths(10);
  EXPECT_EQ(work.keys, 0u) << "they stand in a row";
  EXPECT_LE(work.programs, Bench::Workload::kAccesses / 2) << "of which 15 % match";
}

// Patterns under one folder that go on with the beginning of some name below it: which of them a
// path can match is told by the beginnings of its names.
TEST(PatternIndex, RunsFewOfThePatternsWhoseNamesBeginOtherwise) {
  constexpr std::size_t kFolders = 10;
  constexpr std::size_t kNames = 10;
  const auto folder = [](std::size_t i) { return "/opt/folder" + std::to_string(i); };
  const auto name = [](std::size_t i) { return std::to_string(1000 * i + 71); };
  Patterns patterns;
  for (std::size_t i = 0; i < kFolders; ++i) {
    for (std::size_t j = 1; j <= kNames; ++j) patterns.addGlob(folder(i) + "/**/" + name(j) + "**");
  }
  std::size_t entries = 0;
  std::size_t programs = 0;
  for (std::size_t i = 0; i < kFolders; ++i) {
    for (std::size_t j = 11; j <= 30; ++j) {
      const PatternIndex::Work work = patterns.look(folder(i) + "/some/" + name(j) + "/name");
      entries += work.entries;
      programs += work.programs;
    }
  }
  EXPECT_GE(entries, 200 * kNames);
  EXPECT_LE(programs, entries / 4);
}

TEST(PatternIndex, RunsManyCandidatesInTheOrderOfTheCaller) {
  for (const std::size_t first : {0u, 7u, 500u}) {
    std::vector<std::unique_ptr<const CompiledPattern>> patterns;
    std::vector<PatternIndex::Place> places(1000);
    PatternIndex index;
    for (std::size_t i = 0; i < places.size(); ++i) {
      const std::string end = i < first ? "z" : "a";
      patterns.push_back(
          std::make_unique<const CompiledPattern>(expressionOfGlob("/**/*a*b*" + end + "*"), true));
      index.insert(*patterns.back()->program(), &places[i], 0, places[i]);
    }
    TextScratch textScratch;
    PatternIndex::Scratch scratch;
    const std::string path = repeated("/ab/az/za", 400) + "/aba";
    Text text(path, textScratch);
    PatternIndex::Work work;
    const auto isBefore = [](PatternIndex::Owner a, PatternIndex::Owner b) { return a < b; };
    const auto any = [](std::uint32_t) { return true; };
    EXPECT_TRUE(index.find(
        text, scratch, any, isBefore, [](auto) { return true; }, &work));
    EXPECT_LE(work.inOrder, first + 1);
  }
}

// Patterns that have only names in common, two and two of them, are told apart by pairs, though not
// before there are so many that it pays.
TEST(PatternIndex, TellsManyPatternsApartByPairsOfNames) {
  constexpr std::size_t kNames = 30;
  const auto name = [](std::size_t i) { return "/common" + std::to_string(i); };
  Patterns patterns;
  for (std::size_t i = 0; i < kNames; ++i) {
    for (std::size_t j = 0; j < kNames; ++j) patterns.addGlob("/**" + name(i) + name(j) + "/*");
  }
  std::size_t entries = 0;
  for (std::size_t i = 0; i < kNames; ++i) {
    entries += patterns.look("/x" + name(i) + name((i + 7) % kNames) + "/y").entries;
  }
  EXPECT_LE(entries, kNames * kNames) << "which by one name would be twice as many";
}

// Patterns that have no name, or only one that thousands have, are looked up by four bytes of what
// they have: not all of them are visited, neither for an ordinary path nor for a long one.
TEST(PatternIndex, LooksPatternsWithoutNamesUpByFourBytes) {
  constexpr std::size_t kPatterns = 10000;
  Patterns nameless;
  Patterns ofOneName;
  for (std::size_t i = 0; i < kPatterns; ++i) {
    nameless.addGlob("**" + std::to_string(10000 + i) + "**", i % 3 != 0);
    ofOneName.addGlob("/**/foo/**tok" + std::to_string(10000 + i) + "**");
  }
  const std::string hit = "/usr/foo/x/tok12345.é";
  for (const std::string& path : {hit, std::string("/usr/foo/share/x.txt"),
                                  repeated("footok0", 600), repeated("/foo", 1000)}) {
    const std::size_t found = path == hit ? 30 : 0;
    EXPECT_LE(nameless.look(path).entries, 2 * 16 + found) << path.substr(0, 30);
    EXPECT_LE(ofOneName.look(path).entries, 512 + 2 * 16 + found) << path.substr(0, 30);
  }
  while (nameless.size() > 1) nameless.remove(nameless.size() - 1);
  EXPECT_EQ(nameless.look(hit).entries, 1u);
}

// However many values a keyword has, a path costs the patterns that its fixed parts lead to.
TEST(PatternIndex, CostsNoMoreForKeywordsOfManyValues) {
  for (const int count : {2, 16, 17, 64, 65, 500, 5000}) {
    std::set<std::string> names;
    for (int i = 0; i < count; ++i) names.insert("value" + std::to_string(i));
    const auto values = std::make_shared<const Alternation>(names);
    Patterns patterns;
    for (int i = 0; i < 100; ++i) {
      ExpressionText expression(
          expressionOfGlob("/data/app" + std::to_string(i) + "/%K%/x%K%/*.tmp"));
      expression.substitute("%K%", values);
      patterns.add(std::move(expression));
    }
    const PatternIndex::Work hit = patterns.look("/data/app7/value1/xvalue0/a.tmp");
    EXPECT_LE(hit.entries, 2u) << count;
    EXPECT_EQ(hit.programs, 1u) << count;
    const PatternIndex::Work miss = patterns.look("/data/other/value1/xvalue0/a.tmp");
    EXPECT_EQ(miss.programs, 0u) << count;
  }
}

// Whatever patterns and paths are drawn, and whatever was removed meanwhile: the answers are those
// of the patterns one by one, no key is looked up and no pattern run twice for one text.
TEST(PatternIndex, IsRightAboutRandomPatternsAndVisitsEachOnce) {
  const std::vector<std::string> parts = {
      "/", "/", "a", "aa",  "foo", "FOO", "n1",    "_2.log",       "*",     "**", "/**/", "?",
      ".", "é", "É", "log", "/a",  "K",   "(a|b)", "node_modules", "\u212a"};
  const std::vector<std::string> pieces = {"/a",   "/aa", "/foo",   "/n1", "n1",
                                           ".log", "é",   "_2.log", "/",   "/node_modules",
                                           "b",    "FOO", "k",      "É"};
  Dice dice;
  SCOPED_TRACE(dice.origin());
  for (std::size_t round = Dice::cases(60); round > 0; --round) {
    Patterns patterns;
    const std::size_t count = 1 + dice.below(dice.oneIn(4) ? 200 : 30);
    for (std::size_t i = 0; i < count; ++i) {
      ExpressionText expression(expressionOfGlob(dice.join(parts, 1, 7)));
      std::set<std::string> values;
      for (std::size_t many = 1 + dice.below(30); many > 0; --many) {
        values.insert(dice.join(pieces, 1, 2));
      }
      expression.substitute("K", std::make_shared<const Alternation>(values));
      patterns.add(std::move(expression), dice.oneIn(2));
    }
    for (int question = 0; question < 20; ++question) {
      const std::string path = dice.oneIn(3)
                                   ? repeated(dice.join(pieces, 1, 3), 1 + dice.below(200))
                                   : dice.join(pieces, 0, 8);
      const PatternIndex::Work work = patterns.look(path);
      ASSERT_LE(work.programs, patterns.size()) << shown(path);
      if (patterns.size() > 1 && dice.oneIn(2)) patterns.remove(dice.below(patterns.size()));
    }
  }
}

}  // namespace
}  // namespace Test
}  // namespace QVL
