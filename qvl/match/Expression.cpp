#include "qvl/match/Expression.h"

#include <algorithm>
#include <cstring>
#include <iterator>
#include <string_view>
#include <utility>

#include "qvl/match/Subject.h"

namespace QVL {
namespace {

// More alternatives than this are left to the engine.
constexpr std::size_t kMostAlternatives = 64;
// Longer expressions, which only a process rule can have, are left to the engine.
constexpr std::size_t kLongestExpression = std::size_t{64} * 1024;
// Groups nested deeper than this are left to the engine.
constexpr int kDeepestGroup = 16;

using Alternatives = std::vector<GlobSteps>;

struct NotUnderstood {};

bool isEmpty(const GlobSteps& steps) {
  return steps.empty();
}

bool contains(const char* set, char c) {
  return c != 0 && std::strchr(set, c) != nullptr;
}

// A recursive descent over the grammar of the engine's Perl syntax. What is read here means to the
// engine exactly what the steps say; whatever else can at least be delimited becomes Unknown; and
// where not even that is certain, NotUnderstood is thrown.
class Reader {
 public:
  explicit Reader(std::string_view expression) : m_rest(expression) {}

  Alternatives read() {
    Alternatives alternatives = group(0);
    if (!m_rest.empty()) throw NotUnderstood();
    return alternatives;
  }

 private:
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

  // Alternatives up to the closing parenthesis or the end, neither of which is read.
  Alternatives group(int depth) {
    if (depth > kDeepestGroup) throw NotUnderstood();
    Alternatives all;
    do {
      Alternatives one = sequence(depth);
      std::move(one.begin(), one.end(), std::back_inserter(all));
      if (all.size() > kMostAlternatives) throw NotUnderstood();
    } while (skip("|"));
    // At nothing but empty alternatives the engine reads a character all the same, and may throw.
    if (all.size() > 1 && std::all_of(all.begin(), all.end(), isEmpty)) throw NotUnderstood();
    return all;
  }

  Alternatives sequence(int depth) {
    Alternatives product(1);
    while (!m_rest.empty() && m_rest.front() != '|' && m_rest.front() != ')') {
      Alternatives atoms = atom(depth);
      if (skipQuantifier()) atoms = {{{GlobStep::Unknown, {}}}};
      if (product.size() * atoms.size() > kMostAlternatives) throw NotUnderstood();
      const Alternatives heads = atoms.size() > 1 ? product : Alternatives();
      for (std::size_t i = 1; i < atoms.size(); ++i) {
        product.insert(product.end(), heads.begin(), heads.end());
      }
      for (std::size_t i = 0; i < product.size(); ++i) {
        const std::size_t headCount = product.size() / atoms.size();
        for (const GlobStep& step : atoms[i / headCount]) append(product[i], step);
      }
    }
    return product;
  }

  static void append(GlobSteps& steps, const GlobStep& step) {
    if (step.kind == GlobStep::Literal && !steps.empty() &&
        steps.back().kind == GlobStep::Literal) {
      steps.back().bytes += step.bytes;
    } else {
      steps.push_back(step);
    }
  }

  // One atom, with the star of those runs that have a name of their own.
  Alternatives atom(int depth) {
    if (skip("[^/]")) return run(GlobStep::RunNotSlash, GlobStep::OneNotSlash);
    if (skip(".")) return run(GlobStep::Run, GlobStep::One);
    if (skip("(.*/|)")) return single(GlobStep::Folders);
    const char c = take();
    switch (c) {
      case '(': {
        if (!m_rest.empty() && contains("?*", m_rest.front())) throw NotUnderstood();
        Alternatives inner = group(depth + 1);
        if (!skip(")")) throw NotUnderstood();
        return inner;
      }
      case '[':
        skipSet();
        return single(GlobStep::Unknown);
      case '\\':
        return escape();
      case '^':
      case '$':
        return single(GlobStep::Unknown);
      case '*':
      case '+':
      case '?':
      case '{':
      case '}':
        throw NotUnderstood();
      default: {
        std::string character(1, c);
        while (!m_rest.empty() && (static_cast<unsigned char>(m_rest.front()) & 0xC0) == 0x80) {
          character += take();
        }
        return literal(std::move(character));
      }
    }
  }

  Alternatives run(GlobStep::Kind many, GlobStep::Kind one) {
    if (m_rest.substr(0, 1) != "*" || isQuantifier(m_rest.substr(1))) return single(one);
    take();
    return single(many);
  }

  Alternatives escape() {
    const char c = take();
    // A backslash makes a literal of any other sign; what it makes of letters and digits differs.
    if (contains("dDwWsSbB", c)) return single(GlobStep::Unknown);
    if (contains("./*?+()[]{}|^$\\-%#@!&~,;:= \"", c)) return literal(std::string(1, c));
    throw NotUnderstood();
  }

  static Alternatives single(GlobStep::Kind kind) { return {{{kind, {}}}}; }
  static Alternatives literal(std::string bytes) {
    return {{{GlobStep::Literal, std::move(bytes)}}};
  }

  static bool isQuantifier(std::string_view text) {
    return !text.empty() && contains("*+?{", text.front());
  }

  bool skipQuantifier() {
    if (!isQuantifier(m_rest)) return false;
    if (take() == '{') {
      // Braces around anything but a count are plain text to the engine, alternatives and all.
      for (char c = take(); c != '}'; c = take()) {
        if (!contains("0123456789, ", c)) throw NotUnderstood();
      }
    }
    // Lazy or possessive.
    if (!skip("?")) skip("+");
    if (isQuantifier(m_rest)) throw NotUnderstood();
    return true;
  }

  // Behind the opening bracket of a set.
  void skipSet() {
    skip("^");
    skip("]");
    for (char c = take(); c != ']'; c = take()) {
      if (c == '\\') {
        // A control character takes one more, be it the closing bracket.
        if (take() == 'c') throw NotUnderstood();
      } else if (c == '[' && !m_rest.empty() && contains(":.=", m_rest.front())) {
        // A named class or the like, in brackets of its own.
        const char bracket = take();
        while (take() != bracket || m_rest.empty() || m_rest.front() != ']') {
        }
        take();
      }
    }
  }

  std::string_view m_rest;
};

}  // namespace

std::optional<std::vector<GlobSteps>> alternativesOf(const std::string& expression,
                                                     bool caseSensitive) {
  if (expression.size() > kLongestExpression) return std::nullopt;
  if (validUtf8Prefix(expression) != expression.size()) return std::nullopt;
  try {
    std::vector<GlobSteps> alternatives = Reader(expression).read();
    if (caseSensitive) return alternatives;
    for (GlobSteps& steps : alternatives) {
      for (GlobStep& step : steps) {
        std::string folded;
        foldCase(step.bytes, folded);
        step.bytes.swap(folded);
      }
    }
    return alternatives;
  } catch (const NotUnderstood&) {
    return std::nullopt;
  }
}

}  // namespace QVL
