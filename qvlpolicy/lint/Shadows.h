// Rules that another rule of their data set makes superfluous.

#ifndef QVLPOLICY_LINT_SHADOWS_H
#define QVLPOLICY_LINT_SHADOWS_H

#include <cstddef>
#include <optional>
#include <vector>

#include "qvlpolicy/Description.h"

namespace qvlpolicy {

// For each rule one that matches everything that it matches, for all of its accesses; of two that
// match the same the first stays. Nothing for rules that stay, and for those with the key of
// another rule. `compared`, unless null, is how many pairs of rules had to be compared: at most 200
// for each rule, so that of rules that share all of their characters one in shadow may go unseen.
std::vector<std::optional<std::size_t>> rulesInShadow(const DataSet& dataSet,
                                                      std::size_t* compared = nullptr);

}  // namespace qvlpolicy

#endif  // QVLPOLICY_LINT_SHADOWS_H
