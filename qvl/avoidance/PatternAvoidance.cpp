#include "qvl/avoidance/PatternAvoidance.h"

#include <utility>

#include "qvl/avoidance/RuleKind.h"
#include "qvl/match/Keywords.h"
#include "qvl/match/PatternLanguage.h"

namespace QVL {

struct QVL_HIDDEN PatternAvoidance::State {
  const PatternFrame frame;
  KeywordTable m_keywords;
};

PatternAvoidance::PatternAvoidance(const RuleKind& kind, AccessTypes accessType, PatternFrame frame)
    : Avoidance(kind, accessType), m_patternState(new State{std::move(frame), {}}) {}

PatternAvoidance::~PatternAvoidance() = default;

bool PatternAvoidance::addOrUpdateKeyword(std::string keyword, std::set<std::string> values) {
  trace("addOrUpdateKeyword");
  if (keyword.empty() || values.empty()) return false;
  m_patternState->m_keywords.set(keyword, std::make_shared<const Alternation>(std::move(values)));
  return true;
}

bool PatternAvoidance::deleteKeyword(std::string keyword) {
  trace("deleteKeyword");
  return m_patternState->m_keywords.erase(keyword);
}

KeywordTable& PatternAvoidance::keywords() {
  return m_patternState->m_keywords;
}

bool buildPatternExpression(const Avoidance& rule, const std::string& text, bool wildCards,
                            ExpressionText& expression) {
  const PatternAvoidance::State& state = *static_cast<const PatternAvoidance&>(rule).m_patternState;
  const PatternFrame& frame = state.frame;
  if (frame.defaultFolder && frame.defaultFolder->empty()) return false;
  expression = ExpressionText(expressionBeforeKeywords(text, wildCards, frame.defaultFolder.get()));
  for (const auto& [keyword, values] : state.m_keywords) expression.substitute(keyword, values);
  expression.append(frame.behind);
  return true;
}

}  // namespace QVL
