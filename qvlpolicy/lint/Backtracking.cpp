#include "qvlpolicy/lint/Backtracking.h"

#include <algorithm>
#include <bitset>
#include <cstddef>
#include <map>
#include <optional>
#include <stdexcept>
#include <string>
#include <utility>
#include <vector>

namespace qvlpolicy {
namespace {

using Bytes = std::bitset<256>;
using Positions = std::vector<std::size_t>;

// More would take long, and no rule that people write has as many.
constexpr std::size_t kMaxPositions = 150;

class NotJudged : public std::runtime_error {
 public:
  NotJudged() : std::runtime_error("expression is not judged") {}
};

std::size_t index(char c) {
  return static_cast<unsigned char>(c);
}

// A part of an expression by its positions: the single characters and classes in it.
struct Part {
  bool mayBeEmpty = true;
  Positions first;  // where a text that it matches can begin
  Positions last;
};

// The automaton whose states are the positions of an expression. Two ways from one position to the
// next are one step, so these are noticed while the steps are added.
class PositionAutomaton {
 public:
  explicit PositionAutomaton(std::string_view expression) : m_rest(expression) {
    alternatives();
    if (!m_rest.empty()) throw NotJudged();
  }

  bool goesRoundInTwoWays() const {
    return m_hasDoubleStep || (m_repeatsGroup && hasAmbiguousLoop());
  }

 private:
  // ---- Reading ----

  bool take(char c) {
    if (m_rest.empty() || m_rest.front() != c) return false;
    m_rest.remove_prefix(1);
    return true;
  }

  char takeAny() {
    if (m_rest.empty()) throw NotJudged();
    const char c = m_rest.front();
    m_rest.remove_prefix(1);
    return c;
  }

  Part alternatives() {
    Part result = sequence();
    while (take('|')) {
      const Part other = sequence();
      result.mayBeEmpty = result.mayBeEmpty || other.mayBeEmpty;
      append(result.first, other.first);
      append(result.last, other.last);
    }
    return result;
  }

  Part sequence() {
    Part result;
    while (!m_rest.empty() && m_rest.front() != '|' && m_rest.front() != ')') {
      const Part next = repeated();
      connect(result.last, next.first);
      if (result.mayBeEmpty) append(result.first, next.first);
      if (!next.mayBeEmpty) result.last.clear();
      append(result.last, next.last);
      result.mayBeEmpty = result.mayBeEmpty && next.mayBeEmpty;
    }
    return result;
  }

  Part repeated() {
    const bool isGroup = !m_rest.empty() && m_rest.front() == '(';
    Part part = single();
    for (bool isFirst = true;; isFirst = false) {
      // Behind another one it says which way is tried first, or that no other is.
      if (!isFirst && (take('?') || take('+'))) continue;
      if (take('?')) {
        part.mayBeEmpty = true;
      } else if (take('*')) {
        part.mayBeEmpty = true;
        loop(part, isGroup);
      } else if (take('+')) {
        loop(part, isGroup);
      } else if (take('{')) {
        const std::string_view counts = m_rest.substr(0, m_rest.find('}'));
        if (counts.size() == m_rest.size()) throw NotJudged();
        m_rest.remove_prefix(counts.size() + 1);
        if (counts.substr(0, counts.find(',')) == "0") part.mayBeEmpty = true;
        // As if without end: how long a count takes is much the same when it is large.
        if (counts != "0,1" && counts != "1") loop(part, isGroup);
      } else {
        return part;
      }
    }
  }

  Part single() {
    const char c = takeAny();
    switch (c) {
      case '(': {
        if (take('?') && !take(':')) throw NotJudged();
        Part part = alternatives();
        if (!take(')')) throw NotJudged();
        return part;
      }
      case '[':
        return position(characterClass());
      case '.':
        return position(Bytes().set());
      case '^':
      case '$':
        return {};
      case '\\':
        return position(escape());
      case '*':
      case '+':
      case '?':
        throw NotJudged();
      default:
        return position(Bytes().set(index(c)));
    }
  }

