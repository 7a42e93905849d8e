// Rules that miss a request by little.

#ifndef QVLCTL_EXPLAIN_NEAR_RULES_H
#define QVLCTL_EXPLAIN_NEAR_RULES_H

#include <qvl/qvl.h>

#include <cstddef>
#include <set>
#include <utility>
#include <vector>

#include "policy/Policy.h"
#include "policy/RuleMatcher.h"

namespace qvlctl {

// By what a rule misses a request; the smallest difference first.
enum class Difference {
  Case,           // upper and lower case
  Normalisation,  // two spellings of one text in Unicode
  Slash,          // a slash at the end
  Alias,          // another path to the same file
  Subfolders,     // the rule leaves subfolders out
  Star,           // * where ** would match
  Inside,         // the rule names a folder that the file is in
  Wildcards,      // the rule is a regular expression that would match as wildcards
  SameFolder,
  SameExtension
};

// "same-folder" and so on: the name in machine-readable output.
const char* differenceName(Difference difference);

// The indices of a data set and of a rule in it.
using RulePlace = std::pair<std::size_t, std::size_t>;

struct NearRule {
  std::size_t dataSet;
  std::size_t rule;
  Difference difference;  // the smallest one
};

// Asks what a policy with that difference taken away would match.
class NearRules {
 public:
  // The policy is to outlive the object.
  explicit NearRules(const Policy& policy);

  // The nearest rules, best first and at most five, but none of those in `matching`, which match as
  // they are.
  std::vector<NearRule> find(const QVL::LookupData& request, const std::set<RulePlace>& matching);

 private:
  // One data set of the policy without one difference.
  struct Variant {
    Difference difference;
    std::size_t dataSet;
    RuleMatcher matcher;
  };

  void makeVariants();

  const Policy& m_policy;
  std::vector<Variant> m_variants;  // made when they are needed first; smallest difference first
};

}  // namespace qvlctl

#endif  // QVLCTL_EXPLAIN_NEAR_RULES_H
