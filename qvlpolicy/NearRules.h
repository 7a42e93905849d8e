// Rules that miss a request by little.

#ifndef QVLPOLICY_NEAR_RULES_H
#define QVLPOLICY_NEAR_RULES_H

#include <qvl/qvl.h>

#include <cstddef>
#include <mutex>
#include <vector>

#include "qvlpolicy/Description.h"
#include "qvlpolicy/Explanation.h"

namespace qvlpolicy {

// Looks among the rules for those that would match without one small difference. Finds them by an
// index of pieces of their texts, which is made by the first search, and makes those few anew.
//
// Thread safety: any number of threads may ask at once; while the index is made the others wait.
class NearRules {
 public:
  // The description is to outlive the object.
  explicit NearRules(const Description& description);
  ~NearRules();

  // The nearest rules, best first and at most five, but none of those that match as they are.
  std::vector<NearRule> find(const QVL::LookupData& request, const Explanation& explanation) const;

 private:
  struct Index;

  const std::vector<Index>& indexes() const;

  const Description& m_description;
  mutable std::once_flag m_indexesAreMade;
  mutable std::vector<Index> m_indexes;  // in the order of the description
};

}  // namespace qvlpolicy

#endif  // QVLPOLICY_NEAR_RULES_H