  Bytes escape() {
    const char c = takeAny();
    const auto range = [](char from, char to) {
      Bytes bytes;
      for (std::size_t i = index(from); i <= index(to); ++i) bytes.set(i);
      return bytes;
    };
    const Bytes blanks = range('\t', '\r') | Bytes().set(' ');
    const Bytes word = range('a', 'z') | range('A', 'Z') | range('0', '9') | Bytes().set('_');
    switch (c) {
      case 'd':
        return range('0', '9');
      case 'D':
        return ~range('0', '9');
      case 's':
        return blanks;
      case 'S':
        return ~blanks;
      case 'w':
        return word;
      case 'W':
        return ~word;
      default:
        // References, properties and other names of characters.
        if (word.test(index(c))) throw NotJudged();
        return Bytes().set(index(c));
    }
  }

  Bytes characterClass() {
    const bool isNegated = take('^');
    Bytes bytes;
    for (bool isFirst = true; isFirst || !take(']'); isFirst = false) {
      const char c = takeAny();
      if (c == '[' && !m_rest.empty() &&
          (m_rest[0] == ':' || m_rest[0] == '.' || m_rest[0] == '=')) {
        throw NotJudged();
      }
      if (c == '\\') {
        bytes |= escape();
      } else if (m_rest.size() > 1 && m_rest[0] == '-' && m_rest[1] != ']') {
        takeAny();
        const char end = takeAny();
        for (std::size_t i = index(c); i <= index(end); ++i) bytes.set(i);
      } else {
        bytes.set(index(c));
      }
    }
    return isNegated ? ~bytes : bytes;
  }

  // ---- Building ----

  Part position(const Bytes& bytes) {
    if (m_bytes.size() == kMaxPositions) throw NotJudged();
    m_bytes.push_back(bytes);
    m_steps.emplace_back();
    return {false, {m_bytes.size() - 1}, {m_bytes.size() - 1}};
  }

  static void append(Positions& positions, const Positions& more) {
    positions.insert(positions.end(), more.begin(), more.end());
  }

  void connect(const Positions& from, const Positions& to) {
    for (const std::size_t start : from) {
      for (const std::size_t end : to) {
        Positions& steps = m_steps[start];
        if (std::find(steps.begin(), steps.end(), end) == steps.end()) {
          steps.push_back(end);
        } else {
          m_hasDoubleStep = true;
        }
      }
    }
  }

  void loop(const Part& part, bool isGroup) {
    connect(part.last, part.first);
    m_repeatsGroup = m_repeatsGroup || isGroup;
  }

  // ---- Judging ----

  // Two walks that read the same text: is there a loop of them that starts and ends with both at
  // one position, and apart in between? Walks from one pair of positions to the next make a graph,
  // and what lies on a common loop in it is what is reached from, and reaches, the same pair.
  bool hasAmbiguousLoop() const {
    const std::size_t count = m_bytes.size();
    for (std::size_t start = 0; start < count; ++start) {
      const std::vector<bool> reached = reach(start * count + start, m_steps);
      const std::vector<bool> reaching = reach(start * count + start, stepsBack());
      for (std::size_t pair = 0; pair < reached.size(); ++pair) {
        if (reached[pair] && reaching[pair] && pair / count != pair % count) return true;
      }
    }
    return false;
  }

  std::vector<Positions> stepsBack() const {
    std::vector<Positions> back(m_steps.size());
    for (std::size_t start = 0; start < m_steps.size(); ++start) {
      for (const std::size_t end : m_steps[start]) back[end].push_back(start);
    }
    return back;
  }

  // The pairs that a pair leads to by one step or more. A pair that no text leads to is left out.
  std::vector<bool> reach(std::size_t from, const std::vector<Positions>& steps) const {
    const std::size_t count = m_bytes.size();
    std::vector<bool> reached(count * count);
    Positions open = {from};
    while (!open.empty()) {
      const std::size_t pair = open.back();
      open.pop_back();
      for (const std::size_t a : steps[pair / count]) {
        for (const std::size_t b : steps[pair % count]) {
          const std::size_t next = a * count + b;
          if (reached[next] || (m_bytes[a] & m_bytes[b]).none()) continue;
          reached[next] = true;
          open.push_back(next);
        }
      }
    }
    return reached;
  }

  std::string_view m_rest;
  std::vector<Bytes> m_bytes;      // what each position matches
  std::vector<Positions> m_steps;  // where each leads
  bool m_hasDoubleStep = false;
  bool m_repeatsGroup = false;
};

}  // namespace

bool canTakeExponentialTime(std::string_view expression) {
  try {
    return PositionAutomaton(expression).goesRoundInTwoWays();
  } catch (const NotJudged&) {
    return false;
  }
}

}  // namespace qvlpolicy
