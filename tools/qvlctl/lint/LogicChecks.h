// What is odd about a business logic.

#ifndef QVLCTL_LINT_LOGIC_CHECKS_H
#define QVLCTL_LINT_LOGIC_CHECKS_H

#include <vector>

#include "lint/Finding.h"
#include "policy/Policy.h"

namespace qvlctl {

// What a data set does for the verdict.
enum class Role {
  Decides,  // files that only it matches are skipped
  Helps,    // they are skipped if others match or do not match as well
  Hinders   // they are not skipped because of it, or it is not in the logic
};

Role roleOf(unsigned int dataSet, const LogicPart& logic);

Findings checkLogic(const Policy& policy, const LogicPart& logic);

}  // namespace qvlctl

#endif  // QVLCTL_LINT_LOGIC_CHECKS_H
