#include "qvlpolicy/Engine.h"

#include <algorithm>
#include <map>
#include <set>
#include <utility>

#include "fmt/format.h"
#include "qvlpolicy/GivenAge.h"
#include "qvlpolicy/Logic.h"
#include "qvlpolicy/Patterns.h"
#include "qvlpolicy/Reader.h"
#include "qvlpolicy/Text.h"

namespace qvlpolicy {
namespace {

constexpr std::size_t kLongestPath = 4096;
constexpr std::size_t kLongestExtension = 12;

std::shared_ptr<QVL::IDataSet> makeEmptyDataSet(Kind kind) {
  switch (kind) {
    case Kind::FilePath:
      return std::make_shared<QVL::FilePathDataSet>();
    case Kind::Folder:
      return std::make_shared<QVL::FolderDataSet>();
    case Kind::Process:
      return std::make_shared<QVL::ProcessDataSet>();
    case Kind::FileType:
      return std::make_shared<QVL::FileTypeDataSet>();
    case Kind::FileAge:
      return std::make_shared<QVL::FileAgeDataSet>();
  }
  return nullptr;
}

std::unique_ptr<QVL::IAvoidance> makePlainRule(Kind kind, const Rule& rule) {
  switch (kind) {
    case Kind::FilePath:
      return std::make_unique<QVL::FilePathAvoidance>(rule.text, rule.access);
    case Kind::Folder:
      return std::make_unique<QVL::FolderAvoidance>(rule.text, rule.access,
                                                    rule.includeSubfolders ? 1 : 0);
    case Kind::Process:
      return std::make_unique<QVL::ProcessAvoidance>(rule.text, rule.access,
                                                     rule.defaultFolder ? 1 : 0,
                                                     rule.defaultFolder.value_or(std::string()));
    case Kind::FileType:
      return std::make_unique<QVL::FileTypeAvoidance>(rule.text, rule.access);
    case Kind::FileAge:
      return std::make_unique<QVL::FileAgeAvoidance>(rule.text, rule.access);
  }
  return nullptr;
}

std::set<std::string> valuesOf(const Keyword& keyword) {
  return {keyword.values.begin(), keyword.values.end()};
}

bool hasWhitespaceAtAnEnd(const std::string& text) {
  static constexpr const char* kWhitespace = " \t\r\n";
  return !text.empty() && (text.find_first_of(kWhitespace) == 0 ||
                           text.find_last_of(kWhitespace) == text.size() - 1);
}

// What would be right where the text has the length and the end that it is to have.
constexpr const char* kExpectedExpression =
    "brackets and parentheses in pairs, and a backslash before each of + ( ) [ ] { } | ^ $ \\ that "
    "is meant as it stands";

const char* expectedText(Kind kind) {
  switch (kind) {
    case Kind::FilePath:
      return "a file path pattern of 1 to 4096 bytes that does not end in \"/\"";
    case Kind::Folder:
      return "a folder pattern of 1 to 4096 bytes that ends in \"/\"";
    case Kind::Process:
      return "a process pattern that is not empty and does not end in \"/\"";
    case Kind::FileType:
      return "an extension of 1 to 12 bytes, without its dot";
    case Kind::FileAge:
      return "an age";
  }
  return "";
}

constexpr const char* kNoExpression =
    "the rule is no valid regular expression once wildcards and keywords are replaced";

// Why the engine refuses a rule, as far as that can be seen in its text; the engine itself says one
// sentence for all reasons.
std::string refusalOf(Kind kind, const std::string& text) {
  if (text.empty()) return "the rule is empty";
  const bool isPath = kind == Kind::FilePath || kind == Kind::Folder;
  const std::size_t longest = kind == Kind::FileType ? kLongestExtension : kLongestPath;
  if ((isPath || kind == Kind::FileType) && text.size() > longest) {
    return fmt::format("the rule is too long, at {} bytes", grouped(text.size()));
  }
  const bool endsInSlash = text.back() == '/';
  if (kind == Kind::Folder && !endsInSlash) {
    return hasWhitespaceAtAnEnd(text)
               ? "the rule ends in a blank, which is a part of it, and not in a slash"
               : "the rule does not end in a slash";
  }
  if ((kind == Kind::FilePath || kind == Kind::Process) && endsInSlash) {
    return "the rule ends in a slash";
  }
  return kNoExpression;
}

// A new rule was compiled as a glob without keywords, in the case of its kind. What its data set
// adds may spoil it, and a data set keeps the first expression then, without a word.
[[noreturn]] void refuseSpoiled() {
  throw QVL::QVLException(
      QVL::QVLException::kCode,
      "The rule cannot be compiled with the switches and keywords of its data set.");
}

bool isAsNew(const DataSet& dataSet) {
  return dataSet.wildcards && dataSet.keywords.empty() &&
         dataSet.caseSensitive == (dataSet.kind != Kind::FileType);
}

// Adds a rule to the data set that was made of `dataSet`, and answers where it is; null: that holds
// its text already. The data set gives it its keywords, which are read once for all rules.
QVL::IAvoidance* addRule(const DataSet& dataSet, QVL::IDataSet& target,
                         std::unique_ptr<QVL::IAvoidance> made) {
  QVL::IAvoidance* const kept = made.get();
  if (!target.addToDataSet(std::move(made))) return nullptr;
  // Compiles nothing when it is compiled already.
  if (isAsNew(dataSet) || kept->updateRegex()) return kept;
  target.removeFromDataSet(*kept);
  refuseSpoiled();
}

// Adds the rules of one data set.
class RuleAdder {
 public:
  RuleAdder(const Description& description, const DataSet& dataSet, bool timesAreGiven,
            QVL::IDataSet& target, std::vector<Problem>& errors, std::vector<Problem>& warnings)
      : m_description(description),
        m_dataSet(dataSet),
        m_timesAreGiven(timesAreGiven),
        m_target(target),
        m_errors(errors),
        m_warnings(warnings) {}

