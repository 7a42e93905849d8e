#include "qvl/match/Utf8.h"

#include <unicode/utf8.h>

#include <algorithm>
#include <cstring>

namespace QVL {
namespace Utf8 {
namespace {

// How many bytes a character has by its first one, as the engine counts them: it takes a byte that
// begins no character for the start of four.
std::size_t lengthByLead(char lead) {
  const auto byte = static_cast<unsigned char>(lead);
  return byte < 0xC0 ? 1 : byte < 0xE0 ? 2 : byte < 0xF0 ? 3 : 4;
}

}  // namespace

// Eight bytes at a time, the last of them perhaps again.
bool isAscii(std::string_view text) {
  std::uint64_t seen = 0;
  const auto see = [&](const char* bytes) {
    std::uint64_t word;
    std::memcpy(&word, bytes, sizeof word);
    seen |= word;
  };
  if (text.size() >= sizeof seen) {
    const char* const last = text.data() + text.size() - sizeof seen;
    for (const char* bytes = text.data(); bytes < last; bytes += sizeof seen) see(bytes);
    see(last);
  } else {
    for (const char byte : text) seen |= static_cast<unsigned char>(byte);
  }
  return (seen & 0x8080808080808080u) == 0;
}

std::size_t validPrefix(std::string_view text) {
  const auto* const bytes = reinterpret_cast<const std::uint8_t*>(text.data());
  std::size_t at = 0;
  while (at < text.size()) {
    if (bytes[at] < 0x80) {
      ++at;
      continue;
    }
    // In steps that fit the 32 bits in which the macro counts.
    const std::uint8_t* const from = bytes + at;
    const auto room = static_cast<std::int32_t>(std::min<std::size_t>(text.size() - at, 8));
    std::int32_t length = 0;
    UChar32 character;
    U8_NEXT(from, length, room, character);
    if (character < 0) break;
    at += static_cast<std::size_t>(length);
  }
  return at;
}

bool isCutOff(std::string_view text) {
  if (text.empty()) return false;
  if (isContinuation(text.front())) return true;
  std::size_t last = text.size() - 1;
  while (last > 0 && isContinuation(text[last])) --last;
  return text.size() - last < lengthByLead(text[last]);
}

std::uint32_t decode(std::string_view text, std::size_t& at) {
  const auto* const from = reinterpret_cast<const std::uint8_t*>(text.data()) + at;
  std::int32_t length = 0;
  UChar32 character;
  U8_NEXT_UNSAFE(from, length, character);
  at += static_cast<std::size_t>(length);
  return static_cast<std::uint32_t>(character);
}

}  // namespace Utf8
}  // namespace QVL
