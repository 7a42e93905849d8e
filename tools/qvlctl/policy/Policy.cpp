#include "policy/Policy.h"

#include "fmt/format.h"
#include "io/Digest.h"
#include "io/Files.h"
#include "io/Output.h"
#include "io/OutputChoices.h"

namespace qvlctl {
namespace {

Position positionAt(const Policy& policy, const Place& place, std::string element) {
  return {policy.files[place.file], place.line, place.column, std::move(element)};
}

std::string inWords(const std::vector<Problem>& errors) {
  std::string text;
  for (const Problem& error : errors) {
    text += (text.empty() ? "" : "\nqvlctl: ") + qvlpolicy::inWords(error);
  }
  return text;
}

}  // namespace

std::string describe(const Position& position, std::string_view message) {
  std::string result = escaped(position.file);
  if (position.line > 0) result += fmt::format(":{}", position.line);
  if (position.line > 0 && position.column > 0) result += fmt::format(":{}", position.column);
  if (!position.element.empty()) result += ": " + position.element;
  return fmt::format("{}: {}", result, message);
}

Position positionOf(const Policy& policy, std::size_t dataSet) {
  const DataSet& found = policy.dataSets[dataSet];
  return positionAt(policy, found.place, fmt::format("data set {}", found.number));
}

Position positionOfRule(const Policy& policy, std::size_t dataSet, std::size_t rule) {
  const DataSet& found = policy.dataSets[dataSet];
  return positionAt(policy, found.rules[rule].place,
                    fmt::format("data set {}, rule {}", found.number, rule + 1));
}

Position positionOfKeyword(const Policy& policy, std::size_t dataSet, std::size_t keyword) {
  const DataSet& found = policy.dataSets[dataSet];
  return positionAt(policy, found.keywords[keyword].place,
                    fmt::format("data set {}, keyword {}", found.number, keyword + 1));
}

Position positionOfLogic(const Policy& policy) {
  return positionAt(policy, policy.logicPlace, "logic");
}

PolicyTrouble::PolicyTrouble(const std::vector<Problem>& errors) : Trouble(inWords(errors)) {}

PolicyFile readPolicy(const std::string& file) {
  const bool isInput = file == "-";
  std::string text = readFile(isInput ? "/dev/stdin" : file);
  std::string included;
  qvlpolicy::LoadOptions options;
  options.onIncluded = [&](const std::string&, std::string_view content) { included += content; };
  PolicyFile read;
  read.loaded = qvlpolicy::Policy::parse(text, isInput ? "standard input" : file, options);
  read.digest = sha256(text + included);
  return read;
}

PolicyFile loadPolicy(const std::string& file) {
  PolicyFile read = readPolicy(file);
  if (!read.loaded.policy) throw PolicyTrouble(read.loaded.errors);
  for (const Problem& warning : read.loaded.warnings) {
    remark("warning: " + qvlpolicy::inWords(warning));
  }
  return read;
}

}  // namespace qvlctl
