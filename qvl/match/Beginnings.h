// Patterns by how they begin. Private to the library.

#ifndef QVL_MATCH_BEGINNINGS_H
#define QVL_MATCH_BEGINNINGS_H

#include <algorithm>
#include <bitset>
#include <cstddef>
#include <cstdint>
#include <optional>
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
// different beginnings fit it, not on the number of patterns (ManyBeginnings). All places that a
// beginning leads to are followed at once, 64 to a machine word, as a Program does it. From where a
// pattern is no sequence of signs it is asked by itself, and so is every pattern about a text that
// is far longer than a path.
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

  // What is found out of a pattern.
  enum class Asked : std::uint8_t {
    Followed,  // what following it can tell
    Rest,      // what has to be simulated from where it is no sequence of signs
  };

  // Calls `found(owner)` for each pattern that, having read the UTF-8 part of a text, could read
  // another character behind it, as far as it is asked, until it answers true; perhaps once for
  // each of its choices. Answers whether it did, and absent when there is a rest that was not asked
  // for. The patterns are all of those that ignore case, or none. `steps`, if given, counts the
  // work.
  template <typename Found>
  std::optional<bool> eachThatReadsOn(Text& text, bool folded, Asked asked, Found found,
                                      std::uint64_t* steps = nullptr) const;

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

  // To follow patterns together takes room for the places of each branch.
  static constexpr std::size_t kLongestFollowed = std::size_t{64} * 1024;

  // Places of a text, a bit for each: words of Walk::m_words from `begin` on.
  struct Places {
    std::size_t begin;
    std::size_t first;  // words from here on
    std::size_t end;    // to here may not be 0
  };

  // Patterns that agree in their first `depth` signs, and where these end in the text.
  struct Branch {
    // The first sign from `sign` on that may go on in the text.
    Sign possible(Sign sign) const;

    Iterator next;  // from here on they are still to be followed
    Iterator end;
    std::size_t depth;
    Places places;           // those
    std::bitset<256> bytes;  // that stand at them
    bool atEnd;              // one of them is the end of the text
  };

  // A walk through the trie.
  class Walk {
   public:
    // `folded`: it is the text case folded that is walked through.
    Walk(const Members& members, Text& text, bool folded);

    // Goes on to patterns that begin alike and may read on. False when there are no more.
    bool next();

    // Those.
    Iterator begin;
    Iterator end;
    bool isCertain = false;  // they all do; else each is to be asked:
    bool readsOn(const Member& member);

    std::uint64_t steps = 0;

   private:
    using Word = ByteRows::Word;
    using Places = Beginnings::Places;

    bool follow(Places places, std::size_t depth);
    void branch(Iterator from, Iterator to, std::size_t depth, const Places& places);
    bool step(const Signs& signs, Places& places);
    bool step(Sign sign, Places& places);
    bool step(const LiteralSet& literals, Places& places);
    bool step(const Program& group, Places& places);
    bool read(std::string_view literal, Places& places);
    bool readByRow(unsigned char byte, Places& places);
    void read(Sign sign, Places& places);
    void run(Places& places);
    Places add();
    Places copyOf(const Places& places);
    void clearAround(const Places& places);
    void moveTo(const Places& last, Places& places);
    void narrow(Places& places) const;
    static bool isEmpty(const Places& places) { return places.first == places.end; }
    bool hasEnd(const Places& places) const;
    Word inText(std::size_t block) const;
    Word notSlash(std::size_t block) const { return inText(block) & ~m_rows.word('/', block); }
    Word* wordsOf(const Places& places) { return m_words.data() + places.begin; }
    const Word* wordsOf(const Places& places) const { return m_words.data() + places.begin; }
    template <typename Each>
    void each(const Places& places, Each each) const;

    const Members& m_members;
    Text& m_ofText;
    ByteRows& m_rows;
    const std::string_view m_text;
    const std::size_t m_wordsOfPlaces;
    std::vector<Branch> m_branches;
    std::vector<Word> m_words;   // the places of all branches, one after the other
    std::vector<Word> m_inside;  // places inside a character, if there are some
  };

  Members m_members;
};

template <typename Each>
void Beginnings::Walk::each(const Places& places, Each each) const {
  for (std::size_t block = places.first; block < places.end; ++block) {
    for (Word rest = wordsOf(places)[block]; rest != 0; rest &= rest - 1) {
      each(block * ByteRows::kBits + static_cast<std::size_t>(__builtin_ctzll(rest)));
    }
  }
}

template <typename Found>
std::optional<bool> Beginnings::eachThatReadsOn(Text& text, bool folded, Asked asked, Found found,
                                                std::uint64_t* steps) const {
  if (m_members.empty()) return false;
  const std::string_view read = folded ? text.folded() : text.plain().substr(0, text.validPrefix());
  if (read.size() > kLongestFollowed) {
    if (asked == Asked::Followed) return std::nullopt;
    return std::any_of(m_members.begin(), m_members.end(), [&](const Member* member) {
      return member->choice == 0 && member->program->readsOn(text) && found(member->owner);
    });
  }
  bool hasRest = false;
  bool stopped = false;
  Walk walk(m_members, text, folded);
  while (!stopped && walk.next()) {
    if (walk.isCertain != (asked == Asked::Followed)) {
      hasRest = hasRest || !walk.isCertain;
      continue;
    }
    for (Iterator at = walk.begin; !stopped && at != walk.end; ++at) {
      stopped = (walk.isCertain || walk.readsOn(**at)) && found((*at)->owner);
    }
  }
  if (steps) *steps += walk.steps;
  if (!stopped && hasRest) return std::nullopt;
  return stopped;
}

}  // namespace QVL

#endif  // QVL_MATCH_BEGINNINGS_H
