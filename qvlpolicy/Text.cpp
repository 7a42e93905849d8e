#include "qvlpolicy/Text.h"

#include <unicode/bytestream.h>
#include <unicode/normalizer2.h>

#include <algorithm>

#include "fmt/format.h"

namespace qvlpolicy {
namespace {

bool isPlain(char c) {
  return c >= 0x20 && c < 0x7f;
}

struct Character {
  std::size_t length;  // in bytes; 0: none begins here
  std::uint32_t code;
};

// The UTF-8 character that `text`, which is not empty, begins with: neither an overlong form nor a
// surrogate.
Character characterAt(std::string_view text) {
  const auto byte = [&](std::size_t i) { return static_cast<unsigned char>(text[i]); };
  const unsigned char lead = byte(0);
  std::size_t length = 0;
  std::uint32_t least = 0;
  std::uint32_t code = 0;
  if (lead < 0x80) return {1, lead};
  if (lead >= 0xc2 && lead <= 0xdf) {
    length = 2, least = 0x80, code = lead & 0x1fu;
  } else if (lead >= 0xe0 && lead <= 0xef) {
    length = 3, least = 0x800, code = lead & 0x0fu;
  } else if (lead >= 0xf0 && lead <= 0xf4) {
    length = 4, least = 0x10000, code = lead & 0x07u;
  } else {
    return {0, 0};
  }
  if (text.size() < length) return {0, 0};
  for (std::size_t i = 1; i < length; ++i) {
    if ((byte(i) & 0xc0) != 0x80) return {0, 0};
    code = code << 6 | (byte(i) & 0x3fu);
  }
  const bool isSurrogate = code >= 0xd800 && code <= 0xdfff;
  if (code < least || code > 0x10ffff || isSurrogate) return {0, 0};
  return {length, code};
}

// The length in bytes of the printable character that `text` begins with; 0 when there is none:
// both blocks of control characters are not printable.
std::size_t printableCharacter(std::string_view text) {
  const Character character = characterAt(text);
  const bool isControl = character.code < 0x20 || (character.code >= 0x7f && character.code < 0xa0);
  return isControl ? 0 : character.length;
}

// With every backslash shown as `backslash`.
std::string escapedWith(std::string_view text, const char* backslash) {
  std::string result;
  while (!text.empty()) {
    const std::size_t length = printableCharacter(text);
    const char c = text.front();
    if (c == '\\') {
      result += backslash;
    } else if (length > 0) {
      result.append(text.substr(0, length));
    } else if (c == '\n') {
      result += "\\n";
    } else if (c == '\t') {
      result += "\\t";
    } else if (c == '\r') {
      result += "\\r";
    } else {
      result += fmt::format("\\x{:02X}", static_cast<unsigned char>(c));
    }
    text.remove_prefix(std::max<std::size_t>(length, 1));
  }
  return result;
}

}  // namespace

std::string escaped(std::string_view text) {
  const bool isUnchanged =
      std::all_of(text.begin(), text.end(), [](char c) { return isPlain(c) && c != '\\'; });
  return isUnchanged ? std::string(text) : escapedWith(text, "\\\\");
}

std::string escapedPattern(std::string_view text) {
  return escapedWith(text, "\\");
}

std::string inQuotes(std::string_view text) {
  constexpr std::size_t kLongest = 200;
  if (text.size() <= kLongest) return '"' + escaped(text) + '"';
  return fmt::format("\"{}...\" ({} bytes)", escaped(text.substr(0, kLongest)),
                     grouped(text.size()));
}

std::string trimmed(std::string_view text) {
  static constexpr const char* kWhitespace = " \t\r\n";
  const std::size_t first = std::min(text.find_first_not_of(kWhitespace), text.size());
  return std::string(text.substr(first, text.find_last_not_of(kWhitespace) + 1 - first));
}

std::string grouped(std::uint64_t number) {
  std::string digits = std::to_string(number);
  for (std::size_t i = digits.size(); i > 3;) {
    i -= 3;
    digits.insert(i, 1, ',');
  }
  return digits;
}

std::string counted(std::uint64_t number, const char* singular, const char* plural) {
  return grouped(number) + ' ' + (number == 1 ? singular : plural);
}

std::size_t findNonUtf8(std::string_view text) {
  for (std::size_t i = 0; i < text.size();) {
    if (static_cast<unsigned char>(text[i]) < 0x80) {
      ++i;
      continue;
    }
    const std::size_t length = characterAt(text.substr(i)).length;
    if (length == 0) return i;
    i += length;
  }
  return std::string_view::npos;
}

std::string composed(std::string_view text) {
  const bool isAscii = std::all_of(text.begin(), text.end(),
                                   [](char c) { return static_cast<unsigned char>(c) < 0x80; });
  if (isAscii || findNonUtf8(text) != std::string_view::npos) return std::string(text);
  UErrorCode error = U_ZERO_ERROR;
  std::string result;
  icu::StringByteSink<std::string> sink(&result);
  const icu::Normalizer2* const form = icu::Normalizer2::getNFCInstance(error);
  if (U_SUCCESS(error)) {
    form->normalizeUTF8(0, {text.data(), static_cast<std::int32_t>(text.size())}, sink, nullptr,
                        error);
  }
  // Without ICU's data, texts stay apart that only look the same.
  return U_SUCCESS(error) ? result : std::string(text);
}

}  // namespace qvlpolicy
