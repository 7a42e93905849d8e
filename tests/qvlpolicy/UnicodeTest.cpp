// Texts in Unicode.

#include "qvlpolicy/Text.h"

#include <gtest/gtest.h>

#include <string>

namespace qvlpolicy {
namespace {

TEST(Unicode, FindsTheFirstByteThatIsNotUtf8) {
  constexpr std::size_t kNone = std::string_view::npos;
  const struct {
    std::string text;
    std::size_t place;
  } rows[] = {
      {"", kNone},
      {"plain", kNone},
      {"\xc3\xa9 \xe2\x82\xac \xf0\x9f\x93\x81", kNone},
      {std::string("\0", 1), kNone},
      {"ab\xff", 2},
      {"\xc3", 0},              // cut off
      {"a\xe2\x82", 1},         // cut off
      {"\xc0\xaf", 0},          // overlong
      {"\xed\xa0\x80", 0},      // a surrogate
      {"\xf4\x90\x80\x80", 0},  // beyond the last character
      {"\xc3\xa9\x80", 2},      // nothing before it to continue
  };
  for (const auto& row : rows) EXPECT_EQ(findNonUtf8(row.text), row.place) << row.text;
}

TEST(Unicode, ComposesLettersAndAccents) {
  EXPECT_EQ(composed("caf"
                     "e\xcc\x81"),
            "caf\xc3\xa9");
  EXPECT_EQ(composed("caf\xc3\xa9"), "caf\xc3\xa9");
  EXPECT_EQ(composed("\xe1\x84\x80\xe1\x85\xa1"), "\xea\xb0\x80");  // Hangul
  EXPECT_EQ(composed("e\xcc\x81\xff"), "e\xcc\x81\xff");            // not UTF-8: as it is
  EXPECT_EQ(composed(""), "");
}

}  // namespace
}  // namespace qvlpolicy
