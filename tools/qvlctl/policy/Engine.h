// A policy that answers the engine's own requests.

#ifndef QVLCTL_POLICY_ENGINE_H
#define QVLCTL_POLICY_ENGINE_H

#include <qvl/qvl.h>

#include <memory>
#include <vector>

#include "policy/Policy.h"

namespace qvlctl {

// The request as the policy library takes it; its texts are borrowed.
qvlpolicy::Question questionOf(const QVL::LookupData& request);

class Engine {
 public:
  explicit Engine(std::shared_ptr<const qvlpolicy::Policy> policy);

  // Is the access excluded from scanning? The numbers of the data sets that were asked and matched
  // replace those in the request.
  bool isExcluded(QVL::LookupData& request);

  // Does a data set match by itself, by its index?
  bool doesMatch(std::size_t dataSet, const QVL::LookupData& request) const {
    return m_policy->doesMatch(questionOf(request), dataSet);
  }

  // The rules of a data set that match the request, whatever their access types; ascending.
  std::vector<std::size_t> rulesThatMatch(std::size_t dataSet,
                                          const QVL::LookupData& request) const;

  const qvlpolicy::Policy& policy() const { return *m_policy; }

 private:
  const std::shared_ptr<const qvlpolicy::Policy> m_policy;
  qvlpolicy::Answer m_answer;
};

// "excluded" or "scan".
const char* verdictName(bool isExcluded);

}  // namespace qvlctl

#endif  // QVLCTL_POLICY_ENGINE_H
