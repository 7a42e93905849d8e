#include "qvl/dataset/DataSet.h"

#include <boost/thread/lock_types.hpp>
#include <boost/thread/mutex.hpp>
#include <map>
#include <utility>

#include "qvl/core/RequestCast.h"
#include "qvl/dataset/RuleIndex.h"
#include "qvl/trace/TraceCall.h"

namespace QVL {
namespace {

using Lock = boost::unique_lock<boost::mutex>;

}  // namespace

struct DataSet::State {
  explicit State(const Kind& kind)
      : className(kind.className),
        m_avoidances(kind.keyOrder),
        index(kind.keyOrder),
        m_checkAccessType(kind.accessCheck != AccessCheck::None),
        m_checkAccessTypeAtDataSetLevelOnly(kind.accessCheck == AccessCheck::AtDataSetLevel),
        m_caseSensitiveSearch(kind.caseSensitiveSearch),
        m_wildCardSearch(kind.wildCardSearch) {}

  AccessCheck accessCheck() const {
    if (!m_checkAccessType) return AccessCheck::None;
    return m_checkAccessTypeAtDataSetLevelOnly ? AccessCheck::AtDataSetLevel
                                               : AccessCheck::ByEachRule;
  }

  const char* const className;

  boost::mutex m_mutex;
  std::map<std::string, std::unique_ptr<IAvoidance>, KeyOrder> m_avoidances;  // guarded by m_mutex
  RuleIndex index;               // of m_avoidances, and guarded with it
  RuleIndex::Scratch m_scratch;  // of the query that holds m_mutex

