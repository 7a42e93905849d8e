#include "qvlpolicy/Patterns.h"

#include <algorithm>
#include <set>
#include <utility>

#include "fmt/format.h"
#include "qvl/match/PatternLanguage.h"
#include "qvlpolicy/RulePatterns.h"
#include "qvlpolicy/Text.h"

namespace qvlpolicy {
namespace {

std::string alternation(const Keyword& keyword) {
  const std::set<std::string> values(keyword.values.begin(), keyword.values.end());
  return fmt::format("({})", fmt::join(values, "|"));
}

}  // namespace

std::string expressionOf(const DataSet& dataSet, const Rule& rule) {
  if (dataSet.kind == Kind::FileAge) return {};
  std::string text = expressionBeforeKeywords(dataSet, rule);
  for (const Keyword* const keyword : keywordsIn(dataSet, rule)) {
    text = QVL::withReplaced(std::move(text), keyword->name, alternation(*keyword));
  }
  return text + endOfExpression(dataSet, rule);
}

std::vector<const Keyword*> keywordsIn(const DataSet& dataSet, const Rule& rule) {
  return RulePatterns(dataSet).keywordsIn(rule);
}

std::vector<std::size_t> rulesLeftToTheEngine(const DataSet& dataSet) {
  std::vector<std::size_t> left;
  if (dataSet.kind == Kind::FileAge) return left;
  RulePatterns patterns(dataSet);
  for (std::size_t i = 0; i < dataSet.rules.size(); ++i) {
    if (patterns.isLeftToTheEngine(dataSet.rules[i])) left.push_back(i);
  }
  return left;
}

Age ageOf(const Rule& rule) {
  Age age = {rule.text.front() == '0' ? "creation" : "modification", {}};
  for (std::size_t start = 4; start < rule.text.size();) {
    const std::size_t end = std::min(rule.text.find(',', start), rule.text.size());
    age.days.push_back(parseNumber(rule.text.substr(start, end - start)).value_or(0));
    start = end + 1;
  }
  return age;
}

std::string ruleText(Kind kind, const Rule& rule) {
  if (kind != Kind::FileAge) return escapedPattern(rule.text);
  const Age age = ageOf(rule);
  const unsigned int least = *std::min_element(age.days.begin(), age.days.end());
  return fmt::format("{} more than {} ago", age.of, counted(least, "day", "days"));
}

}  // namespace qvlpolicy
