// The keys under which rules are filed and paths are looked up. Private to the library.

#ifndef QVL_MATCH_PATH_KEYS_H
#define QVL_MATCH_PATH_KEYS_H

#include <cstddef>
#include <cstdint>
#include <cstring>
#include <string_view>
#include <vector>

#include "qvl/match/Glob.h"

namespace QVL {
namespace PathKeys {

// A key is a hash of a piece of a path that a rule's literals fix completely, together with the
// kind of piece. Every text that a rule matches has every key of that rule; so a rule need be filed
// under one key only, and a text that lacks the key cannot match the rule. Letters are hashed
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
};
constexpr unsigned kKinds = 10;

// A key together with what it takes to look for it.
struct RuleKey {
  Key key;
  Kind kind;
  unsigned depth;      // of a Prefix: the number of components
  std::size_t length;  // bytes of literal behind it
};

// The keys of one alternative of a rule's expression, and the marks that every text bears which
// it matches: of whole components and the extension, and of the first bytes of components.
struct RuleKeys {
  std::vector<RuleKey> keys;
  std::uint64_t marks = 0;
  std::uint64_t headMarks = 0;
};

RuleKeys keysOf(const GlobSteps& steps);

inline std::uint64_t mix(std::uint64_t a, std::uint64_t b) {
  const unsigned __int128 product =
      static_cast<unsigned __int128>(a ^ 0x9E3779B97F4A7C15u) * (b ^ 0xD6E8FEB86659FD93u);
  return static_cast<std::uint64_t>(product) ^ static_cast<std::uint64_t>(product >> 64);
}

inline Key keyOf(Kind kind, std::uint64_t hash) {
  // The low bits tell the kind; never 0, which marks a free slot. The others depend on it too, or
  // the filter would take an extension for a component of the same letters.
  const std::uint64_t number = static_cast<std::uint64_t>(kind) + 1;
  return ((hash ^ number * 0x9E3779B97F4A7C15u) & ~std::uint64_t{15}) | number;
}

// The hash of some leading components; of none, to start with.
constexpr std::uint64_t kNoComponents = 0x51ED270B1F6B3C4Du;
inline std::uint64_t withComponent(std::uint64_t prefix, std::uint64_t component) {
  return mix(prefix, component);
}

inline std::uint64_t pairOf(std::uint64_t first, std::uint64_t second) {
  return mix(first, second ^ kNoComponents);
}

// One bit of 64 for a component or an extension: what a text must have, told cheaply.
inline std::uint64_t markOf(std::uint64_t hash) {
  return std::uint64_t{1} << (hash >> 58);
}

// A text made ready for hashing: in a buffer of its own, with room around it, so that eight bytes
// can be read at any place, and with its slashes found. Keeps its storage from text to text.
class Text {
 public:
  void assign(std::string_view text);

  // The number of components: between the slashes, the first and the last, possibly empty,
  // included.
  std::size_t components() const { return m_components; }

  // Where component `index` starts and how long it is.
  std::size_t start(std::size_t index) const { return index == 0 ? 0 : m_ends[index - 1] + 1u; }
  std::size_t length(std::size_t index) const { return m_ends[index] - start(index); }

  // One bit of 64 for the first four bytes of each component that has so many.
  std::uint64_t headMarks() const {
    const char* const first = m_buffer.data() + kMargin;
    std::uint64_t marks = 0;
    for (std::size_t i = 0; i < m_components; ++i) {
      std::uint32_t head;
      std::memcpy(&head, first + start(i), sizeof head);
      marks |= std::uint64_t{length(i) >= sizeof head} << (head * 0x9E3779B1u >> 26);
    }
    return marks;
  }

  // The hash of a piece of the text, without regard to ASCII case. The lengths that components have
  // take no branch that depends on them.
  std::uint64_t hash(std::size_t start, std::size_t length) const {
    const char* const first = m_buffer.data() + kMargin + start;
    const std::size_t shift = length < 8 ? 8 * (8 - length) : 0;
    if (length == 0) return kNoComponents;
    const std::uint64_t head = (load8(first) << shift) >> shift;
    const std::uint64_t tail = load8(first + length - 8) >> shift;
    std::uint64_t hash = mix(head ^ (length << 56), tail);
    for (std::size_t at = 8; at + 8 < length; at += 8) hash = mix(hash, load8(first + at));
    return hash;
  }

 private:
  static constexpr std::size_t kMargin = 16;  // assign writes in steps of this many

  static std::uint64_t load8(const char* bytes) {
    std::uint64_t word;
    std::memcpy(&word, bytes, sizeof word);
    return word;
  }

  std::vector<char> m_buffer;
  std::vector<std::uint32_t> m_ends;
  std::size_t m_components = 0;
};

}  // namespace PathKeys
}  // namespace QVL

#endif  // QVL_MATCH_PATH_KEYS_H
