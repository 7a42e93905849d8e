// A matcher for the simple part of the expression language. Private to the library.

#ifndef QVL_AVOIDANCE_GLOB_H
#define QVL_AVOIDANCE_GLOB_H

#include <cstddef>
#include <cstdint>
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

  // A sequence for which canMatch holds.
  explicit Glob(const GlobSteps& steps);

  // Does the sequence match the whole text, which is UTF-8? `ascii` says that all of it is ASCII.
  bool matches(std::string_view text, bool ascii) const;

  // After exactly this text, which is UTF-8, could the sequence go on to read another character?
  bool wantsMoreAfter(std::string_view text) const;

 private:
  // What stands between two runs: `length` entries of m_bytes from `offset`, each a literal byte
  // or, where m_wild says so, one character.
  struct Segment {
    GlobStep::Kind run;  // the run in front of it; Literal for the first segment, which has none
    bool wild;           // holds OneNotSlash or One
    std::uint32_t offset;
    std::uint32_t length;
    std::uint32_t characters;
    std::uint32_t rows;  // where the segment's rows begin in m_rows, if it is wild and searched for

    std::size_t words() const { return (length + 63u) / 64; }
  };

  // Rows of bits, one for each entry of a segment: the entries that this byte fits as the first, or
  // only, byte of a character. Row 0 is that of a byte that is no literal anywhere: the wild
  // entries.
  using Word = std::uint64_t;

  template <bool ascii>
  class Matcher;

  void makeRows();

  std::string m_bytes;
  std::string m_wild;  // per entry: 0 literal, else a GlobStep::Kind; empty when all are literal
  std::vector<Segment> m_segments;
  std::vector<Word> m_rows;
  std::string
      m_rowOf;  // per byte the number of its row; empty when no wild segment is searched for
};

}  // namespace QVL

#endif  // QVL_AVOIDANCE_GLOB_H
