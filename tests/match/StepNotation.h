// Step sequences as short texts.

#ifndef QVL_TESTS_MATCH_STEP_NOTATION_H
#define QVL_TESTS_MATCH_STEP_NOTATION_H

#include <string>

#include "qvl/match/Glob.h"

namespace QVL {
namespace Test {

// One sign per kind of step; every other sign is a literal byte, and neighbouring ones make one
// literal.
struct StepSign {
  char sign;
  GlobStep::Kind kind;
};
constexpr StepSign kStepSigns[] = {
    {'*', GlobStep::RunNotSlash}, {'=', GlobStep::Run}, {'~', GlobStep::Folders},
    {'?', GlobStep::OneNotSlash}, {'_', GlobStep::One}, {'!', GlobStep::Unknown},
};

inline GlobStep::Kind kindOf(char sign) {
  for (const StepSign& known : kStepSigns) {
    if (known.sign == sign) return known.kind;
  }
  return GlobStep::Literal;
}

inline GlobSteps stepsOf(const std::string& notation) {
  GlobSteps steps;
  for (const char sign : notation) {
    const GlobStep::Kind kind = kindOf(sign);
    if (kind != GlobStep::Literal) {
      steps.push_back({kind, {}});
    } else if (!steps.empty() && steps.back().kind == GlobStep::Literal) {
      steps.back().bytes += sign;
    } else {
      steps.push_back({kind, std::string(1, sign)});
    }
  }
  return steps;
}

inline std::string notationOf(const GlobSteps& steps) {
  std::string notation;
  for (const GlobStep& step : steps) {
    notation += step.bytes;
    for (const StepSign& known : kStepSigns) {
      if (known.kind == step.kind) notation += known.sign;
    }
  }
  return notation;
}

}  // namespace Test
}  // namespace QVL

#endif  // QVL_TESTS_MATCH_STEP_NOTATION_H
