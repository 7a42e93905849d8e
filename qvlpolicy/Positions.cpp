#include <utility>

#include "fmt/format.h"
#include "qvlpolicy/Description.h"
#include "qvlpolicy/Text.h"

namespace qvlpolicy {
namespace {

Position positionAt(const Description& policy, const Place& place, std::string element) {
  return {policy.files[place.file], place.line, place.column, std::move(element)};
}

}  // namespace

Position positionOf(const Description& policy, std::size_t dataSet) {
  const DataSet& found = policy.dataSets[dataSet];
  return positionAt(policy, found.place, fmt::format("data set {}", found.number));
}

Position positionOfRule(const Description& policy, std::size_t dataSet, std::size_t rule) {
  const DataSet& found = policy.dataSets[dataSet];
  return positionAt(policy, found.rules[rule].place,
                    fmt::format("data set {}, rule {}", found.number, rule + 1));
}

Position positionOfKeyword(const Description& policy, std::size_t dataSet, std::size_t keyword) {
  const DataSet& found = policy.dataSets[dataSet];
  return positionAt(policy, found.keywords[keyword].place,
                    fmt::format("data set {}, keyword {}", found.number, keyword + 1));
}

Position positionOfLogic(const Description& policy) {
  return positionAt(policy, policy.logicPlace, "logic");
}

std::string inWords(const Position& position) {
  std::string text = escaped(position.file);
  if (position.line > 0) text += fmt::format(":{}", position.line);
  if (position.line > 0 && position.column > 0) text += fmt::format(":{}", position.column);
  if (!position.element.empty()) text += ": " + position.element;
  return text;
}

}  // namespace qvlpolicy
