#include <gtest/gtest.h>

#include <string>

#include "qvl/qvl.h"
#include "tests/support/Outcome.h"
#include "tests/support/TraceRecorder.h"

namespace QVL {
namespace Test {
namespace {

TEST(ReplaceAll, ReplacesFromLeftToRightWithoutOverlap) {
  using namespace std::string_literals;
  const struct {
    std::string text;
    std::string from;
    std::string to;
    std::string expected;
  } rows[] = {
      {"", "a", "b", ""},
      {"a", "a", "b", "b"},
      {"aaa", "a", "b", "bbb"},
      {"aaa", "aa", "b", "ba"},
      {"aaaa", "aa", "b", "bb"},
      {"abab", "ab", "", ""},
      {"xabxabx", "ab", "", "xxx"},
      {"abc", "x", "y", "abc"},
      {"abc", "abcd", "y", "abc"},
      // What was put in is not searched again.
      {"a", "a", "aa", "aa"},
      {"aa", "a", "aba", "abaaba"},
      {"ab", "a", "b", "bb"},
      {"aab", "ab", "b", "ab"},
      {"aaab", "aab", "", "a"},
      {"aabb", "ab", "", "ab"},
      {"**a**", "**", "*", "*a*"},
      {"/**/**/", "/**/", "X", "X**/"},
      {"***", "**", "D", "D*"},
      {"a.b.c", ".", "\\.", "a\\.b\\.c"},
      // Bytes, and every byte.
      {"é", "\xc3", "x", "x\xa9"},
      {"a\0b\0"s, "\0"s, "00", "a00b00"},
      {"ab", "b", "\0"s, "a\0"s},
      // Nothing occurs nowhere.
      {"abc", "", "x", "abc"},
      {"", "", "x", ""},
  };
  for (const auto& row : rows) {
    EXPECT_EQ(Utility::replaceAll(row.text, row.from, row.to), row.expected)
        << shown(row.text) << ", " << shown(row.from) << " by " << shown(row.to);
  }
}

// Many megabytes with a replacement at every byte: moving the rest each time would take hours.
TEST(ReplaceAll, ReplacesEachByteOfALongText) {
  constexpr std::size_t kSize = 32 << 20;
  const std::string replaced = Utility::replaceAll(std::string(kSize, '.'), ".", "\\.");
  ASSERT_EQ(replaced.size(), 2 * kSize);
  for (std::size_t at = 0; at < 2 * kSize; at += 2) {
    ASSERT_TRUE(replaced[at] == '\\' && replaced[at + 1] == '.') << at;
  }
}

TEST(ReplaceAll, WorksOnACopyOfItsText) {
  const std::string text = "aaa";
  EXPECT_EQ(Utility::replaceAll(text, "a", "b"), "bbb");
  EXPECT_EQ(text, "aaa");
}

TEST(ReplaceAll, WritesNoTrace) {
  TraceRecorder trace;
  Utility::replaceAll("a", "a", "b");
  EXPECT_EQ(trace.take(), "");
}

}  // namespace
}  // namespace Test
}  // namespace QVL
