// Why two policies answer differently.

#ifndef QVLCTL_EXPLAIN_CAUSES_H
#define QVLCTL_EXPLAIN_CAUSES_H

#include <cstddef>
#include <optional>
#include <vector>

#include "explain/Explainer.h"
#include "policy/Policy.h"

namespace qvlctl {

// What makes a data set match in one of two policies and has no equal in the other one: a rule, or
// a switch of the data set.
struct Cause {
  std::size_t dataSet;              // by index
  Decider decider;                  // Rules, or the switch
  std::optional<std::size_t> rule;  // by index
};

struct Causes {
  std::vector<Cause> onlyOld;
  std::vector<Cause> onlyNew;
};

// Compares what was found out about one request. Only data sets that the logic names count. Nothing
// on both sides: the same rules match, and the logic combines their data sets otherwise.
Causes compare(const Policy& oldPolicy, const Explanation& oldAnswer, const Policy& newPolicy,
               const Explanation& newAnswer);

}  // namespace qvlctl

#endif  // QVLCTL_EXPLAIN_CAUSES_H
