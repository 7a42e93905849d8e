// Finds out why a question is answered as it is.

#ifndef QVLPOLICY_EXPLAINER_H
#define QVLPOLICY_EXPLAINER_H

#include <qvl/qvl.h>

#include <vector>

#include "qvlpolicy/Description.h"
#include "qvlpolicy/Engine.h"
#include "qvlpolicy/Explanation.h"
#include "qvlpolicy/RuleSearch.h"

namespace qvlpolicy {

// Evaluates the logic as the engine does, left before right and no further than needed, and then
// the parts that it did not come to.
//
// Thread safety: immutable; any number of threads may ask at once.
class Explainer {
 public:
  // All are to outlive the explainer.
  Explainer(const Description& description, const Engine& engine, const LogicPart& logic);

  Explanation explain(const QVL::LookupData& request) const;

  std::vector<MatchingRule> matchingRules(std::size_t dataSet,
                                          const QVL::LookupData& request) const;

 private:
  class Evaluation;

  const Description& m_description;
  const Engine& m_engine;
  const LogicPart& m_logic;
  std::vector<RuleSearch> m_searches;  // in the order of the description
};

}  // namespace qvlpolicy

#endif  // QVLPOLICY_EXPLAINER_H
