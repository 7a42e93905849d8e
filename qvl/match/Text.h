// A text on its way through many patterns. Private to the library.

#ifndef QVL_MATCH_TEXT_H
#define QVL_MATCH_TEXT_H

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "qvl/match/PieceRows.h"

namespace QVL {

// Where the bytes of a text stand: for each byte value one row of bits, bit i for place i, made
// when it is first asked for.
//
// Thread safety: none; it belongs to one query.
class ByteRows {
 public:
  using Word = std::uint64_t;
  static constexpr std::size_t kBits = 64;

  // From now on of this text, which outlives its use here.
  void assign(std::string_view text);

  std::string_view text() const { return m_text; }

  // How many words a row has that also tells of the place behind a text of that length.
  static std::size_t wordsFor(std::size_t length) { return length / kBits + 1; }

  // Bits 64 * block to 64 * block + 63 of the row of a byte value. Bits behind the text are 0.
  Word word(unsigned char byte, std::size_t block) {
    const Row& row = m_rows[byte];
    return row.madeFor == m_assignment ? m_words[row.begin + block] : makeRow(byte, block);
  }

  // The whole row, wordsFor() the text; null when the text is so long that rows are not kept.
  // Stays until another row is asked for.
  const Word* row(unsigned char byte) {
    word(byte, 0);
    const Row& row = m_rows[byte];
    return row.madeFor == m_assignment ? m_words.data() + row.begin : nullptr;
  }

  // Where the pieces of sets of literals end in the text.
  PieceRows& pieces() { return m_pieces; }

  // Gives back what a long text needed.
  void shrink();

  // The bytes of storage.
  std::size_t storage() const { return m_words.capacity() * sizeof(Word); }

 private:
  // Rows of longer texts are not kept: no path is that long, and they would need much room.
  static constexpr std::size_t kLongestKept = 8192;

  struct Row {
    std::uint32_t madeFor = 0;  // the assignment
    std::uint32_t begin = 0;    // in m_words
  };

  Word makeRow(unsigned char byte, std::size_t block);
  Word compare(unsigned char byte, std::size_t block) const;

  std::string_view m_text;
  std::size_t m_wordsPerRow = 0;
  std::uint32_t m_assignment = 0;
  std::vector<Row> m_rows;  // by byte value; none before the first text
  std::vector<Word> m_words;
  PieceRows m_pieces;
};

// How many bytes both begin with.
inline std::size_t commonLength(std::string_view a, std::string_view b) {
  if (b.size() < a.size()) std::swap(a, b);
  const auto parting = std::mismatch(a.begin(), a.end(), b.begin());
  return static_cast<std::size_t>(parting.first - a.begin());
}

// Places of 64 to which those of `from` lead through runs of `mask`: each run that one of them
// stands in is filled up from there, with the place behind it. `beyond` tells whether that is the
// first of the next 64.
inline ByteRows::Word filled(ByteRows::Word from, ByteRows::Word mask, bool& beyond) {
  const ByteRows::Word inside = from & mask;
  ByteRows::Word sum;
  beyond = __builtin_add_overflow(inside, mask, &sum);
  return inside == 0 ? from : from | (sum ^ mask);
}

// The storage that a query needs for its texts and that the next one uses again.
struct TextScratch {
  std::string folded;
  ByteRows plainRows;
  ByteRows foldedRows;
  std::vector<std::uint64_t> states;   // of the program that is run; 0 between two runs
  std::vector<std::uint64_t> touched;  // a bit for each word of the states that may not be 0
  std::vector<std::uint64_t> future;   // of the program that is run
  std::uint64_t steps = 0;             // that simulations took, for tests that count work

  // Gives back what a text far longer than a path needed.
  void shrink();
};

// A text that patterns are matched against, with what they all want to know of it found out once,
// when the first of them asks.
//
// Thread safety: none; it belongs to one query.
class Text {
 public:
  // `text` and `scratch` outlive the object, and a scratch serves one text at a time.
  Text(std::string_view text, TextScratch& scratch);

  std::string_view plain() const { return m_plain; }
  bool isAscii() const { return m_ascii; }
  bool isUtf8() const { return m_validPrefix == m_plain.size(); }

  // How many bytes from the start are UTF-8.
  std::size_t validPrefix() const { return m_validPrefix; }

  // Does the text begin inside a character or end inside one?
  bool isCutOff() const;

  // The UTF-8 part of the text, case folded.
  std::string_view folded();

  // The UTF-8 part of the text, as it is or folded, by its bytes.
  ByteRows& rows(bool folded);

  TextScratch& scratch() { return m_scratch; }

 private:
  const std::string_view m_plain;
  TextScratch& m_scratch;
  bool m_ascii;
  bool m_folded = false;
  bool m_plainRowsAssigned = false;
  bool m_foldedRowsAssigned = false;
  std::size_t m_validPrefix;
};

}  // namespace QVL

#endif  // QVL_MATCH_TEXT_H
