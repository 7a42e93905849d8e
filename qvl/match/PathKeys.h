// The keys under which patterns stand in an index and paths are looked up. Private to the library.

#ifndef QVL_MATCH_PATH_KEYS_H
#define QVL_MATCH_PATH_KEYS_H

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <limits>
#include <string_view>
#include <vector>

#include "qvl/match/Expression.h"

namespace QVL {
namespace PathKeys {

// A key is a hash of a piece of a text that a pattern's literals fix completely, together with the
// kind of piece. Every text that a pattern matches has every key of that pattern; so a pattern need
// stand under one key only, and a text that lacks the key cannot match it. Letters are hashed
// without regard to ASCII case, which makes one key serve both ways of matching; the comparison
// that follows decides.
using Key = std::uint64_t;

enum class Kind : unsigned {
  Prefix,     // the leading components of a text
  Pair,       // two neighbouring components
  Component,  // one component
  Extension,  // what follows the last dot of a text
  Head8,      // the first bytes of a component
  Head4,
  Head2,
  Tail8,  // the last bytes of a component
  Tail4,
  Tail2,
  Gram,  // four bytes, wherever they stand
};
constexpr unsigned kKinds = 11;
constexpr std::size_t kGram = 4;
constexpr std::size_t kHead = 4;  // of the heads that are told of by bits

// A key together with what it takes to look for it.
struct PatternKey {
  Key key;
  Kind kind;
  unsigned depth;      // of a Prefix: the number of components
  std::size_t length;  // bytes of literal behind it
};

// What every text has that a sequence of steps matches. The keys are all but the grams.
struct PatternKeys {
  std::vector<PatternKey> keys;
  std::uint64_t components = 0;  // one bit of 64 for each whole component and the extension
  std::uint64_t heads = 0;       // likewise for the first four bytes of components
  std::uint64_t grams = 0;       // four numbers of grams, see Grams
};

PatternKeys keysOf(const Steps& steps);
std::vector<PatternKey> gramKeysOf(const Steps& steps);

inline std::uint64_t mix(std::uint64_t a, std::uint64_t b) {
  const unsigned __int128 product =
      static_cast<unsigned __int128>(a ^ 0x9E3779B97F4A7C15u) * (b ^ 0xD6E8FEB86659FD93u);
  return static_cast<std::uint64_t>(product) ^ static_cast<std::uint64_t>(product >> 64);
}

constexpr Key kNoKey = 0;

inline Key keyOf(Kind kind, std::uint64_t hash) {
  // The low bits tell the kind; never 0, which is kNoKey. The others depend on it too, or
  // the filter would take an extension for a component of the same letters.
  const std::uint64_t number = static_cast<std::uint64_t>(kind) + 1;
  return ((hash ^ number * 0x9E3779B97F4A7C15u) & ~std::uint64_t{15}) | number;
}

inline Kind kindOf(Key key) {
  return static_cast<Kind>((key & 15) - 1);
}

// The hash of some leading components; of none, to start with.
constexpr std::uint64_t kNoComponents = 0x51ED270B1F6B3C4Du;
// The hashes are mixed already; each prefix waits for the one before it.
inline std::uint64_t withComponent(std::uint64_t prefix, std::uint64_t component) {
  return prefix * 0x9E3779B97F4A7C15u + component;
}

inline std::uint64_t pairOf(std::uint64_t first, std::uint64_t second) {
  return withComponent(first, second);
}

// Of the four bytes at a place of a HashedText.
inline Key keyOfGram(const char* bytes) {
  std::uint32_t gram;
  std::memcpy(&gram, bytes, kGram);
  const std::uint64_t product = gram * 0x9E3779B97F4A7C15u;
  return keyOf(Kind::Gram, product >> 32 | product << 32);
}

// One bit of 64 for a component or an extension.
inline std::uint64_t bitOf(std::uint64_t hash) {
  return std::uint64_t{1} << (hash >> 58);
}

// Likewise for the first four bytes of a component.
inline std::uint64_t bitOfHead(const char* bytes) {
  std::uint32_t head;
  std::memcpy(&head, bytes, sizeof head);
  return std::uint64_t{1} << (head * 0x9E3779B1u >> 26);
}

// Where the last dot of a text stands; npos when it has none. It is nearly always near the end, and
// is looked for there byte by byte; forwards many bytes are looked at at a time.
std::size_t lastDotOfLong(std::string_view text);
inline std::size_t lastDot(std::string_view text) {
  constexpr std::size_t kNear = 16;
  for (std::size_t i = 1; i <= kNear; ++i) {
    if (i > text.size()) return text.npos;
    if (text[text.size() - i] == '.') return text.size() - i;
  }
  return lastDotOfLong(text.substr(0, text.size() - kNear));
}

// A text made ready for hashing: in a buffer of its own, ASCII letters folded, with room around it,
// so that eight bytes can be read at any place, and with its slashes found. Keeps its storage from
// text to text.
class HashedText {
 public:
  // Longer texts have no components: their places have 32 bits, and case folding, which makes three
  // bytes of two at most, is to fit them, too.
  static constexpr std::size_t kLongest = std::size_t{1} << 31;
  static_assert(kLongest / 2 * 3 <= std::numeric_limits<std::uint32_t>::max(),
                "a place in a text does not fit 32 bits");

