#include "qvl/match/Glob.h"

#include <algorithm>
#include <array>
#include <cstring>
#include <memory>
#include <utility>

namespace QVL {
namespace {

constexpr std::size_t kNone = std::string_view::npos;

// A wild segment of up to so many words is searched for by all starts at once: as many entries as
// the longest path has bytes.
constexpr std::size_t kMostWords = 64;

bool isRun(GlobStep::Kind kind) {
  return kind == GlobStep::RunNotSlash || kind == GlobStep::Run || kind == GlobStep::Folders;
}

// Neighbouring runs as one: whatever stands beside a Run adds nothing to it.
GlobSteps merged(const GlobSteps& steps) {
  GlobSteps result;
  for (const GlobStep& step : steps) {
    if (!result.empty() && isRun(step.kind) && isRun(result.back().kind)) {
      GlobStep::Kind& before = result.back().kind;
      if (before == GlobStep::Run || before == step.kind) continue;
      if (step.kind == GlobStep::Run) {
        before = GlobStep::Run;
        continue;
      }
    }
    result.push_back(step);
  }
  return result;
}

bool isContinuation(char byte) {
  return (static_cast<unsigned char>(byte) & 0xC0) == 0x80;
}

// Where the character after the one at `at` begins.
std::size_t next(std::string_view text, std::size_t at) {
  do {
    ++at;
  } while (at < text.size() && isContinuation(text[at]));
  return at;
}

}  // namespace

bool Glob::canMatch(const GlobSteps& steps) {
  GlobStep::Kind runBefore = GlobStep::Literal;
  bool hasOne = false;  // since that run
  const GlobSteps sequence = merged(steps);
  for (std::size_t i = 0; i < sequence.size(); ++i) {
    const GlobStep::Kind kind = sequence[i].kind;
    if (kind == GlobStep::Unknown) return false;
    if (kind == GlobStep::One) hasOne = true;
    if (!isRun(kind)) continue;
    // A One may be a slash, so an earlier place may lie in another path component than a later one.
    if (kind == GlobStep::RunNotSlash && runBefore == GlobStep::RunNotSlash && hasOne) return false;
    // Only behind a slash do all later starts of Folders lie among the earlier one's ends.
    if (kind == GlobStep::Folders && (i == 0 || sequence[i - 1].kind != GlobStep::Literal ||
                                      sequence[i - 1].bytes.back() != '/')) {
      return false;
    }
    runBefore = kind;
    hasOne = false;
  }
  return true;
}

// What a sequence is made of.
struct Glob::Parts {
  explicit Parts(const GlobSteps& steps);

  std::vector<Segment> segments = {{GlobStep::Literal, false, 0, 0, 0, 0}};
  std::string bytes;
  std::string wild;
};

Glob::Parts::Parts(const GlobSteps& steps) {
  const auto append = [&](char byte, char kind) {
    bytes += byte;
    wild += kind;
    ++segments.back().length;
    segments.back().characters += !isContinuation(byte);
  };
  bool anyWild = false;
  for (const GlobStep& step : merged(steps)) {
    if (isRun(step.kind)) {
      segments.push_back({step.kind, false, static_cast<std::uint32_t>(bytes.size()), 0, 0, 0});
    } else if (step.kind == GlobStep::Literal) {
      for (const char byte : step.bytes) append(byte, 0);
    } else {
      append(0, static_cast<char>(step.kind));
      segments.back().wild = anyWild = true;
    }
  }
  if (!anyWild) wild.clear();
}

// Rows of bits for the wild segments that are searched for, one row for each byte that is a literal
// in any of them: the entries that the byte fits as the first, or only, byte of a character. Row 0
// is that of all other bytes: the wild entries.
struct Glob::Rows {
  // Tells the segments where their rows begin. Without words if there are none.
  explicit Rows(Parts& parts);

