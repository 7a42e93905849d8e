#include "policy/Policy.h"

#include <charconv>

#include "fmt/format.h"
#include "io/Output.h"

namespace qvlctl {

const char* kindName(Kind kind) {
  switch (kind) {
    case Kind::FilePath:
      return "file-path";
    case Kind::Folder:
      return "folder";
    case Kind::Process:
      return "process";
    case Kind::FileType:
      return "file-type";
    case Kind::FileAge:
      return "file-age";
  }
  return "";
}

std::optional<unsigned int> parseNumber(std::string_view text) {
  unsigned int number = 0;
  const char* const end = text.data() + text.size();
  const std::from_chars_result result = std::from_chars(text.data(), end, number);
  if (result.ec != std::errc() || result.ptr != end) return std::nullopt;
  return number;
}

std::optional<QVL::AccessTypes> parseAccess(std::string_view text) {
  if (text == "read") return QVL::ReadAccess;
  if (text == "write") return QVL::WriteAccess;
  if (text == "any") return QVL::AnyAccess;
  const std::optional<unsigned int> number = parseNumber(text);
  if (!number) return std::nullopt;
  return static_cast<QVL::AccessTypes>(*number);
}

std::string accessName(QVL::AccessTypes access) {
  switch (access) {
    case QVL::ReadAccess:
      return "read";
    case QVL::WriteAccess:
      return "write";
    case QVL::AnyAccess:
      return "any";
  }
  return std::to_string(access);
}

std::string describe(const std::string& file, const Position& position, std::string_view message) {
  std::string result = escaped(file);
  if (position.line > 0) result += fmt::format(":{}", position.line);
  if (!position.element.empty()) result += ": " + position.element;
  return fmt::format("{}: {}", result, message);
}

std::string dataSetInWords(std::size_t dataSet, std::string_view number) {
  return number.empty() ? fmt::format("data set {}", dataSet + 1)
                        : fmt::format("data set {} (number {})", dataSet + 1, escaped(number));
}

Position positionOf(const Policy& policy, std::size_t dataSet) {
  const DataSet& found = policy.dataSets[dataSet];
  return {found.line, dataSetInWords(dataSet, std::to_string(found.number))};
}

Position positionOfRule(const Policy& policy, std::size_t dataSet, std::size_t rule) {
  return {policy.dataSets[dataSet].rules[rule].line,
          fmt::format("{}, rule {}", positionOf(policy, dataSet).element, rule + 1)};
}

Position positionOfKeyword(const Policy& policy, std::size_t dataSet, std::size_t keyword) {
  return {policy.dataSets[dataSet].keywords[keyword].line,
          fmt::format("{}, keyword {}", positionOf(policy, dataSet).element, keyword + 1)};
}

}  // namespace qvlctl
