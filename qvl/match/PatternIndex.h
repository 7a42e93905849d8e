// Finds the patterns that match a text, among very many. Private to the library.

#ifndef QVL_MATCH_PATTERN_INDEX_H
#define QVL_MATCH_PATTERN_INDEX_H

#include <algorithm>
#include <array>
#include <cstddef>
#include <cstdint>
#include <memory>
#include <optional>
#include <string_view>
#include <utility>
#include <vector>

#include "qvl/match/Beginnings.h"
#include "qvl/match/KeyCounts.h"
#include "qvl/match/KeyTable.h"
#include "qvl/match/PathKeys.h"
#include "qvl/match/Program.h"
#include "qvl/match/Text.h"

namespace QVL {

// An index over patterns that have a Program. Each stands, for each of a few alternatives of it,
// under the one of its keys (see PathKeys) that the fewest stand under; or, without one and while
// there are few such, among those that are compared with every text. A text is cut into its
// components once; the patterns under its keys are the only ones that can match it, and of those
// only the ones whose components, beginnings of components and grams it has are run. While there
// are few patterns they also stand in a row, which is gone through instead.
//
// What a look-up costs depends on the length of the text, and on how many patterns have all their
// literal pieces in it. Each key is looked up once, however often its piece occurs, and each
// pattern is run at most once.
//
// Invariants:
//   1. Every text that a pattern matches has, for one of its alternatives, all its keys,
//      components, heads and grams. So a text that lacks one need not be compared.
//   2. All of these ignore ASCII case and are only ever a reason to run the program, never an
//      answer. A text with letters beyond ASCII is looked up twice where patterns ignore case: as
//      it is, and case folded.
//
// Thread safety: any number of threads may look up at once, each with a scratch of its own, as long
// as none changes the index.
class PatternIndex {
 public:
  // Whatever the caller keeps a pattern for; the index only hands it back.
  using Owner = const void*;

  // Where a pattern stands in the index: what it takes to take it out. Stays at its address
  // meanwhile.
  struct Place {
    struct Key {
      PathKeys::Key key = PathKeys::kNoKey;
      std::uint32_t at = 0;     // among the entries under it
      std::uint32_t depth = 0;  // as that of a PatternKey
    };

    Place() = default;
    Place(const Place&) = delete;
    Place& operator=(const Place&) = delete;

    // What few patterns have: further alternatives, or further choices among their beginnings.
    struct Other {
      Key key;
      Beginnings::Member member;
    };

    // That of an alternative.
    Key& key(std::size_t alternative) {
      return alternative == 0 ? firstKey : (*others)[alternative - 1].key;
    }

    Beginnings::Member member;  // no program while it is in no index
    Key firstKey;               // none: it is compared with every text, `at` is where
    std::unique_ptr<std::vector<Other>> others;
  };

  // What a look-up writes to, and nothing else does. Keeps its storage from text to text.
  class Scratch {
   public:
    Scratch() { open.reserve(kOrdinary); }

    // Makes room for texts of that length.
    void reserve(std::size_t length) {
      if (length <= reserved) return;
      text.reserve(length);
      grams.reserve(length);
      reserved = length;
    }

    // Gives back what a text far longer than a path needed.
    void shrink();

   private:
    friend class PatternIndex;

    // As many as an ordinary text has, so that a change brings no allocation to the next query.
    static constexpr std::size_t kOrdinary = 64;

    // Numbers other than 0, each once, in the order in which they were first added.
    class Numbers {
     public:
      Numbers() { m_row.reserve(kOrdinary); }
      void clear() {
        m_row.clear();
        m_marks = 0;
        m_inTable = 0;
      }

      // Adds a number, and answers whether it is new.
      bool add(std::uint64_t number) {
        const std::uint64_t mark = std::uint64_t{1} << (number * 0x9E3779B97F4A7C15u >> 58);
        if ((m_marks & mark) != 0 && has(number)) return false;
        m_marks |= mark;
        m_row.push_back(number);
        return true;
      }

      std::size_t size() const { return m_row.size(); }
      std::uint64_t operator[](std::size_t at) const { return m_row[at]; }

     private:
      bool has(std::uint64_t number);
      std::uint64_t& place(std::uint64_t number);

      // One bit of 64 for each number: most that are new bring a new one.
      std::uint64_t m_marks = 0;
      std::vector<std::uint64_t> m_row;
      std::vector<std::uint64_t> m_table;  // the first of the row, open addressing; 0 is free
      std::size_t m_inTable = 0;
    };

    PathKeys::HashedText text;
    PathKeys::Grams grams;
    Numbers keys;       // of the text, that something may stand under
    Numbers metPlaces;  // of patterns with alternatives
    std::vector<const Place*>
        open;                  // patterns that are not run yet, or only a simulation can tell about
    std::size_t reserved = 0;  // for texts of this length
  };

