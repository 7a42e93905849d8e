#include "qvlpolicy/Syntax.h"

#include <algorithm>
#include <charconv>

#include "fmt/format.h"
#include "qvlpolicy/Values.h"

namespace qvlpolicy {
namespace {

constexpr KindSet kAll = {Kind::FilePath, Kind::Folder, Kind::Process, Kind::FileType,
                          Kind::FileAge};
constexpr KindSet kTexts = {Kind::FilePath, Kind::Folder, Kind::Process, Kind::FileType};
constexpr KindSet kPatterns = {Kind::FilePath, Kind::Folder, Kind::Process};

// What people note; the same for rules and data sets.
std::vector<AttributeSyntax> withMetadata(std::vector<AttributeSyntax> attributes) {
  const std::vector<AttributeSyntax> metadata = {
      {"comment", ValueType::Text, "none", kAll, "for people"},
      {"owner", ValueType::Text, "none", kAll, "for people: who answers for it"},
      {"reason", ValueType::Text, "none", kAll, "for people: why it is there"},
      {"ticket", ValueType::Text, "none", kAll, "for people: where it was decided"},
      {"added", ValueType::Date, "none", kAll, "when it was added"},
      {"expires", ValueType::Date, "none", kAll,
       "the last day on which it holds, in UTC; what follows says `expired` of the policy"},
  };
  attributes.insert(attributes.end(), metadata.begin(), metadata.end());
  return attributes;
}

std::vector<ElementSyntax> makeSyntax() {
  return {
      {ElementType::Policy,
       "exclusion-policy",
       {{"version", ValueType::Version, "required", kAll, "of the format"},
        {"expired", ValueType::Expired, "`keep`", kAll,
         "whether a rule or data set that has expired still excludes; of an included file, that of "
         "the policy that includes it counts"}},
       {ElementType::Include, ElementType::Logic, ElementType::KeywordTable, ElementType::DataSet,
        ElementType::Allow},
       false,
       kAll},
      {ElementType::Include,
       "include",
       {{"file", ValueType::Text, "required", kAll,
         "another policy file, from the folder of this one"}},
       {},
       false,
       kAll},
      {ElementType::Logic, "logic", {}, {}, true, kAll},
      {ElementType::KeywordTable,
       "keywords",
       {{"name", ValueType::Text, "required", kAll, "by which data sets name it; without blanks"}},
       {ElementType::Keyword},
       false,
       kAll},
      {ElementType::DataSet,
       "data-set",
       withMetadata(
           {{"number", ValueType::Number, "required", kAll, "its name in the logic; each once"},
            {"kind", ValueType::Kind, "required", kAll, "what its rules look at"},
            {"name", ValueType::Text, "none", kAll, "for people"},
            {"enabled", ValueType::YesNo, "`yes`", kAll, "`no`: never matches"},
            {"match-anything", ValueType::YesNo, "`no`", kAll,
             "`yes`: matches without asking a rule"},
            {"match-empty-input", ValueType::YesNo, "`no`", kTexts,
             "`yes`: an empty path (process name, extension) matches; for `file-type` the first "
             "rule in alphabetical order decides, by its access type"},
            {"case-sensitive", ValueType::YesNo, "`yes`; `no` for `file-type`", kTexts,
             "whether upper and lower case differ"},
            {"wildcards", ValueType::YesNo, "`yes`", kTexts, "`no`: rules are regular expressions"},
            {"check-access", ValueType::CheckAccess, "`by-rule`", kAll,
             "who compares the kind of access"},
            {"keywords", ValueType::Text, "none", kPatterns,
             "names of keyword tables, with blanks between, whose keywords its rules may hold"}}),
       {ElementType::Keyword, ElementType::Rule, ElementType::Allow},
       false,
       kAll},
      {ElementType::Keyword,
       "keyword",
       {{"name", ValueType::Text, "required", kAll, "what stands in the rules"}},
       {ElementType::Value},
       false,
       kPatterns},
      {ElementType::Value, "value", {}, {}, true, kPatterns},
      {ElementType::Rule,
       "rule",
       withMetadata(
           {{"access", ValueType::Access, "`any`", kAll, "which accesses the rule excludes"},
            {"subfolders",
             ValueType::YesNo,
             "`yes`",
             {Kind::Folder},
             "`no`: only files directly in the folder"},
            {"default-folder",
             ValueType::Text,
             "none",
             {Kind::Process},
             "put before a rule without `/` and `%`; a regular expression, without `/` at "
             "its end"},
            {"of", ValueType::Selector, "required", {Kind::FileAge}, "which time of the file"},
            {"days",
             ValueType::Days,
             "required",
             {Kind::FileAge},
             "excluded when older than the smallest"}}),
       {},
       true,
       kAll},
      {ElementType::Allow,
       "allow",
       {{"finding", ValueType::Text, "required", kAll, "its name"},
        {"reason", ValueType::Text, "required", kAll, "why it may stay"},
        {"rule", ValueType::Text, "none", kTexts,
         "the text of the rules of which it may be found; otherwise everything around"}},
       {},
       false,
       kAll},
  };
}

// The values of a type, as the documentation names them.
const char* valuesInTable(ValueType type) {
  switch (type) {
    case ValueType::Text:
      return "text";
    case ValueType::Version:
      return "`1`";
    case ValueType::Number:
      return "0 to 4294967295";
    case ValueType::Kind:
      return "`file-path`, `folder`, `process`, `file-type`, `file-age`";
    case ValueType::YesNo:
      return "`yes`, `no`";
    case ValueType::Access:
      return "an access type";
    case ValueType::CheckAccess:
      return "`by-rule`, `never`, or an access type";
    case ValueType::Selector:
      return "`creation`, `modification`";
    case ValueType::Days:
      return "numbers from 0 to 24855 with commas between, at most 23 characters";
    case ValueType::Date:
      return "a date, `YYYY-MM-DD`";
    case ValueType::Expired:
      return "`keep`, `drop`";
  }
  return "";
}

std::string kindsInTable(const KindSet& kinds) {
  if (kinds.hasAll()) return "all";
  std::vector<std::string> names;
  std::vector<std::string> others;
  for (const Kind kind : kAllKinds) {
    (kinds.has(kind) ? names : others).push_back(fmt::format("`{}`", kindName(kind)));
  }
  if (others.size() < names.size()) return fmt::format("all but {}", fmt::join(others, ", "));
  return fmt::format("{}", fmt::join(names, ", "));
}

}  // namespace

const std::vector<ElementSyntax>& policySyntax() {
  static const std::vector<ElementSyntax> syntax = makeSyntax();
  return syntax;
}

bool mayHoldText(const ElementSyntax& element, Kind kind) {
  return element.hasText && !(element.type == ElementType::Rule && kind == Kind::FileAge);
}

bool isValue(ValueType type, std::string_view value) {
  const auto isOneOf = [&](std::initializer_list<std::string_view> values) {
    return std::find(values.begin(), values.end(), value) != values.end();
  };
  switch (type) {
    case ValueType::Text:
      return true;
    case ValueType::Version:
      return value == "1";
    case ValueType::Number:
      return parseNumber(value).has_value();
    case ValueType::Kind:
      return std::any_of(std::begin(kAllKinds), std::end(kAllKinds),
                         [&](Kind kind) { return value == kindName(kind); });
    case ValueType::YesNo:
      return isOneOf({"yes", "no"});
    case ValueType::Access:
      return parseAccess(value).has_value();
    case ValueType::CheckAccess:
      return isOneOf({"by-rule", "never"}) || parseAccess(value);
    case ValueType::Selector:
      return isOneOf({"creation", "modification"});
    case ValueType::Days:
      return parseDays(value).has_value();
    case ValueType::Date:
      return isDate(value);
    case ValueType::Expired:
      return isOneOf({"keep", "drop"});
  }
  return false;
}

std::string expectedValue(ValueType type) {
  static constexpr const char* kAccess = "read, write, any or a whole number from 0 to 4294967295";
  switch (type) {
    case ValueType::Text:
      return "a text";
    case ValueType::Version:
      return "1";
    case ValueType::Number:
      return "a whole number from 0 to 4294967295";
    case ValueType::Kind:
      return "file-path, folder, process, file-type or file-age";
    case ValueType::YesNo:
      return "yes or no";
    case ValueType::Access:
      return kAccess;
    case ValueType::CheckAccess:
      return fmt::format("by-rule, never, or one access type for the whole data set ({})", kAccess);
    case ValueType::Selector:
      return "creation or modification";
    case ValueType::Days:
      return fmt::format(
          "whole numbers of days from 0 to {}, separated by commas, such as 30 or 30,90, at most "
          "{} "
          "characters in all",
          kMaxDays, kMaxDaysLength);
    case ValueType::Date:
      return "a date such as 2026-12-31";
    case ValueType::Expired:
      return "keep or drop";
  }
  return "";
}

std::string_view AttributeSyntax::defaultFor(Kind kind) const {
  // One value in backticks for all kinds, or one for most and others for some.
  std::string_view text = fallback;
  const std::size_t special = text.find(fmt::format("` for `{}`", kindName(kind)));
  const std::size_t end = special != std::string_view::npos ? special : text.find('`', 1);
  if (text.empty() || text.front() != '`' || end == std::string_view::npos) return {};
  text = text.substr(0, end);
  return text.substr(text.rfind('`') + 1);
}

std::string canonicalValue(ValueType type, std::string_view value) {
  switch (type) {
    case ValueType::Number:
      if (const auto number = parseNumber(value)) return std::to_string(*number);
      break;
    case ValueType::Access:
    case ValueType::CheckAccess:
      if (const auto access = parseAccess(value)) return accessName(*access);
      break;
    case ValueType::Days:
      if (const auto days = parseDays(value)) return fmt::format("{}", fmt::join(*days, ","));
      break;
    default:
      break;
  }
  return std::string(value);
}

bool isDate(std::string_view text) {
  if (text.size() != 10 || text[4] != '-' || text[7] != '-') return false;
  const auto year = parseNumber(text.substr(0, 4));
  const auto month = parseNumber(text.substr(5, 2));
  const auto day = parseNumber(text.substr(8, 2));
  if (!year || !month || !day || *month < 1 || *month > 12 || *day < 1) return false;
  const bool isLeapYear = (*year % 4 == 0 && *year % 100 != 0) || *year % 400 == 0;
  static constexpr unsigned int kLengths[] = {31, 28, 31, 30, 31, 30, 31, 31, 30, 31, 30, 31};
  return *day <= kLengths[*month - 1] + (*month == 2 && isLeapYear ? 1 : 0);
}

std::string attributeTable(ElementType type) {
  std::string table =
      "| attribute | for | values | default | meaning |\n| --- | --- | --- | --- | --- |\n";
  for (const AttributeSyntax& attribute : syntaxOf(type).attributes) {
    table +=
        fmt::format("| `{}` | {} | {} | {} | {} |\n", attribute.name, kindsInTable(attribute.kinds),
                    valuesInTable(attribute.type), attribute.fallback, attribute.meaning);
  }
  return table;
}

}  // namespace qvlpolicy
