// Regular expressions that take a very long time.

#ifndef QVLPOLICY_LINT_BACKTRACKING_H
#define QVLPOLICY_LINT_BACKTRACKING_H

#include <string_view>

namespace qvlpolicy {

// Can a search that tries one way after the other need time that grows exponentially with the text?
// That is so when a part of the text can go round a loop of the expression in two ways, as in
// (a+)+. Expressions with lookaheads or references back are not judged: false.
bool canTakeExponentialTime(std::string_view expression);

}  // namespace qvlpolicy

#endif  // QVLPOLICY_LINT_BACKTRACKING_H
