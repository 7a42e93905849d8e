// A set of short pieces, such as the values of a keyword. Private to the library.

#ifndef QVL_MATCH_LITERAL_SET_H
#define QVL_MATCH_LITERAL_SET_H

#include <array>
#include <bitset>
#include <cstddef>
#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "qvl/match/Expression.h"
#include "qvl/match/Utf8.h"

namespace QVL {

// Finds which of its pieces stand at a place of a text. A piece is made of bytes and of wildcards
// for single characters, as in "com.example": people write a dot and mean one.
//
// The pieces are sorted, and those that go on like the text are narrowed down sign by sign; a
// wildcard is one way more to go on. So the time grows with the logarithm of their number, and with
// the number of ways, of which there are at most as many as the pieces have different beginnings.
//
// Thread safety: immutable.
class LiteralSet {
 public:
  // A byte, or one of two wildcards.
  using Piece = std::u16string;
  static constexpr char16_t kOne = 256;
  static constexpr char16_t kOneNotSlash = 257;

  // The most bytes of a text that one piece stands for.
  static constexpr std::size_t kLongest = 64;

  explicit LiteralSet(std::vector<Piece> pieces);

  // The steps as a piece; absent when they are none, or too long.
  static std::optional<Piece> pieceOf(const Steps& steps);
  static Steps stepsOf(const Piece& piece);

  // Calls `found(length)` for each piece that a UTF-8 text begins with. True when the text ends
  // while some piece goes on, or could: there is a longer one that begins with it.
  template <typename Found>
  bool match(std::string_view text, Found found) const;

  // May a piece stand where the text begins, or go on behind its end? By its first two bytes: no is
  // the answer at most places of most texts.
  bool mayStand(std::string_view text) const {
    return text.size() < 2 || m_firstTwo[numberOf(static_cast<unsigned char>(text[0]),
                                                  static_cast<unsigned char>(text[1]))];
  }

  // The least number of bytes that a piece stands for.
  std::size_t leastLength() const { return m_leastLength; }
  const std::vector<Piece>& pieces() const { return m_pieces; }

 private:
  // Those pieces that agree in some first signs.
  struct Range {
    std::size_t begin;
    std::size_t end;
  };

  // One of 4096 numbers for two bytes.
  static std::size_t numberOf(char16_t first, char16_t second) {
    const std::uint32_t both = std::uint32_t{first} << 8 | second;
    return both * 0x9E3779B1u >> 20;
  }

  void addFirstTwo(const Piece& piece);
  Range thatGoOn(Range range, std::size_t depth, char16_t sign) const;

  template <typename Found>
  bool match(Range range, std::size_t depth, std::string_view text, std::size_t at,
             Found& found) const;

  std::vector<Piece> m_pieces;                     // sorted, each once
  std::array<std::uint32_t, 259> m_byFirstSign{};  // where those begin that begin with a sign
  std::bitset<4096> m_firstTwo;                    // the numbers of what pieces may begin with
  std::size_t m_leastLength = 0;
};

template <typename Found>
bool LiteralSet::match(std::string_view text, Found found) const {
  return mayStand(text) && match({0, m_pieces.size()}, 0, text, 0, found);
}

// Of the pieces of the range, the first `depth` signs stand in the text up to `at`.
template <typename Found>
bool LiteralSet::match(Range range, std::size_t depth, std::string_view text, std::size_t at,
                       Found& found) const {
  bool ranOut = false;
  for (;; ++depth, ++at) {
    if (range.begin < range.end && m_pieces[range.begin].size() == depth) {
      found(at);
      ++range.begin;
    }
    if (range.begin == range.end) return ranOut;
    if (at == text.size()) return true;
    // Most pieces have no wildcards; they are sorted behind all bytes.
    if (m_pieces[range.end - 1][depth] >= kOne) {
      const Range any = thatGoOn(range, depth, kOne);
      const Range notSlash = thatGoOn(range, depth, kOneNotSlash);
      const std::size_t next = Utf8::next(text, at);
      if (any.begin < any.end) ranOut |= match(any, depth + 1, text, next, found);
      if (notSlash.begin < notSlash.end && text[at] != '/') {
        ranOut |= match(notSlash, depth + 1, text, next, found);
      }
    }
    range = thatGoOn(range, depth, static_cast<unsigned char>(text[at]));
  }
}

}  // namespace QVL

#endif  // QVL_MATCH_LITERAL_SET_H
