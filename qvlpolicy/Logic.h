// The business logic of a policy: taken apart, and checked before the engine gets it.

#ifndef QVLPOLICY_LOGIC_H
#define QVLPOLICY_LOGIC_H

#include <cstddef>
#include <string>
#include <string_view>
#include <vector>

#include "qvlpolicy/Explanation.h"

namespace qvlpolicy {

// What a logic cannot be taken for.
struct LogicError {
  std::size_t offset = 0;  // in bytes, of what is wrong
  std::string what;
  std::string expected;
  std::string came;
};

struct ReadLogic {
  LogicPart logic;
  std::vector<LogicError> errors;  // the first one; none when the logic can be evaluated
};

// Reads an infix expression over numbers of data sets: `!` binds tightest, `&` and `|` bind alike
// and group from the left. Stricter than the engine, which drops what it cannot place and finds out
// when asked that nothing is left.
ReadLogic readLogic(std::string_view text);

// The logic as the engine reads it: line breaks count as blanks in a policy file.
std::string logicForEngine(std::string logic);

}  // namespace qvlpolicy

#endif  // QVLPOLICY_LOGIC_H
