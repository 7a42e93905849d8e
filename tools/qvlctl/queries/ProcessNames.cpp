#include "queries/ProcessNames.h"

#include <qvl/qvl.h>

#include <algorithm>
#include <cctype>
#include <exception>
#include <memory>
#include <vector>

#include "fmt/format.h"
#include "policy/Engine.h"
#include "policy/Policy.h"

namespace qvlctl {
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
  for (std::size_t i = 0; i < values; ++i) {
    DataSet one = dataSet;
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

}  // namespace qvlctl
