#include "policy/RuleText.h"

#include <algorithm>
#include <vector>

#include "fmt/format.h"
#include "io/Output.h"

namespace qvlctl {
namespace {

// The engine's age text taken apart: a selector, three characters that it does not read, the days.
struct Age {
  const char* of;
  std::vector<unsigned int> days;
};

Age ageOf(const Rule& rule) {
  Age age = {rule.text.front() == '0' ? "creation" : "modification", {}};
  for (std::size_t start = 4; start < rule.text.size();) {
    const std::size_t end = std::min(rule.text.find(',', start), rule.text.size());
    age.days.push_back(parseNumber(rule.text.substr(start, end - start)).value_or(0));
    start = end + 1;
  }
  return age;
}

}  // namespace

std::string ruleText(Kind kind, const Rule& rule) {
  if (kind != Kind::FileAge) return escapedPattern(rule.text);
  const Age age = ageOf(rule);
  const unsigned int least = *std::min_element(age.days.begin(), age.days.end());
  return fmt::format("{} more than {} ago", age.of, counted(least, "day", "days"));
}

std::vector<unsigned int> daysOf(const Rule& rule) {
  return ageOf(rule).days;
}

std::string ruleInWords(const Policy& policy, const DataSet& dataSet, std::size_t rule) {
  const std::size_t line = dataSet.rules[rule].line;
  return fmt::format("rule {}, {}{}: {}", rule + 1, escaped(policy.file),
                     line > 0 ? fmt::format(":{}", line) : "",
                     ruleText(dataSet.kind, dataSet.rules[rule]));
}

Json ruleInJson(const DataSet& dataSet, std::size_t rule) {
  const Rule& source = dataSet.rules[rule];
  Json json;
  json["rule"] = rule + 1;
  json["line"] = source.line;
  if (dataSet.kind == Kind::FileAge) {
    const Age age = ageOf(source);
    json["of"] = age.of;
    json["days"] = age.days;
  } else {
    json["text"] = source.text;
  }
  json["access"] = accessName(source.access);
  return json;
}

}  // namespace qvlctl
