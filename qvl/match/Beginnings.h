// Patterns by how they begin. Private to the library.

#ifndef QVL_MATCH_BEGINNINGS_H
#define QVL_MATCH_BEGINNINGS_H

#include <bitset>
#include <cstddef>
#include <cstdint>
#include <set>
#include <string_view>
#include <vector>

#include "qvl/match/Program.h"
#include "qvl/match/Text.h"

namespace QVL {

class LiteralSet;

// Patterns in the order of what they read, sign by sign. Those that begin alike stand together and
// are followed through a text together, as in a trie: which of very many patterns would read on
// behind the end of a text is found out in a time that depends on the text and on how many
// different beginnings fit it, not on the number of patterns (ManyBeginnings). From where a pattern
// is no sequence of signs it is asked by itself, and so is every pattern about a text that is far
// longer than a path.
//
// Thread safety: any number of threads may ask at once, as long as none changes it.
class Beginnings {
 public:
  struct Member {
    const Program* program = nullptr;
    const void* owner = nullptr;  // whatever the caller keeps the pattern for
    std::uint32_t choice = 0;     // among the sequences of its signs
  };

  // Adds one choice of a pattern; program and member outlive the stay. Strong guarantee:
  // std::bad_alloc changes nothing.
  void insert(const Member& member) { m_members.insert(&member); }
  void erase(const Member& member) noexcept { m_members.erase(&member); }

  // Calls `found(owner)` for each pattern that, having read the UTF-8 part of a text, could read
  // another character behind it, until it answers true, and answers so itself; perhaps once for
  // each of its choices. The patterns are all of those that ignore case, or none. `steps`, if
  // given, counts the work.
  template <typename Found>
  bool eachThatReadsOn(Text& text, bool folded, Found found, std::uint64_t* steps = nullptr) const;

 private:
  using Signs = Program::Signs;
  using Sign = Signs::Sign;

  // A sign of all patterns that agree with `member` up to there.
  struct Seek {
    const Member& member;
    std::size_t depth;
    Sign sign;
  };

  struct InOrder {
    using is_transparent = void;
    bool operator()(const Member* a, const Member* b) const;
    bool operator()(const Member* a, const Seek& b) const;
  };
  using Members = std::set<const Member*, InOrder>;
  using Iterator = Members::const_iterator;

  // To follow patterns together takes room for each place that they lead to.
  static constexpr std::size_t kLongestFollowed = std::size_t{64} * 1024;

  // Behind stars there are many places, and then a pattern is asked more quickly by itself: it
  // looks at 64 of them at once. More than a few patterns are still followed together.
  static constexpr std::size_t kManyPlaces = 128;
  static constexpr std::size_t kFewMembers = 8;

  // Patterns that agree in their first `depth` signs, and where these end in the text.
  struct Branch {
    // The first sign from `sign` on that may go on in the text.
    Sign possible(Sign sign) const;

    Iterator next;  // from here on they are still to be followed
    Iterator end;
    std::size_t depth;
    std::size_t places;      // where those begin in m_places
    std::bitset<256> bytes;  // that stand at them
    bool atEnd;              // one of them is the end of the text
  };

  // A walk through the trie.
  class Walk {
   public:
    Walk(const Members& members, std::string_view text);

    // Goes on to patterns that begin alike and may read on. False when there are no more.
    bool next();

    // Those.
    Iterator begin;
    Iterator end;
    bool isCertain = false;  // they all do; else each is to be asked

    std::uint64_t steps = 0;

   private:
    using Places = std::vector<std::size_t>;

    bool follow(std::size_t places, std::size_t depth);
    bool areFew() const;
    void branch(Iterator from, Iterator to, std::size_t depth, std::size_t places);
    bool step(const Signs& signs, std::size_t places);
    bool step(const LiteralSet& literals, std::size_t places);
    void addRuns(std::size_t places);

    const Members& m_members;
    const std::string_view m_text;
    std::vector<Branch> m_branches;
    Places m_places;  // of all branches, one after the other; ascending within each
  };

  Members m_members;
};

template <typename Found>
bool Beginnings::eachThatReadsOn(Text& text, bool folded, Found found, std::uint64_t* steps) const {
  if (m_members.empty()) return false;
  const std::string_view read = folded ? text.folded() : text.plain().substr(0, text.validPrefix());
  bool stopped = false;
  if (read.size() > kLongestFollowed) {
    for (auto at = m_members.begin(); !stopped && at != m_members.end(); ++at) {
      stopped = (*at)->choice == 0 && (*at)->program->readsOn(text) && found((*at)->owner);
    }
    return stopped;
  }
  Walk walk(m_members, read);
  while (!stopped && walk.next()) {
    for (Iterator at = walk.begin; !stopped && at != walk.end; ++at) {
      stopped = (walk.isCertain || (*at)->program->readsOn(text)) && found((*at)->owner);
    }
  }
  if (steps) *steps += walk.steps;
  return stopped;
}

}  // namespace QVL

#endif  // QVL_MATCH_BEGINNINGS_H