  // The rule as the data set holds it; null when it does not.
  QVL::IAvoidance* add(std::size_t index) {
    const Rule& rule = m_dataSet.rules[index];
    if (rule.isDropped) return nullptr;
    QVL::IAvoidance* kept = nullptr;
    try {
      kept = addRule(m_dataSet, m_target, make(rule));
    } catch (const QVL::QVLException& exception) {
      const std::string refusal = refusalOf(m_dataSet.kind, rule.text);
      tell("refused-rule", m_errors, index, fmt::format("{} ({})", refusal, exception.m_message),
           refusal == kNoExpression ? kExpectedExpression : expectedText(m_dataSet.kind),
           inQuotes(rule.text));
      return nullptr;
    }
    if (hasWhitespaceAtAnEnd(rule.text)) {
      tell("blank-at-end", m_warnings, index,
           "the whitespace at the end or the beginning is part of the rule", {},
           inQuotes(rule.text));
    }
    if (kept == nullptr) tellOfEarlier(index);
    return kept;
  }

 private:
  std::unique_ptr<QVL::IAvoidance> make(const Rule& rule) const {
    if (m_timesAreGiven && m_dataSet.kind == Kind::FileAge) {
      return std::make_unique<GivenAgeAvoidance>(rule.text, rule.access);
    }
    return makePlainRule(m_dataSet.kind, rule);
  }

  void tell(const char* name, std::vector<Problem>& problems, std::size_t rule, std::string what,
            std::string expected = {}, std::string came = {}) const {
    problems.push_back(problemAt(m_description, m_dataSet.rules[rule].place,
                                 ruleElementInWords(m_dataSet, rule), std::move(what),
                                 std::move(expected), std::move(came)));
    problems.back().name = name;
  }

  void tellOfEarlier(std::size_t index) {
    const Rule& rule = m_dataSet.rules[index];
    noteRulesUpTo(index);
    const std::size_t earlier = m_byKey.at(rule.text);
    if (haveTheSameEffect(m_dataSet, m_dataSet.rules[earlier], rule)) {
      tell("duplicate", m_warnings, index, fmt::format("the same rule as rule {}", earlier + 1));
    } else {
      tell("conflicting-rule", m_errors, index,
           fmt::format("a data set keeps one rule for each text, and rule {} has this one with "
                       "other attributes",
                       earlier + 1),
           "this rule in a data set of its own", inQuotes(rule.text));
    }
  }

  // Most data sets hold no rule twice and need no list of their keys.
  void noteRulesUpTo(std::size_t end) {
    for (; m_noted < end; ++m_noted) {
      if (!m_dataSet.rules[m_noted].isDropped) {
        m_byKey.emplace(m_dataSet.rules[m_noted].text, m_noted);
      }
    }
  }

