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
    const std::string_view bytesOfA = ofA.literal();
    const std::string_view bytesOfB = ofB.literal();
    const std::size_t least = std::min(bytesOfA.size(), bytesOfB.size());
    const std::size_t common = static_cast<std::size_t>(
        std::mismatch(bytesOfA.begin(), bytesOfA.begin() + least, bytesOfB.begin()).first -
        bytesOfA.begin());
    const bool part = common == 0 && (ofA.sign() != ofB.sign() || Signs::isLast(ofA.sign()));
    if (part || depth == most) return {depth, ofA.sign(), ofB.sign()};
    const std::size_t both = std::min(std::max<std::size_t>(common, 1), most - depth);
    ofA.advance(both);
    ofB.advance(both);
    depth += both;
  }
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

Beginnings::Walk::Walk(const Members& members, std::string_view text)
    : m_members(members), m_text(text) {
  m_places.push_back(0);
  branch(members.begin(), members.end(), 0, 0);
}

bool Beginnings::Walk::next() {
  while (!m_branches.empty()) {
    Branch& branch = m_branches.back();
    if (branch.next == branch.end) {
      m_places.resize(branch.places);
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
    // The places stay the branch's; who follows the sign goes on from those where it stands.
    const std::size_t depth = branch.depth;
    const std::size_t places = m_places.size();
    for (std::size_t i = branch.places; i < places; ++i) {
      const std::size_t at = m_places[i];
      const bool isByte = sign < 256 && at < m_text.size();
      if (!isByte || sign == static_cast<unsigned char>(m_text[at])) m_places.push_back(at);
    }
    isCertain = step(signs, places);
    if (isCertain || follow(places, depth + 1)) {
      m_places.resize(places);
      return true;
    }
  }
  return false;
}

// Follows the patterns from `begin` to `end` as far as they agree, and from there on by branches.
// True when all of them read on, and when each is to be asked.
bool Beginnings::Walk::follow(std::size_t places, std::size_t depth) {
  Signs ofFirst = signsFrom(**begin, depth);
  Signs ofLast = signsFrom(**std::prev(end), depth);
  for (; m_places.size() > places; ++depth) {
    if (m_places.size() - places > kManyPlaces && areFew()) return true;
    if (ofFirst.sign() != ofLast.sign() || Signs::isLast(ofFirst.sign())) {
      branch(begin, end, depth, places);
      return false;
    }
    isCertain = step(ofFirst, places);
    if (isCertain) return true;
    ofFirst.advance(1);
    ofLast.advance(1);
  }
  return false;
}

bool Beginnings::Walk::areFew() const {
  Iterator at = begin;
  for (std::size_t count = 0; count < kFewMembers && at != end; ++count) ++at;
  return at == end;
}

void Beginnings::Walk::branch(Iterator from, Iterator to, std::size_t depth, std::size_t places) {
  Branch branch{from, to, depth, places, {}, m_places.back() == m_text.size()};
  for (std::size_t i = places; i < m_places.size(); ++i) {
    if (m_places[i] < m_text.size()) {
      branch.bytes.set(static_cast<unsigned char>(m_text[m_places[i]]));
    }
  }
  m_branches.push_back(branch);
}

// Moves the places from `places` on behind a sign. True when that reads on behind the text.
bool Beginnings::Walk::step(const Signs& signs, std::size_t places) {
  steps += m_places.size() - places;
  if (const LiteralSet* const literals = signs.literals()) return step(*literals, places);
  const Sign sign = signs.sign();
  if (sign == Signs::kRunNotSlash) addRuns(places);
  // Whoever reads there reads on.
  if (m_places.back() == m_text.size()) return true;
  if (sign == Signs::kRunNotSlash || sign == Signs::kLook) return false;

  std::size_t kept = places;
  for (std::size_t i = places; i < m_places.size(); ++i) {
    const std::size_t at = m_places[i];
    const auto byte = static_cast<unsigned char>(m_text[at]);
    if (sign == byte) {
      m_places[kept++] = at + 1;
    } else if (sign == Signs::kOne || (sign == Signs::kOneNotSlash && byte != '/')) {
      m_places[kept++] = Utf8::next(m_text, at);
    }
  }
  m_places.resize(kept);
  return false;
}

bool Beginnings::Walk::step(const LiteralSet& literals, std::size_t places) {
  const Places from(m_places.begin() + static_cast<std::ptrdiff_t>(places), m_places.end());
  m_places.resize(places);
  bool readsOn = false;
  for (const std::size_t at : from) {
    readsOn |= literals.match(m_text.substr(at), [&](std::size_t length) {
      ++steps;
      m_places.push_back(at + length);
    });
  }
  const auto first = m_places.begin() + static_cast<std::ptrdiff_t>(places);
  std::sort(first, m_places.end());
  m_places.erase(std::unique(first, m_places.end()), m_places.end());
  return readsOn;
}

// Adds all places that runs without slashes lead to.
void Beginnings::Walk::addRuns(std::size_t places) {
  const Places from(m_places.begin() + static_cast<std::ptrdiff_t>(places), m_places.end());
  m_places.resize(places);
  std::size_t behind = 0;  // the places before it are there
  for (std::size_t at : from) {
    if (at < behind) continue;
    for (; at < m_text.size() && m_text[at] != '/'; at = Utf8::next(m_text, at)) {
      m_places.push_back(at);
    }
    m_places.push_back(at);
    behind = at + 1;
  }
  steps += m_places.size() - places;
}

}  // namespace QVL
