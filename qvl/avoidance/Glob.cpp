#include "qvl/avoidance/Glob.h"

#include <algorithm>
#include <array>
#include <cstring>
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

Glob::Glob(const GlobSteps& steps) {
  m_segments.push_back({GlobStep::Literal, false, 0, 0, 0, 0});
  const auto append = [&](char byte, char wild) {
    m_bytes += byte;
    m_wild += wild;
    ++m_segments.back().length;
    m_segments.back().characters += !isContinuation(byte);
  };
  bool anyWild = false;
  for (const GlobStep& step : merged(steps)) {
    if (isRun(step.kind)) {
      m_segments.push_back({step.kind, false, static_cast<std::uint32_t>(m_bytes.size()), 0, 0, 0});
    } else if (step.kind == GlobStep::Literal) {
      for (const char byte : step.bytes) append(byte, 0);
    } else {
      append(0, static_cast<char>(step.kind));
      m_segments.back().wild = anyWild = true;
    }
  }
  if (!anyWild) m_wild.clear();
  makeRows();
  m_bytes.shrink_to_fit();
  m_wild.shrink_to_fit();
  m_segments.shrink_to_fit();
}

void Glob::makeRows() {
  // The first and the last segment have one place each.
  std::vector<Segment*> searched;
  for (std::size_t i = 1; i + 1 < m_segments.size(); ++i) {
    Segment& segment = m_segments[i];
    if (segment.wild && segment.words() <= kMostWords) searched.push_back(&segment);
  }
  if (searched.empty()) return;

  m_rowOf.assign(256, 0);
  std::string bytes("\0/", 2);  // by row; the slash has one, because not every wild entry takes it
  m_rowOf['/'] = 1;
  for (const Segment* const segment : searched) {
    for (std::uint32_t i = segment->offset; i < segment->offset + segment->length; ++i) {
      char& row = m_rowOf[static_cast<unsigned char>(m_bytes[i])];
      if (m_wild[i] != 0 || row != 0) continue;
      row = static_cast<char>(bytes.size());
      bytes += m_bytes[i];
    }
  }
  for (Segment* const segment : searched) {
    segment->rows = static_cast<std::uint32_t>(m_rows.size());
    m_rows.resize(m_rows.size() + bytes.size() * segment->words());
    for (std::size_t row = 0; row < bytes.size(); ++row) {
      Word* const words = m_rows.data() + segment->rows + row * segment->words();
      for (std::uint32_t i = 0; i < segment->length; ++i) {
        const char wild = m_wild[segment->offset + i];
        const bool fits = wild == 0 ? row != 0 && m_bytes[segment->offset + i] == bytes[row]
                                    : wild == GlobStep::One || bytes[row] != '/';
        if (fits) words[i / 64] |= Word{1} << (i % 64);
      }
    }
  }
  m_rows.shrink_to_fit();
}

// One match of one text.
template <bool ascii>
class Glob::Matcher {
 public:
  Matcher(const Glob& glob, std::string_view text) : m_glob(glob), m_text(text) {}

  bool run() {
    const std::vector<Segment>& segments = m_glob.m_segments;
    const Segment& first = segments.front();
    const Segment& last = segments.back();
    const std::size_t afterFirst = matchAt(first, 0, m_text.size());
    if (segments.size() == 1) return afterFirst == m_text.size();
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
      const bool isLast = index + 1 == segments.size();
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
    const char* const bytes = m_glob.m_bytes.data() + segment.offset;
    if (!segment.wild) {
      if (limit - at < segment.length) return kNone;
      // An empty text may stand nowhere, where nothing may be compared either.
      const bool stands =
          segment.length == 0 || std::memcmp(m_text.data() + at, bytes, segment.length) == 0;
      return stands ? at + segment.length : kNone;
    }
    const char* const wild = m_glob.m_wild.data() + segment.offset;
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
      const void* const hit =
          memmem(from, room, m_glob.m_bytes.data() + segment.offset - before, length);
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
    const Word* const rows = m_glob.m_rows.data() + segment.rows;
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
      const Word* const row = rows + static_cast<unsigned char>(m_glob.m_rowOf[byte]) * words;
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
      const void* const slash = std::memchr(m_text.data() + at, '/', m_text.size() - at);
      m_componentFrom = at;
      m_componentEnd =
          slash ? static_cast<std::size_t>(static_cast<const char*>(slash) - m_text.data())
                : m_text.size();
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
  const auto runSlot = [&](std::size_t s) { return m_segments[s].offset + 2 * s; };
  const auto entrySlot = [&](std::size_t s, std::size_t entry) { return runSlot(s) + 1 + entry; };
  const auto enter = [&](Slots& slots, std::size_t s, std::size_t entry) {
    slots[entrySlot(s, entry)] = true;
    for (; entry == m_segments[s].length && s + 1 < m_segments.size(); entry = 0) {
      ++s;
      slots[runSlot(s)] = slots[entrySlot(s, 0)] = true;
    }
  };
  const std::size_t size = m_bytes.size() + 2 * m_segments.size();
  Slots now(size);
  enter(now, 0, 0);

  for (std::size_t at = 0; at < text.size();) {
    const std::string_view character = text.substr(at, next(text, at) - at);
    const bool slash = character == "/";
    Slots then(size);
    for (std::size_t s = 0; s < m_segments.size(); ++s) {
      const Segment& segment = m_segments[s];
      if (now[runSlot(s)] && !(slash && segment.run == GlobStep::RunNotSlash)) {
        then[runSlot(s)] = true;
        if (slash || segment.run != GlobStep::Folders) enter(then, s, 0);
      }
      for (std::size_t entry = 0; entry < segment.length; ++entry) {
        if (!now[entrySlot(s, entry)]) continue;
        const std::size_t index = segment.offset + entry;
        const char wild = m_wild.empty() ? '\0' : m_wild[index];
        if (wild != 0) {
          if (!(slash && wild == GlobStep::OneNotSlash)) enter(then, s, entry + 1);
        } else if (entry + character.size() <= segment.length &&
                   m_bytes.compare(index, character.size(), character) == 0) {
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