  // What look-ups did, for tests that count work.
  struct Work {
    std::size_t keys = 0;      // looked up in the table
    std::size_t entries = 0;   // visited
    std::size_t programs = 0;  // run, each once
    std::size_t inOrder = 0;   // of those or beside them, by the order of the caller
  };

  // Adds a pattern, which outlives its stay. Strong guarantee: std::bad_alloc changes nothing.
  void insert(const Program& program, Owner owner, std::uint32_t tag, Place& place);

  // Takes a pattern out, if it is there.
  void erase(Place& place) noexcept;

  // How many patterns there are.
  std::size_t size() const { return m_size; }

  // Calls `found(owner)` for each pattern that matches a UTF-8 text and of which `admits(tag)`,
  // until it answers true, and answers so itself. First some of which that can be told at once, in
  // no particular order; then the others by `isBefore(owner, owner)`: so that it takes hardly more
  // than going through the patterns in that order would. Each pattern once.
  template <typename Admits, typename IsBefore, typename Found>
  bool find(Text& text, Scratch& scratch, Admits admits, IsBefore isBefore, Found found,
            Work* work = nullptr) const;

  // Calls `found(owner)` for each pattern that, having read the UTF-8 part of a text, could read
  // another character behind it, until it answers true, and answers so itself; perhaps several
  // times.
  template <typename Found>
  bool eachThatReadsOn(Text& text, Found found) const {
    using Asked = Beginnings::Asked;
    bool hasRest[2] = {false, false};
    for (const Asked asked : {Asked::Followed, Asked::Rest}) {
      for (const bool folded : {false, true}) {
        if (asked == Asked::Rest && !hasRest[folded]) continue;
        const auto stopped = m_beginnings[folded].eachThatReadsOn(text, folded, asked, found);
        if (stopped && *stopped) return true;
        hasRest[folded] = !stopped;
      }
    }
    return false;
  }

 private:
  // One alternative of a pattern, with all that most comparisons need.
  struct Entry {
    std::uint64_t components;  // that a text must have
    std::uint64_t heads;
    std::uint64_t grams;
    Place* place;
    std::uint32_t tag;  // the caller's
    std::uint16_t alternative;
    bool folded;           // case does not matter
    bool hasAlternatives;  // stands under several keys
  };

  // The first and the last eight bytes of a text, or of the literals that a pattern begins and ends
  // with, without regard to ASCII case.
  class Ends {
   public:
    Ends() = default;
    explicit Ends(std::string_view text);
    Ends(std::string_view head, std::string_view tail);

    // Of a pattern: may a text with those ends match it?
    bool fit(const Ends& text) const {
      return (((m_head ^ text.m_head) & m_headMask) | ((m_tail ^ text.m_tail) & m_tailMask)) == 0;
    }

   private:
    std::uint64_t m_head = 0;
    std::uint64_t m_headMask = 0;
    std::uint64_t m_tail = 0;
    std::uint64_t m_tailMask = 0;
  };

  // A pattern while there are few.
  struct InRow {
    Ends ends;
    std::uint64_t heads;  // that a text must have
    const Program* program;
    Place* place;
    std::uint32_t tag;
    bool folded;
  };

  // Behind so many candidates it pays to find out which grams the text has.
  static constexpr std::size_t kManyCandidates = 12;
  // Up to so many patterns are compared in a row.
  static constexpr std::size_t kFewPatterns = 16;
  // After so many runs of patterns, or runs over so many bytes, the others are run in the caller's
  // order: where many patterns match, one that comes early in it may spare all others.
  static constexpr std::size_t kRunsAtOnce = 32;
  static constexpr std::size_t kBytesAtOnce = 4096;
  // So many keys of a text are gathered before what stands under them is visited. Ordinary texts
  // have fewer, and then it is known of the whole text which components it has.
  static constexpr std::size_t kGathered = 32;
  // The keys of so many components are made before it is found out which of them may be there. A
  // component has at most so many: as a prefix, a pair and itself, its heads and its tails; and
  // then there is the extension.
  static constexpr std::size_t kComponentsAtOnce = 16;
  static constexpr std::size_t kMostOfComponent = 9;
  static constexpr std::size_t kMostAtOnce = kComponentsAtOnce * kMostOfComponent + 1;
  static constexpr std::size_t kMostGathered = kGathered + kMostAtOnce;
  // How far the keys of a text are gathered.
  struct Gathering {
    std::size_t next = 0;                            // component that is looked at next
    std::uint64_t previous = 0;                      // hash of the one before it
    std::uint64_t prefix = PathKeys::kNoComponents;  // of all before it
    std::uint64_t components = 0;  // bits of those before it, and of the extension
    std::size_t nextGram = 0;      // place that is looked at next, behind all components
  };

