// What is odd about data sets, their keywords and their rules.

#ifndef QVLPOLICY_LINT_RULE_CHECKS_H
#define QVLPOLICY_LINT_RULE_CHECKS_H

#include <qvl/qvl.h>

#include <cstddef>
#include <string>
#include <vector>

#include "qvlpolicy/Description.h"
#include "qvlpolicy/Lint.h"
#include "qvlpolicy/lint/LogicChecks.h"

namespace qvlpolicy {

// What the checks of a data set go by.
struct Circumstances {
  Role role;
  Platform platform;
  std::string today;
  // The rules of the data set as the engine holds them; null for one that it does not hold, and
  // altogether where there is no engine.
  const std::vector<QVL::IAvoidance*>* rules = nullptr;
  // How many characters of the policy may yet be looked through for the names of keywords; what was
  // used is taken off.
  std::size_t* forNames = nullptr;
};

// Everything about the data set with that index: its switches, its keywords, its rules.
Findings checkDataSet(const Description& policy, std::size_t dataSet,
                      const Circumstances& circumstances);

}  // namespace qvlpolicy

#endif  // QVLPOLICY_LINT_RULE_CHECKS_H
