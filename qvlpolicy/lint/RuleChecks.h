// What is odd about data sets, their keywords and their rules.

#ifndef QVLPOLICY_LINT_RULE_CHECKS_H
#define QVLPOLICY_LINT_RULE_CHECKS_H

#include <cstddef>
#include <string>

#include "qvlpolicy/Description.h"
#include "qvlpolicy/Lint.h"
#include "qvlpolicy/lint/LogicChecks.h"

namespace qvlpolicy {

// What the checks of a data set go by.
struct Circumstances {
  Role role;
  Platform platform;
  std::string today;
};

// Everything about the data set with that index: its switches, its keywords, its rules.
Findings checkDataSet(const Description& policy, std::size_t dataSet,
                      const Circumstances& circumstances);

}  // namespace qvlpolicy

#endif  // QVLPOLICY_LINT_RULE_CHECKS_H