  // From so many patterns under one key on, others that have it are looked for by pairs.
  static constexpr std::size_t kManyUnderOneKey = 24;
  // From so many on, and when so many are compared with every text, others are looked for by four
  // bytes of their literals: every text has as many of them as bytes.
  static constexpr std::size_t kTooManyUnderOneKey = 512;
  static constexpr std::size_t kManyCompared = 16;
  // Patterns of more alternatives than this are looked for by what all of those share.
  static constexpr std::size_t kMostAlternatives = 16;

  template <typename Visit>
  bool visitAll(Work* work, Visit visit) const;
  template <typename Visit>
  bool visitRow(std::string_view text, bool oneText, Scratch& scratch, Work* work,
                Visit visit) const;
  template <typename Visit>
  bool visitCandidates(std::string_view text, Scratch& scratch, Work* work, Visit visit) const;
  void gatherKeys(std::string_view text, Scratch& scratch, Gathering& gathering) const;
  std::size_t gramsOf(const PathKeys::HashedText& hashed) const;
  bool isGathered(const PathKeys::HashedText& hashed, const Gathering& gathering) const;
  std::size_t nextKeys(std::string_view text, const PathKeys::HashedText& hashed,
                       Gathering& gathering, PathKeys::Key* keys) const;
  static Ends endsOf(const Steps& steps);
  static std::uint64_t headsOf(const PathKeys::HashedText& hashed);
  void insertBeginnings(Place& place);
  void eraseBeginnings(Place& place) noexcept;
  void use(const Place::Key& key, int change);
  bool uses(PathKeys::Kind kind) const { return m_kinds >> static_cast<unsigned>(kind) & 1; }
  const PathKeys::PatternKey& leastPopular(const std::vector<PathKeys::PatternKey>& keys) const;
  PathKeys::PatternKey keyFor(const std::vector<PathKeys::PatternKey>& keys,
                              const Steps& steps) const;
  void countKeys(const std::vector<PathKeys::PatternKey>& keys);

  std::vector<InRow> m_row;  // some patterns; all of them unless there were once too many
  KeyTable<Entry> m_table;
  std::unique_ptr<KeyCounts> m_counts;  // once the row was too short
  std::vector<Entry> m_compared;        // without keys: compared with every text
  Beginnings m_beginnings[2];           // of those for which case matters, and of the rest

