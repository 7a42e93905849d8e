#include "audit/RuleHits.h"

namespace qvlctl {

RuleHits::RuleHits(const Policy& policy) : m_policy(policy), m_ofProcess(policy.dataSets.size()) {
  for (const DataSet& dataSet : policy.dataSets) {
    m_indices.emplace(dataSet.number, m_matchers.size());
    m_matchers.emplace_back(dataSet);
    m_hits.emplace_back(dataSet.rules.size());
  }
}

void RuleHits::count(QVL::LookupData& request, bool isSkipped, const Tally& tally) {
  for (const unsigned int number : request.m_matchIdentifiers) {
    const std::size_t index = m_indices.at(number);
    const DataSet& dataSet = m_policy.dataSets[index];
    if (dataSet.matchAnything) continue;  // no rule was asked
    for (const std::size_t rule : rulesThatMatch(index, request)) {
      if (!fitsAccess(dataSet, dataSet.rules[rule], request.m_accessType)) continue;
      RuleHit& hit = m_hits[index][rule];
      (isSkipped ? hit.skipped : hit.scanned).add(tally);
    }
  }
}

const std::vector<std::size_t>& RuleHits::rulesThatMatch(std::size_t dataSet,
                                                         QVL::LookupData& request) {
  if (m_policy.dataSets[dataSet].kind != Kind::Process) {
    m_found = m_matchers[dataSet].matching(request);
    return m_found;
  }
  std::optional<std::vector<std::size_t>>& known = m_ofProcess[dataSet];
  if (!known) known = m_matchers[dataSet].matching(request);
  return *known;
}

}  // namespace qvlctl
