#include "queries/Queries.h"

#include <cstddef>
#include <vector>

#include "fmt/format.h"
#include "io/Output.h"
#include "io/OutputChoices.h"
#include "policy/Policy.h"
#include "policy/RuleText.h"

namespace qvlctl {

std::string queryInWords(const Query& query) {
  std::string text = accessName(query.access) + ", ";
  text += query.process.empty() ? "no process" : escaped(query.process);
  const std::size_t others = query.alikeProcesses.size();
  if (others > 0) text += fmt::format(" (and {} alike)", counted(others, "process", "processes"));
  return text;
}

Json queryInJson(const Query& query) {
  Json json = objectOf(6);
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

void complainOfNameless(const Queries& queries) {
  constexpr std::size_t kMostToTell = 10;
  const std::vector<qvlpolicy::NamelessRule>& rules = queries.nameless();
  if (rules.empty()) return;
  remark(
      fmt::format("note: {} asked for: no name of a process was found that {}; give one with "
                  "--process",
                  rules.size() == 1 ? "1 process rule is not"
                                    : grouped(rules.size()) + " process rules are not",
                  rules.size() == 1 ? "it matches" : "they match"));
  for (std::size_t i = 0; i < rules.size() && i < kMostToTell; ++i) {
    const Policy& policy = queries.policies()[rules[i].policy]->description();
    const DataSet& dataSet = policy.dataSets[rules[i].dataSet];
    remark(fmt::format("  data set {}, {}", dataSet.number,
                       ruleInWords(policy, dataSet, rules[i].rule)));
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
