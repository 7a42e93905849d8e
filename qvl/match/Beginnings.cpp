#include "qvl/match/Beginnings.h"

#include <algorithm>
#include <functional>
#include <iterator>
#include <limits>

#include "qvl/match/LiteralSet.h"
#include "qvl/match/Utf8.h"

namespace QVL {
namespace {

using Sign = Program::Signs::Sign;
using Signs = Program::Signs;

// In how many signs both agree from here on, as far as that can be told at once; 0: they part, or
// end.
std::size_t agreementOf(const Signs& a, const Signs& b) {
  const Signs::Mix mixOfA = a.mix();
  if (const Signs::Mix mixOfB = b.mix(); mixOfA.size() != 0 && mixOfB.size() != 0) {
    const std::size_t agreed = std::min(commonLength(mixOfA.bytes, mixOfB.bytes),
                                        commonLength(mixOfA.kinds, mixOfB.kinds));
    // What goes on whatever comes is the last sign.
    for (std::size_t i = 0; i < agreed; ++i) {
      if (Signs::isLast(mixOfA.sign(i))) return i;
    }
    return agreed;
  }
  const std::string_view bytesOfA = a.literal();
  const std::string_view bytesOfB = b.literal();
  if (bytesOfA.empty() || bytesOfB.empty()) {
    const bool agree = a.sign() == b.sign() && !Signs::isLast(a.sign());
    return agree ? std::min(a.repeats(), b.repeats()) : 0;
  }
  return commonLength(bytesOfA, bytesOfB);
}

// Where two patterns part, and the signs that they go on with there: the same ones if they do not.
struct Parting {
  std::size_t depth;
  Sign a;
  Sign b;
};

// That is at `most` if they agree so far.
Parting partingOf(const Beginnings::Member& a, const Beginnings::Member& b,
                  std::size_t most = std::numeric_limits<std::size_t>::max()) {
  Signs ofA(*a.program, a.choice);
  Signs ofB(*b.program, b.choice);
  for (std::size_t depth = 0;;) {
    const std::size_t agreed = agreementOf(ofA, ofB);
    if (agreed == 0 || depth == most) return {depth, ofA.sign(), ofB.sign()};
    const std::size_t both = std::min(agreed, most - depth);
    ofA.advance(both);
    ofB.advance(both);
    depth += both;
  }
}

constexpr std::size_t kBits = ByteRows::kBits;

unsigned char byteOf(Sign sign) {
  return static_cast<unsigned char>(sign);
}

Signs signsFrom(const Beginnings::Member& member, std::size_t depth) {
  Signs signs(*member.program, member.choice);
  signs.advance(depth);
  return signs;
}

}  // namespace

bool Beginnings::InOrder::operator()(const Member* a, const Member* b) const {
  const Parting parting = partingOf(*a, *b);
  return parting.a != parting.b ? parting.a < parting.b : std::less<const Member*>()(a, b);
}

bool Beginnings::InOrder::operator()(const Member* a, const Seek& b) const {
  const Parting parting = partingOf(*a, b.member, b.depth);
  return parting.a < (parting.depth < b.depth ? parting.b : b.sign);
}

Beginnings::Sign Beginnings::Branch::possible(Sign sign) const {
  if (atEnd) return sign;
  while (sign < 256 && !bytes.test(sign)) ++sign;
  return sign;
}

Beginnings::Walk::Walk(const Members& members, Text& text, bool folded)
    : m_members(members),
      m_ofText(text),
      m_rows(text.rows(folded)),
      m_text(m_rows.text()),
      m_wordsOfPlaces(ByteRows::wordsFor(m_text.size())) {
  if (!Utf8::isAscii(m_text)) {
    m_inside.resize(m_wordsOfPlaces);
    for (std::size_t at = 0; at < m_text.size(); ++at) {
      m_inside[at / kBits] |= Word{Utf8::isContinuation(m_text[at])} << at % kBits;
    }
  }
  Places start = add();
  m_words[start.begin] = 1;
  start.end = 1;
  branch(members.begin(), members.end(), 0, start);
}

bool Beginnings::Walk::next() {
  while (!m_branches.empty()) {
    Branch& branch = m_branches.back();
    if (branch.next == branch.end) {
      m_words.resize(branch.places.begin);
      m_branches.pop_back();
      continue;
    }
    const Member& member = **branch.next;
    const Signs signs = signsFrom(member, branch.depth);
    const Sign sign = signs.sign();
    const Sign possible = branch.possible(sign);
    ++steps;
    if (possible != sign) {
      branch.next = m_members.lower_bound(Seek{member, branch.depth, possible});
      continue;
    }
    const Iterator from = branch.next;
    const bool isOnly = std::next(from) == branch.end;
    const Iterator to =
        isOnly ? branch.end : m_members.lower_bound(Seek{member, branch.depth, sign + 1});
    branch.next = to;
    if (sign == Signs::kEnd) continue;
    begin = from;
    end = to;
    isCertain = sign == Signs::kAnything;
    if (isCertain || sign == Signs::kOther) return true;
    // The places stay the branch's; who follows the sign goes on from where they stand.
    const std::size_t depth = branch.depth;
    Places places = copyOf(branch.places);
    isCertain = step(signs, places);
    if (isCertain || follow(places, depth + 1)) {
      m_words.resize(places.begin);
      return true;
    }
  }
  return false;
}

// Does a pattern read on that is no sequence of signs from the last branch on?
bool Beginnings::Walk::readsOn(const Member& member) {
  const Branch& branch = m_branches.back();
  const Places places = copyOf(branch.places);
  clearAround(places);
  const bool answer = signsFrom(member, branch.depth).readsOn(m_ofText, wordsOf(places));
  m_words.resize(places.begin);
  return answer;
}

// Follows the patterns from `begin` to `end` as far as they agree, and from there on by a branch,
// which keeps the places. True when all of them read on.
bool Beginnings::Walk::follow(Places places, std::size_t depth) {
  Signs ofFirst = signsFrom(**begin, depth);
  Signs ofLast = signsFrom(**std::prev(end), depth);
  while (!isEmpty(places)) {
    const std::size_t count = agreementOf(ofFirst, ofLast);
    if (count == 0) {
      branch(begin, end, depth, places);
      return false;
    }
    const std::string_view literal = ofFirst.literal().substr(0, count);
    const Signs::Mix mix = ofFirst.mix();
    if (!literal.empty()) isCertain = read(literal, places);
    for (std::size_t i = literal.size(); i < count && !isCertain && !isEmpty(places); ++i) {
      isCertain = mix.size() != 0 ? step(mix.sign(i), places) : step(ofFirst, places);
    }
    if (isCertain) return true;
    depth += count;
    ofFirst.advance(count);
    ofLast.advance(count);
  }
  m_words.resize(places.begin);
  return false;
}

void Beginnings::Walk::branch(Iterator from, Iterator to, std::size_t depth, const Places& places) {
  Branch branch{from, to, depth, places, {}, hasEnd(places)};
  each(places, [&](std::size_t at) {
    if (at < m_text.size()) branch.bytes.set(static_cast<unsigned char>(m_text[at]));
  });
  m_branches.push_back(branch);
}

// Moves the places on behind a sign. True when that reads on behind the text.
bool Beginnings::Walk::step(const Signs& signs, Places& places) {
  if (const LiteralSet* const literals = signs.literals()) return step(*literals, places);
  if (const Program* const group = signs.group()) return step(*group, places);
  return step(signs.sign(), places);
}

bool Beginnings::Walk::step(Sign sign, Places& places) {
  steps += places.end - places.first;
  if (sign == Signs::kRunNotSlash) run(places);
  // Whoever reads there reads on.
  if (hasEnd(places)) return true;
  if (sign != Signs::kRunNotSlash && sign != Signs::kLook) read(sign, places);
  return false;
}

bool Beginnings::Walk::step(const LiteralSet& literals, Places& places) {
  const Places ends = add();
  bool readsOn = false;
  each(places, [&](std::size_t at) {
    readsOn |= literals.match(m_text.substr(at), [&](std::size_t length) {
      ++steps;
      m_words[ends.begin + (at + length) / kBits] |= Word{1} << (at + length) % kBits;
    });
  });
  moveTo(ends, places);
  return readsOn;
}

bool Beginnings::Walk::step(const Program& group, Places& places) {
  const Places ends = add();
  clearAround(places);
  const bool readsOn = group.leads(m_ofText, wordsOf(places), wordsOf(ends));
  moveTo(ends, places);
  return readsOn;
}

// Reads bytes. True when that reads on behind the text.
bool Beginnings::Walk::read(std::string_view literal, Places& places) {
  Word& first = wordsOf(places)[places.first];
  if (places.first + 1 == places.end && (first & (first - 1)) == 0) {
    // Of one place all bytes are compared at once.
    ++steps;
    const std::size_t at = places.first * kBits + static_cast<std::size_t>(__builtin_ctzll(first));
    const std::string_view rest = m_text.substr(at, literal.size());
    if (literal.substr(0, rest.size()) != rest) places.end = places.first;
    if (places.first == places.end || rest.size() < literal.size())
      return places.first < places.end;
    places.first = (at + rest.size()) / kBits;
    places.end = places.first + 1;
    wordsOf(places)[places.first] = Word{1} << (at + rest.size()) % kBits;
    return false;
  }
  for (const char byte : literal) {
    if (hasEnd(places)) return true;
    steps += places.end - places.first;
    read(Sign{static_cast<unsigned char>(byte)}, places);
  }
  return false;
}

// Reads one byte. From the last word to the first, so that none waits for the one before it.
bool Beginnings::Walk::readByRow(unsigned char byte, Places& places) {
  const Word* const row = m_rows.row(byte);
  if (row == nullptr) return false;
  Word* const words = wordsOf(places);
  if (places.end < m_wordsOfPlaces) words[places.end++] = 0;
  for (std::size_t block = places.end - 1; block > places.first; --block) {
    words[block] =
        (words[block] & row[block]) << 1 | (words[block - 1] & row[block - 1]) >> (kBits - 1);
  }
  words[places.first] = (words[places.first] & row[places.first]) << 1;
  narrow(places);
  return true;
}

// Reads one byte or character.
void Beginnings::Walk::read(Sign sign, Places& places) {
  if (sign < 256 && readByRow(byteOf(sign), places)) return;
  Word* const words = wordsOf(places);
  Word carry = 0;
  std::size_t block = places.first;
  for (; block < places.end || carry != 0; ++block) {
    const Word mask = sign == Signs::kOne           ? inText(block)
                      : sign == Signs::kOneNotSlash ? notSlash(block)
                                                    : m_rows.word(byteOf(sign), block);
    const Word now = block < places.end ? words[block] & mask : 0;
    words[block] = now << 1 | carry;
    carry = now >> (kBits - 1);
    if (sign < 256 || m_inside.empty()) continue;
    bool beyond = false;
    words[block] = filled(words[block], m_inside[block], beyond) & ~m_inside[block];
    carry |= Word{beyond};
  }
  places.end = block;
  narrow(places);
}

// Adds all places that a run without slashes leads to.
void Beginnings::Walk::run(Places& places) {
  Word* const words = wordsOf(places);
  bool beyond = false;
  std::size_t block = places.first;
  for (; block < places.end || beyond; ++block) {
    const Word now = (block < places.end ? words[block] : 0) | Word{beyond};
    words[block] = filled(now, notSlash(block), beyond);
    if (!m_inside.empty()) words[block] &= ~m_inside[block];
  }
  steps += block - places.first;
  places.end = block;
}

Beginnings::Walk::Places Beginnings::Walk::add() {
  m_words.resize(m_words.size() + m_wordsOfPlaces);
  return {m_words.size() - m_wordsOfPlaces, 0, m_wordsOfPlaces};
}

Beginnings::Walk::Places Beginnings::Walk::copyOf(const Places& places) {
  const Places copy{add().begin, places.first, places.end};
  std::copy(wordsOf(places) + places.first, wordsOf(places) + places.end,
            wordsOf(copy) + places.first);
  return copy;
}

void Beginnings::Walk::clearAround(const Places& places) {
  std::fill_n(wordsOf(places), places.first, Word{0});
  std::fill(wordsOf(places) + places.end, wordsOf(places) + m_wordsOfPlaces, Word{0});
}

// The last that were added take the place of others.
void Beginnings::Walk::moveTo(const Places& last, Places& places) {
  std::copy_n(wordsOf(last), m_wordsOfPlaces, wordsOf(places));
  m_words.resize(last.begin);
  places = {places.begin, 0, m_wordsOfPlaces};
  narrow(places);
}

void Beginnings::Walk::narrow(Places& places) const {
  const Word* const words = wordsOf(places);
  while (places.first < places.end && words[places.end - 1] == 0) --places.end;
  while (places.first < places.end && words[places.first] == 0) ++places.first;
}

bool Beginnings::Walk::hasEnd(const Places& places) const {
  const std::size_t block = m_text.size() / kBits;
  return block >= places.first && block < places.end &&
         (wordsOf(places)[block] >> m_text.size() % kBits & 1) != 0;
}

Beginnings::Walk::Word Beginnings::Walk::inText(std::size_t block) const {
  const std::size_t rest = m_text.size() - block * kBits;
  return rest >= kBits ? ~Word{0} : (Word{1} << rest) - 1;
}

}  // namespace QVL