  // Makes room for texts of that length, so that assign need not.
  void reserve(std::size_t length) {
    if (m_buffer.size() < length + 2 * kMargin) m_buffer.resize(2 * (length + 2 * kMargin));
    if (m_starts.size() < length + 2) m_starts.resize(2 * (length + 2));
  }

  void assign(std::string_view text);

  std::size_t size() const { return m_size; }

  // The bytes at a place, as they are hashed.
  const char* bytes(std::size_t at) const { return m_buffer.data() + kMargin + at; }

  // Gives back what a text far longer than a path needed.
  void shrink();

  // The number of components: between the slashes, the first and the last, possibly empty,
  // included.
  std::size_t components() const { return m_components; }

  // Where component `index` starts and how long it is.
  std::size_t start(std::size_t index) const { return m_starts[index]; }
  std::size_t length(std::size_t index) const {
    return std::size_t{m_starts[index + 1]} - 1 - m_starts[index];
  }

  // The hash of a piece of the text, without regard to ASCII case. The lengths that components have
  // take no branch that depends on them, up to 16 bytes.
  std::uint64_t hash(std::size_t start, std::size_t length) const {
    const char* const first = m_buffer.data() + kMargin + start;
    const std::size_t ends = std::min<std::size_t>(length, 8);
    const std::uint64_t head = load8(first) & kFirstBytes[ends];
    const std::uint64_t tail = load8(first + length - ends) & kFirstBytes[ends];
    std::uint64_t hash = mix(head ^ (length << 56), tail);
    for (std::size_t at = 8; at + 8 < length; at += 8) hash = mix(hash, load8(first + at));
    return hash;
  }

 private:
  static constexpr std::size_t kMargin = 16;  // assign writes in steps of this many

  // The first so many bytes of eight.
  static constexpr std::uint64_t kFirstBytes[9] = {0,
                                                   0xFF,
                                                   0xFFFF,
                                                   0xFFFFFF,
                                                   0xFFFFFFFF,
                                                   0xFFFFFFFFFF,
                                                   0xFFFFFFFFFFFF,
                                                   0xFFFFFFFFFFFFFF,
                                                   0xFFFFFFFFFFFFFFFF};

  static std::uint64_t load8(const char* bytes) {
    static_assert(__BYTE_ORDER__ == __ORDER_LITTLE_ENDIAN__,
                  "the first byte is to be the lowest in a word");
    std::uint64_t word;
    std::memcpy(&word, bytes, sizeof word);
    return word;
  }

  std::vector<char> m_buffer;
  std::vector<std::uint32_t> m_starts;  // of the components, and where one more would start
  std::size_t m_components = 0;
  std::size_t m_size = 0;
};

// Which short pieces a text has, wherever they stand: a Bloom filter over all pieces of four bytes
// and of two. A pattern names four of those that its literals are made of; a text that lacks one
// cannot match.
class Grams {
 public:
  // Four numbers of 16 bits, of pieces that all these literals have, longest first; 0 stands for a
  // piece that every text has.
  static std::uint64_t of(const std::vector<std::string_view>& literals);

  // Makes room for texts of that length, so that assign need not.
  void reserve(std::size_t length) { m_marks.reserve(marksFor(length)); }

  void assign(const HashedText& text);

  bool mayHave(std::uint64_t grams) const {
    return (mark(grams) & mark(grams >> 16) & mark(grams >> 32) & mark(grams >> 48)) != 0;
  }

 private:
  static std::size_t marksFor(std::size_t length);
  static std::uint16_t of4(const char* bytes);
  static std::uint16_t of2(const char* bytes);

  unsigned mark(std::uint64_t gram) const { return m_marks[gram & m_mask]; }

  // A byte for each, and not a bit: setting bits one after the other has each wait for the one
  // before it.
  std::vector<std::uint8_t> m_marks;
  std::size_t m_mask = 0;
};

}  // namespace PathKeys
}  // namespace QVL

#endif  // QVL_MATCH_PATH_KEYS_H
