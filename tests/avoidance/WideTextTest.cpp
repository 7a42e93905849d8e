// Rules made from wide strings: the conversion to UTF-8.

#include <gtest/gtest.h>

#include <cstdint>
#include <string>
#include <vector>

#include "qvl/qvl.h"
#include "tests/support/Outcome.h"
#include "tests/support/RuleKinds.h"

namespace QVL {
namespace Test {
namespace {

std::wstring wide(const std::vector<std::uint32_t>& characters) {
  std::wstring text;
  for (const std::uint32_t character : characters) text += static_cast<wchar_t>(character);
  return text;
}

struct Row {
  std::vector<std::uint32_t> characters;
  std::string text;
};

// Conversions that leave 1 to 12 bytes.
const std::vector<Row>& conversions() {
  static const std::vector<Row> rows = {
      {{'a', 'b'}, "ab"},
      // The lengths of UTF-8, at their limits.
      {{0x7f}, "\x7f"},
      {{0x80}, "\xc2\x80"},
      {{0x7ff}, "\xdf\xbf"},
      {{0x800}, "\xe0\xa0\x80"},
      {{0xffff}, "\xef\xbf\xbf"},
      {{0x10000}, "\xf0\x90\x80\x80"},
      {{0x1f600}, "\xf0\x9f\x98\x80"},
      {{0x10ffff}, "\xf4\x8f\xbf\xbf"},
      {{0xe9}, "é"},
      {{0x65e5, 0x672c}, "日本"},
      {{0xfeff, 'a'},
       "\xef\xbb\xbf"
       "a"},
      // The surrogates are left out, alone and in pairs, and their neighbours are not.
      {{'a', 0xd800, 'b'}, "ab"},
      {{'a', 0xdbff, 'b'}, "ab"},
      {{'a', 0xdc00, 'b'}, "ab"},
      {{'a', 0xdfff, 'b'}, "ab"},
      {{'a', 0xd83d, 0xde00, 'b'}, "ab"},
      {{0xd800, 'a'}, "a"},
      {{'a', 0xdfff}, "a"},
      {{'a', 0xd7ff}, "a\xed\x9f\xbf"},
      {{'a', 0xe000}, "a\xee\x80\x80"},
      // So is what lies above the last code point, negative characters included.
      {{'a', 0x110000, 'b'}, "ab"},
      {{'a', 0x1fffff, 'b'}, "ab"},
      {{'a', 0x7fffffff, 'b'}, "ab"},
      {{'a', 0x80000000, 'b'}, "ab"},
      {{'a', 0xffffffff, 'b'}, "ab"},
      {{'a', 0xffffff9f, 'b'}, "ab"},
      // The text ends at the first NUL.
      {{'a', 0, 'b'}, "a"},
      {{'a', 0}, "a"},
      {{'a', 'b', 0, 0xd800, '('}, "ab"},
      {{0xd800, 'a', 0, 'b'}, "a"},
  };
  return rows;
}

template <typename Kind>
class WideText : public ::testing::Test {};
TYPED_TEST_SUITE(WideText, AllRuleKinds, KindName);

TYPED_TEST(WideText, IsConvertedToUtf8) {
  const bool isFolder = std::is_same<TypeParam, FolderKind>::value;
  for (Row row : conversions()) {
    if (isFolder) {
      row.characters.insert(row.characters.begin(), '/');
      for (std::size_t i = 0; i < row.characters.size(); ++i) {
        if (row.characters[i] == 0) {
          row.characters.insert(row.characters.begin() + static_cast<std::ptrdiff_t>(i), '/');
          break;
        }
        if (i + 1 == row.characters.size()) {
          row.characters.push_back('/');
          break;
        }
      }
      row.text = "/" + row.text + "/";
    }
    std::string key;
    EXPECT_EQ(thrownBy([&] { key = TypeParam::make(wide(row.characters))->getKey(); }), "nothing")
        << shown(row.text);
    EXPECT_EQ(shown(key), shown(row.text));
  }
}

TYPED_TEST(WideText, ThatLeavesNothingIsRefused) {
  const std::vector<std::vector<std::uint32_t>> rows = {
      {}, {0}, {0, 'a', '/'}, {0xd800}, {0xd83d, 0xde00}, {0x110000}, {0xffffffff, 0, 'a', '/'},
  };
  for (const auto& characters : rows) {
    EXPECT_EQ(thrownBy([&] { TypeParam::make(wide(characters)); }), TypeParam::kWideRefusedMessage)
        << characters.size() << " characters";
  }
}

TYPED_TEST(WideText, IsValidatedAfterConversion) {
  const std::wstring slashThenInvalid = wide({'/', 'a', '/', 0xd800});
  const std::wstring slashThenNul = wide({'/', 'a', '/', 0, 'b'});
  const bool takesFolders = std::is_same<TypeParam, FolderKind>::value;
  const bool takesFiles =
      std::is_same<TypeParam, FilePathKind>::value || std::is_same<TypeParam, ProcessKind>::value;
  for (const std::wstring& text : {slashThenInvalid, slashThenNul}) {
    EXPECT_EQ(thrownBy([&] { TypeParam::make(text); }),
              takesFiles ? TypeParam::kWideRefusedMessage : "nothing");
  }
  for (const std::wstring& text : {wide({'/', 'a', '/', 'b'}), wide({'/', 'a', 0, '/'})}) {
    EXPECT_EQ(thrownBy([&] { TypeParam::make(text); }),
              takesFolders ? TypeParam::kWideRefusedMessage : "nothing");
  }
}

TEST(WideTextOfALongPath, IsMeasuredAfterConversion) {
  // 4095 bytes and a character of two: one too many, unless the character is left out.
  const std::wstring start = L"/" + std::wstring(4094, L'a');
  EXPECT_EQ(thrownBy([&] { FilePathKind::make(start + wide({0xe9})); }),
            FilePathKind::kWideRefusedMessage);
  EXPECT_EQ(thrownBy([&] { FilePathKind::make(start + wide({'e'})); }), "nothing");
  EXPECT_EQ(thrownBy([&] { FilePathKind::make(start + wide({0xd800, 0xd800, 'e'})); }), "nothing");
  EXPECT_EQ(thrownBy([&] { FilePathKind::make(start + wide({'e', 0, 'e'})); }), "nothing");
}

TEST(WideTextOfAPattern, MatchesAsIfInvalidCharactersWereAbsent) {
  FilePathAvoidance rule(wide({'/', 0xd800, 0xe9, 0x110000, '*'}), AnyAccess);
  LookupData match = fileRequest("/é1");
  LookupData other = fileRequest("/e1");
  EXPECT_TRUE(rule.canAvoid(match));
  EXPECT_FALSE(rule.canAvoid(other));
}

}  // namespace
}  // namespace Test
}  // namespace QVL
