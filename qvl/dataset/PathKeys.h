// The keys under which rules are filed and paths are looked up. Private to the library.

#ifndef QVL_DATASET_PATH_KEYS_H
#define QVL_DATASET_PATH_KEYS_H

#include <cstddef>
#include <cstdint>
#include <cstring>
#include <string_view>
#include <vector>

#include "qvl/avoidance/Glob.h"

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

// The keys of one alternative of a rule's expression, and the marks (see marksOf) that every text
// must bear which it matches.
struct RuleKeys {
  std::vector<RuleKey> keys;
  std::uint64_t marks = 0;
};

RuleKeys keysOf(const GlobSteps& steps);

// --- Hashing, on both sides
// -----------------------------------------------------------------------

inline std::uint64_t mix(std::uint64_t a, std::uint64_t b) {
  const unsigned __int128 product =
      static_cast<unsigned __int128>(a ^ 0x9E3779B97F4A7C15u) * (b ^ 0xD6E8FEB86659FD93u);
  return static_cast<std::uint64_t>(product) ^ static_cast<std::uint64_t>(product >> 64);
}

// Folds ASCII letters, and a few signs with them.
constexpr std::uint64_t kCaseBits = 0x2020202020202020u;

inline std::uint64_t load8(const char* bytes) {
  std::uint64_t word;
  std::memcpy(&word, bytes, sizeof word);
  return word;
}

// The `length` < 8 bytes at `at`, which lies in a text from `begin` to `end`, as one number. Reads
// nothing outside the text.
inline std::uint64_t loadShort(const char* at, std::size_t length, const char* begin,
                               const char* end) {
  const std::uint64_t mask = (std::uint64_t{1} << (8 * length)) - 1;
  if (end - at >= 8) return load8(at) & mask;
  if (length == 0) return 0;
  if (at + length - begin >= 8) return load8(at + length - 8) >> (8 * (8 - length));
  std::uint64_t word = 0;
  std::memcpy(&word, at, length);
  return word;
}

// The hash of the piece `at`, `length` of the text from `begin` to `end`.
inline std::uint64_t hashOf(const char* at, std::size_t length, const char* begin,
                            const char* end) {
  if (length < 8) {
    const std::uint64_t mask = (std::uint64_t{1} << (8 * length)) - 1;
    return mix((loadShort(at, length, begin, end) | kCaseBits) & mask, length);
  }
  std::uint64_t hash = mix(load8(at) | kCaseBits, length);
  for (std::size_t from = 8; from + 8 < length; from += 8) {
    hash = mix(hash, load8(at + from) | kCaseBits);
  }
  return length == 8 ? hash : mix(hash, load8(at + length - 8) | kCaseBits);
}

inline Key keyOf(Kind kind, std::uint64_t hash) {
  // The kind's own bits; never 0, which marks a free slot.
  return (hash & ~std::uint64_t{15}) | (static_cast<std::uint64_t>(kind) + 1);
}

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

// --- Texts
// ------------------------------------------------------------------------------------------

// Calls `visit(start, length)` for every component of a text, between slashes; the first and the
// last may be empty. Stops when it answers true, and answers so itself.
template <typename Visit>
bool forEachComponent(std::string_view text, Visit visit) {
  constexpr std::uint64_t kSlashes = 0x2F2F2F2F2F2F2F2Fu;
  constexpr std::uint64_t kLow7 = 0x7F7F7F7F7F7F7F7Fu;
  const char* const begin = text.data();
  const char* const end = begin + text.size();
  const char* start = begin;
  const char* at = begin;
  while (at < end) {
    const std::size_t room = static_cast<std::size_t>(end - at);
    const std::uint64_t word = (room >= 8 ? load8(at) : loadShort(at, room, begin, end)) ^ kSlashes;
    // The high bit of every byte that is a slash, and of no other.
    std::uint64_t slashes = ~(((word & kLow7) + kLow7) | word | kLow7);
    while (slashes != 0) {
      const char* const slash = at + (__builtin_ctzll(slashes) >> 3);
      slashes &= slashes - 1;
      if (visit(start, static_cast<std::size_t>(slash - start))) return true;
      start = slash + 1;
    }
    at += 8;
  }
  return visit(start, static_cast<std::size_t>(end - start));
}

// The marks of all components of a text, and of its extension.
std::uint64_t marksOf(std::string_view text);

}  // namespace PathKeys
}  // namespace QVL

#endif  // QVL_DATASET_PATH_KEYS_H
