#include "qvl/match/Expression.h"

#include <algorithm>
#include <cstring>
#include <string_view>
#include <utility>

#include "qvl/match/Engine.h"
#include "qvl/match/Utf8.h"

namespace QVL {
namespace {

// Groups nested deeper than this are left to the engine.
constexpr int kDeepestGroup = 16;
// Counts above this are left to the engine.
constexpr unsigned kHighestCount = 1000;

struct NotUnderstood {};

bool contains(const char* set, char c) {
  return c != 0 && std::strchr(set, c) != nullptr;
}

bool isDigit(char c) {
  return c >= '0' && c <= '9';
}

bool isHexDigit(char c) {
  return isDigit(c) || (c >= 'a' && c <= 'f') || (c >= 'A' && c <= 'F');
}

void append(Steps& steps, Step step) {
  if (step.kind == Step::Literal && !steps.empty() && steps.back().kind == Step::Literal) {
    steps.back().bytes += step.bytes;
  } else {
    steps.push_back(std::move(step));
  }
}

// A recursive descent over the grammar of the engine's Perl syntax. What is read here means to the
// engine exactly what the steps say; wherever that is not certain, NotUnderstood is thrown.
class Reader {
 public:
  explicit Reader(std::string_view expression) : m_rest(expression) {}

  Reading read(bool caseSensitive) {
    if (skip("(?i)")) {
      caseSensitive = false;
      m_isCertain = false;
    }
    Reading reading{{}, caseSensitive, true};
    appendGroup(reading.steps, group(0));
    if (!m_rest.empty()) throw NotUnderstood();
    reading.isCertain = m_isCertain;
    return reading;
  }

 private:
  using Alternatives = std::vector<Steps>;

  bool skip(std::string_view token) {
    if (m_rest.substr(0, token.size()) != token) return false;
    m_rest.remove_prefix(token.size());
    return true;
  }

  char take() {
    if (m_rest.empty()) throw NotUnderstood();
    const char c = m_rest.front();
    m_rest.remove_prefix(1);
    return c;
  }

  char peek() const { return m_rest.empty() ? '\0' : m_rest.front(); }

  // Alternatives up to the closing parenthesis or the end, neither of which is read.
  Alternatives group(int depth) {
    if (depth > kDeepestGroup) throw NotUnderstood();
    Alternatives all;
    do {
      all.push_back(sequence(depth));
    } while (skip("|"));
    // At nothing but empty alternatives the engine reads a character all the same, and may throw.
    if (all.size() > 1 &&
        std::all_of(all.begin(), all.end(), [](const Steps& steps) { return steps.empty(); })) {
      throw NotUnderstood();
    }
    return all;
  }

  // Goes on by one of the alternatives.
  static void appendGroup(Steps& steps, Alternatives alternatives) {
    if (alternatives.size() == 1) {
      for (Step& step : alternatives.front()) append(steps, std::move(step));
    } else {
      steps.push_back({Step::Group, {}, std::move(alternatives)});
    }
  }

  Steps sequence(int depth) {
    Steps steps;
    while (!m_rest.empty() && m_rest.front() != '|' && m_rest.front() != ')') {
      const bool isGroup = m_rest.front() == '(';
      Steps atom = atomAt(depth);
      if (isQuantifier(m_rest)) {
        steps.push_back(repeated(std::move(atom), isGroup));
      } else {
        for (Step& step : atom) append(steps, std::move(step));
      }
    }
    return steps;
  }

  // One atom, with the star of those runs that have a name of their own.
  Steps atomAt(int depth) {
    if (skip("[^/]")) return run(Step::RunNotSlash, Step::OneNotSlash);
    if (skip(".")) return run(Step::Run, Step::One);
    if (skip("(.*/|)")) return single(Step::Folders);
    const std::string_view from = m_rest;
    const char c = take();
    switch (c) {
      case '(': {
        if (skip("?:")) {
          m_isCertain = false;
        } else if (contains("?*", peek())) {
          throw NotUnderstood();
        }
        Steps inner;
        appendGroup(inner, group(depth + 1));
        if (!skip(")")) throw NotUnderstood();
        return inner;
      }
      case '[':
        skipSet();
        return set(from);
      case '\\':
        return escape(from);
      case '^':
        return place(Step::LineStart);
      case '$':
        return place(Step::LineEnd);
      case '*':
      case '+':
      case '?':
      case '{':
      case '}':
        throw NotUnderstood();
      default: {
        std::string character(1, c);
        while (!m_rest.empty() && Utf8::isContinuation(m_rest.front())) character += take();
        return literal(std::move(character));
      }
    }
  }

  Steps run(Step::Kind many, Step::Kind one) {
    if (m_rest.substr(0, 1) != "*" || isQuantifier(m_rest.substr(1))) return single(one);
    take();
    return single(many);
  }