  std::vector<Word> words;
  std::array<std::uint8_t, 256> rowOf{};  // per byte the number of its row
};

Glob::Rows::Rows(Parts& parts) {
  const std::string& bytes = parts.bytes;
  const std::string& wild = parts.wild;
  // The first and the last segment have one place each.
  std::vector<Segment*> searched;
  for (std::size_t i = 1; i + 1 < parts.segments.size(); ++i) {
    Segment& segment = parts.segments[i];
    if (segment.wild && segment.words() <= kMostWords) searched.push_back(&segment);
  }
  std::string byteOf("\0/", 2);  // by row; the slash has one, because not every wild entry takes it
  rowOf['/'] = 1;
  for (const Segment* const segment : searched) {
    for (std::uint32_t i = segment->offset; i < segment->offset + segment->length; ++i) {
      std::uint8_t& row = rowOf[static_cast<unsigned char>(bytes[i])];
      if (wild[i] != 0 || row != 0) continue;
      row = static_cast<std::uint8_t>(byteOf.size());
      byteOf += bytes[i];
    }
  }
  for (Segment* const segment : searched) {
    segment->rows = static_cast<std::uint32_t>(words.size());
    words.resize(words.size() + byteOf.size() * segment->words());
    for (std::size_t row = 0; row < byteOf.size(); ++row) {
      Word* const bits = words.data() + segment->rows + row * segment->words();
      for (std::uint32_t i = 0; i < segment->length; ++i) {
        const char kind = wild[segment->offset + i];
        const bool fits = kind == 0 ? row != 0 && bytes[segment->offset + i] == byteOf[row]
                                    : kind == GlobStep::One || byteOf[row] != '/';
        if (fits) bits[i / 64] |= Word{1} << (i % 64);
      }
    }
  }
  words.shrink_to_fit();
}

Glob::Glob(const Parts& parts, std::unique_ptr<const Rows> rows)
    : m_segmentCount(static_cast<std::uint32_t>(parts.segments.size())),
      m_byteCount(static_cast<std::uint32_t>(parts.bytes.size())),
      m_anyWild(!parts.wild.empty()),
      m_rows(std::move(rows)) {
  static_assert(alignof(Segment) <= alignof(Glob), "segments stand right behind the object");
  std::uninitialized_copy(parts.segments.begin(), parts.segments.end(),
                          const_cast<Segment*>(segments()));
  std::copy(parts.wild.begin(), parts.wild.end(),
            std::copy(parts.bytes.begin(), parts.bytes.end(), const_cast<char*>(bytes())));
}

std::unique_ptr<const Glob> Glob::of(const GlobSteps& steps) {
  Parts parts(steps);
  auto rows = std::make_unique<const Rows>(parts);
  if (rows->words.empty()) rows.reset();
  const std::size_t behind =
      parts.segments.size() * sizeof(Segment) + parts.bytes.size() + parts.wild.size();
  return std::unique_ptr<const Glob>(new (behind) Glob(parts, std::move(rows)));
}

Glob::~Glob() = default;

// One match of one text.
template <bool ascii>
class Glob::Matcher {
 public:
  Matcher(const Glob& glob, std::string_view text) : m_glob(glob), m_text(text) {}

  bool run() {
    const Segment* const segments = m_glob.segments();
    const std::size_t count = m_glob.m_segmentCount;
    const Segment& first = segments[0];
    const Segment& last = segments[count - 1];
    const std::size_t afterFirst = matchAt(first, 0, m_text.size());
    if (count == 1) return afterFirst == m_text.size();
    if (afterFirst == kNone) return false;
    m_end = startOfLast(last, afterFirst);
    if (m_end == kNone) return false;

    std::size_t at = afterFirst;
    std::size_t index = 1;
    std::size_t anchor = 0;  // the segment behind the last Run or Folders; 0 while there is none
    std::size_t anchorStart = 0;  // where it was found
    std::size_t anchorEnd = 0;
    std::size_t hopeless = kNone;  // no start of it leads past the path component that ends here
    for (;;) {
      const Segment& segment = segments[index];
      const bool isLast = index + 1 == count;
      std::size_t found = kNone;
      if (isLast) {
        if (reaches(segment.run, at, m_end)) return true;
      } else if (segment.run != GlobStep::RunNotSlash) {
        found = find(segment, at, m_end, segment.run == GlobStep::Folders);
        if (found == kNone) return false;
        anchor = index;
        anchorStart = found;
        anchorEnd = m_foundEnd;
        hopeless = kNone;
      } else if (index != anchor + 1 || componentEnd(at) != hopeless) {
        found = find(segment, at, componentEnd(at), false);
      }
      if (found != kNone) {
        at = m_foundEnd;
        ++index;
        continue;
      }
      // Nothing within reach: a later start of the anchor, if there is one.
      if (anchor == 0) return false;
      const Segment& anchored = segments[anchor];
      if (anchorStart >= m_end) return false;
      anchorStart =
          anchored.run == GlobStep::Folders ? afterSlash(anchorStart) : nextStart(anchorStart);
      if (anchorStart == kNone) return false;
      if (segments[anchor + 1].run == GlobStep::RunNotSlash) {
        hopeless = componentEnd(anchorEnd);
        // No start is worth a try from which the anchor ends in that component again.
        if (anchored.run == GlobStep::Run && (ascii || !anchored.wild) &&
            anchorStart + anchored.length <= hopeless) {
          anchorStart = hopeless + 1 - anchored.length;
          if (!ascii && anchorStart < m_text.size() && isContinuation(m_text[anchorStart])) {
            anchorStart = next(m_text, anchorStart);
          }
        }
      }
      anchorStart = find(anchored, anchorStart, m_end, anchored.run == GlobStep::Folders);
      if (anchorStart == kNone) return false;
      at = anchorEnd = m_foundEnd;
      index = anchor + 1;
    }
  }

