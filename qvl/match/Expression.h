// Reads an expression into steps. Private to the library.

#ifndef QVL_MATCH_EXPRESSION_H
#define QVL_MATCH_EXPRESSION_H

#include <cstddef>
#include <cstdint>
#include <limits>
#include <optional>
#include <string>
#include <vector>

namespace QVL {

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
  std::string bytes;                // of a Literal, whole characters; of a Set, its expression
  std::vector<Steps> alternatives;  // of a Group; of a Repeat its only one
  unsigned least = 1;               // of a Repeat
  unsigned most = 1;
  // Of a Repeat: does the engine look at the next character each time, whether or not it goes on?
  // That is so unless a single character is repeated greedily.
  bool looks = false;
};

// What an expression was understood to mean.
struct Reading {
  Steps steps;         // literals are case folded when case does not matter
  bool caseSensitive;  // an expression can say itself that case does not matter
  // False when the engine has to be asked whether it accepts the expression at all.
  bool isCertain;
};

// A text matches the expression exactly when it matches the steps. Absent when that cannot be said:
// the expression is not UTF-8 or not valid; it has back references, conditions, recursion, or parts
// that look around or are never given back; changes its options midway; or nests or repeats too
// deeply.
std::optional<Reading> readExpression(const std::string& expression, bool caseSensitive);

// The sequence with its groups multiplied out, as far as that gives no more than `most` sequences;
// groups that would give more stay as they are.
std::vector<Steps> multipliedOut(const Steps& steps, std::size_t most);

}  // namespace QVL

#endif  // QVL_MATCH_EXPRESSION_H
