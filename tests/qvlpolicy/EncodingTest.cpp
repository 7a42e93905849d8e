// Policies in all encodings that XML allows, and texts that are no XML.

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <qvlpolicy/Policy.h>

#include <string>
#include <string_view>

#include "tests/qvlpolicy/Policies.h"

namespace qvlpolicy {
namespace {

using std::string_view_literals::operator""sv;
using testing::HasSubstr;
using testing::StartsWith;

// A policy for the folder "/bü/", in characters below U+0100.
std::u32string text(const std::string& declaration) {
  const std::string xml = declaration + policy("<logic>1</logic>\n" + folderSet(1, "/b\xFC/"));
  std::u32string characters;
  for (const char c : xml) characters += static_cast<unsigned char>(c);
  return characters;
}

std::string units(const std::u32string& characters, std::size_t size, bool bigEndian) {
  std::string bytes;
  for (const char32_t c : characters) {
    for (std::size_t i = 0; i < size; ++i) {
      const std::size_t shift = 8 * (bigEndian ? size - 1 - i : i);
      bytes += static_cast<char>(c >> shift & 0xff);
    }
  }
  return bytes;
}

std::string utf8(const std::u32string& characters) {
  std::string bytes;
  for (const char32_t c : characters) {
    if (c < 0x80) {
      bytes += static_cast<char>(c);
    } else {
      bytes += static_cast<char>(0xC0 | c >> 6);
      bytes += static_cast<char>(0x80 | (c & 0x3f));
    }
  }
  return bytes;
}

TEST(Encoding, IsRefusedInTheResultAlone) {
  const std::string begin = "<?xml version='1.0' encoding='";
  testing::internal::CaptureStderr();
  testing::internal::CaptureStdout();
  for (const std::string encoding : {"US-ASCII", "EUC-JP", "x", "UTF-16", "UTF-8"}) {
    EXPECT_NE(errorsOf(Policy::parse(begin + encoding + "'?>\n<a b='\xFF\xFE'/>", "p.xml")), "");
  }
  EXPECT_EQ(testing::internal::GetCapturedStderr(), "");
  EXPECT_EQ(testing::internal::GetCapturedStdout(), "");
}

TEST(Encoding, IsThatOfTheFile) {
  const auto declared = [](const std::string& encoding) {
    return "<?xml version='1.0' encoding='" + encoding + "'?>\n";
  };
  const struct {
    const char* name;
    std::string file;
  } rows[] = {
      {"UTF-8", utf8(text(""))},
      {"UTF-8, declared", utf8(text(declared("utf-8")))},
      {"UTF-8 with a mark", "\xEF\xBB\xBF" + utf8(text(""))},
      {"ISO-8859-1", units(text(declared("ISO-8859-1")), 1, true)},
      {"ISO-8859-15", units(text(declared("ISO-8859-15")), 1, true)},
      {"windows-1252", units(text(declared("windows-1252")), 1, true)},
      {"UTF-16BE with a mark", "\xFE\xFF" + units(text(declared("UTF-16")), 2, true)},
      {"UTF-16LE with a mark", "\xFF\xFE" + units(text(declared("UTF-16")), 2, false)},
      {"UTF-16BE", units(text(declared("UTF-16BE")), 2, true)},
      {"UTF-16LE", units(text(declared("UTF-16LE")), 2, false)},
      {"UTF-32BE with a mark", std::string("\0\0\xFE\xFF"sv) + units(text(""), 4, true)},
      {"UTF-32LE with a mark", std::string("\xFF\xFE\0\0"sv) + units(text(""), 4, false)},
      {"UTF-32BE", units(text(declared("UTF-32BE")), 4, true)},
  };
  for (const auto& row : rows) {
    const Loaded loaded = Policy::parse(row.file, "p.xml");
    ASSERT_TRUE(loaded.policy) << row.name << ": " << errorsOf(loaded);
    EXPECT_TRUE(loaded.policy->isExcluded({"/b\xC3\xBC/x", ""})) << row.name;
    EXPECT_FALSE(loaded.policy->isExcluded({"/b\xFC/x", ""})) << row.name;
  }
}

TEST(Encoding, TellsTheByteThatBelongsToNoCharacter) {
  EXPECT_EQ(errorsOf(Policy::parse(policy("<logic>1</logic>\n<!-- b\xFC -->"), "p.xml")),
            "p.xml:3:7: the byte \\xFC belongs to no UTF-8 character; expected a text in the "
            "encoding that it says to be in\n");
  EXPECT_THAT(
      errorsOf(Policy::parse("<?xml version='1.0' encoding='klingon'?>\n" + policy(""), "p.xml")),
      HasSubstr("the encoding \"klingon\" is not known"));
  EXPECT_THAT(
      errorsOf(Policy::parse("<?xml version='1.0' encoding='UTF-16'?>\n" + policy(""), "p.xml")),
      HasSubstr("it says to be in \"UTF-16\", and is not"));
  // The last two of four bytes are missing.
  EXPECT_THAT(errorsOf(Policy::parse("\xFE\xFF" + units(U"<a", 2, true) + "\xD8\x3D", "p.xml")),
              StartsWith("p.xml:"));
}

TEST(Encoding, WhatIsNotWellFormedHasALineAndAColumn) {
  const struct {
    const char* text;
    const char* place;
  } rows[] = {
      {"<exclusion-policy version=\"1\">\n<logic>1&2</logic>\n</exclusion-policy>", "p.xml:2:"},
      {"<exclusion-policy version=\"1\">\n\n<logic>1</lgoic>", "p.xml:3:"},
      {"<exclusion-policy version=\"1\" version=\"1\">", "p.xml:1:"},
      {"<exclusion-policy version=1>", "p.xml:1:"},
      {"", "p.xml:1:1: "},
      {"no XML", "p.xml:1:1: "},
      {"<exclusion-policy version=\"1\">", "p.xml:1:"},
  };
  for (const auto& row : rows) {
    const Loaded loaded = Policy::parse(row.text, "p.xml");
    EXPECT_FALSE(loaded.policy);
    EXPECT_THAT(errorsOf(loaded), StartsWith(row.place)) << row.text;
    EXPECT_THAT(errorsOf(loaded), HasSubstr("it is not well-formed XML: ")) << row.text;
  }
}

TEST(Encoding, KeepsTheErrorsBeforeTheXmlBreaks) {
  const Loaded loaded = Policy::parse(
      "<exclusion-policy version=\"2\">\n<lgoic>1</lgoic>\n<logic>1</logic>\n<data-set", "p.xml");
  EXPECT_THAT(errorsOf(loaded), HasSubstr("p.xml:1:19: version: expected 1; found \"2\"\n"));
  EXPECT_THAT(errorsOf(loaded), HasSubstr("p.xml:2:1: unknown element <lgoic>"));
  EXPECT_THAT(errorsOf(loaded), HasSubstr("not well-formed"));
}

TEST(Encoding, RefusesADocumentTypeBeforeItsEntitiesAreRead) {
  const Loaded loaded = Policy::parse(
      "<?xml version='1.0'?>\n<!DOCTYPE p [<!ENTITY a \"aaaaaaaaaa\"><!ENTITY b "
      "\"&a;&a;&a;&a;\"><!ENTITY c SYSTEM \"file:///etc/passwd\">]>\n" +
          policy("<logic>&b;&c;</logic>"),
      "p.xml");
  EXPECT_EQ(errorsOf(loaded),
            "p.xml:2:1: a policy has no document type declaration; found <!DOCTYPE\n");
}

// The place of an error in a logic counts the characters of the file, however they are written.
TEST(Encoding, FindsThePlaceBehindReferencesAndCdata) {
  const auto place = [](const std::string& logic) {
    const std::string error = errorsOf(Policy::parse(policy(logic), "p.xml"));
    return error.substr(0, error.find(": "));
  };
  EXPECT_EQ(place("<logic>1 &amp; x</logic>"), "p.xml:2:16");
  EXPECT_EQ(place("<logic><![CDATA[1 & x]]></logic>"), "p.xml:2:21");
  EXPECT_EQ(place("<logic>1 &#38; x</logic>"), "p.xml:2:16");
  EXPECT_EQ(place("<logic>1 |<!-- a|b -->\r\n  x</logic>"), "p.xml:3:3");
  EXPECT_EQ(place("<logic>1|<!-- \xC3\xBC -->x</logic>"), "p.xml:2:20");
}

}  // namespace
}  // namespace qvlpolicy
