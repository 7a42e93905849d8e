// Rules that miss a request by little.

#ifndef QVLPOLICY_NEAR_RULES_H
#define QVLPOLICY_NEAR_RULES_H

#include <qvl/qvl.h>

#include <cstddef>
#include <map>
#include <memory>
#include <mutex>
#include <tuple>
#include <vector>

#include "qvlpolicy/Description.h"
#include "qvlpolicy/Explanation.h"

namespace qvlpolicy {

// Looks among the rules for those that would match without one small difference. Finds them by an
// index of pieces of their texts, which is made by the first search, and makes those few without
// the difference. The next paths are often near the same rules, so they are kept, as far as there
// is room for few.
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
  struct Variant;
  using VariantKey = std::tuple<Difference, std::size_t, std::size_t>;  // data set, rule

  const std::vector<Index>& indexes() const;
  std::shared_ptr<Variant> variantOf(const VariantKey& key) const;

  const Description& m_description;
  mutable std::once_flag m_indexesAreMade;
  mutable std::vector<Index> m_indexes;  // in the order of the description

  mutable std::mutex m_keptMutex;
  mutable std::map<VariantKey, std::shared_ptr<Variant>> m_kept;
  mutable std::size_t m_keptBytes = 0;
};

}  // namespace qvlpolicy

#endif  // QVLPOLICY_NEAR_RULES_H
