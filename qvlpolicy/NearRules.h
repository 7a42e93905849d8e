// Rules that miss a request by little.

#ifndef QVLPOLICY_NEAR_RULES_H
#define QVLPOLICY_NEAR_RULES_H

#include <qvl/qvl.h>

#include <cstddef>
#include <memory>
#include <mutex>
#include <vector>

#include "qvlpolicy/Description.h"
#include "qvlpolicy/Explanation.h"

namespace qvlpolicy {

// Looks among the rules for those that would match without one small difference. The rules without
// it are made when they are first asked, and kept.
//
// Thread safety: any number of threads may ask at once.
class NearRules {
 public:
  // The description is to outlive the object.
  explicit NearRules(const Description& description);
  ~NearRules();

  // The nearest rules, best first and at most five, but none of those that match as they are.
  std::vector<NearRule> find(const QVL::LookupData& request, const Explanation& explanation) const;

 private:
  class Variant;
  struct Variants;

  const std::vector<std::unique_ptr<Variants>>& kept() const;

  const Description& m_description;
  mutable std::once_flag m_keptIsMade;
  // By difference and data set; empty where there are too many rules to be kept.
  mutable std::vector<std::unique_ptr<Variants>> m_kept;
};

}  // namespace qvlpolicy

#endif  // QVLPOLICY_NEAR_RULES_H
