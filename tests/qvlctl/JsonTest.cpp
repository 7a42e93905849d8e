// Machine-readable output.

#include "io/Json.h"

#include <gtest/gtest.h>

#include <string>

namespace qvlctl {
namespace {

std::string written(const std::string& text) {
  Json object;
  addText(object, "path", text);
  return jsonLine(object);
}

TEST(JsonText, Utf8StandsAsItIs) {
  EXPECT_EQ(written("/a"), R"({"path":"/a"})");
  EXPECT_EQ(written(""), R"({"path":""})");
  EXPECT_EQ(written("/\xc3\xa9 \"\\\n\x1b"), "{\"path\":\"/\xc3\xa9 \\\"\\\\\\n\\u001b\"}");
}

TEST(JsonText, OtherBytesAreShownAndGivenWhole) {
  EXPECT_EQ(written("/\xff"), R"({"path":"/\\xFF","pathHex":"2fff"})");
  EXPECT_EQ(written("\xc3(\xfe"), R"({"path":"\\xC3(\\xFE","pathHex":"c328fe"})");
}

}  // namespace
}  // namespace qvlctl
