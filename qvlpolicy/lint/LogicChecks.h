// What is odd about a business logic.

#ifndef QVLPOLICY_LINT_LOGIC_CHECKS_H
#define QVLPOLICY_LINT_LOGIC_CHECKS_H

#include <vector>

#include "qvlpolicy/Description.h"
#include "qvlpolicy/Lint.h"

namespace qvlpolicy {

// What a data set does for the verdict.
enum class Role {
  Decides,  // files that only it matches are skipped
  Helps,    // they are skipped if others match or do not match as well
  Hinders   // they are not skipped because of it, or it is not in the logic
};

Role roleOf(unsigned int dataSet, const LogicPart& logic);

Findings checkLogic(const Description& policy, const LogicPart& logic);

}  // namespace qvlpolicy

#endif  // QVLPOLICY_LINT_LOGIC_CHECKS_H
