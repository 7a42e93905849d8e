// Rules that another rule of their data set makes superfluous.

#ifndef QVLCTL_LINT_SHADOWS_H
#define QVLCTL_LINT_SHADOWS_H

#include <cstddef>
#include <optional>
#include <vector>

#include "policy/Policy.h"

namespace qvlctl {

// For each rule one that matches everything that it matches, for all of its accesses; of two that
// match the same the first stays. Nothing for rules that stay, and for those with the key of
// another rule. `compared`, unless null, is how many pairs of rules had to be compared: few for
// each rule, not all.
std::vector<std::optional<std::size_t>> rulesInShadow(const DataSet& dataSet,
                                                      std::size_t* compared = nullptr);

}  // namespace qvlctl

#endif  // QVLCTL_LINT_SHADOWS_H
