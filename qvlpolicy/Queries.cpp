#include "qvlpolicy/Queries.h"

#include <algorithm>
#include <set>
#include <utility>

#include "qvlpolicy/Patterns.h"

namespace qvlpolicy {
namespace {

// Calls `visit` with each data set that the logic names and that is switched on, and its index.
template <typename Visit>
void forEachAsked(const Policy& policy, Visit visit) {
  const std::vector<unsigned int> numbers = dataSetsIn(policy.logic());
  const std::vector<DataSet>& dataSets = policy.description().dataSets;
  for (std::size_t i = 0; i < dataSets.size(); ++i) {
    const bool isNamed = std::binary_search(numbers.begin(), numbers.end(), dataSets[i].number);
    if (isNamed && dataSets[i].enabled && !dataSets[i].isDropped) visit(dataSets[i], i);
  }
}

template <typename T>
void addIfNew(std::vector<T>& list, const T& value) {
  if (std::find(list.begin(), list.end(), value) == list.end()) list.push_back(value);
}

}  // namespace

Queries::Queries(std::vector<const Policy*> policies, QueryLimits limits)
    : m_policies(std::move(policies)) {
  if (limits.processes) {
    for (const std::string& process : *limits.processes) addIfNew(m_processes, process);
  } else {
    collectProcesses();
  }
  collectAccesses();
  if (limits.accesses) {
    m_accesses.clear();
    for (const QVL::AccessTypes access : *limits.accesses) addIfNew(m_accesses, access);
  }
  for (const QVL::AccessTypes access : m_accesses) {
    for (Query& query : ofAccess(access, m_processes)) m_all.push_back(std::move(query));
  }
}

const std::vector<Query>& Queries::with(const std::optional<std::string>& process,
                                        const std::optional<QVL::AccessTypes>& access) {
  if (!process && !access) return m_all;
  if (!process) {
    const auto [place, isNew] = m_withAccess.emplace(*access, std::vector<Query>());
    if (isNew) place->second = ofAccess(*access, m_processes);
    return place->second;
  }
  m_withProcess.clear();
  for (const QVL::AccessTypes one : access ? std::vector{*access} : m_accesses) {
    for (Query& query : ofAccess(one, {*process})) m_withProcess.push_back(std::move(query));
  }
  return m_withProcess;
}

void Queries::collectProcesses() {
  m_processes = {""};
  std::set<std::string> known;  // names, and rules without one behind a line break
  for (std::size_t i = 0; i < m_policies.size(); ++i) {
    forEachAsked(*m_policies[i], [&](const DataSet& dataSet, std::size_t place) {
      if (dataSet.kind != Kind::Process || dataSet.matchAnything) return;
      for (std::size_t j = 0; j < dataSet.rules.size(); ++j) {
        if (dataSet.rules[j].isDropped) continue;
        const std::optional<std::string> name = processNameFor(dataSet, dataSet.rules[j]);
        if (!name) {
          if (known.insert("\n" + dataSet.rules[j].text).second)
            m_nameless.push_back({i, place, j});
        } else if (known.insert(*name).second) {
          m_processes.push_back(*name);
        }
      }
    });
  }
}

void Queries::collectAccesses() {
  std::set<QVL::AccessTypes> named;
  for (const Policy* const policy : m_policies) {
    forEachAsked(*policy, [&](const DataSet& dataSet, std::size_t) {
      if (dataSet.accessCheck == DataSet::AccessCheck::AtDataSet) named.insert(dataSet.access);
      if (dataSet.accessCheck != DataSet::AccessCheck::ByRule) return;
      for (const Rule& rule : dataSet.rules) {
        if (!rule.isDropped) named.insert(rule.access);
      }
    });
  }
  named.erase(QVL::AnyAccess);
  for (const QVL::AccessTypes access : {QVL::ReadAccess, QVL::WriteAccess, QVL::AnyAccess}) {
    if (named.count(access) > 0) continue;
    m_otherAccess = access;
    break;
  }
  named.insert(*m_otherAccess);
  m_accesses.assign(named.begin(), named.end());
  // Read first, as that is what most accesses are.
  std::stable_partition(m_accesses.begin(), m_accesses.end(),
                        [](QVL::AccessTypes access) { return access == QVL::ReadAccess; });
}

std::vector<Query> Queries::ofAccess(QVL::AccessTypes access,
                                     const std::vector<std::string>& processes) const {
  std::vector<Query> queries;
  std::map<std::vector<bool>, std::size_t> places;  // in `queries`, by the answers
  for (const std::string& process : processes) {
    std::vector<bool> answers;
    for (const Policy* const policy : m_policies) {
      forEachAsked(*policy, [&](const DataSet& dataSet, std::size_t place) {
        if (dataSet.kind != Kind::Process) return;
        answers.push_back(policy->doesMatch({{}, process, access}, place));
      });
    }
    const auto [place, isNew] = places.emplace(std::move(answers), queries.size());
    if (!isNew) {
      queries[place->second].alikeProcesses.push_back(process);
      continue;
    }
    Query query;
    query.process = process;
    query.access = access;
    query.standsForOtherAccess = access == m_otherAccess;
    queries.push_back(std::move(query));
  }
  return queries;
}

}  // namespace qvlpolicy
