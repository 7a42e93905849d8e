// Why a request is answered as it is.

#ifndef QVLCTL_EXPLAIN_EXPLAINER_H
#define QVLCTL_EXPLAIN_EXPLAINER_H

#include <qvl/qvl.h>

#include <vector>

#include "policy/Engine.h"
#include "policy/Policy.h"

namespace qvlctl {

// Asks the policy library about the engine's own requests.
class Explainer {
 public:
  // The engine is to outlive the explainer.
  explicit Explainer(const Engine& engine) : m_policy(engine.policy()) {}

  // Asks about the file itself where the policy has rules by age.
  Explanation explain(const QVL::LookupData& request) const {
    return m_policy.explain(questionOf(request));
  }

  // When no data set matched: the rules that miss the request by least, best first.
  std::vector<NearRule> nearest(const QVL::LookupData& request,
                                const Explanation& explanation) const {
    return m_policy.nearRules(questionOf(request), explanation);
  }

 private:
  const qvlpolicy::Policy& m_policy;
};

}  // namespace qvlctl

#endif  // QVLCTL_EXPLAIN_EXPLAINER_H
