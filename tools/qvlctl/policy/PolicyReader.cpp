#include "policy/PolicyReader.h"

#include <iterator>
#include <list>
#include <map>
#include <set>
#include <string_view>
#include <utility>

#include "fmt/format.h"
#include "io/Files.h"
#include "io/Output.h"
#include "io/Trouble.h"
#include "io/XmlFile.h"
#include "policy/ElementStarts.h"
#include "policy/PolicySyntax.h"

namespace qvlctl {
namespace {

// The engine reads the first 23 characters of the list of days, and multiplies in 32 bits.
constexpr std::size_t kMaxDaysLength = 23;
constexpr unsigned int kMaxDays = 24855;

using Rows = std::list<std::vector<std::string>>;

// Whole columns of the document at a time: a query costs a walk over the document, so there are as
// many as there are kinds of values, however many rules there are.
class Reader {
 public:
  Reader(const std::string& file, std::string text)
      : m_xml(file, std::move(text)), m_starts(findElementStarts(m_xml.text())) {
    m_policy.file = file;
  }

  Policy read() {
    checkPolicySyntax(m_policy.file, m_xml, m_starts);
    checkVersion();
    readLogic();
    readDataSets();
    readKeywords();
    readRules();
    return std::move(m_policy);
  }

 private:
  [[noreturn]] void fail(const Position& position, const std::string& message) const {
    throw PolicyTrouble(m_policy.file, position, message);
  }

  [[noreturn]] void failAtValue(const Position& position, const char* attribute,
                                const std::string& expected, const std::string& found) const {
    fail(position, fmt::format("{}: expected {}; found {}", attribute, expected, inQuotes(found)));
  }

  // For every data set the texts of its children `child`.
  Rows texts(const char* parent, const char* child) {
    return m_xml.document().getXPathAllElement(parent, child, nullptr);
  }

  Rows attributes(const char* parent, const char* child, const char* attribute) {
    return m_xml.document().getXPathAllElementAttribute(parent, child, attribute);
  }

  // The lines of all elements of that name.
  std::vector<std::size_t> linesOf(std::string_view name, std::size_t count) const {
    std::vector<std::size_t> lines;
    for (const ElementStart& start : m_starts.elements) {
      if (start.name == name) lines.push_back(start.line);
    }
    // In an exotic encoding the lines may be misread; none is better than a wrong one.
    if (lines.size() != count) lines.assign(count, 0);
    return lines;
  }

  void checkVersion() {
    const std::string version = m_xml.document().getXPathElement("/exclusion-policy/@version");
    if (version != "1")
      failAtValue({linesOf("exclusion-policy", 1)[0], ""}, "version", "1", version);
  }

  void readLogic() {
    const std::vector<std::string> logics = texts("/exclusion-policy", "logic").front();
    const std::vector<std::size_t> lines = linesOf("logic", logics.size());
    if (logics.empty()) {
      fail({0, ""},
           "expected one <logic>, which says how the data sets combine, such as "
           "<logic>1|2</logic>; found none");
    }
    if (logics.size() > 1) {
      fail({lines[1], "logic"}, fmt::format("expected one <logic>; found {}", logics.size()));
    }
    m_policy.logic = logics.front();
    m_policy.logicLine = lines.front();
  }

