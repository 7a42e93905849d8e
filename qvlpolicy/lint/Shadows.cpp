#include "qvlpolicy/lint/Shadows.h"

#include <algorithm>
#include <cstdint>
#include <set>
#include <string>
#include <unordered_map>
#include <utility>

#include "qvlpolicy/Engine.h"
#include "qvlpolicy/Patterns.h"
#include "qvlpolicy/PieceIndex.h"
#include "qvlpolicy/lint/PatternOrder.h"

namespace qvlpolicy {
namespace {

bool fitsAllAccessesOf(const DataSet& dataSet, const Rule& wide, const Rule& narrow) {
  return dataSet.accessCheck != DataSet::AccessCheck::ByRule || wide.access == QVL::AnyAccess ||
         wide.access == narrow.access;
}

// The rules whose key no earlier rule has.
std::vector<std::size_t> firstOfEachKey(const DataSet& dataSet) {
  std::set<std::string, KeyOrder> keys(keyOrderOf(dataSet.kind));
  std::vector<std::size_t> first;
  for (std::size_t i = 0; i < dataSet.rules.size(); ++i) {
    if (keys.insert(dataSet.rules[i].text).second) first.push_back(i);
  }
  return first;
}

// Ages are numbers: of each time of a file and each access the rule with the fewest days covers
// most.
std::vector<std::optional<std::size_t>> agesInShadow(const DataSet& dataSet) {
  const std::vector<Rule>& rules = dataSet.rules;
  struct Age {
    bool ofCreation;
    unsigned int days;
  };
  std::vector<Age> ages;
  std::unordered_map<std::uint64_t, std::size_t> widest;  // by time and access
  const auto keyOf = [](bool ofCreation, QVL::AccessTypes access) {
    return std::uint64_t{access} << 1 | (ofCreation ? 1u : 0u);
  };
  for (std::size_t i = 0; i < rules.size(); ++i) {
    const std::vector<unsigned int> days = ageOf(rules[i]).days;
    ages.push_back({rules[i].text.front() == '0', *std::min_element(days.begin(), days.end())});
    const bool comparesAccess = dataSet.accessCheck == DataSet::AccessCheck::ByRule;
    const auto [found, isNew] = widest.emplace(
        keyOf(ages[i].ofCreation, comparesAccess ? rules[i].access : QVL::AnyAccess), i);
    if (!isNew && ages[i].days < ages[found->second].days) found->second = i;
  }
  std::vector<std::optional<std::size_t>> shadows(rules.size());
  for (std::size_t i = 0; i < rules.size(); ++i) {
    for (const QVL::AccessTypes access : {rules[i].access, QVL::AnyAccess}) {
      const auto found = widest.find(keyOf(ages[i].ofCreation, access));
      if (shadows[i] || found == widest.end() || found->second == i) continue;
      const std::size_t j = found->second;
      if (haveSameKey(dataSet.kind, rules[i], rules[j]) || ages[j].days > ages[i].days) continue;
      const bool isMutual =
          ages[j].days == ages[i].days && fitsAllAccessesOf(dataSet, rules[i], rules[j]);
      if (!isMutual || j < i) shadows[i] = j;
    }
  }
  return shadows;
}

}  // namespace

Shadows rulesInShadow(const DataSet& dataSet, const ShadowLimits& limits) {
  Shadows shadows;
  if (dataSet.kind == Kind::FileAge) {
    shadows.byRule = agesInShadow(dataSet);
    return shadows;
  }
  const std::vector<Rule>& rules = dataSet.rules;
  if (rules.empty()) return shadows;
  std::vector<std::optional<Pattern>> patterns(rules.size());
  const KeywordNames names = keywordNamesOf(dataSet);
  for (const std::size_t i : firstOfEachKey(dataSet)) {
    if (shadows.named > limits.named) {
      ++shadows.cutShort;
      continue;
    }
    patterns[i] = Pattern::of(dataSet, names, rules[i], shadows.named);
  }
  const PieceIndex index(
      rules.size(), [&](std::size_t i) { return patterns[i] ? &patterns[i]->runs() : nullptr; });

  shadows.byRule.resize(rules.size());
  const std::size_t mostCompared = std::max(limits.pairs, limits.pairsInAll / rules.size());
  const std::size_t mostSteps = std::max(limits.steps, limits.stepsInAll / rules.size());
  Pattern::Scratch scratch;
  for (std::size_t i = 0; i < rules.size(); ++i) {
    if (!patterns[i]) continue;
    std::optional<std::size_t>& shadow = shadows.byRule[i];
    std::size_t seen = 0;
    std::size_t steps = 0;
    bool isCutShort = false;
    const auto covers = [&](std::size_t wide, std::size_t narrow) {
      if (!fitsAllAccessesOf(dataSet, rules[wide], rules[narrow])) return false;
      const std::optional<bool> does =
          patterns[wide]->covers(*patterns[narrow], mostSteps, steps, scratch);
      if (!does) isCutShort = true;
      return does.value_or(false);
    };
    index.eachCandidate(patterns[i]->runs(), [&](std::size_t j) {
      if (++seen > mostCompared || steps > mostSteps) {
        isCutShort = true;
        return false;
      }
      if (i == j || (shadow && *shadow <= j)) return true;
      ++shadows.pairs;
      if (!covers(j, i) || (i < j && covers(i, j))) return true;
      shadow = j;
      return true;
    });
    shadows.steps += steps;
    if (isCutShort && !shadow) ++shadows.cutShort;
  }
  return shadows;
}

}  // namespace qvlpolicy
