#include "policy/Engine.h"

#include <utility>

namespace qvlctl {

Engine::Engine(std::shared_ptr<const qvlpolicy::Policy> policy) : m_policy(std::move(policy)) {}

bool Engine::isExcluded(QVL::LookupData& request) {
  m_policy->ask(questionOf(request), m_answer);
  request.m_matchIdentifiers = m_answer.dataSets;
  return m_answer.isExcluded;
}

std::vector<std::size_t> Engine::rulesThatMatch(std::size_t dataSet,
                                                const QVL::LookupData& request) const {
  std::vector<std::size_t> rules;
  for (const MatchingRule& match : m_policy->matchingRules(questionOf(request), dataSet)) {
    rules.push_back(match.rule);
  }
  return rules;
}

qvlpolicy::Question questionOf(const QVL::LookupData& request) {
  return {request.m_filePath, request.m_processName, request.m_accessType};
}

const char* verdictName(bool isExcluded) {
  return isExcluded ? "excluded" : "scan";
}

}  // namespace qvlctl