  bool m_enabled = true;
  bool m_matchAnything = false;
  bool m_matchEmptyInput = false;
  bool m_checkAccessType;
  unsigned char m_checkAccessTypeAtDataSetLevelOnly;
  AccessTypes m_accessType = AccessTypes();
  bool m_caseSensitiveSearch;
  bool m_wildCardSearch;
  std::map<std::string, std::set<std::string>> m_keywords;
};

DataSet::DataSet(const Kind& kind) : m_state(std::make_unique<State>(kind)) {}

DataSet::~DataSet() = default;

bool DataSet::byteOrder(const std::string& a, const std::string& b) {
  return a < b;
}

void DataSet::enableDataSet() {
  m_state->m_enabled = true;
}
void DataSet::disableDataSet() {
  m_state->m_enabled = false;
}
void DataSet::enableMatchAnything() {
  m_state->m_matchAnything = true;
}
void DataSet::disableMatchAnything() {
  m_state->m_matchAnything = false;
}
void DataSet::enableMatchEmptyInput() {
  m_state->m_matchEmptyInput = true;
}
void DataSet::disableMatchEmptyInput() {
  m_state->m_matchEmptyInput = false;
}
void DataSet::enableCheckingOfAccessType() {
  m_state->m_checkAccessType = true;
}
void DataSet::disableCheckingOfAccessType() {
  m_state->m_checkAccessType = false;
}

void DataSet::checkAccessTypeAtDataSetLevelOnly(unsigned char enable, AccessTypes accessType) {
  m_state->m_checkAccessTypeAtDataSetLevelOnly = enable;
  m_state->m_accessType = accessType;
}

void DataSet::enableCaseSensitiveSearch() {
  trace("enableCaseSensitiveSearch");
  m_state->m_caseSensitiveSearch = true;
  changeEveryRule([](IAvoidance& rule) { rule.enableCaseSensitiveSearch(); });
}

void DataSet::disableCaseSensitiveSearch() {
  trace("disableCaseSensitiveSearch");
  m_state->m_caseSensitiveSearch = false;
  changeEveryRule([](IAvoidance& rule) { rule.disableCaseSensitiveSearch(); });
}

void DataSet::enableWildCardSearch() {
  trace("enableWildCardSearch");
  m_state->m_wildCardSearch = true;
  changeEveryRule([](IAvoidance& rule) { rule.enableWildCardSearch(); });
}

void DataSet::disableWildCardSearch() {
  trace("disableWildCardSearch");
  m_state->m_wildCardSearch = false;
  changeEveryRule([](IAvoidance& rule) { rule.disableWildCardSearch(); });
}

bool DataSet::addOrUpdateKeyword(std::string keyword, std::set<std::string> values) {
  trace("addOrUpdateKeyword");
  if (keyword.empty() || values.empty()) return false;
  m_state->m_keywords[keyword] = values;
  changeEveryRule([&](IAvoidance& rule) { rule.addOrUpdateKeyword(keyword, values); });
  return true;
}

bool DataSet::deleteKeyword(std::string keyword) {
  trace("deleteKeyword");
  if (m_state->m_keywords.erase(keyword) == 0) return false;
  changeEveryRule([&](IAvoidance& rule) { rule.deleteKeyword(keyword); });
  return true;
}

bool DataSet::addToDataSet(std::unique_ptr<IAvoidance> rule) {
  trace("addToDataSet");
  const Lock lock(m_state->m_mutex);
  if (!rule) return false;
  for (const auto& [keyword, values] : m_state->m_keywords) {
    rule->addOrUpdateKeyword(keyword, values);
  }
  rule->setCaseSensitiveSearch(m_state->m_caseSensitiveSearch);
  rule->setWildCardSearch(m_state->m_wildCardSearch);
  // A rule that cannot be compiled with these settings keeps the expression it came with.
  rule->updateRegex();
  const auto [held, isNew] = m_state->m_avoidances.try_emplace(rule->getKey(), std::move(rule));
  if (!isNew) return false;
  try {
    m_state->index.insert(held->first, *held->second);
  } catch (...) {
    m_state->m_avoidances.erase(held);
    throw;
  }
  return true;
}

bool DataSet::removeFromDataSet(IAvoidance& rule) {
  trace("removeFromDataSet");
  const Lock lock(m_state->m_mutex);
  const auto held = m_state->m_avoidances.find(rule.getKey());
  if (held == m_state->m_avoidances.end()) return false;
  m_state->index.erase(*held->second);
  m_state->m_avoidances.erase(held);
  return true;
}

bool DataSet::isPresentInDataSet(ILookupData& request) {
  trace("isPresentInDataSet");
  const Lock lock(m_state->m_mutex);
  if (!m_state->m_enabled) return false;
  LookupData* const lookupData = asLookupData(request);
  if (!lookupData) return false;

  const AccessCheck check = m_state->accessCheck();
  deciding(check);
  if (check == AccessCheck::AtDataSetLevel &&
      !accessTypeFits(m_state->m_accessType, lookupData->m_accessType)) {
    return false;
  }
  if (m_state->m_matchAnything) return true;
  if (m_state->m_matchEmptyInput && isEmptyInput(lookupData)) {
    return answerToEmptyInput(*lookupData);
  }
  if (!anyRuleMatches(*lookupData, check)) return false;
  ruleMatched(check);
  return true;
}

bool DataSet::isEmptyInput(LookupData* request) {
  trace("isEmptyInput");
  return inputIsEmpty(*request);
}

void DataSet::trace(const char* operation) const {
  traceCall(m_state->className, operation);
}

bool DataSet::askFirstRule(LookupData& request, bool flag) {
  const auto& rules = m_state->m_avoidances;
  return !rules.empty() && rules.begin()->second->canAvoidWithAccessType(request, flag);
}

bool DataSet::inputIsEmpty(LookupData& request) const {
  return request.m_filePath.empty();
}

bool DataSet::answerToEmptyInput(LookupData& /*request*/) {
  return true;
}

void DataSet::deciding(AccessCheck /*check*/) const {}

void DataSet::ruleMatched(AccessCheck /*check*/) const {}

bool DataSet::anyRuleMatches(LookupData& request, AccessCheck check) {
  // The trace shows every rule being asked, so while it is written the rules are walked.
  if (!traceFileTakes(kTraceLevel)) {
    const auto answer =
        m_state->index.anyMatches(request, check == AccessCheck::ByEachRule, m_state->m_scratch);
    if (answer) return *answer;
  }
  for (const auto& [key, rule] : m_state->m_avoidances) {
    const bool matches = check == AccessCheck::ByEachRule
                             ? rule->canAvoidWithAccessType(request, false)
                             : rule->canAvoid(request);
    if (matches) return true;
  }
  return false;
}

template <typename Change>
void DataSet::changeEveryRule(Change change) {
  for (const auto& [key, rule] : m_state->m_avoidances) {
    change(*rule);
    rule->updateRegex();
  }
}

}  // namespace QVL