  void readDataSets() {
    const std::vector<std::string> numbers = dataSetAttribute("number");
    const std::vector<std::string> kinds = dataSetAttribute("kind");
    const std::vector<std::string> names = dataSetAttribute("name");
    const std::vector<std::string> checks = dataSetAttribute("check-access");
    const std::vector<std::size_t> lines = linesOf("data-set", numbers.size());

    std::map<unsigned int, std::size_t> known;
    for (std::size_t i = 0; i < numbers.size(); ++i) {
      DataSet dataSet;
      dataSet.line = lines[i];
      const Position position = {lines[i], dataSetInWords(i, numbers[i])};
      const std::optional<unsigned int> number = parseNumber(numbers[i]);
      if (!number) {
        failAtValue({lines[i], dataSetInWords(i, "")}, "number",
                    "a whole number from 0 to 4294967295", numbers[i]);
      }
      dataSet.number = *number;
      const auto [earlier, isNew] = known.emplace(*number, i);
      if (!isNew) {
        fail(position, fmt::format("the number {} belongs to data set {} already", *number,
                                   earlier->second + 1));
      }
      for (const Kind kind : kAllKinds) {
        if (kinds[i] == kindName(kind)) dataSet.kind = kind;
      }
      dataSet.name = names[i];
      dataSet.caseSensitive = dataSet.kind != Kind::FileType;
      readAccessCheck(checks[i], position, dataSet);
      m_policy.dataSets.push_back(std::move(dataSet));
    }

    readSwitch("enabled", &DataSet::enabled);
    readSwitch("match-anything", &DataSet::matchAnything);
    readSwitch("match-empty-input", &DataSet::matchEmptyInput);
    readSwitch("case-sensitive", &DataSet::caseSensitive);
    readSwitch("wildcards", &DataSet::wildcards);
  }

  std::vector<std::string> dataSetAttribute(const char* attribute) {
    return attributes("/exclusion-policy", "data-set", attribute).front();
  }

  void readSwitch(const char* attribute, bool DataSet::*member) {
    const std::vector<std::string> values = dataSetAttribute(attribute);
    for (std::size_t i = 0; i < values.size(); ++i) {
      readYesOrNo(values[i], attribute, positionOf(m_policy, i), m_policy.dataSets[i].*member);
    }
  }

  void readYesOrNo(const std::string& value, const char* attribute, const Position& position,
                   bool& result) const {
    if (value.empty()) return;
    if (value != "yes" && value != "no") failAtValue(position, attribute, "yes or no", value);
    result = value == "yes";
  }

  void readAccessCheck(const std::string& value, const Position& position, DataSet& dataSet) const {
    if (value.empty() || value == "by-rule") return;
    if (value == "never") {
      dataSet.accessCheck = DataSet::AccessCheck::Never;
      return;
    }
    dataSet.accessCheck = DataSet::AccessCheck::AtDataSet;
    dataSet.access =
        readAccess(value, "check-access",
                   fmt::format("by-rule, never, or one access type for the whole data set ({})",
                               kAccessChoice),
                   position);
  }

  QVL::AccessTypes readAccess(const std::string& value, const char* attribute,
                              const std::string& expected, const Position& position) const {
    const std::optional<QVL::AccessTypes> access = parseAccess(value);
    if (!access) failAtValue(position, attribute, expected, value);
    return *access;
  }

  void readKeywords() {
    const Rows names = attributes("/exclusion-policy/data-set", "keyword", "name");
    const Rows values = texts("/exclusion-policy/data-set/keyword", "value");
    const std::vector<std::size_t> lines = linesOf("keyword", values.size());
    auto value = values.begin();
    auto line = lines.begin();
    std::size_t dataSet = 0;
    for (const std::vector<std::string>& row : names) {
      std::vector<Keyword>& keywords = m_policy.dataSets[dataSet].keywords;
      std::set<std::string> known;
      for (const std::string& name : row) {
        keywords.push_back({name, *value++, *line++});
        const Position position = positionOfKeyword(m_policy, dataSet, keywords.size() - 1);
        if (!known.insert(name).second) {
          fail(position, fmt::format("the keyword {} is defined twice", escaped(name)));
        }
        if (keywords.back().values.empty()) {
          fail(position, fmt::format("the keyword {} needs at least one <value>", escaped(name)));
        }
      }
      ++dataSet;
    }
  }

  // The attributes of a rule, as written; empty where it lacks one.
  struct RuleAttributes {
    const std::string& access;
    const std::string& subfolders;
    const std::string& defaultFolder;
    const std::string& of;
    const std::string& days;
  };