  Steps escape(std::string_view from) {
    const char c = take();
    // A backslash makes a literal of any other sign; what it makes of letters and digits differs.
    if (contains("./*?+()[]{}|^$\\-%#@!&~,;:= \"", c)) return literal(std::string(1, c));
    switch (c) {
      case 'b':
        return place(Step::WordBoundary);
      case 'B':
        return place(Step::NotWordBoundary);
      case '<':
        return place(Step::WordStart);
      case '>':
        return place(Step::WordEnd);
      case 'A':
        return place(Step::TextStart);
      case 'z':
        return place(Step::TextEnd);
      case 'x':
        if (!isHexDigit(take()) || !isHexDigit(take()) || isHexDigit(peek())) throw NotUnderstood();
        return set(from);
      case 'p':
      case 'P':
        if (take() == '{') {
          while (take() != '}') {
          }
        }
        return set(from);
      default:
        if (contains("dDwWsSlLuUhtnrfae", c)) return set(from);
        throw NotUnderstood();
    }
  }

  static Steps single(Step::Kind kind) { return {{kind, {}, {}}}; }
  static Steps literal(std::string bytes) { return {{Step::Literal, std::move(bytes), {}}}; }

  Steps place(Step::Kind kind) {
    m_isCertain = false;
    return single(kind);
  }

  // What was read since `from` stands for one character.
  Steps set(std::string_view from) {
    m_isCertain = false;
    return {{Step::Set, std::string(from.substr(0, from.size() - m_rest.size())), {}}};
  }

  static bool isQuantifier(std::string_view text) {
    return !text.empty() && contains("*+?{", text.front());
  }

  Step repeated(Steps atom, bool isGroup) {
    m_isCertain = false;
    Step repeat{Step::Repeat, {}, {}};
    const char c = take();
    repeat.least = c == '+' ? 1 : 0;
    repeat.most = c == '?' ? 1 : Step::kUnbounded;
    if (c == '{') {
      // Braces around anything but a count are plain text to the engine, alternatives and all.
      repeat.least = repeat.most = count();
      if (skip(",")) repeat.most = peek() == '}' ? Step::kUnbounded : count();
      if (!skip("}") || repeat.most < repeat.least) throw NotUnderstood();
    }
    // Lazy, which for a whole text makes no other difference.
    repeat.looks = skip("?") || isGroup;
    if (peek() == '+') throw NotUnderstood();
    if (isQuantifier(m_rest)) throw NotUnderstood();
    repeat.alternatives.push_back(std::move(atom));
    return repeat;
  }

  unsigned count() {
    if (!isDigit(peek())) throw NotUnderstood();
    unsigned number = 0;
    while (isDigit(peek())) {
      number = number * 10 + static_cast<unsigned>(take() - '0');
      if (number > kHighestCount) throw NotUnderstood();
    }
    return number;
  }

  // Behind the opening bracket of a set.
  void skipSet() {
    skip("^");
    skip("]");
    for (char c = take(); c != ']'; c = take()) {
      if (c == '\\') {
        // A control character takes one more, be it the closing bracket.
        if (take() == 'c') throw NotUnderstood();
      } else if (c == '[' && contains(".=", peek())) {
        // May stand for several characters.
        throw NotUnderstood();
      } else if (c == '[' && peek() == ':') {
        // A named class, in brackets of its own.
        take();
        while (take() != ':' || peek() != ']') {
        }
        take();
      }
    }
  }

  std::string_view m_rest;
  bool m_isCertain = true;
};

void foldLiterals(Steps& steps) {
  for (Step& step : steps) {
    if (step.kind == Step::Literal) {
      std::string folded;
      foldCase(step.bytes, folded);
      step.bytes.swap(folded);
    }
    for (Steps& alternative : step.alternatives) foldLiterals(alternative);
  }
}

// Into how many sequences would it be multiplied out? No more than `most` + 1 are counted.
std::size_t countOf(const Steps& steps, std::size_t most) {
  std::size_t count = 1;
  for (const Step& step : steps) {
    if (step.kind != Step::Group) continue;
    std::size_t alternatives = 0;
    for (const Steps& alternative : step.alternatives) {
      alternatives += countOf(alternative, most);
      if (alternatives > most) return most + 1;
    }
    count *= alternatives;
    if (count > most) return most + 1;
  }
  return count;
}

}  // namespace

std::optional<Reading> readExpression(const std::string& expression, bool caseSensitive) {
  if (Utf8::validPrefix(expression) != expression.size()) return std::nullopt;
  try {
    Reading reading = Reader(expression).read(caseSensitive);
    if (!reading.caseSensitive) foldLiterals(reading.steps);
    return reading;
  } catch (const NotUnderstood&) {
    return std::nullopt;
  }
}

std::vector<Steps> multipliedOut(const Steps& steps, std::size_t most) {
  std::vector<Steps> product(1);
  for (const Step& step : steps) {
    const std::size_t room = most / product.size();
    std::size_t count = 0;
    for (const Steps& alternative : step.alternatives) count += countOf(alternative, room);
    if (step.kind != Step::Group || count > room) {
      for (Steps& sequence : product) append(sequence, step);
      continue;
    }
    std::vector<Steps> longer;
    for (const Steps& alternative : step.alternatives) {
      for (const Steps& tail : multipliedOut(alternative, most)) {
        for (const Steps& head : product) {
          longer.push_back(head);
          for (const Step& more : tail) append(longer.back(), more);
        }
      }
    }
    product.swap(longer);
  }
  return product;
}

}  // namespace QVL
