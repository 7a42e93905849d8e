#include "qvlpolicy/RulePatterns.h"

#include <algorithm>
#include <optional>
#include <set>
#include <utility>

#include "qvl/match/Expression.h"
#include "qvl/match/PatternLanguage.h"

namespace qvlpolicy {

std::string expressionBeforeKeywords(const DataSet& dataSet, const Rule& rule) {
  if (dataSet.kind == Kind::FileType) {
    return dataSet.wildcards ? QVL::expressionOfFileType(rule.text) : rule.text;
  }
  return QVL::expressionBeforeKeywords(rule.text, dataSet.wildcards,
                                       rule.defaultFolder ? &*rule.defaultFolder : nullptr);
}

const char* endOfExpression(const DataSet& dataSet, const Rule& rule) {
  return dataSet.kind == Kind::Folder ? QVL::endOfFolder(rule.includeSubfolders) : "";
}

RulePatterns::RulePatterns(const DataSet& dataSet) : m_dataSet(dataSet) {
  for (const Keyword& keyword : dataSet.keywords) {
    m_keywords[keyword.name] = {
        &keyword, std::make_shared<const QVL::Alternation>(
                      std::set<std::string>(keyword.values.begin(), keyword.values.end()))};
  }
}

std::unique_ptr<const QVL::Program> RulePatterns::programOf(const Rule& rule) {
  if (m_dataSet.kind == Kind::FileAge) return nullptr;
  QVL::ExpressionText expression(expressionBeforeKeywords(m_dataSet, rule));
  for (const auto& [name, values] : m_keywords) expression.substitute(name, values.alternation);
  expression.append(endOfExpression(m_dataSet, rule));
  const std::optional<QVL::Reading> reading =
      QVL::readExpression(expression, m_dataSet.caseSensitive);
  return reading ? QVL::Program::of(reading->steps, reading->caseSensitive, &m_sets) : nullptr;
}

std::vector<const Keyword*> RulePatterns::keywordsIn(const Rule& rule) const {
  std::vector<const Keyword*> found;
  if (m_keywords.empty() || m_dataSet.kind == Kind::FileAge) return found;
  QVL::ExpressionText expression(expressionBeforeKeywords(m_dataSet, rule));
  for (const auto& [name, values] : m_keywords) {
    const std::shared_ptr<const QVL::Alternation>& alternation = values.alternation;
    expression.substitute(name, alternation);
    const auto& places = expression.places();
    const bool isThere = std::any_of(places.begin(), places.end(), [&](const auto& place) {
      return place.alternation == alternation;
    });
    if (isThere) found.push_back(values.keyword);
  }
  return found;
}

}  // namespace qvlpolicy
