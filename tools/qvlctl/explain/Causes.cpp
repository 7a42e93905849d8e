#include "explain/Causes.h"

#include <algorithm>

namespace qvlctl {
namespace {

std::vector<Cause> causesOf(const Policy& policy, const Explanation& answer) {
  std::vector<Cause> causes;
  for (std::size_t i = 0; i < policy.dataSets.size(); ++i) {
    const DataSetAnswer& dataSet = answer.dataSets[i];
    if (!dataSet.isInLogic || !dataSet.matches) continue;
    if (dataSet.decider != Decider::Rules) {
      causes.push_back({i, dataSet.decider, std::nullopt});
      continue;
    }
    for (const MatchingRule& match : dataSet.rules) {
      if (match.fitsAccess) causes.push_back({i, Decider::Rules, match.rule});
    }
  }
  return causes;
}

// Would people say that both are the same thing, wherever it stands in its file?
bool areEqual(const Policy& policyA, const Cause& a, const Policy& policyB, const Cause& b) {
  const DataSet& dataSetA = policyA.dataSets[a.dataSet];
  const DataSet& dataSetB = policyB.dataSets[b.dataSet];
  if (dataSetA.number != dataSetB.number || dataSetA.kind != dataSetB.kind ||
      a.decider != b.decider) {
    return false;
  }
  if (!a.rule) return true;
  const Rule& ruleA = dataSetA.rules[*a.rule];
  const Rule& ruleB = dataSetB.rules[*b.rule];
  return ruleA.text == ruleB.text && ruleA.defaultFolder == ruleB.defaultFolder;
}

void removeEquals(const Policy& policy, std::vector<Cause>& causes, const Policy& otherPolicy,
                  const std::vector<Cause>& others) {
  const auto hasEqual = [&](const Cause& cause) {
    return std::any_of(others.begin(), others.end(), [&](const Cause& other) {
      return areEqual(policy, cause, otherPolicy, other);
    });
  };
  causes.erase(std::remove_if(causes.begin(), causes.end(), hasEqual), causes.end());
}

}  // namespace

Causes compare(const Policy& oldPolicy, const Explanation& oldAnswer, const Policy& newPolicy,
               const Explanation& newAnswer) {
  const std::vector<Cause> allOld = causesOf(oldPolicy, oldAnswer);
  Causes causes = {allOld, causesOf(newPolicy, newAnswer)};
  removeEquals(oldPolicy, causes.onlyOld, newPolicy, causes.onlyNew);
  removeEquals(newPolicy, causes.onlyNew, oldPolicy, allOld);
  return causes;
}

}  // namespace qvlctl
