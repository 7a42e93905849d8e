#include "qvlpolicy/RuleSearch.h"

#include <algorithm>
#include <exception>
#include <set>

namespace qvlpolicy {

RuleSearch::RuleSearch(const DataSet& description, QVL::IDataSet& dataSet,
                       const std::vector<QVL::IAvoidance*>& rules)
    : m_description(description), m_dataSet(dataSet), m_rules(rules) {
  switch (description.accessCheck) {
    case DataSet::AccessCheck::AtDataSet:
      m_accesses = {description.access};
      break;
    case DataSet::AccessCheck::Never:
      m_accesses = {QVL::AnyAccess};
      break;
    case DataSet::AccessCheck::ByRule: {
      // A rule for any access answers whatever is asked.
      std::set<QVL::AccessTypes> named;
      for (const Rule& rule : description.rules) {
        if (rule.access != QVL::AnyAccess) named.insert(rule.access);
      }
      m_accesses.assign(named.begin(), named.end());
      if (m_accesses.empty()) m_accesses = {QVL::AnyAccess};
      break;
    }
  }
}

bool RuleSearch::mayMatch(const QVL::LookupData& request) const {
  // These keep the data set from asking its rules.
  if (!m_description.enabled || m_description.isDropped || m_description.matchAnything) return true;
  QVL::LookupData asked = request;
  return std::any_of(m_accesses.begin(), m_accesses.end(), [&](QVL::AccessTypes access) {
    asked.m_accessType = access;
    try {
      return m_dataSet.isPresentInDataSet(asked);
    } catch (const std::exception&) {
      return true;  // one rule gave up; another one may match
    }
  });
}

std::vector<std::size_t> RuleSearch::matching(const QVL::LookupData& request) const {
  std::vector<std::size_t> found;
  if (!mayMatch(request)) return found;
  QVL::LookupData asked = request;
  for (std::size_t i = 0; i < m_rules.size(); ++i) {
    if (m_rules[i] == nullptr) continue;
    try {
      if (m_rules[i]->canAvoid(asked)) found.push_back(i);
    } catch (const std::exception&) {
      // As the manager counts it.
    }
  }
  return found;
}

}  // namespace qvlpolicy
