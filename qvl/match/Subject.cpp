#include "qvl/match/Subject.h"

#include <unicode/utf8.h>

#include <algorithm>
#include <boost/regex/icu.hpp>
#include <cstdint>
#include <cstring>

namespace QVL {
namespace {

// Eight bytes at a time.
bool isAsciiText(std::string_view text) {
  std::uint64_t seen = 0;
  std::size_t at = 0;
  for (; at + sizeof seen <= text.size(); at += sizeof seen) {
    std::uint64_t word;
    std::memcpy(&word, text.data() + at, sizeof word);
    seen |= word;
  }
  for (; at < text.size(); ++at) seen |= static_cast<unsigned char>(text[at]);
  return (seen & 0x8080808080808080u) == 0;
}

bool isContinuation(char byte) {
  return U8_IS_TRAIL(static_cast<std::uint8_t>(byte));
}

// How many bytes a character has by its first one, as the engine counts them: it takes a byte that
// begins no character for the start of four.
std::size_t lengthByLead(char lead) {
  const auto byte = static_cast<unsigned char>(lead);
  return byte < 0xC0 ? 1 : byte < 0xE0 ? 2 : byte < 0xF0 ? 3 : 4;
}

// As the engine folds, which is lower case in some of its releases and case folding in others.
UChar32 foldCase(UChar32 character) {
  static const boost::icu_regex_traits engine;
  return engine.translate_nocase(character);
}

}  // namespace

std::size_t validUtf8Prefix(std::string_view text) {
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

void foldCase(std::string_view text, std::string& folded) {
  folded.clear();
  const auto* const bytes = reinterpret_cast<const std::uint8_t*>(text.data());
  for (std::size_t at = 0; at < text.size();) {
    if (bytes[at] < 0x80) {
      const char c = text[at++];
      folded += c >= 'A' && c <= 'Z' ? static_cast<char>(c - 'A' + 'a') : c;
      continue;
    }
    const std::uint8_t* const from = bytes + at;
    std::int32_t length = 0;
    UChar32 character;
    U8_NEXT_UNSAFE(from, length, character);
    at += static_cast<std::size_t>(length);
    char encoded[U8_MAX_LENGTH];
    std::int32_t size = 0;
    U8_APPEND_UNSAFE(encoded, size, foldCase(character));
    folded.append(encoded, static_cast<std::size_t>(size));
  }
}

Subject::Subject(std::string_view text, std::string& foldBuffer)
    : m_text(text),
      m_foldBuffer(foldBuffer),
      m_ascii(isAsciiText(text)),
      m_validPrefix(m_ascii ? text.size() : validUtf8Prefix(text)) {}

bool Subject::isCutOff() const {
  if (m_text.empty()) return false;
  if (isContinuation(m_text.front())) return true;
  std::size_t last = m_text.size() - 1;
  while (last > 0 && isContinuation(m_text[last])) --last;
  return m_text.size() - last < lengthByLead(m_text[last]);
}

std::string_view Subject::folded() {
  if (!m_folded) {
    foldCase(m_text.substr(0, m_validPrefix), m_foldBuffer);
    m_folded = true;
  }
  return m_foldBuffer;
}

}  // namespace QVL
