// Which rules of a policy do something?

#ifndef QVLCTL_AUDIT_RULE_HITS_H
#define QVLCTL_AUDIT_RULE_HITS_H

#include <qvl/qvl.h>

#include <cstddef>
#include <map>
#include <optional>
#include <vector>

#include "audit/Tally.h"
#include "policy/Policy.h"
#include "policy/RuleMatcher.h"

namespace qvlctl {

// The files that a rule matched where its data set was asked and matched.
struct RuleHit {
  Tally skipped;
  Tally scanned;  // in spite of the rule, because of other data sets
};

// Counts the hits of every rule. The engine tells which data sets matched but not which of their
// rules did, so the rules of those are asked once more, and only those.
class RuleHits {
 public:
  // The policy has to outlive this.
  explicit RuleHits(const Policy& policy);

  // Counts a request that has been answered. All requests have to be of one process.
  void count(QVL::LookupData& request, bool isSkipped, const Tally& tally);

  // By the indices of the data set and of the rule in it.
  const RuleHit& of(std::size_t dataSet, std::size_t rule) const { return m_hits[dataSet][rule]; }

 private:
  const std::vector<std::size_t>& rulesThatMatch(std::size_t dataSet, QVL::LookupData& request);

  const Policy& m_policy;
  std::map<unsigned int, std::size_t> m_indices;  // of data sets, by their numbers
  std::vector<RuleMatcher> m_matchers;
  std::vector<std::vector<RuleHit>> m_hits;
  std::vector<std::optional<std::vector<std::size_t>>> m_ofProcess;  // what is the same every time
  std::vector<std::size_t> m_found;
};

}  // namespace qvlctl

#endif  // QVLCTL_AUDIT_RULE_HITS_H
