#include "qvlpolicy/lint/LogicChecks.h"

#include <algorithm>
#include <functional>
#include <set>
#include <string>

#include "fmt/format.h"
#include "qvlpolicy/Patterns.h"
#include "qvlpolicy/Text.h"

namespace qvlpolicy {
namespace {

char operatorOf(const LogicPart& part) {
  return part.postfix[part.postfix.size() - 2];
}

bool valueOf(const LogicPart& part, const std::function<bool(unsigned int)>& matches) {
  if (part.dataSet) return matches(*part.dataSet);
  const auto value = [&](std::size_t i) { return valueOf(part.parts[i], matches); };
  switch (operatorOf(part)) {
    case '!':
      return !value(0);
    case '&':
      return value(0) && value(1);
    default:
      return value(0) || value(1);
  }
}

// Does the number stand where its match works towards a skip: under an even number of negations?
bool isInFavour(unsigned int dataSet, const LogicPart& part, bool isNegated = false) {
  if (part.dataSet) return *part.dataSet == dataSet && !isNegated;
  const bool negates = operatorOf(part) == '!';
  return std::any_of(part.parts.begin(), part.parts.end(), [&](const LogicPart& inner) {
    return isInFavour(dataSet, inner, isNegated != negates);
  });
}

// Do & and | meet without parentheses between them?
bool mixesOperators(const std::string& logic) {
  std::vector<std::string> operators(1);
  for (const char c : logic) {
    if (c == '(') operators.emplace_back();
    if (c == ')' && operators.size() > 1) operators.pop_back();
    if (c == '&' || c == '|') {
      operators.back() += c;
      if (operators.back().find(c == '&' ? '|' : '&') != std::string::npos) return true;
    }
  }
  return false;
}

}  // namespace

Role roleOf(unsigned int dataSet, const LogicPart& logic) {
  if (!isInFavour(dataSet, logic)) return Role::Hinders;
  return valueOf(logic, [&](unsigned int number) { return number == dataSet; }) ? Role::Decides
                                                                                : Role::Helps;
}

Findings checkLogic(const Description& policy, const LogicPart& logic) {
  Findings findings;
  const Position position = positionOfLogic(policy);
  if (mixesOperators(policy.logic)) {
    findings.push_back({"mixed-operators", Severity::Warning, position,
                        fmt::format("& and | bind alike and group from the left: {} means {}",
                                    inQuotes(trimmed(policy.logic)), logic.text),
                        "write the parentheses"});
  }
  if (valueOf(logic, [](unsigned int) { return false; })) {
    findings.push_back({"true-without-match", Severity::Warning, position,
                        "it is true when no data set matches: files that no rule names are skipped",
                        "combine what is negated with something that has to match, such as 1&!2"});
  }
  const std::vector<unsigned int> numbers = dataSetsIn(logic);
  const std::vector<DataSet>& dataSets = policy.dataSets;
  std::set<unsigned int> existing;
  for (const DataSet& dataSet : dataSets) existing.insert(dataSet.number);
  for (const unsigned int number : numbers) {
    if (existing.count(number) > 0) continue;
    findings.push_back({"no-such-data-set", Severity::Warning, position,
                        fmt::format("there is no data set {}; it counts as not matching", number),
                        "add the data set, or take its number out"});
  }
  for (std::size_t i = 0; i < dataSets.size(); ++i) {
    if (std::binary_search(numbers.begin(), numbers.end(), dataSets[i].number)) continue;
    findings.push_back({"unused-data-set", Severity::Warning, positionOf(policy, i),
                        fmt::format("the logic never asks data set {}", dataSets[i].number),
                        "put its number into the logic, or remove the data set", i});
  }
  return findings;
}

}  // namespace qvlpolicy
