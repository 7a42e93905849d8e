#include "qvl/avoidance/PatternAvoidance.h"

#include <utility>

#include "qvl/match/Keywords.h"
#include "qvl/match/PatternLanguage.h"

namespace QVL {

struct PatternAvoidance::Keywords {
  KeywordTable m_keywords;
};

PatternAvoidance::PatternAvoidance(const RuleTexts& texts, AccessTypes accessType)
    : Avoidance(texts, accessType), m_keywords(std::make_unique<Keywords>()) {}

PatternAvoidance::~PatternAvoidance() = default;

bool PatternAvoidance::addOrUpdateKeyword(std::string keyword, std::set<std::string> values) {
  trace("addOrUpdateKeyword");
  if (keyword.empty() || values.empty()) return false;
  m_keywords->m_keywords.set(keyword, std::make_shared<const Alternation>(std::move(values)));
  return true;
}

bool PatternAvoidance::deleteKeyword(std::string keyword) {
  trace("deleteKeyword");
  return m_keywords->m_keywords.erase(keyword);
}

KeywordTable& PatternAvoidance::keywords() {
  return m_keywords->m_keywords;
}

bool PatternAvoidance::buildExpression(ExpressionText& expression) const {
  std::string translated = wildCardSearch() ? expressionOfGlob(text()) : text();
  if (!prepareForKeywords(translated)) return false;
  expression = ExpressionText(std::move(translated));
  for (const auto& [keyword, values] : m_keywords->m_keywords) {
    expression.substitute(keyword, values);
  }
  expression.append(ending());
  return true;
}

bool PatternAvoidance::prepareForKeywords(std::string& /*expression*/) const {
  return true;
}

const char* PatternAvoidance::ending() const {
  return "";
}

}  // namespace QVL
