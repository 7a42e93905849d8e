#include <qvl/qvl.h>

#include <algorithm>
#include <cctype>
#include <exception>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "fmt/format.h"
#include "qvlpolicy/Patterns.h"
#include "qvlpolicy/Queries.h"

namespace qvlpolicy {
namespace {

// Without the backslashes that take the meaning of what follows away.
std::string unescaped(const std::string& expression) {
  std::string text;
  for (std::size_t i = 0; i < expression.size(); ++i) {
    const bool isEscape = expression[i] == '\\' && i + 1 < expression.size() &&
                          std::ispunct(static_cast<unsigned char>(expression[i + 1])) != 0;
    text += expression[isEscape ? ++i : i];
  }
  return text;
}

// A text that the expression is likely to match.
std::string sampleOf(std::string expression) {
  struct Replacement {
    const char* from;
    const char* to;
  };
  static constexpr Replacement kReplacements[] = {
      {"/(.*/|)", "/"}, {"[^/]*", "any"}, {"[^/]+", "any"}, {"[^/]", "x"},
      {".*", "any"},    {".+", "any"},    {"[0-9]+", "1"},  {"[0-9]", "1"}};
  for (const Replacement& replacement : kReplacements) {
    expression = QVL::Utility::replaceAll(std::move(expression), replacement.from, replacement.to);
  }
  return unescaped(expression);
}

}  // namespace

std::optional<std::string> processNameFor(const DataSet& dataSet, const Rule& rule) {
  std::unique_ptr<QVL::IAvoidance> made;
  try {
    made = makeRule(dataSet, rule);
  } catch (const QVL::QVLException&) {
    return std::nullopt;
  }
  const auto matches = [&](const std::string& name) {
    QVL::LookupData request;
    request.m_processName = name;
    try {
      return !name.empty() && made->canAvoid(request);
    } catch (const std::exception&) {
      return false;  // as the engine counts what an expression gives up on
    }
  };
  // The plain name first: a rule without signs is its own name.
  std::vector<std::string> candidates = {rule.text};
  std::size_t values = 1;
  for (const Keyword* const keyword : keywordsIn(dataSet, rule)) {
    values = std::max(values, keyword->values.size());
  }
  // There may be many rules, and the expression of one needs none of the others.
  DataSet withoutRules;
  withoutRules.kind = dataSet.kind;
  withoutRules.wildcards = dataSet.wildcards;
  withoutRules.caseSensitive = dataSet.caseSensitive;
  withoutRules.keywords = dataSet.keywords;
  for (std::size_t i = 0; i < values; ++i) {
    DataSet one = withoutRules;
    for (Keyword& keyword : one.keywords) {
      keyword.values = {keyword.values[std::min(i, keyword.values.size() - 1)]};
    }
    std::string expression = expressionOf(one, rule);
    for (const Keyword& keyword : one.keywords) {
      const std::string& value = keyword.values.front();
      expression =
          QVL::Utility::replaceAll(std::move(expression), fmt::format("({})", value), value);
    }
    candidates.push_back(sampleOf(std::move(expression)));
  }
  for (const std::string& candidate : candidates) {
    if (matches(candidate)) return candidate;
  }
  return std::nullopt;
}

}  // namespace qvlpolicy