 private:
  // Where the segment ends when it stands at `at` and does not pass `limit`; kNone when it does
  // not.
  std::size_t matchAt(const Segment& segment, std::size_t at, std::size_t limit) const {
    const char* const bytes = m_glob.bytes() + segment.offset;
    if (!segment.wild) {
      if (limit - at < segment.length) return kNone;
      // An empty text may stand nowhere, where nothing may be compared either.
      const bool stands =
          segment.length == 0 || std::memcmp(m_text.data() + at, bytes, segment.length) == 0;
      return stands ? at + segment.length : kNone;
    }
    const char* const wild = m_glob.wild() + segment.offset;
    if (limit - at < segment.characters) return kNone;
    for (std::uint32_t i = 0; i < segment.length; ++i) {
      if (at >= limit) return kNone;
      if (wild[i] == 0) {
        if (m_text[at++] != bytes[i]) return kNone;
      } else {
        if (wild[i] == GlobStep::OneNotSlash && m_text[at] == '/') return kNone;
        at = ascii ? at + 1 : next(m_text, at);
      }
    }
    return at;
  }

  // The first place from `at` to `lastStart` where the segment stands; m_foundEnd is set to its
  // end.
  std::size_t find(const Segment& segment, std::size_t at, std::size_t lastStart,
                   bool behindSlash) {
    if (at > m_end || m_end - at < segment.characters) return kNone;
    lastStart = std::min(lastStart, m_end - segment.characters);
    if (at > lastStart) return kNone;
    if (segment.wild) {
      return segment.words() <= kMostWords ? findAtOnce(segment, at, lastStart, behindSlash)
                                           : findOneByOne(segment, at, lastStart, behindSlash);
    }
    // Folders stands behind a slash, in the sequence as in the text: that belongs to the needle.
    const std::size_t before = behindSlash ? 1 : 0;
    const std::size_t length = segment.length + before;
    std::size_t start = at;
    if (length > 0) {
      const char* const from = m_text.data() + at - before;
      const std::size_t room = std::min(lastStart - at + segment.length, m_end - at) + before;
      const void* const hit = memmem(from, room, m_glob.bytes() + segment.offset - before, length);
      if (!hit) return kNone;
      start += static_cast<std::size_t>(static_cast<const char*>(hit) - from);
    }
    m_foundEnd = start + segment.length;
    return start;
  }

  std::size_t findOneByOne(const Segment& segment, std::size_t at, std::size_t lastStart,
                           bool behindSlash) {
    while (at <= lastStart) {
      m_foundEnd = matchAt(segment, at, m_end);
      if (m_foundEnd != kNone) return at;
      at = behindSlash ? afterSlash(at) : nextStart(at);
    }
    return kNone;
  }

  // Bit i of `reached` tells that the text read so far ends in the segment's entries 0 to i, from
  // one of the starts.
  std::size_t findAtOnce(const Segment& segment, std::size_t at, std::size_t lastStart,
                         bool behindSlash) {
    const std::size_t words = segment.words();
    const Word* const rows = m_glob.m_rows->words.data() + segment.rows;
    const Word lastEntry = Word{1} << ((segment.length - 1) % 64);
    std::array<Word, kMostWords> reached;
    std::fill_n(reached.begin(), words, Word{0});
    for (std::size_t i = at; i < m_end; ++i) {
      const auto byte = static_cast<unsigned char>(m_text[i]);
      const bool continues = !ascii && isContinuation(m_text[i]);
      const bool starts =
          i <= lastStart && !continues && (!behindSlash || i == at || m_text[i - 1] == '/');
      // No entry beyond those that were read can be reached, and when no start comes any more, none
      // of those that the last one has passed.
      const std::size_t end = std::min(words, (i - at) / 64 + 1);
      std::size_t w = ascii && i > lastStart ? std::min((i - lastStart) / 64, end) : 0;
      const Word* const row = rows + m_glob.m_rows->rowOf[byte] * words;
      Word carry = starts ? 1 : 0;
      if (w > 0) carry = std::exchange(reached[w - 1], Word{0}) >> 63;
      Word any = 0;
      for (; w < end; ++w) {
        const Word before = reached[w];
        Word after = (before << 1 | carry) & row[w];
        // A further byte of a character leaves a wild entry where it is.
        if (continues) after = (after & ~rows[w]) | (before & rows[w]);
        carry = before >> 63;
        reached[w] = after;
        any |= after;
      }
      if (any == 0 && i >= lastStart) return kNone;
      if (end == words && (reached[words - 1] & lastEntry) != 0 &&
          (ascii || i + 1 == m_text.size() || !isContinuation(m_text[i + 1]))) {
        m_foundEnd = i + 1;
        return charactersBefore(m_foundEnd, segment);
      }
    }
    return kNone;
  }

