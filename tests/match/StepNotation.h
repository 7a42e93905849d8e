// Step sequences as short texts.

#ifndef QVL_TESTS_MATCH_STEP_NOTATION_H
#define QVL_TESTS_MATCH_STEP_NOTATION_H

#include <string>

#include "qvl/match/Expression.h"

namespace QVL {
namespace Test {

// One sign per kind of step; every other sign is a literal byte, and neighbouring ones make one
// literal.
struct StepSign {
  char sign;
  Step::Kind kind;
};
constexpr StepSign kStepSigns[] = {
    {'*', Step::RunNotSlash}, {'=', Step::Run}, {'~', Step::Folders},
    {'?', Step::OneNotSlash}, {'_', Step::One}, {'!', Step::Set},
};

inline Step::Kind kindOf(char sign) {
  for (const StepSign& known : kStepSigns) {
    if (known.sign == sign) return known.kind;
  }
  return Step::Literal;
}

inline Steps stepsOf(const std::string& notation) {
  Steps steps;
  for (const char sign : notation) {
    const Step::Kind kind = kindOf(sign);
    if (kind != Step::Literal) {
      steps.push_back({kind, {}, {}});
    } else if (!steps.empty() && steps.back().kind == Step::Literal) {
      steps.back().bytes += sign;
    } else {
      steps.push_back({kind, std::string(1, sign), {}});
    }
  }
  return steps;
}

// A group as "{a,b}", a repetition as "{a}" and its counts; a set and a place as '!'.
inline std::string notationOf(const Steps& steps) {
  std::string notation;
  for (const Step& step : steps) {
    if (step.kind == Step::Group || step.kind == Step::Repeat) {
      notation += '{';
      for (std::size_t i = 0; i < step.alternatives->sequences.size(); ++i) {
        notation += (i == 0 ? "" : ",") + notationOf(step.alternatives->sequences[i]);
      }
      notation += '}';
      if (step.kind == Step::Repeat) {
        notation += std::to_string(step.least) + '-';
        if (step.most != Step::kUnbounded) notation += std::to_string(step.most);
      }
      continue;
    }
    char sign = '!';
    for (const StepSign& known : kStepSigns) {
      if (known.kind == step.kind) sign = known.sign;
    }
    notation += step.kind == Step::Literal ? step.bytes : std::string(1, sign);
  }
  return notation;
}

}  // namespace Test
}  // namespace QVL

#endif  // QVL_TESTS_MATCH_STEP_NOTATION_H