  std::size_t m_size = 0;
  std::size_t m_folded = 0;  // patterns for which case does not matter
  std::array<std::uint32_t, PathKeys::kKinds> m_kindUse{};
  std::array<std::uint32_t, 64> m_depthUse{};
  std::uint64_t m_kinds = 0;   // kinds of keys in use
  std::uint64_t m_depths = 0;  // and numbers of components of prefixes
};

template <typename Visit>
bool PatternIndex::visitAll(Work* work, Visit visit) const {
  const auto counted = [&](const Entry& entry) {
    if (work) ++work->entries;
    return visit(entry);
  };
  return m_table.all(counted) || std::any_of(m_compared.begin(), m_compared.end(), counted);
}

template <typename Visit>
bool PatternIndex::visitCandidates(std::string_view text, Scratch& scratch, Work* work,
                                   Visit visit) const {
  scratch.text.assign(text);
  // Where a text has more components than there are keys, looking them up costs more.
  if (scratch.text.components() > m_table.slots() + m_compared.size()) {
    const bool many = m_size > kManyCandidates;
    if (many) scratch.grams.assign(scratch.text);
    return visitAll(work, [&](const Entry& entry) {
      return (!many || scratch.grams.mayHave(entry.grams)) && visit(entry);
    });
  }

  std::optional<std::uint64_t> heads;  // found out for the first entry that has any
  std::size_t candidates = 0;  // entries whose pieces the text has, as far as they are counted
  const auto isCandidate = [&](const Entry& entry) {
    if (entry.heads != 0) {
      if (!heads) heads = headsOf(scratch.text);
      if ((entry.heads & ~*heads) != 0) return false;
    }
    if (candidates < kManyCandidates) {
      ++candidates;
      return visit(entry);
    }
    if (candidates == kManyCandidates) {
      scratch.grams.assign(scratch.text);
      ++candidates;
    }
    return scratch.grams.mayHave(entry.grams) && visit(entry);
  };
  const auto visitEntries = [&](const Entry* begin, const Entry* end, std::uint64_t lacking) {
    for (const Entry* entry = begin; entry != end; ++entry) {
      if (work) ++work->entries;
      if ((entry->components & lacking) == 0 && isCandidate(*entry)) return true;
    }
    return false;
  };

  scratch.keys.clear();
  Gathering gathering;
  for (std::size_t visited = 0;;) {
    gatherKeys(text, scratch, gathering);
    const bool isLast = isGathered(scratch.text, gathering);
    const bool knowsComponents = gathering.next == scratch.text.components();
    const std::uint64_t lacking = knowsComponents ? ~gathering.components : 0;
    if (isLast && visitEntries(m_compared.data(), m_compared.data() + m_compared.size(), lacking)) {
      return true;
    }
    // A large table is far from the processor: what is wanted of it is asked for beforehand.
    std::array<const KeyTable<Entry>::Entries*, kMostGathered> found;
    const std::size_t count = scratch.keys.size() - visited;
    for (std::size_t i = 0; i < count; ++i) m_table.prefetch(scratch.keys[visited + i]);
    for (std::size_t i = 0; i < count; ++i) {
      found[i] = m_table.find(scratch.keys[visited + i]);
      __builtin_prefetch(found[i]);
    }
    for (std::size_t i = 0; i < count; ++i) {
      if (work) ++work->keys;
      if (found[i] && visitEntries(found[i]->begin(), found[i]->end(), lacking)) return true;
    }
    visited += count;
    if (isLast) return false;
  }
}

// `oneText`: no pattern is compared with another text than this.
template <typename Visit>
bool PatternIndex::visitRow(std::string_view text, bool oneText, Scratch& scratch, Work* work,
                            Visit visit) const {
  const Ends ends(text);
  std::optional<std::uint64_t> heads;  // found out for the first whose ends fit
  const auto lacks = [&](std::uint64_t wanted) {
    if (wanted != 0 && !heads) {
      scratch.text.assign(text);
      heads = headsOf(scratch.text);
    }
    return wanted != 0 && (wanted & ~*heads) != 0;
  };
  return std::any_of(m_row.begin(), m_row.end(), [&](const InRow& one) {
    if (work) ++work->entries;
    const bool fits = one.ends.fit(ends) && !lacks(one.heads);
    return (fits || (one.folded && !oneText)) && visit(one);
  });
}

template <typename Admits, typename IsBefore, typename Found>
bool PatternIndex::find(Text& text, Scratch& scratch, Admits admits, IsBefore isBefore, Found found,
                        Work* work) const {
  if (m_size == 0) return false;
  std::vector<const Place*>& open = scratch.open;
  open.clear();
  std::size_t runs = 0;
  const std::size_t bytesOfRun = text.plain().size() + 1;
  const auto run = [&](const Place& place) {
    if (work) ++work->programs;
    if (++runs > kRunsAtOnce || runs * bytesOfRun > kBytesAtOnce) {
      open.push_back(&place);
      return false;
    }
    const std::optional<bool> answer = place.member.program->matchesAtOnce(text);
    if (!answer) open.push_back(&place);
    return answer && *answer && found(place.member.owner);
  };
  const auto runOpen = [&] {
    const auto isBehind = [&](const Place* a, const Place* b) {
      return isBefore(b->member.owner, a->member.owner);
    };
    std::make_heap(open.begin(), open.end(), isBehind);
    for (auto end = open.end(); end != open.begin(); --end) {
      std::pop_heap(open.begin(), end, isBehind);
      const Place& next = **(end - 1);
      if (work) ++work->inOrder;
      if (next.member.program->matches(text) && found(next.member.owner)) return true;
    }
    return false;
  };
  // Here, whatever the way from here on is, so that no change leads to a way that has to allocate.
  scratch.reserve(text.plain().size());
  const bool oneText = text.isAscii() || m_folded == 0;
  if (m_row.size() == m_size && text.plain().size() <= PathKeys::HashedText::kLongest) {
    const auto visit = [&](const InRow& one) { return admits(one.tag) && run(*one.place); };
    return visitRow(text.plain(), oneText, scratch, work, visit) || runOpen();
  }
  scratch.metPlaces.clear();
  const auto visit = [&](const Entry& entry) {
    if (!admits(entry.tag)) return false;
    if (entry.hasAlternatives &&
        !scratch.metPlaces.add(reinterpret_cast<std::uintptr_t>(entry.place))) {
      return false;
    }
    return run(*entry.place);
  };

  if (text.plain().size() > PathKeys::HashedText::kLongest) {
    return visitAll(work, visit) || runOpen();
  }

  const auto visitPlain = [&](const Entry& entry) {
    return (oneText || !entry.folded) && visit(entry);
  };
  const auto visitFolded = [&](const Entry& entry) { return entry.folded && visit(entry); };
  const bool hasPlain = oneText || m_folded < m_size;
  return (hasPlain && visitCandidates(text.plain(), scratch, work, visitPlain)) ||
         (!oneText && visitCandidates(text.folded(), scratch, work, visitFolded)) || runOpen();
}

}  // namespace QVL

#endif  // QVL_MATCH_PATTERN_INDEX_H
