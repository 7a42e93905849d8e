// Reads as much of an expression as can be understood without the regular expression engine.
// Private to the library.

#ifndef QVL_MATCH_EXPRESSION_H
#define QVL_MATCH_EXPRESSION_H

#include <optional>
#include <string>
#include <vector>

#include "qvl/match/Glob.h"

namespace QVL {

// The alternatives of an expression: a text matches the expression exactly when it matches one of
// them, where an Unknown step stands for something that must match some text, possibly empty,
// there. Groups of alternatives, such as keywords become, are multiplied out. Absent when nothing
// reliable can be said: the expression is not UTF-8 or not valid, changes its own options, or has
// too many alternatives.
//
// An expression without any Unknown is one that the engine accepts. Unless case matters, literals
// are case folded.
std::optional<std::vector<GlobSteps>> alternativesOf(const std::string& expression,
                                                     bool caseSensitive);

}  // namespace QVL

#endif  // QVL_MATCH_EXPRESSION_H
