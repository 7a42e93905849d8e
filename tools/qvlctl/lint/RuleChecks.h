// What is odd about data sets, their keywords and their rules.

#ifndef QVLCTL_LINT_RULE_CHECKS_H
#define QVLCTL_LINT_RULE_CHECKS_H

#include <cstddef>

#include "lint/Finding.h"
#include "lint/LogicChecks.h"
#include "policy/Policy.h"

namespace qvlctl {

// Everything about the data set with that index: its switches, its keywords, its rules.
Findings checkDataSet(const Policy& policy, std::size_t dataSet, Role role, Platform platform);

}  // namespace qvlctl

#endif  // QVLCTL_LINT_RULE_CHECKS_H
