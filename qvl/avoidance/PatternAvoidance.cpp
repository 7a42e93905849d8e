#include "qvl/avoidance/PatternAvoidance.h"

#include <boost/algorithm/string/join.hpp>
#include <utility>

#include "qvl/avoidance/Utility.h"

namespace QVL {
namespace {

// The expression of a glob. The stars that a step puts in must not be rewritten by a later one, so
// the double star waits under a placeholder; a rule text that holds such a word means the wildcard.
std::string translate(std::string glob) {
  struct Step {
    const char* from;
    const char* to;
  };
  static constexpr Step kSteps[] = {
      {".", "\\."},   {"/**/", "DOUBLEWITHSLASH"},    {"**", "DOUBLE"},
      {"*", "[^/]*"}, {"DOUBLEWITHSLASH", "/(.*/|)"}, {"DOUBLE", ".*"},
      {"?", "[^/]"},
  };
  for (const Step& step : kSteps) glob = Utility::replaceAll(std::move(glob), step.from, step.to);
  return glob;
}

}  // namespace

struct PatternAvoidance::Keywords {
  std::map<std::string, std::string> m_keywords;  // keyword to parenthesised alternation
};

PatternAvoidance::PatternAvoidance(const RuleTexts& texts, AccessTypes accessType)
    : Avoidance(texts, accessType), m_keywords(std::make_unique<Keywords>()) {}

PatternAvoidance::~PatternAvoidance() = default;

bool PatternAvoidance::addOrUpdateKeyword(std::string keyword, std::set<std::string> values) {
  trace("addOrUpdateKeyword");
  if (keyword.empty() || values.empty()) return false;
  m_keywords->m_keywords[std::move(keyword)] = "(" + boost::algorithm::join(values, "|") + ")";
  return true;
}

bool PatternAvoidance::deleteKeyword(std::string keyword) {
  trace("deleteKeyword");
  return m_keywords->m_keywords.erase(keyword) != 0;
}

bool PatternAvoidance::buildExpression(std::string& expression) const {
  expression = wildCardSearch() ? translate(text()) : text();
  if (!prepareForKeywords(expression)) return false;
  for (const auto& [keyword, replacement] : m_keywords->m_keywords) {
    expression = Utility::replaceAll(std::move(expression), keyword, replacement);
  }
  complete(expression);
  return true;
}

bool PatternAvoidance::prepareForKeywords(std::string& /*expression*/) const {
  return true;
}

void PatternAvoidance::complete(std::string& /*expression*/) const {}

}  // namespace QVL
