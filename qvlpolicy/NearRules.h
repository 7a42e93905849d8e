// Rules that miss a request by little.

#ifndef QVLPOLICY_NEAR_RULES_H
#define QVLPOLICY_NEAR_RULES_H

#include <qvl/qvl.h>

#include <vector>

#include "qvlpolicy/Description.h"
#include "qvlpolicy/Explanation.h"

namespace qvlpolicy {

// Looks among the rules for those that would match without one small difference.
//
// Thread safety: immutable; any number of threads may ask at once.
class NearRules {
 public:
  // The description is to outlive the object.
  explicit NearRules(const Description& description) : m_description(description) {}

  // The nearest rules, best first and at most five, but none of those that match as they are.
  std::vector<NearRule> find(const QVL::LookupData& request, const Explanation& explanation) const;

 private:
  const Description& m_description;
};

}  // namespace qvlpolicy

#endif  // QVLPOLICY_NEAR_RULES_H