  const Description& m_description;
  const DataSet& m_dataSet;
  const bool m_timesAreGiven;
  QVL::IDataSet& m_target;
  std::vector<Problem>& m_errors;
  std::vector<Problem>& m_warnings;
  std::map<std::string, std::size_t, KeyOrder> m_byKey{keyOrderOf(m_dataSet.kind)};
  std::size_t m_noted = 0;
};

}  // namespace

Engine::Engine(const Description& description, bool timesAreGiven, std::vector<Problem>& errors,
               std::vector<Problem>& warnings) {
  const bool isSound = errors.empty();
  for (const DataSet& dataSet : description.dataSets) {
    const std::shared_ptr<QVL::IDataSet> target = makeDataSet(dataSet);
    RuleAdder adder(description, dataSet, timesAreGiven, *target, errors, warnings);
    std::vector<QVL::IAvoidance*> rules;
    rules.reserve(dataSet.rules.size());
    for (std::size_t i = 0; i < dataSet.rules.size(); ++i) rules.push_back(adder.add(i));
    m_manager.assignDataSet(target, dataSet.number, 0);
    m_dataSets.push_back(target);
    m_rules.push_back(std::move(rules));
  }
  if (!isSound) return;
  try {
    m_manager.defineBusinessLogic(logicForEngine(description.logic));
  } catch (const QVL::QVLException& exception) {
    errors.push_back(problemAt(description, description.logicPlace, "logic", exception.m_message,
                               {}, inQuotes(description.logic)));
    errors.back().name = "logic";
  }
}

std::shared_ptr<QVL::IDataSet> makeDataSet(const DataSet& dataSet) {
  std::shared_ptr<QVL::IDataSet> made = makeEmptyDataSet(dataSet.kind);
  if (!dataSet.enabled || dataSet.isDropped) made->disableDataSet();
  if (dataSet.matchAnything) made->enableMatchAnything();
  if (dataSet.matchEmptyInput) made->enableMatchEmptyInput();
  dataSet.caseSensitive ? made->enableCaseSensitiveSearch() : made->disableCaseSensitiveSearch();
  dataSet.wildcards ? made->enableWildCardSearch() : made->disableWildCardSearch();
  if (dataSet.accessCheck == DataSet::AccessCheck::Never) {
    made->disableCheckingOfAccessType();
  } else {
    // A process data set would otherwise check access types itself, and let only type 0 pass.
    const bool atDataSet = dataSet.accessCheck == DataSet::AccessCheck::AtDataSet;
    made->checkAccessTypeAtDataSetLevelOnly(atDataSet ? 1 : 0, dataSet.access);
  }
  for (const Keyword& keyword : dataSet.keywords) {
    made->addOrUpdateKeyword(keyword.name, valuesOf(keyword));
  }
  return made;
}

std::unique_ptr<QVL::IAvoidance> makeRule(const DataSet& dataSet, const Rule& rule) {
  std::unique_ptr<QVL::IAvoidance> made = makePlainRule(dataSet.kind, rule);
  for (const Keyword& keyword : dataSet.keywords) {
    made->addOrUpdateKeyword(keyword.name, valuesOf(keyword));
  }
  made->setCaseSensitiveSearch(dataSet.caseSensitive ? 1 : 0);
  made->setWildCardSearch(dataSet.wildcards ? 1 : 0);
  if (!isAsNew(dataSet) && !made->updateRegex()) refuseSpoiled();
  return made;
}

RuleMaker::RuleMaker(const DataSet& dataSet) : m_dataSet(dataSet), m_target(makeDataSet(dataSet)) {}

QVL::IAvoidance& RuleMaker::make(const Rule& rule) {
  if (m_made != nullptr) m_target->removeFromDataSet(*m_made);
  m_made = nullptr;
  m_made = addRule(m_dataSet, *m_target, makePlainRule(m_dataSet.kind, rule));
  return *m_made;
}

KeyOrder keyOrderOf(Kind kind) {
  if (kind == Kind::FileType) return QVL::FileTypeAvoidanceDuplicateKey();
  return std::less<std::string>();
}

bool haveSameKey(Kind kind, const Rule& a, const Rule& b) {
  const KeyOrder ordersBefore = keyOrderOf(kind);
  return !ordersBefore(a.text, b.text) && !ordersBefore(b.text, a.text);
}

bool haveTheSameEffect(const DataSet& dataSet, const Rule& a, const Rule& b) {
  return a.access == b.access && a.includeSubfolders == b.includeSubfolders &&
         a.defaultFolder == b.defaultFolder && (a.text == b.text || !dataSet.caseSensitive);
}

bool fitsAccess(const DataSet& dataSet, const Rule& rule, QVL::AccessTypes access) {
  switch (dataSet.accessCheck) {
    case DataSet::AccessCheck::ByRule:
      return rule.access == QVL::AnyAccess || rule.access == access;
    case DataSet::AccessCheck::AtDataSet:
      return dataSet.access == QVL::AnyAccess || dataSet.access == access;
    case DataSet::AccessCheck::Never:
      return true;
  }
  return false;
}

}  // namespace qvlpolicy
