// Findings that the policy says may stay.

#ifndef QVLPOLICY_LINT_ALLOWANCES_H
#define QVLPOLICY_LINT_ALLOWANCES_H

#include "qvlpolicy/Description.h"
#include "qvlpolicy/Lint.h"

namespace qvlpolicy {

// Marks what the policy's <allow> elements are about, and adds a finding for each of them that is
// about nothing. Errors cannot be allowed.
void applyAllowances(const Description& policy, Findings& findings);

}  // namespace qvlpolicy

#endif  // QVLPOLICY_LINT_ALLOWANCES_H
