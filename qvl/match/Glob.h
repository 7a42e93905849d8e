// A matcher for the simple part of the expression language. Private to the library.

#ifndef QVL_MATCH_GLOB_H
#define QVL_MATCH_GLOB_H

#include <cstddef>
#include <cstdint>
#include <memory>
#include <string>
#include <string_view>
#include <vector>

namespace QVL {

// One step of a sequence that an expression was broken into.
struct GlobStep {
  enum Kind : std::uint8_t {
    Literal,      // these bytes
    OneNotSlash,  // [^/]
    One,          // .
    RunNotSlash,  // [^/]*
    Run,          // .*
    Folders,      // (.*/|)
    Unknown,      // something that only the regular expression engine understands
  };
  Kind kind;
  std::string bytes;  // of a Literal, whole characters
};

// The sequence of one alternative of an expression.
using GlobSteps = std::vector<GlobStep>;

// A sequence of literals and wildcards, matched against whole texts without ever giving up.
//
// The sequence is cut at its runs into segments of fixed length. A text matches when the first
// segment stands at its start, the last at its end, and the others in between, each at the earliest
// place that its run can reach: a Run or Folders that was passed is never revisited, for whatever a
// later start of it could reach, the earlier one reaches too; a RunNotSlash is revisited only by
// way of the last Run or Folders before it, and per path component once. A segment of literals is
// searched for in linear time, one with wildcards by all its starts at once, 64 of them in a word.
// So the time is bounded by the product of the lengths of text and sequence, and far below it.
//
// Thread safety: immutable after construction.
class Glob {
 public:
  // Can the sequence be matched this way? Not with an Unknown, nor where the earliest place need
  // not be the best.
  static bool canMatch(const GlobSteps& steps);

  // The matcher of a sequence for which canMatch holds.
  static std::unique_ptr<const Glob> of(const GlobSteps& steps);

  ~Glob();
  Glob(const Glob&) = delete;
  Glob& operator=(const Glob&) = delete;
  static void operator delete(void* glob) { ::operator delete(glob); }

  // Does the sequence match the whole text, which is UTF-8? `ascii` says that all of it is ASCII.
  bool matches(std::string_view text, bool ascii) const;

  // After exactly this text, which is UTF-8, could the sequence go on to read another character?
  bool wantsMoreAfter(std::string_view text) const;

 private:
  // What stands between two runs: `length` entries from `offset`, each a literal byte or, where
  // wild() says so, one character.
  struct Segment {
    GlobStep::Kind run;  // the run in front of it; Literal for the first segment, which has none
    bool wild;           // holds OneNotSlash or One
    std::uint32_t offset;
    std::uint32_t length;
    std::uint32_t characters;
    std::uint32_t rows;  // where the segment's begin in Rows, if it is wild and searched for

    std::size_t words() const { return (length + 63u) / 64; }
  };

  using Word = std::uint64_t;
  struct Rows;

  template <bool ascii>
  class Matcher;

  struct Parts;

  Glob(const Parts& parts, std::unique_ptr<const Rows> rows);
  static void* operator new(std::size_t size, std::size_t behind) {
    return ::operator new(size + behind);
  }

  // Segments and entries follow the object in its own piece of memory: of the very many sequences
  // that there are, each that a text is compared with has to be fetched from far away.
  const Segment* segments() const { return reinterpret_cast<const Segment*>(this + 1); }
  const char* bytes() const {
    return reinterpret_cast<const char*>(this + 1) + m_segmentCount * sizeof(Segment);
  }
  // Per entry: 0 for a literal one, else a GlobStep::Kind. Not there when all are literal.
  const char* wild() const { return bytes() + m_byteCount; }

  const std::uint32_t m_segmentCount;
  const std::uint32_t m_byteCount;
  const bool m_anyWild;
  const std::unique_ptr<const Rows> m_rows;  // null when no wild segment is searched for
};

}  // namespace QVL

#endif  // QVL_MATCH_GLOB_H
