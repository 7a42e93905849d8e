#include "qvlpolicy/RulePatterns.h"

#include <algorithm>
#include <bitset>
#include <exception>
#include <map>
#include <new>
#include <optional>
#include <set>
#include <string_view>
#include <utility>

#include "qvl/match/Expression.h"
#include "qvl/match/PatternLanguage.h"

namespace qvlpolicy {

bool isExpressionCharacter(char c) {
  switch (c) {
    case '+':
    case '(':
    case ')':
    case '[':
    case ']':
    case '{':
    case '}':
    case '^':
    case '$':
    case '|':
    case '\\':
      return true;
    default:
      return false;
  }
}

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

namespace {

std::vector<std::string_view> namesOf(const std::map<std::string_view, const Keyword*>& keywords) {
  std::vector<std::string_view> names;
  for (const auto& keyword : keywords) names.push_back(keyword.first);
  return names;
}

// In the order of their names, in which the engine puts them in; of two with one name the last.
std::map<std::string_view, const Keyword*> inOrder(const DataSet& dataSet) {
  std::map<std::string_view, const Keyword*> keywords;
  for (const Keyword& keyword : dataSet.keywords) keywords[keyword.name] = &keyword;
  return keywords;
}

// Is the rule made of wildcards and ordinary characters of ASCII alone? Such a one is never left to
// the engine (test RulesLeftToTheEngine.AreNoneOfPlainPatterns).
bool isPlainPattern(const DataSet& dataSet, const Rule& rule) {
  if (!dataSet.wildcards || dataSet.kind == Kind::FileType || !dataSet.keywords.empty() ||
      rule.defaultFolder) {
    return false;
  }
  return std::all_of(rule.text.begin(), rule.text.end(),
                     [](char c) { return c > ' ' && c < 0x7F && !isExpressionCharacter(c); });
}

}  // namespace

RulePatterns::RulePatterns(const DataSet& dataSet)
    : m_dataSet(dataSet), m_names(namesOf(inOrder(dataSet))) {
  std::bitset<256> inValues;
  for (const auto& named : inOrder(dataSet)) {
    const std::vector<std::string>& values = named.second->values;
    m_keywords.push_back({named.second, std::make_shared<const QVL::Alternation>(
                                            std::set<std::string>(values.begin(), values.end()))});
    for (const char byte : m_keywords.back().alternation->expression()) {
      inValues.set(static_cast<unsigned char>(byte));
    }
  }
  // What stands across the border of a value holds a parenthesis.
  for (std::size_t i = 0; i < m_keywords.size(); ++i) {
    const std::string& name = m_keywords[i].keyword->name;
    const bool mayBe = name.find_first_of("()") != std::string::npos ||
                       std::all_of(name.begin(), name.end(), [&](char byte) {
                         return inValues[static_cast<unsigned char>(byte)];
                       });
    if (mayBe) m_maybeInValues.push_back(i);
  }
}

std::unique_ptr<const QVL::Program> RulePatterns::programOf(const Rule& rule) {
  if (m_dataSet.kind == Kind::FileAge) return nullptr;
  QVL::ExpressionText expression(expressionBeforeKeywords(m_dataSet, rule));
  substituteKeywords(expression, nullptr);
  expression.append(endOfExpression(m_dataSet, rule));
  const std::optional<QVL::Reading> reading =
      QVL::readExpression(expression, m_dataSet.caseSensitive);
  return reading ? QVL::Program::of(reading->steps, reading->caseSensitive, &m_sets) : nullptr;
}

bool RulePatterns::isLeftToTheEngine(const Rule& rule) {
  if (m_dataSet.kind == Kind::FileAge || isPlainPattern(m_dataSet, rule)) return false;
  try {
    return programOf(rule) == nullptr;
  } catch (const std::bad_alloc&) {
    throw;
  } catch (const std::exception&) {
    return true;  // a set of characters that is none
  }
}

std::vector<const Keyword*> RulePatterns::keywordsIn(const Rule& rule) {
  std::vector<const Keyword*> found;
  if (m_dataSet.kind == Kind::FileAge) return found;
  QVL::ExpressionText expression(expressionBeforeKeywords(m_dataSet, rule));
  substituteKeywords(expression, &found);
  return found;
}

void RulePatterns::substituteKeywords(QVL::ExpressionText& expression,
                                      std::vector<const Keyword*>* found) {
  if (m_keywords.empty()) return;
  m_tried.clear();
  for (std::string_view rest = expression.text(); !rest.empty(); rest.remove_prefix(1)) {
    m_steps += m_names.eachAtStartOf(rest, [&](std::size_t i) { m_tried.push_back(i); });
  }
  // Without any of them there is no value either that could hold another one.
  if (m_tried.empty()) return;
  m_tried.insert(m_tried.end(), m_maybeInValues.begin(), m_maybeInValues.end());
  std::sort(m_tried.begin(), m_tried.end());
  m_tried.erase(std::unique(m_tried.begin(), m_tried.end()), m_tried.end());
  for (const std::size_t i : m_tried) {
    const std::shared_ptr<const QVL::Alternation>& alternation = m_keywords[i].alternation;
    m_steps += expression.text().size();
    if (std::binary_search(m_maybeInValues.begin(), m_maybeInValues.end(), i)) {
      for (const auto& place : expression.places()) {
        m_steps += place.alternation->expression().size();
      }
    }
    expression.substitute(m_keywords[i].keyword->name, alternation);
    if (found == nullptr) continue;
    const auto& places = expression.places();
    const bool isThere = std::any_of(places.begin(), places.end(), [&](const auto& place) {
      return place.alternation == alternation;
    });
    if (isThere) found->push_back(m_keywords[i].keyword);
  }
}

}  // namespace qvlpolicy
