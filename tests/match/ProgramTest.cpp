#include "qvl/match/Program.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <string>
#include <string_view>
#include <vector>

#include "tests/match/StepNotation.h"
#include "tests/support/Dice.h"

namespace QVL {
namespace Test {
namespace {

// All texts of up to `longest` of these signs.
std::vector<std::string> textsOver(const std::string& signs, std::size_t longest) {
  std::vector<std::string> texts = {""};
  for (std::size_t i = 0; i < texts.size() && texts[i].size() < longest; ++i) {
    for (const char sign : signs) texts.push_back(texts[i] + sign);
  }
  return texts;
}

// What the steps mean, tried out one after the other.
bool matchesByTrying(std::string_view notation, std::string_view text) {
  if (notation.empty()) return text.empty();
  const std::string_view rest = notation.substr(1);
  const auto kind = kindOf(notation.front());
  switch (kind) {
    case Step::Literal:
      return !text.empty() && text.front() == notation.front() &&
             matchesByTrying(rest, text.substr(1));
    case Step::OneNotSlash:
    case Step::One:
      return !text.empty() && (kind == Step::One || text.front() != '/') &&
             matchesByTrying(rest, text.substr(1));
    case Step::Set:
      return false;
    default:
      break;
  }
  for (std::size_t length = 0; length <= text.size(); ++length) {
    const std::string_view taken = text.substr(0, length);
    if (kind == Step::RunNotSlash && taken.find('/') != std::string_view::npos) break;
    if (kind == Step::Folders && !taken.empty() && taken.back() != '/') continue;
    if (matchesByTrying(rest, text.substr(length))) return true;
  }
  return false;
}

// The same for long sequences and texts in UTF-8: where the steps read so far can end.
// `readsOn`: whether some step read behind the text.
bool matchesByTable(std::string_view notation, std::string_view text, bool* readsOn = nullptr) {
  std::vector<bool> ends(text.size() + 1);
  ends[0] = true;
  for (const char sign : notation) {
    const auto kind = kindOf(sign);
    std::vector<bool> then(text.size() + 1);
    bool running = false;  // a run is on its way
    for (std::size_t i = 0; i <= text.size(); ++i) {
      running = running || ends[i];
      switch (kind) {
        case Step::Literal:
          if (ends[i] && i < text.size() && text[i] == sign) then[i + 1] = true;
          break;
        case Step::OneNotSlash:
        case Step::One:
          if (ends[i] && i < text.size() && (kind == Step::One || text[i] != '/')) {
            std::size_t end = i + 1;
            while (end < text.size() && (text[end] & 0xC0) == 0x80) ++end;
            then[end] = true;
          }
          break;
        case Step::Folders:
          if (ends[i] || (running && i > 0 && text[i - 1] == '/')) then[i] = true;
          break;
        default:
          if (running) then[i] = true;
          if (kind == Step::RunNotSlash && i < text.size() && text[i] == '/') running = false;
      }
    }
    const bool isRun = kind != Step::Literal && kind != Step::OneNotSlash && kind != Step::One;
    if (readsOn) *readsOn = *readsOn || (isRun ? running : ends[text.size()]);
    ends.swap(then);
  }
  return ends[text.size()];
}

bool matches(const Program& program, std::string_view text) {
  TextScratch scratch;
  Text subject(text, scratch);
  return program.matches(subject);
}

bool readsOn(const Program& program, std::string_view text) {
  TextScratch scratch;
  Text subject(text, scratch);
  return program.readsOn(subject);
}

// With each b replaced by a letter beyond ASCII, in steps and text alike, nothing else changes.
std::string wide(const std::string& text) {
  std::string result;
  for (const char c : text) result += c == 'b' ? std::string("é") : std::string(1, c);
  return result;
}

struct Row {
  const char* steps;
  std::vector<const char*> matching;
  std::vector<const char*> other;
};

void expectRows(const std::vector<Row>& rows) {
  for (const Row& row : rows) {
    const Steps steps = stepsOf(row.steps);
    const auto program = Program::of(steps, true);
    for (const char* const text : row.matching) {
      EXPECT_TRUE(matches(*program, text)) << row.steps << " on \"" << text << '"';
    }
    for (const char* const text : row.other) {
      EXPECT_FALSE(matches(*program, text)) << row.steps << " on \"" << text << '"';
    }
  }
}

TEST(Program, MatchesWholeTexts) {
  expectRows({
      {"", {""}, {"a", "/"}},
      {"abc", {"abc"}, {"", "ab", "abcd", "xabc", "abd"}},
      {"a?c", {"abc", "a.c"}, {"a/c", "ac", "abbc"}},
      {"a_c", {"abc", "a/c", "a\nc"}, {"ac", "abbc"}},
      {"?", {"a"}, {"", "/", "ab"}},
  });
}

TEST(Program, ComparesNullStringViews) {
  const std::string_view null;
  ASSERT_EQ(null.data(), nullptr);
  for (const char* const steps : {"", "*", "=", "*=*"}) {
    EXPECT_TRUE(matches(*Program::of(stepsOf(steps), true), null)) << steps;
  }
  for (const char* const steps : {"a", "/*", "=a", "?", "*a*"}) {
    EXPECT_FALSE(matches(*Program::of(stepsOf(steps), true), null)) << steps;
  }
}

TEST(Program, StarStaysInItsComponent) {
  expectRows({
      {"*", {"", "a", "abc"}, {"/", "a/", "/a"}},
      {"a*", {"a", "ab", "abc"}, {"", "b", "a/", "a/b"}},
      {"*a", {"a", "ba", "aaa"}, {"", "b", "/a", "b/a"}},
      {"a*b*c", {"abc", "axbxc", "abbcc"}, {"acb", "ab/c", "a/bc", "abcd"}},
      {"/*/", {"//", "/a/"}, {"/", "/a", "/a/b/"}},
      {"**", {"", "ab"}, {"/"}},
      {"*ab*ab", {"abab", "abxab", "xabab"}, {"ab", "aab", "ab/ab"}},
      {"a*aab", {"aaab", "aaaaab", "axaab"}, {"aab", "aaba"}},
  });
}

TEST(Program, RunCrossesComponents) {
  expectRows({
      {"=", {"", "/", "a/b/c"}, {}},
      {"a=b", {"ab", "a/b", "a/x/bb"}, {"a", "b", "a/bc"}},
      {"=a*b", {"ab", "x/ab", "a/axb", "a/b/ab"}, {"a/b", "ab/", ""}},
      {"*a=b", {"ab", "xa/b", "a/a/b"}, {"/ab", "x/ab"}},
      {"=*=", {"", "a/b"}, {}},
  });
}

TEST(Program, OneBetweenRunsMayBeASlash) {
  expectRows({
      {"*_=", {"a", "/", "a/b", "//"}, {""}},
      {"=_*", {"a", "/", "a/b", "a/"}, {""}},
      {"=_=", {"a", "/", "a/b"}, {""}},
      {"*?*", {"a", "abc"}, {"", "/", "a/b"}},
      {"=?=", {"a", "/a", "a/"}, {"", "/", "//"}},
  });
}

TEST(Program, FoldersAreWholeFolders) {
  expectRows({
      {"/~", {"/", "/a/", "/a/b/", "//"}, {"", "/a", "/a/b"}},
      {"/~a", {"/a", "/x/a", "/x/y/a", "//a"}, {"/", "/xa", "/a/", "/x/ya"}},
      {"/~a/~b", {"/a/b", "/x/a/y/b", "/a/a/b", "/a/b/b"}, {"/b/a", "/ab", "/a/xb", "/a"}},
      {"a/~*_b", {"a/xb", "a/y/xb", "a/xxb", "a/b/b"}, {"a/b", "a/x"}},
      {"/~*a*/~b", {"/a/b", "/xay/b", "/z/xa/w/b"}, {"/a", "/b", "/x/b"}},
      {"=/~a", {"/a", "x/a", "x/y/a"}, {"a", "xa", "/xa"}},
  });
}

TEST(Program, OneIsOneCharacterOfHoweverManyBytes) {
  expectRows({
      {"?", {"a", "é", "日", "😀"}, {"", "éé", "/"}},
      {"a?b", {"aéb", "a😀b"}, {"ab", "aééb"}},
      {"*?", {"é", "xé", "éx"}, {"", "é/"}},
      {"=?é", {"éé", "/é/aé"}, {"é", "/é"}},
      {"?é*", {"aé", "éé", "ééé"}, {"é", "éa"}},
  });
}

TEST(Program, AgreesWithTryingOutOnEverythingSmall) {
  const std::vector<std::string> texts = textsOver("ab/", 6);
  std::size_t matched = 0;
  std::size_t compared = 0;
  for (const std::string& notation : textsOver("ab/*=~?_", 4)) {
    const Steps steps = stepsOf(notation);
    const auto program = Program::of(steps, true);
    const auto wideProgram = Program::of(stepsOf(wide(notation)), true);
    for (const std::string& text : texts) {
      const bool expected = matchesByTrying(notation, text);
      ASSERT_EQ(matches(*program, text), expected) << notation << " on \"" << text << '"';
      ASSERT_EQ(matches(*wideProgram, wide(text)), expected) << notation << " on " << wide(text);
      matched += expected;
      ++compared;
    }
  }
  EXPECT_GT(compared, 3000000u);
  EXPECT_GT(matched, compared / 100);
}

// Segments of several hundred entries, in texts that nearly hold them everywhere.
TEST(Program, FindsLongSegments) {
  Dice dice;
  SCOPED_TRACE(dice.origin());
  const std::vector<std::string> runs = {"*", "=", "/~"};
  const std::vector<std::string> wildcards = {"?", "_"};
  std::size_t matched = 0;
  const std::size_t cases = Dice::cases(4000);
  for (std::size_t round = 0; round < cases; ++round) {
    const bool ascii = dice.oneIn(2);
    const std::vector<std::string> signs =
        ascii ? std::vector<std::string>{"a", "a", "a", "b", "/"}
              : std::vector<std::string>{"a", "a", "é", "é", "è", "😀", "/"};
    const auto mostly = [&](const std::string& usual) {
      return dice.oneIn(40) ? dice.pick(signs) : usual;
    };
    std::string notation;
    std::string text;
    const auto addNoise = [&](std::size_t most) {
      for (std::size_t i = dice.below(most); i > 0; --i) text += mostly(signs.front());
    };
    for (std::size_t segments = 2 + dice.below(3); segments > 0; --segments) {
      if (!text.empty() && text.back() == '/') addNoise(3);
      const std::size_t length = 1 + (dice.oneIn(2) ? dice.below(8) : dice.below(300));
      const std::string usual = dice.pick(signs);
      const std::size_t inserted = dice.oneIn(3) ? dice.below(length) : length;
      for (std::size_t i = 0; i < length; ++i) {
        const std::string sign = i == 0 && dice.oneIn(3) ? "/" : mostly(usual);
        if (i == inserted) text += dice.pick(signs);
        notation += dice.oneIn(6) ? dice.pick(wildcards) : sign;
        text += sign;
      }
      if (segments == 1) break;
      const std::string& run = dice.pick(runs);
      notation += run;
      if (run == "/~") text += "/";
      addNoise(dice.oneIn(2) ? 400 : 3);
      if (run == "/~" && dice.oneIn(2)) text += "/";
    }
    const Steps steps = stepsOf(notation);
    const bool expected = matchesByTable(notation, text);
    ASSERT_EQ(matches(*Program::of(steps, true), text), expected)
        << notation << " on \"" << text << '"';
    matched += expected;
  }
  EXPECT_GT(matched, cases / 10);
  EXPECT_LT(matched, cases / 2);
}

// Longer ones than are searched for at all places at once. With fewer of the letter in pattern and
// text, the answer is the same.
TEST(Program, FindsSegmentsOfThousandsOfEntries) {
  std::size_t matched = 0;
  std::size_t compared = 0;
  const auto expectAnswer = [&](const std::vector<std::string>& pattern,
                                const std::vector<std::string>& text) {
    const auto withLetters = [](const std::vector<std::string>& parts, std::size_t count) {
      return parts[0] + std::string(count, 'a') + parts[1];
    };
    const bool expected = matchesByTable(withLetters(pattern, 8), withLetters(text, 8));
    const auto program = Program::of(stepsOf(withLetters(pattern, 5000)), true);
    EXPECT_EQ(matches(*program, withLetters(text, 5000)), expected)
        << pattern[0] << " a... " << pattern[1] << " on \"" << text[0] << " a... " << text[1]
        << '"';
    ++compared;
    matched += expected;
  };
  for (const char* const before : {"x*", "x=", "x/~"}) {
    for (const char* const behind : {"?b=c", "_b=c", "?b*c"}) {
      for (const char* const start : {"x", "x/", "xaaa", "x/aa/", "x/ab", "xé/", "xa/a"}) {
        for (const char* const end : {"!bc",
                                      "é"
                                      "bc",
                                      "/bc", "!c", "!b", "!b/c", "a!bc", ""}) {
          expectAnswer({before, behind}, {start, end});
        }
      }
    }
  }
  EXPECT_GT(matched, compared / 10);
  EXPECT_LT(matched, compared / 2);
}

// Stars and pieces that take turns very often, over the borders of blocks.
TEST(Program, FindsLongSequencesOfRuns) {
  const std::vector<std::string> parts = {"a", "b", "aa", "a*", "b*", "*", "a*b*", "?", "?*"};
  const std::vector<std::string> rare = {"/", "_", "=", "a=", "/*", "~"};
  const std::vector<std::string> pieces = {"a", "b", "aa", "ab", "ba", "b", "a"};
  Dice dice;
  SCOPED_TRACE(dice.origin());
  std::size_t matched = 0;
  std::size_t readingOn = 0;
  const std::size_t cases = Dice::cases(4000);
  for (std::size_t i = 0; i < cases; ++i) {
    const std::string unit = dice.join(parts, 1, 3) + "*" + dice.join(parts, 1, 2);
    std::string notation = dice.oneIn(2) ? "=" : "";
    for (std::size_t count = 10 + dice.below(40); count > 0; --count) {
      notation += dice.oneIn(3) ? dice.join(parts, 1, 2) : unit;
      if (dice.oneIn(30)) notation += dice.pick(rare);
    }
    if (dice.oneIn(2)) notation += "*";
    std::string text;
    while (text.size() < 40 + dice.below(300)) {
      text += dice.join(pieces, 1, 40);
      if (dice.oneIn(6)) text += "/";
    }
    if (dice.oneIn(2)) text += notation.back() == 'a' ? "a" : "b";
    for (const bool isWide : {false, true}) {
      const std::string steps = notation;
      const std::string subject = isWide ? wide(text) : text;
      bool readsOnByTable = false;
      const bool expected = matchesByTable(isWide ? wide(steps) : steps, subject, &readsOnByTable);
      const auto program = Program::of(stepsOf(isWide ? wide(steps) : steps), true);
      ASSERT_EQ(matches(*program, subject), expected) << steps << " on " << text << isWide;
      ASSERT_EQ(readsOn(*program, subject), readsOnByTable) << steps << " on " << text << isWide;
      matched += expected;
      readingOn += readsOnByTable;
    }
  }
  EXPECT_GT(matched, cases / 10);
  EXPECT_LT(matched, cases);
  EXPECT_GT(readingOn, cases / 10);
  EXPECT_LT(readingOn, 2 * cases - cases / 10);
}

TEST(Program, ReadsOnExactlyWhereALongerTextCanMatch) {
  const std::vector<std::string> longer = textsOver("ab/", 5);
  std::size_t readingOn = 0;
  for (const std::string& notation : textsOver("ab/*=~?_", 3)) {
    const Steps steps = stepsOf(notation);
    const auto program = Program::of(steps, true);
    for (const std::string& text : textsOver("ab/", 3)) {
      const bool expected = std::any_of(
          longer.begin() + 1, longer.end(),
          [&](const std::string& more) { return matchesByTrying(notation, text + more); });
      ASSERT_EQ(readsOn(*program, text), expected) << notation << " after \"" << text << '"';
      readingOn += expected;
    }
  }
  EXPECT_GT(readingOn, 1000u);
}

TEST(Program, AnswersTextsThatWouldTakeAnEngineTooLong) {
  // Twelve stars, each with a thousand places to stand at.
  std::string text;
  for (int i = 0; i < 4096; ++i) text += "ab"[i % 2];
  for (const char star : {'*', '='}) {
    std::string notation;
    for (int i = 0; i < 12; ++i) notation += std::string(1, star) + "ab";
    EXPECT_TRUE(matches(*Program::of(stepsOf(notation), true), text));
    EXPECT_FALSE(matches(*Program::of(stepsOf(notation + "b"), true), text));
  }
}

TEST(Program, SharesSetsOfCharactersWithOthers) {
  Step set;
  set.kind = Step::Set;
  set.bytes = "[a-c]";
  Program::SharedSets shared;
  const auto one = Program::of({set}, true, &shared);
  const auto two = Program::of({set, set}, true, &shared);
  EXPECT_EQ(shared.size(), 1u);
  EXPECT_EQ(shared.begin()->second.use_count(), 3);
  const auto ignoringCase = Program::of({set}, false, &shared);
  EXPECT_EQ(shared.size(), 2u);
  shared.clear();
  EXPECT_TRUE(matches(*one, "b"));
  EXPECT_FALSE(matches(*one, "B"));
  EXPECT_TRUE(matches(*two, "bc"));
  EXPECT_TRUE(matches(*ignoringCase, "b"));
}

}  // namespace
}  // namespace Test
}  // namespace QVL
