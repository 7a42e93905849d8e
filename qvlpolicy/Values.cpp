#include "qvlpolicy/Values.h"

#include <charconv>
#include <ctime>
#include <string>

#include "fmt/format.h"
#include "qvlpolicy/Description.h"
#include "qvlpolicy/Patterns.h"

namespace qvlpolicy {
namespace {

std::string_view withoutBlanks(std::string_view text) {
  const std::size_t first = text.find_first_not_of(' ');
  if (first == std::string_view::npos) return {};
  return text.substr(first, text.find_last_not_of(' ') - first + 1);
}

}  // namespace

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

std::optional<std::vector<unsigned int>> parseDays(std::string_view text) {
  std::vector<unsigned int> days;
  std::size_t length = 0;
  for (std::string_view rest = text;;) {
    const std::size_t comma = rest.find(',');
    const std::optional<unsigned int> count = parseNumber(withoutBlanks(rest.substr(0, comma)));
    if (!count || *count > kMaxDays) return std::nullopt;
    days.push_back(*count);
    length += std::to_string(*count).size() + 1;
    if (comma == std::string_view::npos) break;
    rest.remove_prefix(comma + 1);
  }
  if (length - 1 > kMaxDaysLength) return std::nullopt;
  return days;
}

std::string ageText(std::string_view selector, const std::vector<unsigned int>& days) {
  return fmt::format("{} : {}", selector == "creation" ? '0' : '1', fmt::join(days, ","));
}

std::string todayText() {
  const std::time_t now = std::time(nullptr);
  std::tm parts{};
  ::gmtime_r(&now, &parts);
  return fmt::format("{:04}-{:02}-{:02}", parts.tm_year + 1900, parts.tm_mon + 1, parts.tm_mday);
}

}  // namespace qvlpolicy
