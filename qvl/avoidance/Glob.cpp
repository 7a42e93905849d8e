#include "qvl/avoidance/Glob.h"

#include <algorithm>
#include <cstring>

namespace QVL {
namespace {

constexpr std::size_t kNone = std::string_view::npos;

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
  m_segments.push_back({GlobStep::Literal, false, 0, 0, 0});
  const auto append = [&](char byte, char wild) {
    m_bytes += byte;
    m_wild += wild;
    ++m_segments.back().length;
    m_segments.back().characters += !isContinuation(byte);
  };
  bool anyWild = false;
  for (const GlobStep& step : merged(steps)) {
    if (isRun(step.kind)) {
      m_segments.push_back({step.kind, false, static_cast<std::uint32_t>(m_bytes.size()), 0, 0});
    } else if (step.kind == GlobStep::Literal) {
      for (const char byte : step.bytes) append(byte, 0);
    } else {
      append(0, static_cast<char>(step.kind));
      m_segments.back().wild = anyWild = true;
    }
  }
  if (!anyWild) m_wild.clear();
  m_bytes.shrink_to_fit();
  m_wild.shrink_to_fit();
  m_segments.shrink_to_fit();
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
      if (segments[anchor + 1].run == GlobStep::RunNotSlash) hopeless = componentEnd(anchorEnd);
      if (anchorStart >= m_end) return false;
      anchorStart =
          anchored.run == GlobStep::Folders ? afterSlash(anchorStart) : nextStart(anchorStart);
      if (anchorStart == kNone) return false;
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
      return std::memcmp(m_text.data() + at, bytes, segment.length) == 0 ? at + segment.length
                                                                         : kNone;
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
    if (lastStart > m_end) lastStart = m_end;
    if (at > lastStart) return kNone;
    if (!behindSlash && !segment.wild && segment.length > 0) {
      std::size_t room = lastStart - at + segment.length;
      if (room > m_end - at) room = m_end - at;
      const void* const hit =
          memmem(m_text.data() + at, room, m_glob.m_bytes.data() + segment.offset, segment.length);
      if (!hit) return kNone;
      at = static_cast<std::size_t>(static_cast<const char*>(hit) - m_text.data());
      m_foundEnd = at + segment.length;
      return at;
    }
    while (at <= lastStart) {
      m_foundEnd = matchAt(segment, at, m_end);
      if (m_foundEnd != kNone) return at;
      at = behindSlash ? afterSlash(at) : nextStart(at);
    }
    return kNone;
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