  // Where the segment starts that ends at `end`.
  std::size_t charactersBefore(std::size_t end, const Segment& segment) const {
    if (ascii) return end - segment.length;
    for (std::uint32_t i = 0; i < segment.characters; ++i) {
      do --end;
      while (isContinuation(m_text[end]));
    }
    return end;
  }

  std::size_t nextStart(std::size_t at) const { return ascii ? at + 1 : next(m_text, at); }

  // The place behind the next slash at or after `at`, before m_end.
  std::size_t afterSlash(std::size_t at) const {
    const std::size_t end = componentEnd(at);
    return end < m_end ? end + 1 : kNone;
  }

  // The first slash at or after `at`, or the end of the text.
  std::size_t componentEnd(std::size_t at) const {
    if (at < m_componentFrom || at > m_componentEnd) {
      m_componentFrom = at;
      m_componentEnd = std::min(m_text.find('/', at), m_text.size());
    }
    return m_componentEnd;
  }

  // Can a run lead from `at` to `to`?
  bool reaches(GlobStep::Kind run, std::size_t at, std::size_t to) const {
    if (at > to) return false;
    if (run == GlobStep::Run || at == to) return true;
    if (run == GlobStep::Folders) return m_text[to - 1] == '/';
    return componentEnd(at) >= to;
  }

  // Where the last segment starts so that it ends with the text; kNone when it does not stand
  // there.
  std::size_t startOfLast(const Segment& last, std::size_t from) const {
    if (m_text.size() - from < last.characters) return kNone;
    std::size_t start = m_text.size();
    if (ascii || !last.wild) {
      if (m_text.size() - from < last.length) return kNone;
      start -= last.length;
    } else {
      for (std::uint32_t i = 0; i < last.characters; ++i) {
        do {
          if (start == from) return kNone;
          --start;
        } while (isContinuation(m_text[start]));
      }
    }
    return matchAt(last, start, m_text.size()) == m_text.size() ? start : kNone;
  }

  const Glob& m_glob;
  const std::string_view m_text;
  std::size_t m_end = m_text.size();  // where the last segment starts
  std::size_t m_foundEnd = 0;
  mutable std::size_t m_componentFrom = 1;  // the component last asked for; none yet
  mutable std::size_t m_componentEnd = 0;
};

bool Glob::matches(std::string_view text, bool ascii) const {
  return ascii ? Matcher<true>(*this, text).run() : Matcher<false>(*this, text).run();
}

bool Glob::wantsMoreAfter(std::string_view text) const {
  // All ways to read the text at once. A segment has one slot for the run in front of it and one
  // for each entry that may be read next, the place behind its last entry included.
  using Slots = std::vector<bool>;
  const auto runSlot = [&](std::size_t s) { return segments()[s].offset + 2 * s; };
  const auto entrySlot = [&](std::size_t s, std::size_t entry) { return runSlot(s) + 1 + entry; };
  const auto enter = [&](Slots& slots, std::size_t s, std::size_t entry) {
    slots[entrySlot(s, entry)] = true;
    for (; entry == segments()[s].length && s + 1 < m_segmentCount; entry = 0) {
      ++s;
      slots[runSlot(s)] = slots[entrySlot(s, 0)] = true;
    }
  };
  const std::size_t size = m_byteCount + 2 * m_segmentCount;
  Slots now(size);
  enter(now, 0, 0);

  for (std::size_t at = 0; at < text.size();) {
    const std::string_view character = text.substr(at, next(text, at) - at);
    const bool slash = character == "/";
    Slots then(size);
    for (std::size_t s = 0; s < m_segmentCount; ++s) {
      const Segment& segment = segments()[s];
      if (now[runSlot(s)] && !(slash && segment.run == GlobStep::RunNotSlash)) {
        then[runSlot(s)] = true;
        if (slash || segment.run != GlobStep::Folders) enter(then, s, 0);
      }
      for (std::size_t entry = 0; entry < segment.length; ++entry) {
        if (!now[entrySlot(s, entry)]) continue;
        const std::size_t index = segment.offset + entry;
        const char kind = m_anyWild ? wild()[index] : '\0';
        if (kind != 0) {
          if (!(slash && kind == GlobStep::OneNotSlash)) enter(then, s, entry + 1);
        } else if (entry + character.size() <= segment.length &&
                   std::memcmp(bytes() + index, character.data(), character.size()) == 0) {
          enter(then, s, entry + character.size());
        }
      }
    }
    now.swap(then);
    at += character.size();
  }

  // Every slot reads on but the last: behind it, the sequence is at its end.
  now.pop_back();
  return std::find(now.begin(), now.end(), true) != now.end();
}

}  // namespace QVL
