#include "policy/RuleMatcher.h"

#include <exception>
#include <utility>

#include "policy/Engine.h"

namespace qvlctl {
namespace {

constexpr std::size_t kFewRules = 8;

// A data set of the same texts whose answer depends on the rules alone.
DataSet withoutSwitches(const DataSet& dataSet) {
  DataSet plain;
  plain.kind = dataSet.kind;
  plain.caseSensitive = dataSet.caseSensitive;
  plain.wildcards = dataSet.wildcards;
  plain.accessCheck = DataSet::AccessCheck::Never;
  plain.keywords = dataSet.keywords;
  return plain;
}

std::unique_ptr<QVL::IAvoidance> makeRuleIfValid(const DataSet& dataSet, const Rule& rule) {
  try {
    return makeRule(dataSet, rule);
  } catch (const QVL::QVLException&) {
    return nullptr;
  }
}

}  // namespace

// A stretch of the rules: few of them as they are, or all of them in one data set and two halves.
struct RuleMatcher::Node {
  std::vector<std::pair<std::size_t, std::unique_ptr<QVL::IAvoidance>>> rules;
  std::shared_ptr<QVL::IDataSet> all;
  std::unique_ptr<Node> firstHalf;
  std::unique_ptr<Node> secondHalf;

  Node(const DataSet& switches, const std::vector<Rule>& source, std::size_t begin,
       std::size_t end) {
    if (end - begin <= kFewRules) {
      for (std::size_t i = begin; i < end; ++i) {
        if (auto rule = makeRuleIfValid(switches, source[i]))
          rules.emplace_back(i, std::move(rule));
      }
      return;
    }
    all = makeDataSet(switches);
    for (std::size_t i = begin; i < end; ++i) {
      if (auto rule = makeRuleIfValid(switches, source[i])) all->addToDataSet(std::move(rule));
    }
    const std::size_t middle = begin + (end - begin) / 2;
    firstHalf = std::make_unique<Node>(switches, source, begin, middle);
    secondHalf = std::make_unique<Node>(switches, source, middle, end);
  }

  void collect(QVL::LookupData& request, std::vector<std::size_t>& found) const {
    if (!all) {
      for (const auto& [index, rule] : rules) {
        if (rule->canAvoid(request)) found.push_back(index);
      }
    } else if (all->isPresentInDataSet(request)) {
      firstHalf->collect(request, found);
      secondHalf->collect(request, found);
    }
  }
};

RuleMatcher::RuleMatcher(const DataSet& dataSet)
    : m_root(std::make_unique<Node>(withoutSwitches(dataSet), dataSet.rules, 0,
                                    dataSet.rules.size())) {}

RuleMatcher::RuleMatcher(RuleMatcher&&) noexcept = default;
RuleMatcher::~RuleMatcher() = default;

std::vector<std::size_t> RuleMatcher::matching(QVL::LookupData& request) const {
  std::vector<std::size_t> found;
  try {
    m_root->collect(request, found);
  } catch (const std::exception&) {
    // What the engine's expressions cannot read counts as not matching there, too.
    found.clear();
  }
  return found;
}

bool fitsAccess(const DataSet& dataSet, const Rule& rule, QVL::AccessTypes access) {
  switch (dataSet.accessCheck) {
    case DataSet::AccessCheck::ByRule:
      return rule.access == QVL::AnyAccess || rule.access == access;
    case DataSet::AccessCheck::AtDataSet:
      return dataSet.access == QVL::AnyAccess || dataSet.access == access;
    case DataSet::AccessCheck::Never:
      return true;
  }
  return false;
}

}  // namespace qvlctl
