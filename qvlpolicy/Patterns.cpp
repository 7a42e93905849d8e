#include "qvlpolicy/Patterns.h"

#include <qvl/qvl.h>

#include <algorithm>
#include <set>

#include "fmt/format.h"

namespace qvlpolicy {
namespace {

struct Replacement {
  const char* from;
  const char* to;
};

// In this order: each works on what the ones before it left. The words stand for wildcards whose
// own stars are not to be replaced again.
constexpr Replacement kPathWildcards[] = {
    {".", "\\."},   {"/**/", "DOUBLEWITHSLASH"},    {"**", "DOUBLE"},
    {"*", "[^/]*"}, {"DOUBLEWITHSLASH", "/(.*/|)"}, {"DOUBLE", ".*"},
    {"?", "[^/]"},
};

constexpr Replacement kFileTypeWildcards[] = {{"?", "[^/]"}, {"*", "\\*"}};

template <std::size_t N>
void replace(std::string& text, const Replacement (&replacements)[N]) {
  for (const Replacement& replacement : replacements) {
    text = QVL::Utility::replaceAll(std::move(text), replacement.from, replacement.to);
  }
}

std::string alternation(const Keyword& keyword) {
  const std::set<std::string> values(keyword.values.begin(), keyword.values.end());
  return fmt::format("({})", fmt::join(values, "|"));
}

// The text before keywords are put in.
std::string withoutKeywords(const DataSet& dataSet, const Rule& rule) {
  std::string text = rule.text;
  if (dataSet.wildcards) {
    dataSet.kind == Kind::FileType ? replace(text, kFileTypeWildcards)
                                   : replace(text, kPathWildcards);
  }
  if (rule.defaultFolder && rule.text.find_first_of("/%") == std::string::npos) {
    text = *rule.defaultFolder + '/' + text;
  }
  return text;
}

// Calls `put` for each keyword, in the engine's order, with the text so far.
template <typename Put>
std::string putKeywordsIn(const DataSet& dataSet, const Rule& rule, Put put) {
  std::vector<const Keyword*> keywords;
  for (const Keyword& keyword : dataSet.keywords) keywords.push_back(&keyword);
  std::sort(keywords.begin(), keywords.end(),
            [](const Keyword* a, const Keyword* b) { return a->name < b->name; });
  std::string text = withoutKeywords(dataSet, rule);
  for (const Keyword* const keyword : keywords) {
    if (text.find(keyword->name) == std::string::npos) continue;
    put(keyword);
    text = QVL::Utility::replaceAll(std::move(text), keyword->name, alternation(*keyword));
  }
  return text;
}

}  // namespace

std::string expressionOf(const DataSet& dataSet, const Rule& rule) {
  if (dataSet.kind == Kind::FileAge) return {};
  std::string text = putKeywordsIn(dataSet, rule, [](const Keyword*) {});
  if (dataSet.kind == Kind::Folder) text += rule.includeSubfolders ? ".*" : "[^/]*";
  return text;
}

std::vector<const Keyword*> keywordsIn(const DataSet& dataSet, const Rule& rule) {
  std::vector<const Keyword*> found;
  putKeywordsIn(dataSet, rule, [&](const Keyword* keyword) { found.push_back(keyword); });
  return found;
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

}  // namespace qvlpolicy