  void readRules() {
    const auto column = [&](const char* attribute) {
      return attributes("/exclusion-policy/data-set", "rule", attribute);
    };
    const Rows texts = this->texts("/exclusion-policy/data-set", "rule");
    const Rows accesses = column("access");
    const Rows subfolders = column("subfolders");
    const Rows defaultFolders = column("default-folder");
    const Rows selectors = column("of");
    const Rows days = column("days");

    std::size_t count = 0;
    for (const std::vector<std::string>& row : texts) count += row.size();
    const std::vector<std::size_t> lines = linesOf("rule", count);

    auto line = lines.begin();
    auto access = accesses.begin(), subfolder = subfolders.begin();
    auto defaultFolder = defaultFolders.begin(), selector = selectors.begin(), day = days.begin();
    std::size_t dataSet = 0;
    for (const std::vector<std::string>& row : texts) {
      m_policy.dataSets[dataSet].rules.reserve(row.size());
      for (std::size_t i = 0; i < row.size(); ++i) {
        readRule(dataSet, row[i], *line++,
                 {(*access)[i], (*subfolder)[i], (*defaultFolder)[i], (*selector)[i], (*day)[i]});
      }
      ++dataSet, ++access, ++subfolder, ++defaultFolder, ++selector, ++day;
    }
  }

  void readRule(std::size_t dataSetIndex, const std::string& text, std::size_t line,
                const RuleAttributes& written) {
    DataSet& dataSet = m_policy.dataSets[dataSetIndex];
    dataSet.rules.emplace_back();
    Rule& rule = dataSet.rules.back();
    rule.text = text;
    rule.line = line;
    const auto position = [&] {
      return positionOfRule(m_policy, dataSetIndex, dataSet.rules.size() - 1);
    };

    if (!written.access.empty()) {
      rule.access = readAccess(written.access, "access", kAccessChoice, position());
      if (dataSet.accessCheck != DataSet::AccessCheck::ByRule) {
        fail(
            position(),
            "access: the data set's check-access keeps rules from comparing access types; expected "
            "no access here or check-access=\"by-rule\" there");
      }
    }
    if (!written.subfolders.empty()) {
      readYesOrNo(written.subfolders, "subfolders", position(), rule.includeSubfolders);
    }
    if (!written.defaultFolder.empty()) rule.defaultFolder = written.defaultFolder;
    if (dataSet.kind == Kind::FileAge) rule.text = ageText(written, position());
  }

  // The engine's age text: the selector, three characters that it does not read, and the days.
  std::string ageText(const RuleAttributes& written, const Position& position) const {
    if (written.of != "creation" && written.of != "modification") {
      failAtValue(position, "of", "creation or modification", written.of);
    }
    const char selector = written.of == "creation" ? '0' : '1';
    std::string days;
    for (std::string_view rest = written.days;;) {
      const std::size_t comma = rest.find(',');
      const std::optional<unsigned int> count = parseNumber(withoutBlanks(rest.substr(0, comma)));
      if (!count || *count > kMaxDays) {
        failAtValue(position, "days",
                    fmt::format("whole numbers of days from 0 to {}, separated by commas, such as "
                                "30 or 30,90",
                                kMaxDays),
                    written.days);
      }
      days += std::to_string(*count);
      if (comma == std::string_view::npos) break;
      days += ',';
      rest.remove_prefix(comma + 1);
    }
    if (days.size() > kMaxDaysLength) {
      failAtValue(
          position, "days",
          fmt::format("at most {} characters in all, because no more are read", kMaxDaysLength),
          written.days);
    }
    return fmt::format("{} : {}", selector, days);
  }

  static std::string_view withoutBlanks(std::string_view text) {
    const std::size_t first = text.find_first_not_of(' ');
    if (first == std::string_view::npos) return {};
    return text.substr(first, text.find_last_not_of(' ') - first + 1);
  }

  XmlFile m_xml;
  const ElementStarts m_starts;
  Policy m_policy;
};

}  // namespace

Policy readPolicy(const std::string& file) {
  return readPolicy(file, readFile(file));
}

Policy readPolicy(const std::string& file, std::string text) {
  return Reader(file, std::move(text)).read();
}

}  // namespace qvlctl
