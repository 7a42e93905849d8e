// Reads an expression into steps. Private to the library.

#ifndef QVL_MATCH_EXPRESSION_H
#define QVL_MATCH_EXPRESSION_H

#include <cstddef>
#include <cstdint>
#include <limits>
#include <memory>
#include <mutex>
#include <optional>
#include <string>
#include <vector>

namespace QVL {

class ExpressionText;
class LiteralSet;
class Program;
struct Alternatives;
struct Step;

// A sequence of steps: each goes on where the one before it ended.
using Steps = std::vector<Step>;

// One step of an expression.
struct Step {
  enum Kind : std::uint8_t {
    Literal,      // these bytes
    OneNotSlash,  // [^/]
    One,          // .
    Set,          // any other set of characters
    RunNotSlash,  // [^/]*
    Run,          // .*
    Folders,      // (.*/|)
    Group,        // one of some sequences
    Repeat,       // a sequence, several times
    // Places, which read nothing:
    LineStart,
    LineEnd,
    TextStart,
    TextEnd,
    WordBoundary,
    NotWordBoundary,
    WordStart,
    WordEnd,
  };
  static constexpr unsigned kUnbounded = std::numeric_limits<unsigned>::max();

  Kind kind;
  std::string bytes;  // of a Literal, whole characters; of a Set, its expression
  std::shared_ptr<const Alternatives> alternatives;  // of a Group; of a Repeat its only one
  unsigned least = 1;                                // of a Repeat
  unsigned most = 1;
  // Of a Repeat: does the engine look at the next character each time, whether or not it goes on?
  // That is so unless a single character is repeated greedily.
  bool looks = false;
};

// The sequences of a group: never changed, and shared by all expressions that have the group.
struct Alternatives {
  // So many alternatives that are pieces make a LiteralSet; fewer are gone through one by one.
  static constexpr std::size_t kManyLiterals = 9;

  explicit Alternatives(std::vector<Steps> all, std::size_t manyLiterals = kManyLiterals);

  // All of them, compiled; null when they are too many. Compiled when it is first asked for, by
  // whichever thread. Throws as Program::of. `caseSensitive` is what they were read for.
  std::shared_ptr<const Program> program(bool caseSensitive) const;

  const std::vector<Steps> sequences;
  // Those of them that are short pieces, where there are many.
  const std::shared_ptr<const LiteralSet> literals;
  // Those that are not among the literals.
  const std::vector<const Steps*> others;

 private:
  mutable std::mutex m_compiling;
  mutable bool m_isCompiled = false;  // guarded by m_compiling, as the program is
  mutable std::shared_ptr<const Program> m_program;
};

// What a part of an expression was understood to mean. Literals are case folded when case does not
// matter.
struct Atom {
  Steps steps;
  // False when the engine has to be asked whether it accepts the expression at all.
  bool isCertain;
};

// What an expression was understood to mean.
struct Reading {
  Steps steps;
  bool caseSensitive;  // of the literals; an expression can say itself where case does not matter
  bool isCertain;      // as that of an Atom
};

// A text matches the expression exactly when it matches the steps. Absent when that cannot be said:
// the expression is not UTF-8 or not valid; it has back references, conditions, recursion, or parts
// that look around or are never given back; repeats several times what reads nothing at some places
// only; or nests or repeats too deeply.
std::optional<Reading> readExpression(const ExpressionText& expression, bool caseSensitive);

// The same of one group in its parentheses, wherever it stands. Absent also when it is more than
// one, or begins with options.
std::optional<Atom> readGroup(const std::string& expression, bool caseSensitive);

// The sequence with its groups multiplied out, as far as that gives no more than `most` sequences;
// groups that would give more stay as they are.
std::vector<Steps> multipliedOut(const Steps& steps, std::size_t most);

}  // namespace QVL

#endif  // QVL_MATCH_EXPRESSION_H
