#include "qvl/match/PatternIndex.h"

#include <algorithm>
#include <cstring>
#include <functional>
#include <limits>
#include <utility>

namespace QVL {

using PathKeys::Kind;
using PathKeys::PatternKey;
using PathKeys::PatternKeys;

void PatternIndex::Scratch::shrink() {
  text.shrink();
  reserved = 0;
}

bool PatternIndex::Scratch::Numbers::has(std::uint64_t number) {
  constexpr std::size_t kFew = 16;
  if (m_row.size() <= kFew) return std::find(m_row.begin(), m_row.end(), number) != m_row.end();
  if (m_inTable == 0 || 2 * m_row.size() > m_table.size()) {
    std::size_t size = 64;
    while (size < 4 * m_row.size()) size *= 2;
    m_table.assign(size, 0);
    m_inTable = 0;
  }
  for (; m_inTable < m_row.size(); ++m_inTable) place(m_row[m_inTable]) = m_row[m_inTable];
  return place(number) == number;
}

// Where in the table a number stands, or where there is room for it.
std::uint64_t& PatternIndex::Scratch::Numbers::place(std::uint64_t number) {
  const std::size_t mask = m_table.size() - 1;
  std::size_t at = PathKeys::mix(number, 1) & mask;
  while (m_table[at] != 0 && m_table[at] != number) at = (at + 1) & mask;
  return m_table[at];
}

namespace {

constexpr std::size_t kEnd = sizeof(std::uint64_t);

// Up to eight bytes, folded as pieces of texts are that are hashed: a few signs fold to others,
// too.
std::uint64_t folded8(const char* bytes, std::size_t count) {
  std::uint64_t word = 0;
  std::memcpy(&word, bytes, count);
  return word | 0x2020202020202020u;
}

// The first `count` bytes of eight.
std::uint64_t maskOf(std::size_t count) {
  return count == 0 ? 0 : ~std::uint64_t{0} >> (64 - 8 * count);
}

}  // namespace

PatternIndex::Ends::Ends(std::string_view text) {
  if (text.size() >= kEnd) {
    m_head = folded8(text.data(), kEnd);
    m_tail = folded8(text.data() + text.size() - kEnd, kEnd);
  } else if (!text.empty()) {
    m_head = folded8(text.data(), text.size());
    m_tail = m_head << 8 * (kEnd - text.size());
  }
}

PatternIndex::Ends::Ends(std::string_view head, std::string_view tail) {
  const std::size_t heads = std::min(head.size(), kEnd);
  const std::size_t tails = std::min(tail.size(), kEnd);
  if (heads != 0) m_head = folded8(head.data(), heads);
  m_headMask = maskOf(heads);
  if (tails != 0) {
    m_tail = folded8(tail.data() + tail.size() - tails, tails) << 8 * (kEnd - tails);
  }
  m_tailMask = ~maskOf(kEnd - tails);
}

// The key that the fewest patterns have; among equals, the longest. One that nothing stands under
// yet is no good when others have it: texts will have it, too. What a kind of key costs every text
// that has to be looked up by it is weighed against patterns that are visited in vain; and pairs,
// of which every text has many, are made only once many patterns stand under one key.
const PatternKey& PatternIndex::leastPopular(const std::vector<PatternKey>& keys) const {
  const auto cost = [&](const PatternKey& key) -> std::size_t {
    const std::size_t price = key.kind >= Kind::Head8 ? 1000 : key.kind == Kind::Pair ? 16 : 0;
    return std::max(m_table.count(key.key), m_counts ? m_counts->of(key.key) : 0) + price;
  };
  const PatternKey* chosen = &keys.front();
  std::size_t leastCost = std::numeric_limits<std::size_t>::max();
  const auto consider = [&](bool pairs) {
    for (const PatternKey& key : keys) {
      if ((key.kind == Kind::Pair) != pairs) continue;
      const std::size_t costOfKey = cost(key);
      if (costOfKey > leastCost || (costOfKey == leastCost && key.length <= chosen->length)) {
        continue;
      }
      chosen = &key;
      leastCost = costOfKey;
    }
  };
  consider(false);
  if (uses(Kind::Pair) || m_table.count(chosen->key) >= kManyUnderOneKey) consider(true);
  return *chosen;
}

// Where that is no good, four bytes of its literals, as long as they are not like those of most.
PatternKey PatternIndex::keyFor(const std::vector<PatternKey>& keys, const Steps& steps) const {
  const PatternKey& key = leastPopular(keys);
  const std::size_t others = m_table.count(key.key);
  if (others < kTooManyUnderOneKey) return key;
  const std::vector<PatternKey> grams = PathKeys::gramKeysOf(steps);
  if (grams.empty()) return key;
  const PatternKey& gram = leastPopular(grams);
  return m_table.count(gram.key) < others / 2 ? gram : key;
}

void PatternIndex::countKeys(const std::vector<PatternKey>& keys) {
  if (!m_counts) {
    if (m_size <= kFewPatterns) return;
    m_counts = std::make_unique<KeyCounts>();
  }
  for (const PatternKey& key : keys) m_counts->add(key.key);
}

void PatternIndex::use(const Place::Key& key, int change) {
  const auto adjust = [change](std::uint32_t& uses, std::uint64_t& mask, unsigned bit) {
    uses = static_cast<std::uint32_t>(static_cast<int>(uses) + change);
    mask = (mask & ~(std::uint64_t{1} << bit)) | std::uint64_t{uses != 0} << bit;
  };
  const auto kind = static_cast<unsigned>(PathKeys::kindOf(key.key));
  adjust(m_kindUse[kind], m_kinds, kind);
  if (PathKeys::kindOf(key.key) == Kind::Prefix) adjust(m_depthUse[key.depth], m_depths, key.depth);
}

// Puts keys of the text that something may stand under into the scratch, each once, until some have
// come together or the text ends.
void PatternIndex::gatherKeys(std::string_view text, Scratch& scratch, Gathering& gathering) const {
  const PathKeys::HashedText& hashed = scratch.text;
  const std::size_t enough = scratch.keys.size() + kGathered;
  do {
    std::array<PathKeys::Key, kMostAtOnce> keys;
    std::size_t count;
    if (gathering.next < hashed.components()) {
      count = m_table.keepThoseThatMayBeThere(
          nextKeys(text, hashed, gathering, keys.data()), [&](std::size_t i) { return keys[i]; },
          keys.data());
    } else {
      const char* const gram = hashed.bytes(gathering.nextGram);
      const std::size_t grams = std::min(gramsOf(hashed) - gathering.nextGram, kMostAtOnce);
      count = m_table.keepThoseThatMayBeThere(
          grams, [&](std::size_t i) { return PathKeys::keyOfGram(gram + i); }, keys.data());
      gathering.nextGram += grams;
    }
    for (std::size_t i = 0; i < count; ++i) scratch.keys.add(keys[i]);
  } while (!isGathered(hashed, gathering) && scratch.keys.size() < enough);
}

// How many of a text are looked up.
std::size_t PatternIndex::gramsOf(const PathKeys::HashedText& hashed) const {
  const bool hasAny = uses(Kind::Gram) && hashed.size() >= PathKeys::kGram;
  return hasAny ? hashed.size() + 1 - PathKeys::kGram : 0;
}

bool PatternIndex::isGathered(const PathKeys::HashedText& hashed,
                              const Gathering& gathering) const {
  return gathering.next == hashed.components() && gathering.nextGram == gramsOf(hashed);
}

// Writes the keys of the next few components, of those kinds that are in use, and answers how many.
// Components and prefixes, which nearly every policy uses, are made without a branch.
std::size_t PatternIndex::nextKeys(std::string_view text, const PathKeys::HashedText& hashed,
                                   Gathering& gathering, PathKeys::Key* keys) const {
  PathKeys::Key* next = keys;
  const std::size_t begin = gathering.next;
  const std::size_t end = std::min(hashed.components(), begin + kComponentsAtOnce);
  std::uint64_t components = gathering.components;
  std::uint64_t prefix = gathering.prefix;

  const std::size_t dot = begin == 0 ? PathKeys::lastDot(text) : std::string_view::npos;
  if (dot != std::string_view::npos) {
    const std::uint64_t hash = hashed.hash(dot + 1, text.size() - dot - 1);
    components |= PathKeys::bitOf(hash);
    if (uses(Kind::Extension)) *next++ = PathKeys::keyOf(Kind::Extension, hash);
  }

  std::array<std::uint64_t, 1 + kComponentsAtOnce> hashes;  // of the one before these, and of these
  hashes[0] = gathering.previous;
  std::uint64_t* hashOf = hashes.data();
  const std::size_t wholes = uses(Kind::Component);
  std::uint64_t depths = begin < 63 ? m_depths >> (begin + 1) : 0;
  for (std::size_t i = begin; i < end; ++i, depths >>= 1) {
    const std::uint64_t hash = hashed.hash(hashed.start(i), hashed.length(i));
    *++hashOf = hash;
    components |= PathKeys::bitOf(hash);
    *next = PathKeys::keyOf(Kind::Component, hash);
    next += wholes;
    prefix = PathKeys::withComponent(prefix, hash);
    *next = PathKeys::keyOf(Kind::Prefix, prefix);
    next += depths & 1;
  }
  gathering = {end, *hashOf, prefix, components, 0};

  for (std::size_t i = std::max<std::size_t>(begin, 1); uses(Kind::Pair) && i < end; ++i) {
    const std::size_t at = i - begin;
    *next++ = PathKeys::keyOf(Kind::Pair, PathKeys::pairOf(hashes[at], hashes[at + 1]));
  }
  const auto addPieces = [&](Kind kind, std::size_t size, bool areTails) {
    for (std::size_t i = begin; uses(kind) && i < end; ++i) {
      if (hashed.length(i) < size) continue;
      const std::size_t start = hashed.start(i) + (areTails ? hashed.length(i) - size : 0);
      *next++ = PathKeys::keyOf(kind, hashed.hash(start, size));
    }
  };
  addPieces(Kind::Head8, 8, false);
  addPieces(Kind::Head4, 4, false);
  addPieces(Kind::Head2, 2, false);
  addPieces(Kind::Tail8, 8, true);
  addPieces(Kind::Tail4, 4, true);
  addPieces(Kind::Tail2, 2, true);
  return static_cast<std::size_t>(next - keys);
}

// Of the components of a text.
std::uint64_t PatternIndex::headsOf(const PathKeys::HashedText& hashed) {
  std::uint64_t heads = 0;
  for (std::size_t i = 0; i < hashed.components(); ++i) {
    heads |= PathKeys::bitOfHead(hashed.bytes(hashed.start(i)));
  }
  return heads;
}

PatternIndex::Ends PatternIndex::endsOf(const Steps& steps) {
  const auto literal = [](const Step& step) {
    return step.kind == Step::Literal ? std::string_view(step.bytes) : std::string_view();
  };
  return steps.empty() ? Ends() : Ends(literal(steps.front()), literal(steps.back()));
}

void PatternIndex::insertBeginnings(Place& place) {
  Beginnings& beginnings = m_beginnings[!place.member.program->caseSensitive()];
  beginnings.insert(place.member);
  const std::uint32_t choices = Program::Signs::choices(*place.member.program);
  for (std::uint32_t choice = 1; choice < choices; ++choice) {
    Beginnings::Member& member = (*place.others)[choice - 1].member;
    member = place.member;
    member.choice = choice;
    beginnings.insert(member);
  }
}

void PatternIndex::eraseBeginnings(Place& place) noexcept {
  Beginnings& beginnings = m_beginnings[!place.member.program->caseSensitive()];
  beginnings.erase(place.member);
  if (!place.others) return;
  for (const Place::Other& other : *place.others) {
    if (other.member.program) beginnings.erase(other.member);
  }
}

void PatternIndex::insert(const Program& program, Owner owner, std::uint32_t tag, Place& place) {
  const Steps outline = program.outline(kMostAlternatives);
  const std::vector<Steps> alternatives = multipliedOut(outline, kMostAlternatives);
  std::vector<PatternKeys> keys;
  bool haveKeys = true;
  for (const Steps& steps : alternatives) {
    keys.push_back(PathKeys::keysOf(steps));
    std::vector<PatternKey>& all = keys.back().keys;
    if (all.empty() && m_compared.size() >= kManyCompared) all = PathKeys::gramKeysOf(steps);
    haveKeys = haveKeys && !all.empty();
  }
  std::uint64_t heads = ~std::uint64_t{0};
  for (const PatternKeys& one : keys) heads &= one.heads;
  const bool folded = !program.caseSensitive();
  place.member = {&program, owner, 0};
  const bool hasRoom = m_row.size() == m_size && m_size < kFewPatterns;
  ++m_size;
  m_folded += folded;
  Entry entry{0, 0, 0, &place, tag, 0, folded, keys.size() > 1};
  try {
    const std::size_t all = std::max<std::size_t>(keys.size(), Program::Signs::choices(program));
    if (all > 1) place.others = std::make_unique<std::vector<Place::Other>>(all - 1);
    insertBeginnings(place);
    if (hasRoom) m_row.push_back({endsOf(outline), heads, &program, &place, tag, folded});
    if (!haveKeys) {
      // It is compared as a whole: what all of its alternatives need is what they have in common.
      const PatternKeys common = PathKeys::keysOf(program.outline(0));
      entry.components = common.components;
      entry.heads = heads;
      entry.grams = common.grams;
      entry.hasAlternatives = false;
      place.firstKey.at = static_cast<std::uint32_t>(m_compared.size());
      m_compared.push_back(entry);
      return;
    }
    for (const PatternKeys& one : keys) {
      const PatternKey key = keyFor(one.keys, alternatives[entry.alternative]);
      countKeys(one.keys);
      entry.components = one.components;
      entry.heads = one.heads;
      entry.grams = one.grams;
      Place::Key& inPlace = place.key(entry.alternative);
      inPlace = {key.key, m_table.insert(key.key, entry), key.depth};
      use(inPlace, +1);
      ++entry.alternative;
    }
  } catch (...) {
    erase(place);
    throw;
  }
}

void PatternIndex::erase(Place& place) noexcept {
  if (!place.member.program) return;
  const bool folded = !place.member.program->caseSensitive();
  eraseBeginnings(place);
  --m_size;
  m_folded -= folded;
  const auto eraseKey = [&](const Place::Key& key) {
    if (key.key == PathKeys::kNoKey) return;
    m_table.erase(key.key, key.at,
                  [&](const Entry& moved) { moved.place->key(moved.alternative).at = key.at; });
    use(key, -1);
  };
  eraseKey(place.firstKey);
  if (place.others) {
    for (const Place::Other& other : *place.others) eraseKey(other.key);
  }
  const std::uint32_t at = place.firstKey.at;
  if (place.firstKey.key == PathKeys::kNoKey && at < m_compared.size() &&
      m_compared[at].place == &place) {
    m_compared[at] = m_compared.back();
    m_compared[at].place->firstKey.at = at;
    m_compared.pop_back();
  }
  const auto inRow = std::find_if(m_row.begin(), m_row.end(),
                                  [&](const InRow& one) { return one.place == &place; });
  if (inRow != m_row.end()) m_row.erase(inRow);
  place.others.reset();
  place.firstKey = {};
  place.member = {};
}

}  // namespace QVL
