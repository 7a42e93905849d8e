#include "audit/RuleHits.h"

#include <algorithm>
#include <functional>

namespace qvlctl {
namespace {

// What a part of the logic may be, as far as the processes and the access type decide it.
struct Possible {
  bool canBeTrue;
  bool canBeFalse;
};

// Adds the data sets that the evaluation may come to. It goes from left to right and no further
// than needed. `possible` tells of single data sets.
Possible collectAsked(const LogicPart& part, const std::function<Possible(unsigned int)>& possible,
                      std::set<unsigned int>& asked) {
  if (part.dataSet) {
    asked.insert(*part.dataSet);
    return possible(*part.dataSet);
  }
  const Possible left = collectAsked(part.parts[0], possible, asked);
  if (part.parts.size() == 1) return {left.canBeFalse, left.canBeTrue};
  const bool isAnd = part.postfix[part.postfix.size() - 2] == '&';
  if (isAnd ? !left.canBeTrue : !left.canBeFalse) return left;
  const Possible right = collectAsked(part.parts[1], possible, asked);
  if (isAnd) return {left.canBeTrue && right.canBeTrue, left.canBeFalse || right.canBeFalse};
  return {left.canBeTrue || right.canBeTrue, left.canBeFalse && right.canBeFalse};
}

}  // namespace

RuleHits::RuleHits(const Engine& engine, const std::vector<Query>& queries)
    : m_engine(engine),
      m_policy(engine.policy().description()),
      m_queries(queries),
      m_ofFile(m_policy.dataSets.size()),
      m_ofProcesses(m_policy.dataSets.size()) {
  for (std::size_t i = 0; i < m_policy.dataSets.size(); ++i) {
    const DataSet& dataSet = m_policy.dataSets[i];
    m_indices.emplace(dataSet.number, i);
    m_hits.emplace_back(dataSet.rules.size());
    for (std::size_t j = 0; j < dataSet.rules.size(); ++j) {
      m_hits[i][j].isDropped = dataSet.isDropped || dataSet.rules[j].isDropped;
    }
    m_ofProcesses[i].resize(queries.size());
  }
  findLeftOutRules(engine.policy().logic());
}

void RuleHits::note(std::size_t query, QVL::LookupData& request, bool isSkipped) {
  for (const unsigned int number : request.m_matchIdentifiers) {
    const std::size_t index = m_indices.at(number);
    const DataSet& dataSet = m_policy.dataSets[index];
    if (dataSet.matchAnything) continue;  // no rule was asked
    for (const std::size_t rule : rulesThatMatch(index, query, request)) {
      if (!fitsAccess(dataSet, dataSet.rules[rule], request.m_accessType)) continue;
      m_notes.emplace_back(index, rule, !isSkipped);
    }
  }
}

void RuleHits::count(const Tally& tally) {
  if (m_notes.size() > 1) std::sort(m_notes.begin(), m_notes.end());
  for (std::size_t i = 0; i < m_notes.size(); ++i) {
    const auto& [dataSet, rule, isScanned] = m_notes[i];
    if (i > 0 && std::get<0>(m_notes[i - 1]) == dataSet && std::get<1>(m_notes[i - 1]) == rule) {
      continue;
    }
    RuleHit& hit = m_hits[dataSet][rule];
    (isScanned ? hit.scanned : hit.skipped).add(tally);
  }
  m_notes.clear();
  for (auto& rules : m_ofFile) rules.reset();
}

const std::vector<std::size_t>& RuleHits::rulesThatMatch(std::size_t dataSet, std::size_t query,
                                                         QVL::LookupData& request) {
  if (m_policy.dataSets[dataSet].kind == Kind::Process) return rulesOfProcesses(dataSet, query);
  std::optional<std::vector<std::size_t>>& known = m_ofFile[dataSet];
  if (!known) known = m_engine.rulesThatMatch(dataSet, request);
  return *known;
}

const std::vector<std::size_t>& RuleHits::rulesOfProcesses(std::size_t dataSet, std::size_t query) {
  std::optional<std::vector<std::size_t>>& known = m_ofProcesses[dataSet][query];
  if (known) return *known;
  QVL::LookupData request = requestFor(m_queries[query]);
  std::set<std::size_t> rules;
  const auto add = [&](const std::string& process) {
    request.m_processName = process;
    for (const std::size_t rule : m_engine.rulesThatMatch(dataSet, request)) rules.insert(rule);
  };
  add(m_queries[query].process);
  for (const std::string& process : m_queries[query].alikeProcesses) add(process);
  known.emplace(rules.begin(), rules.end());
  return *known;
}

void RuleHits::findLeftOutRules(const LogicPart& logic) {
  std::set<RulePlace> asked;
  for (std::size_t query = 0; query < m_queries.size(); ++query) {
    asked.merge(rulesWithinReach(logic, query));
  }
  for (const RulePlace& place : rulesWithinReach(logic, std::nullopt)) {
    m_hits[place.first][place.second].isLeftOut = asked.count(place) == 0;
  }
}

// The rules that a query may hit, as far as its processes and access type decide it; without one,
// those that any may.
std::set<RuleHits::RulePlace> RuleHits::rulesWithinReach(const LogicPart& logic,
                                                         std::optional<std::size_t> query) {
  const auto possible = [&](unsigned int number) -> Possible {
    const auto found = m_indices.find(number);
    if (found == m_indices.end()) return {false, true};
    const DataSet& dataSet = m_policy.dataSets[found->second];
    if (!dataSet.enabled) return {false, true};
    if (dataSet.matchAnything || dataSet.matchEmptyInput) return {true, true};
    const bool canMatch = !rulesWithinReach(found->second, query).empty();
    const bool isSettled = query && canMatch && dataSet.kind == Kind::Process;
    return {canMatch, !isSettled};
  };
  std::set<unsigned int> asked;
  collectAsked(logic, possible, asked);
  std::set<RulePlace> places;
  for (const unsigned int number : asked) {
    const auto found = m_indices.find(number);
    if (found == m_indices.end()) continue;
    for (const std::size_t rule : rulesWithinReach(found->second, query)) {
      places.insert({found->second, rule});
    }
  }
  return places;
}

// The rules of one data set by themselves.
std::vector<std::size_t> RuleHits::rulesWithinReach(std::size_t dataSetIndex,
                                                    std::optional<std::size_t> query) {
  const DataSet& dataSet = m_policy.dataSets[dataSetIndex];
  std::vector<std::size_t> rules;
  if (query && dataSet.kind == Kind::Process) {
    rules = rulesOfProcesses(dataSetIndex, *query);
  } else {
    for (std::size_t i = 0; i < dataSet.rules.size(); ++i) rules.push_back(i);
  }
  if (!query) return rules;
  const auto isForOther = [&](std::size_t rule) {
    return !fitsAccess(dataSet, dataSet.rules[rule], m_queries[*query].access);
  };
  rules.erase(std::remove_if(rules.begin(), rules.end(), isForOther), rules.end());
  return rules;
}

}  // namespace qvlctl
