#include "qvl/match/Expression.h"

#include <algorithm>
#include <cstring>
#include <string_view>
#include <utility>

#include "qvl/match/Engine.h"
#include "qvl/match/Keywords.h"
#include "qvl/match/LiteralSet.h"
#include "qvl/match/Program.h"
#include "qvl/match/Utf8.h"

namespace QVL {
namespace {

// Groups nested deeper than this are left to the engine.
constexpr int kDeepestGroup = 100;
// Counts above this are left to the engine: no program is that large.
constexpr unsigned kHighestCount = 1000000;
// So many values of a keyword that are pieces make a LiteralSet: many patterns look for them in the
// same text.
constexpr std::size_t kManyValues = 2;

struct NotUnderstood {};
// Case begins or ceases to matter somewhere in the expression.
struct CaseChanges {};

bool contains(const char* set, char c) {
  return c != 0 && std::strchr(set, c) != nullptr;
}

bool isDigit(char c) {
  return c >= '0' && c <= '9';
}

bool isLetter(char c) {
  return (c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z');
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

// May steps read nothing?
enum class ReadsNothing { Never, AtSomePlaces, Anywhere };

ReadsNothing readsNothing(const Steps& steps) {
  ReadsNothing all = ReadsNothing::Anywhere;
  for (const Step& step : steps) {
    ReadsNothing one = ReadsNothing::Never;
    if (step.kind == Step::Group || (step.kind == Step::Repeat && step.least > 0)) {
      for (const Steps& sequence : step.alternatives->sequences) {
        one = std::max(one, readsNothing(sequence));
      }
    } else if (step.kind == Step::Repeat || step.kind == Step::RunNotSlash ||
               step.kind == Step::Run || step.kind == Step::Folders) {
      one = ReadsNothing::Anywhere;
    } else if (step.kind >= Step::LineStart) {
      one = ReadsNothing::AtSomePlaces;
    }
    all = std::min(all, one);
  }
  return all;
}

// A recursive descent over the grammar of the engine's Perl syntax. What is read here means to the
// engine exactly what the steps say; wherever that is not certain, NotUnderstood is thrown.
class Reader {
 public:
  using Place = ExpressionText::Place;

  // `places`: where alternations stand that are read already.
  Reader(const std::string& expression, bool caseSensitive, const std::vector<Place>& places = {})
      : m_expression(expression),
        m_rest(expression),
        m_nextPlace(places.begin()),
        m_endOfPlaces(places.end()) {
    m_options.caseSensitive = caseSensitive;
    if (Utf8::validPrefix(expression) != expression.size()) throw NotUnderstood();
  }

  // Throws CaseChanges.
  Reading read() {
    m_mayBeginWithOptions = true;
    Steps steps;
    appendGroup(steps, group(0));
    finish();
    return {std::move(steps), m_options.caseSensitive, m_isCertain};
  }

  // The same where case changes: what it does not matter to is a set of characters.
  Reading readChangingCase() {
    m_caseChanges = true;
    Reading reading = read();
    reading.caseSensitive = true;
    return reading;
  }

  Atom readGroup() {
    m_manyLiterals = kManyValues;
    Steps steps = atomAt(0);
    finish();
    return {std::move(steps), m_isCertain};
  }

 private:
  void finish() const {
    // An alternation that stands where no atom can is more than it says by itself.
    if (!m_rest.empty() || m_nextPlace != m_endOfPlaces) throw NotUnderstood();
  }

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
  std::vector<Steps> group(int depth) {
    if (depth > kDeepestGroup) throw NotUnderstood();
    std::vector<Steps> all;
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
  void appendGroup(Steps& steps, std::vector<Steps> alternatives) const {
    if (alternatives.size() == 1) {
      for (Step& step : alternatives.front()) append(steps, std::move(step));
    } else {
      steps.push_back({Step::Group, {}, sharing(std::move(alternatives))});
    }
  }

  std::shared_ptr<const Alternatives> sharing(std::vector<Steps> alternatives) const {
    return std::make_shared<const Alternatives>(std::move(alternatives), m_manyLiterals);
  }

  Steps sequence(int depth) {
    Steps steps;
    for (;;) {
      if (m_options.skipsBlanks) skipBlanks();
      if (m_rest.empty() || m_rest.front() == '|' || m_rest.front() == ')') break;
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
    if (m_nextPlace != m_endOfPlaces && m_nextPlace->at == m_expression.size() - m_rest.size()) {
      return alternation(*m_nextPlace++->alternation);
    }
    if (skip("[^/]")) return run(Step::RunNotSlash, Step::OneNotSlash);
    if (skip(".")) return any();
    if (m_options.dotIsAny && skip("(.*/|)")) return single(Step::Folders);
    const std::string_view from = m_rest;
    const char c = take();
    switch (c) {
      case '(': {
        if (skip("?#")) return comment();
        const Options outside = m_options;
        if (skip("?:") || skip("?|") || skipName()) {
          m_isCertain = false;
        } else if (skip("?")) {
          readOptions(from.size() == m_expression.size());
          if (skip(")")) return notRepeated({});
          if (!skip(":")) throw NotUnderstood();
        } else if (peek() == '*') {
          throw NotUnderstood();
        }
        Steps inner;
        appendGroup(inner, group(depth + 1));
        if (!skip(")")) throw NotUnderstood();
        m_options = outside;
        return inner;
      }
      case '[':
        skipSet();
        return set(from);
      case '\\':
        return escape(from);
      case '^':
        return place(m_options.linesCount ? Step::LineStart : Step::TextStart);
      case '$':
        return place(m_options.linesCount ? Step::LineEnd : Step::TextEnd);
      case '*':
      case '+':
      case '?':
        throw NotUnderstood();
      case '{':
        if (isCount(from)) throw NotUnderstood();
        m_isCertain = false;
        return literal("{");
      case '}':
        m_isCertain = false;
        return literal("}");
      default: {
        std::string character(1, c);
        while (!m_rest.empty() && Utf8::isContinuation(m_rest.front())) character += take();
        return literal(std::move(character));
      }
    }
  }

  // Behind "(?". `isFirst`: that is what the expression begins with.
  void readOptions(bool isFirst) {
    // A group that is read by itself does not know how far they reach.
    if (isFirst && !m_mayBeginWithOptions) throw NotUnderstood();
    m_isCertain = false;
    const bool caseSensitive = m_options.caseSensitive;
    for (bool on = true;;) {
      if (skip("i")) {
        m_options.caseSensitive = !on;
      } else if (skip("s")) {
        m_options.dotIsAny = on;
      } else if (skip("m")) {
        m_options.linesCount = on;
      } else if (skip("x")) {
        m_options.skipsBlanks = on;
      } else if (on && skip("-")) {
        on = false;
      } else {
        break;
      }
    }
    if (m_options.caseSensitive == caseSensitive || m_caseChanges) return;
    if (!isFirst || peek() != ')') throw CaseChanges();
  }

  // As far as it is certain which they are.
  void skipBlanks() {
    const std::string_view before = m_rest;
    while (!m_rest.empty()) {
      const char c = m_rest.front();
      if (c == '#') {
        do {
          if (static_cast<unsigned char>(take()) >= 0x80) throw NotUnderstood();
        } while (!m_rest.empty() && !contains("\n\r\f", peek()));
      } else if (contains(" \t\n\v\f\r", c)) {
        take();
      } else {
        break;
      }
    }
    const auto next = static_cast<unsigned char>(peek());
    if (!m_rest.empty() && (next < ' ' || next >= 0x7F)) throw NotUnderstood();
    if (before.size() != m_rest.size() && isQuantifier(m_rest)) throw NotUnderstood();
  }

  Steps alternation(const Alternation& values) {
    // The values were read by themselves.
    if (m_caseChanges || !m_options.areUsual()) throw NotUnderstood();
    const std::optional<Atom>& atom = values.atom(m_options.caseSensitive);
    if (!atom || !skip("()")) throw NotUnderstood();
    m_isCertain = m_isCertain && atom->isCertain;
    return atom->steps;
  }

  // What a count behind it would repeat is not the comment.
  Steps comment() {
    while (take() != ')') {
    }
    return notRepeated({});
  }

  Steps notRepeated(Steps steps) {
    m_isCertain = false;
    if (isQuantifier(m_rest)) throw NotUnderstood();
    return steps;
  }

  // Behind "\\Q", up to "\\E" or the end.
  Steps quoted() {
    Steps steps;
    while (!m_rest.empty() && !skip("\\E")) {
      std::string character(1, take());
      if (character == "\\" && m_rest.empty()) throw NotUnderstood();
      while (!m_rest.empty() && Utf8::isContinuation(m_rest.front())) character += take();
      append(steps, std::move(literal(std::move(character)).front()));
    }
    return notRepeated(std::move(steps));
  }

  // A dot, which is no line break unless it is anything.
  Steps any() {
    if (m_options.dotIsAny) return run(Step::Run, Step::One);
    return single(Step::Set, "(?-s:.)");
  }

  // The name of a group, which only what is not understood could refer to.
  bool skipName() {
    std::size_t end = 2;
    if (m_rest.substr(0, 2) != "?<" || m_rest.size() < 3 || !isLetter(m_rest[2])) return false;
    while (end < m_rest.size() && (isLetter(m_rest[end]) || isDigit(m_rest[end]))) ++end;
    if (m_rest.substr(end, 1) != ">") throw NotUnderstood();
    m_rest.remove_prefix(end + 1);
    return true;
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
      case 'G':
        return place(Step::TextStart);
      case 'z':
        return place(Step::TextEnd);
      case 'C':
        return any();
      case 'Q':
        return quoted();
      case 'c':
        if (!isLetter(take())) throw NotUnderstood();
        return set(from);
      case 'x':
        if (skip("{")) {
          do {
            if (!isHexDigit(take())) throw NotUnderstood();
          } while (peek() != '}');
          take();
          return set(from);
        }
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
        if (contains("dDwWsSlLuUhHvVtnrfae", c)) return set(from);
        throw NotUnderstood();
    }
  }

  static Steps single(Step::Kind kind, std::string bytes = {}) {
    return {{kind, std::move(bytes), {}}};
  }

  Steps literal(std::string character) const {
    if (m_caseChanges) {
      const bool hasCase = isLetter(character.front()) || character.size() > 1;
      if (m_options.caseSensitive || !hasCase) return single(Step::Literal, std::move(character));
      return single(Step::Set, "(?i:" + character + ")");
    }
    if (!m_options.caseSensitive) {
      std::string folded;
      foldCase(character, folded);
      character.swap(folded);
    }
    return {{Step::Literal, std::move(character), {}}};
  }

  Steps place(Step::Kind kind) {
    m_isCertain = false;
    return single(kind);
  }

  // What was read since `from` stands for one character.
  Steps set(std::string_view from) {
    m_isCertain = false;
    const std::string expression(from.substr(0, from.size() - m_rest.size()));
    const bool ignoresCase = m_caseChanges && !m_options.caseSensitive;
    return single(Step::Set, ignoresCase ? "(?i:" + expression + ")" : expression);
  }

  static bool isQuantifier(std::string_view text) {
    return !text.empty() && (text.front() == '{' ? isCount(text) : contains("*+?", text.front()));
  }

  // To the engine a brace that begins no count is a brace. Not certain where it would skip blanks,
  // or start anew from another brace.
  static bool isCount(std::string_view text) {
    std::size_t at = 1;
    const auto skipDigits = [&] {
      while (at < text.size() && isDigit(text[at])) ++at;
    };
    skipDigits();
    const bool hasNumber = at > 1;
    if (hasNumber && at < text.size() && text[at] == ',') {
      ++at;
      skipDigits();
    }
    if (at == text.size()) return false;
    const char c = text[at];
    if (c == '{' || c == 0x7F || static_cast<unsigned char>(c) <= ' ' ||
        static_cast<unsigned char>(c) >= 0x80) {
      throw NotUnderstood();
    }
    return hasNumber && c == '}';
  }

  Step repeated(Steps atom, bool isGroup) {
    m_isCertain = false;
    Step repeat{Step::Repeat, {}, {}};
    const char c = take();
    repeat.least = c == '+' ? 1 : 0;
    repeat.most = c == '?' ? 1 : Step::kUnbounded;
    if (c == '{') {
      repeat.least = repeat.most = count();
      if (skip(",")) repeat.most = peek() == '}' ? Step::kUnbounded : count();
      if (!skip("}") || repeat.most < repeat.least) throw NotUnderstood();
    }
    // Lazy, which for a whole text makes no other difference.
    repeat.looks = skip("?") || isGroup;
    if (peek() == '+') throw NotUnderstood();
    if (isQuantifier(m_rest)) throw NotUnderstood();
    // Where it has read nothing once, the engine does not repeat it any more.
    if (repeat.least > 1 && readsNothing(atom) == ReadsNothing::AtSomePlaces) throw NotUnderstood();
    repeat.alternatives = sharing({std::move(atom)});
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

  const std::string_view m_expression;
  std::string_view m_rest;
  std::vector<Place>::const_iterator m_nextPlace;
  const std::vector<Place>::const_iterator m_endOfPlaces;
  // Those that an expression can change, for the group that it changes them in.
  struct Options {
    bool caseSensitive = true;
    bool dotIsAny = true;      // line breaks, too
    bool linesCount = true;    // "^" and "$" hold at line breaks, too
    bool skipsBlanks = false;  // and comments

    // Apart from case.
    bool areUsual() const { return dotIsAny && linesCount && !skipsBlanks; }
  };
  Options m_options;
  bool m_mayBeginWithOptions = false;
  bool m_caseChanges = false;  // and how is known of each character that is read
  bool m_isCertain = true;
  std::size_t m_manyLiterals = Alternatives::kManyLiterals;
};

std::shared_ptr<const LiteralSet> literalsOf(const std::vector<Steps>& sequences,
                                             std::size_t many) {
  std::vector<LiteralSet::Piece> pieces;
  for (const Steps& steps : sequences) {
    if (auto piece = LiteralSet::pieceOf(steps)) pieces.push_back(std::move(*piece));
  }
  return pieces.size() < many ? nullptr : std::make_shared<const LiteralSet>(std::move(pieces));
}

std::vector<const Steps*> withoutLiterals(const std::vector<Steps>& sequences, bool areLiterals) {
  std::vector<const Steps*> others;
  for (const Steps& steps : sequences) {
    if (!areLiterals || !LiteralSet::pieceOf(steps)) others.push_back(&steps);
  }
  return others;
}

// Into how many sequences would it be multiplied out? No more than `most` + 1 are counted.
std::size_t countOf(const Steps& steps, std::size_t most) {
  std::size_t count = 1;
  for (const Step& step : steps) {
    if (step.kind != Step::Group) continue;
    std::size_t alternatives = 0;
    for (const Steps& alternative : step.alternatives->sequences) {
      alternatives += countOf(alternative, most);
      if (alternatives > most) return most + 1;
    }
    count *= alternatives;
    if (count > most) return most + 1;
  }
  return count;
}

}  // namespace

Alternatives::Alternatives(std::vector<Steps> all, std::size_t manyLiterals)
    : sequences(std::move(all)),
      literals(literalsOf(sequences, manyLiterals)),
      others(withoutLiterals(sequences, literals != nullptr)) {}

std::shared_ptr<const Program> Alternatives::program(bool caseSensitive) const {
  const std::lock_guard<std::mutex> lock(m_compiling);
  if (!m_isCompiled) m_program = Program::of(*this, caseSensitive);
  m_isCompiled = true;
  return m_program;
}

std::optional<Reading> readExpression(const ExpressionText& expression, bool caseSensitive) {
  try {
    try {
      return Reader(expression.text(), caseSensitive, expression.places()).read();
    } catch (const CaseChanges&) {
      return Reader(expression.text(), caseSensitive, expression.places()).readChangingCase();
    }
  } catch (const NotUnderstood&) {
    // Perhaps all of it says more than its parts.
    if (expression.places().empty()) return std::nullopt;
    return readExpression(ExpressionText(expression.whole()), caseSensitive);
  }
}

std::optional<Atom> readGroup(const std::string& expression, bool caseSensitive) {
  try {
    return Reader(expression, caseSensitive).readGroup();
  } catch (const NotUnderstood&) {
    return std::nullopt;
  } catch (const CaseChanges&) {
    return std::nullopt;
  }
}

std::vector<Steps> multipliedOut(const Steps& steps, std::size_t most) {
  std::vector<Steps> product(1);
  for (const Step& step : steps) {
    const std::size_t room = most / product.size();
    if (step.kind != Step::Group || countOf({step}, room) > room) {
      for (Steps& sequence : product) append(sequence, step);
      continue;
    }
    std::vector<Steps> longer;
    for (const Steps& alternative : step.alternatives->sequences) {
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
