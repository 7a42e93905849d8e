#include "queries/Queries.h"

#include <algorithm>
#include <exception>
#include <set>
#include <utility>

#include "fmt/format.h"
#include "io/Output.h"
#include "io/OutputChoices.h"
#include "policy/RuleText.h"
#include "queries/ProcessNames.h"

namespace qvlctl {
namespace {

// Calls `visit` with the index of each data set that the logic names and that is switched on.
template <typename Visit>
void forEachAsked(const PolicyInUse& one, Visit visit) {
  const std::vector<unsigned int> numbers = qvlpolicy::dataSetsIn(one.engine.policy().logic());
  for (std::size_t i = 0; i < one.policy.dataSets.size(); ++i) {
    const DataSet& dataSet = one.policy.dataSets[i];
    const bool isNamed = std::binary_search(numbers.begin(), numbers.end(), dataSet.number);
    if (isNamed && dataSet.enabled) visit(i);
  }
}

template <typename T>
void addIfNew(std::vector<T>& list, const T& value) {
  if (std::find(list.begin(), list.end(), value) == list.end()) list.push_back(value);
}

}  // namespace

std::string queryInWords(const Query& query) {
  std::string text = accessName(query.access) + ", ";
  text += query.process.empty() ? "no process" : escaped(query.process);
  const std::size_t others = query.alikeProcesses.size();
  if (others > 0) text += fmt::format(" (and {} alike)", counted(others, "process", "processes"));
  return text;
}

Json queryInJson(const Query& query) {
  Json json;
  addText(json, "process", query.process);
  json["access"] = accessName(query.access);
  json["otherAccess"] = query.standsForOtherAccess;
  json["alikeProcesses"] = Json::array();
  for (const std::string& process : query.alikeProcesses) {
    Json one;
    addText(one, "process", process);
    json["alikeProcesses"].push_back(one);
  }
  return json;
}

Queries::Queries(std::vector<PolicyInUse> policies, QueryLimits limits)
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
  for (const PolicyInUse& one : m_policies) {
    forEachAsked(one, [&](std::size_t i) {
      const DataSet& dataSet = one.policy.dataSets[i];
      if (dataSet.kind != Kind::Process || dataSet.matchAnything) return;
      for (std::size_t j = 0; j < dataSet.rules.size(); ++j) {
        const std::optional<std::string> name = processNameFor(dataSet, dataSet.rules[j]);
        if (!name) {
          if (known.insert("\n" + dataSet.rules[j].text).second) {
            m_nameless.push_back({&one.policy, i, j});
          }
        } else if (known.insert(*name).second) {
          m_processes.push_back(*name);
        }
      }
    });
  }
}

void Queries::collectAccesses() {
  std::set<QVL::AccessTypes> named;
  for (const PolicyInUse& one : m_policies) {
    forEachAsked(one, [&](std::size_t i) {
      const DataSet& dataSet = one.policy.dataSets[i];
      if (dataSet.accessCheck == DataSet::AccessCheck::AtDataSet) named.insert(dataSet.access);
      if (dataSet.accessCheck != DataSet::AccessCheck::ByRule) return;
      for (const Rule& rule : dataSet.rules) named.insert(rule.access);
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
    for (const PolicyInUse& one : m_policies) {
      forEachAsked(one, [&](std::size_t i) {
        if (one.policy.dataSets[i].kind != Kind::Process) return;
        QVL::LookupData request;
        request.m_processName = process;
        request.m_accessType = access;
        answers.push_back(one.engine.doesMatch(i, request));
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

void complainOfNameless(const Queries& queries) {
  constexpr std::size_t kMostToTell = 10;
  const std::vector<NamelessRule>& rules = queries.nameless();
  if (rules.empty()) return;
  remark(
      fmt::format("note: {} asked for: no name of a process was found that {}; give one with "
                  "--process",
                  rules.size() == 1 ? "1 process rule is not"
                                    : grouped(rules.size()) + " process rules are not",
                  rules.size() == 1 ? "it matches" : "they match"));
  for (std::size_t i = 0; i < rules.size() && i < kMostToTell; ++i) {
    const DataSet& dataSet = rules[i].policy->dataSets[rules[i].dataSet];
    remark(fmt::format("  data set {}, {}", dataSet.number,
                       ruleInWords(*rules[i].policy, dataSet, rules[i].rule)));
  }
  if (rules.size() > kMostToTell) {
    remark(fmt::format("  and {} more", grouped(rules.size() - kMostToTell)));
  }
}

QVL::LookupData requestFor(const Query& query) {
  QVL::LookupData request;
  request.m_processName = query.process;
  request.m_accessType = query.access;
  return request;
}

}  // namespace qvlctl
