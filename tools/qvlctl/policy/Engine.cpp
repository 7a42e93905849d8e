#include "policy/Engine.h"

#include <algorithm>
#include <set>

#include "fmt/format.h"
#include "io/Output.h"
#include "io/Trouble.h"

namespace qvlctl {
namespace {

[[noreturn]] void fail(const Policy& policy, const Position& position, const std::string& message) {
  throw PolicyTrouble(policy.file, position, message);
}

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
  return text.find_first_of(kWhitespace) == 0 || text.find_last_of(kWhitespace) == text.size() - 1;
}

}  // namespace

Engine::Engine(const Policy& policy) {
  const std::string logic = logicForEngine(policy);
  checkLogic(policy, logic);
  for (std::size_t i = 0; i < policy.dataSets.size(); ++i) addDataSet(policy, i);
  m_manager.defineBusinessLogic(logic);
}

bool Engine::isExcluded(QVL::LookupData& request) {
  request.m_matchIdentifiers.clear();
  try {
    return m_manager.isPresent(request);
  } catch (const QVL::QVLException& exception) {
    throw Trouble(
        fmt::format("cannot ask about {}: {}", escaped(request.m_filePath), exception.m_message));
  }
}

void Engine::checkLogic(const Policy& policy, const std::string& logic) {
  const Position position = {policy.logicLine, "logic"};
  const auto refuse = [&](const std::string& reason) {
    fail(
        policy, position,
        fmt::format("{} Expected numbers of data sets combined by !, &, | and parentheses, such as "
                    "(1|2)&!3, or !(!1) for a double negation; found {}",
                    reason, inQuotes(policy.logic)));
  };

  PostfixReading reading;
  try {
    const std::string postfix = m_manager.parseLogic(logic);
    // Without data sets every number is false; what can be evaluated so can be evaluated always.
    QVL::LookupData request;
    m_manager.executeLogic(postfix, request);
    reading = readPostfix(postfix);
  } catch (const QVL::QVLException& exception) {
    refuse(exception.m_message);
  }
  // The engine would read on, and drop what it cannot place.
  if (reading.isLeftOpen) refuse("A parenthesis is not closed.");
  if (reading.values.size() != 1) refuse("An operator is missing between two operands.");
  m_logic = std::move(reading.values.front());

  for (const unsigned int number : dataSetsIn(m_logic)) {
    const bool exists =
        std::any_of(policy.dataSets.begin(), policy.dataSets.end(),
                    [&](const DataSet& dataSet) { return dataSet.number == number; });
    if (!exists) {
      m_warnings.push_back(
          {position, fmt::format("there is no data set {}; it counts as not matching", number)});
    }
  }
}

void Engine::addDataSet(const Policy& policy, std::size_t index) {
  const DataSet& dataSet = policy.dataSets[index];
  const std::shared_ptr<QVL::IDataSet> target = makeDataSet(dataSet);
  for (std::size_t i = 0; i < dataSet.rules.size(); ++i) addRule(policy, index, i, *target);
  m_manager.assignDataSet(target, dataSet.number, 0);
  m_dataSets.push_back(target);
}

void Engine::addRule(const Policy& policy, std::size_t dataSetIndex, std::size_t ruleIndex,
                     QVL::IDataSet& target) {
  const DataSet& dataSet = policy.dataSets[dataSetIndex];
  const Rule& rule = dataSet.rules[ruleIndex];
  const auto position = [&] { return positionOfRule(policy, dataSetIndex, ruleIndex); };

  std::unique_ptr<QVL::IAvoidance> made;
  try {
    made = makeRule(dataSet, rule);
  } catch (const QVL::QVLException& exception) {
    fail(
        policy, position(),
        fmt::format("{} Expected {}, valid as a regular expression once wildcards and keywords are "
                    "replaced; found {}",
                    exception.m_message, expectedText(dataSet.kind), inQuotes(rule.text)));
  }
  if (hasWhitespaceAtAnEnd(rule.text)) {
    m_warnings.push_back({position(), fmt::format("the whitespace at the end or the beginning is "
                                                  "part of the rule; found {}",
                                                  inQuotes(rule.text))});
  }
  if (target.addToDataSet(std::move(made))) return;

  const auto earlier =
      std::find_if(dataSet.rules.begin(), dataSet.rules.end(),
                   [&](const Rule& other) { return haveSameKey(dataSet.kind, other, rule); });
  const auto earlierNumber = earlier - dataSet.rules.begin() + 1;
  if (!excludeTheSame(dataSet, *earlier, rule)) {
    fail(policy, position(),
         fmt::format("a data set keeps one rule for each text, and rule {} has this one with other "
                     "attributes; expected this rule in a data set of its own; found {}",
                     earlierNumber, inQuotes(rule.text)));
  }
  m_warnings.push_back({position(), fmt::format("the same rule as rule {}", earlierNumber)});
}

const char* verdictName(bool isExcluded) {
  return isExcluded ? "excluded" : "scan";
}

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

bool haveSameKey(Kind kind, const Rule& a, const Rule& b) {
  if (kind != Kind::FileType) return a.text == b.text;
  const QVL::FileTypeAvoidanceDuplicateKey ordersBefore;
  return !ordersBefore(a.text, b.text) && !ordersBefore(b.text, a.text);
}

bool excludeTheSame(const DataSet& dataSet, const Rule& a, const Rule& b) {
  return a.access == b.access && a.includeSubfolders == b.includeSubfolders &&
         a.defaultFolder == b.defaultFolder && (a.text == b.text || !dataSet.caseSensitive);
}

std::string logicForEngine(const Policy& policy) {
  std::string logic = policy.logic;
  std::replace_if(
      logic.begin(), logic.end(), [](char c) { return c == '\n' || c == '\r'; }, ' ');
  return logic;
}

std::shared_ptr<QVL::IDataSet> makeDataSet(const DataSet& dataSet) {
  std::shared_ptr<QVL::IDataSet> made = makeEmptyDataSet(dataSet.kind);
  if (!dataSet.enabled) made->disableDataSet();
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

  // A new rule was compiled as a glob without keywords, in the case of its kind. What its data set
  // adds may spoil it, and a data set would keep the first expression then, without a word.
  const bool isAsNew = dataSet.wildcards && dataSet.keywords.empty() &&
                       dataSet.caseSensitive == (dataSet.kind != Kind::FileType);
  if (isAsNew) return made;
  if (!made->updateRegex()) {
    throw QVL::QVLException(
        QVL::QVLException::kCode,
        "The rule cannot be compiled with the switches and keywords of its data "
        "set.");
  }
  return made;
}

}  // namespace qvlctl
