#include "qvl/match/Text.h"

#include <algorithm>
#include <cstring>

#include "qvl/match/Engine.h"
#include "qvl/match/Utf8.h"

#if defined(__SSE2__)
#include <emmintrin.h>
#endif

namespace QVL {
namespace {

// Storage above this is given back after the query.
constexpr std::size_t kKept = std::size_t{64} * 1024;

#if defined(__SSE2__)

// One bit for each of 64 bytes that is `byte`.
std::uint64_t equalBytes(const char* bytes, unsigned char byte) {
  const __m128i wanted = _mm_set1_epi8(static_cast<char>(byte));
  std::uint64_t bits = 0;
  for (std::size_t i = 0; i < 4; ++i) {
    const __m128i some = _mm_loadu_si128(reinterpret_cast<const __m128i*>(bytes + 16 * i));
    const auto mask = static_cast<std::uint32_t>(_mm_movemask_epi8(_mm_cmpeq_epi8(some, wanted)));
    bits |= std::uint64_t{mask} << (16 * i);
  }
  return bits;
}

#else

std::uint64_t equalBytes(const char* bytes, unsigned char byte) {
  std::uint64_t bits = 0;
  for (unsigned i = 0; i < 64; ++i) {
    bits |= std::uint64_t{static_cast<unsigned char>(bytes[i]) == byte} << i;
  }
  return bits;
}

#endif

}  // namespace

void ByteRows::assign(std::string_view text) {
  m_text = text;
  m_wordsPerRow = wordsFor(text.size());
  m_words.clear();
  m_pieces.assign(text);
  if (++m_assignment == 0 || m_rows.empty()) {
    m_rows.assign(256, Row());
    m_assignment = 1;
  }
}

void ByteRows::shrink() {
  if (storage() > kKept) std::vector<Word>().swap(m_words);
  m_pieces.shrink();
}

ByteRows::Word ByteRows::compare(unsigned char byte, std::size_t block) const {
  const std::size_t from = block * kBits;
  if (from >= m_text.size()) return 0;
  const std::size_t rest = m_text.size() - from;
  if (rest >= kBits) return equalBytes(m_text.data() + from, byte);
  char padded[kBits] = {};
  std::memcpy(padded, m_text.data() + from, rest);
  return equalBytes(padded, byte) & ((Word{1} << rest) - 1);
}

ByteRows::Word ByteRows::makeRow(unsigned char byte, std::size_t block) {
  if (m_text.size() > kLongestKept) return compare(byte, block);
  const std::size_t begin = m_words.size();
  m_words.resize(begin + m_wordsPerRow);
  for (std::size_t i = 0; i < m_wordsPerRow; ++i) m_words[begin + i] = compare(byte, i);
  m_rows[byte] = {m_assignment, static_cast<std::uint32_t>(begin)};
  return m_words[begin + block];
}

void TextScratch::shrink() {
  if (folded.capacity() > kKept) std::string().swap(folded);
  plainRows.shrink();
  foldedRows.shrink();
  if (states.capacity() * sizeof states[0] > kKept) {
    std::vector<std::uint64_t>().swap(states);
    std::vector<std::uint64_t>().swap(touched);
  }
  if (future.capacity() * sizeof future[0] > kKept) std::vector<std::uint64_t>().swap(future);
}

Text::Text(std::string_view text, TextScratch& scratch)
    : m_plain(text),
      m_scratch(scratch),
      m_ascii(Utf8::isAscii(text)),
      m_validPrefix(m_ascii ? text.size() : Utf8::validPrefix(text)) {}

bool Text::isCutOff() const {
  return !m_ascii && Utf8::isCutOff(m_plain);
}

std::string_view Text::folded() {
  if (!m_folded) {
    foldCase(m_plain.substr(0, m_validPrefix), m_scratch.folded);
    m_folded = true;
  }
  return m_scratch.folded;
}

ByteRows& Text::rows(bool folded) {
  ByteRows& rows = folded ? m_scratch.foldedRows : m_scratch.plainRows;
  bool& assigned = folded ? m_foldedRowsAssigned : m_plainRowsAssigned;
  if (!assigned) {
    rows.assign(folded ? this->folded() : m_plain.substr(0, m_validPrefix));
    assigned = true;
  }
  return rows;
}

}  // namespace QVL
