// Rules that another rule of their data set makes superfluous.

#ifndef QVLPOLICY_LINT_SHADOWS_H
#define QVLPOLICY_LINT_SHADOWS_H

#include <cstddef>
#include <cstdint>
#include <optional>
#include <vector>

#include "qvlpolicy/Description.h"

namespace qvlpolicy {

// What may be done, for each rule or, where they are few, for all of them.
struct ShadowLimits {
  std::size_t pairs = 200;             // of a rule with others, looked at
  std::size_t pairsInAll = 4'000'000;  // likewise, of all rules
  std::size_t steps = 8000;            // of comparing, before the last pair
  std::size_t stepsInAll = 200'000'000;
  std::size_t named = SIZE_MAX;  // as Shadows::named, before the last rule that is read
};

// For each rule one that matches everything that it matches, for all of its accesses; of two that
// match the same the first stays. Nothing for rules that stay, and for those with the key of
// another rule.
struct Shadows {
  std::vector<std::optional<std::size_t>> byRule;

  // Rules for which nothing was found before a limit ended the search: one in shadow may be among
  // them.
  std::size_t cutShort = 0;

  // What it took.
  std::size_t pairs = 0;  // of rules that were compared
  // Pairs of their pieces. The last pair of a rule takes at most twice as many as its limit, and
  // four times the longest rule, for it is compared in both directions.
  std::size_t steps = 0;
  std::size_t named = 0;  // characters that were compared with the names of keywords
};

Shadows rulesInShadow(const DataSet& dataSet, const ShadowLimits& limits = {});

}  // namespace qvlpolicy

#endif  // QVLPOLICY_LINT_SHADOWS_H
