// Rules that another rule of their data set makes superfluous.

#ifndef QVLPOLICY_LINT_SHADOWS_H
#define QVLPOLICY_LINT_SHADOWS_H

#include <cstddef>
#include <optional>
#include <vector>

#include "qvlpolicy/Description.h"

namespace qvlpolicy {

// What it took to find them.
struct ShadowWork {
  std::size_t pairs = 0;  // of rules that were compared, at most 200 for each rule
  std::size_t steps = 0;  // pairs of their pieces, at most 8000 for each rule before its last pair
};

// For each rule one that matches everything that it matches, for all of its accesses; of two that
// match the same the first stays. Nothing for rules that stay, and for those with the key of
// another rule. The bounds of `work`, to which what was done is added unless it is null, are why of
// rules that share all of their characters one in shadow may go unseen.
std::vector<std::optional<std::size_t>> rulesInShadow(const DataSet& dataSet,
                                                      ShadowWork* work = nullptr);

}  // namespace qvlpolicy

#endif  // QVLPOLICY_LINT_SHADOWS_H
