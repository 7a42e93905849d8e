#include "qvl/dataset/DataSet.h"

#include <atomic>
#include <iterator>
#include <map>
#include <typeinfo>
#include <utility>

#include "qvl/avoidance/RuleView.h"
#include "qvl/core/RequestCast.h"
#include "qvl/core/SlotLock.h"
#include "qvl/dataset/DataSetKind.h"
#include "qvl/dataset/DataSetView.h"
#include "qvl/dataset/FileAgeDataSet.h"
#include "qvl/dataset/FilePathDataSet.h"
#include "qvl/dataset/FileTypeDataSet.h"
#include "qvl/dataset/FolderDataSet.h"
#include "qvl/dataset/ProcessDataSet.h"
#include "qvl/dataset/RuleIndex.h"
#include "qvl/match/Keywords.h"
#include "qvl/trace/TraceCall.h"

namespace QVL {
namespace {

std::atomic<bool> plainWalk{false};  // see DataSetView::setPlainWalk

}  // namespace

struct QVL_HIDDEN DataSet::State {
  explicit State(const DataSetKind& dataSetKind)
      : kind(dataSetKind),
        m_avoidances(kind.keyOrder),
        m_checkAccessType(kind.accessCheck != AccessCheck::None),
        m_checkAccessTypeAtDataSetLevelOnly(kind.accessCheck == AccessCheck::AtDataSetLevel),
        m_caseSensitiveSearch(kind.caseSensitiveSearch),
        m_wildCardSearch(kind.wildCardSearch) {}

  // Each rule leaves the index before it is destroyed: what a host's rule does in its destructor
  // finds both as they are.
  ~State() {
    while (!m_avoidances.empty()) {
      const auto last = std::prev(m_avoidances.end());
      index.erase(*last->second);
      m_avoidances.erase(last);
    }
  }

  AccessCheck accessCheck() const {
    if (!m_checkAccessType) return AccessCheck::None;
    return m_checkAccessTypeAtDataSetLevelOnly ? AccessCheck::AtDataSetLevel
                                               : AccessCheck::ByEachRule;
  }

  void pushKeywords(IAvoidance& rule) const;

  // The decision. Any number of queries may be here at once, each with a scratch of its own, while
  // all code that they come to is the library's own.
  bool decide(DataSet& self, LookupData& request, RuleIndex::Scratch& scratch) const;
  bool answerToEmptyInput(LookupData& request) const;
  bool anyRuleMatches(LookupData& request, AccessCheck check, RuleIndex::Scratch& scratch) const;
  bool walk(LookupData& request, AccessCheck check, const std::string* behind) const;

  // Holds a slot for a query, alone as long as code of a host's own is to be called.
  auto query() {
    return m_lock.query([&] { return foreignRules != 0; });
  }

  const DataSetKind& kind;

  SlotLock<RuleIndex::Scratch> m_lock;

  // Guarded by m_lock.
  RuleIndex index;  // of m_avoidances
  std::map<std::string, std::unique_ptr<IAvoidance>, decltype(DataSetKind::keyOrder)> m_avoidances;
  std::atomic<std::size_t> foreignRules{0};  // among them; may be read by anyone

  bool m_enabled = true;
  bool m_matchAnything = false;
  bool m_matchEmptyInput = false;
  bool m_checkAccessType;
  unsigned char m_checkAccessTypeAtDataSetLevelOnly;
  AccessTypes m_accessType = AccessTypes();
  bool m_caseSensitiveSearch;
  bool m_wildCardSearch;
  KeywordTable m_keywords;
};

DataSet::DataSet(const DataSetKind& kind) : m_state(std::make_unique<State>(kind)) {}

DataSet::~DataSet() = default;

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
  const auto alternation = std::make_shared<const Alternation>(values);
  changeKeywords(
      "addOrUpdateKeyword", [&](KeywordTable& table) { table.set(keyword, alternation); },
      [&](IAvoidance& rule) { rule.addOrUpdateKeyword(keyword, values); });
  return true;
}

bool DataSet::deleteKeyword(std::string keyword) {
  trace("deleteKeyword");
  if (!m_state->m_keywords.has(keyword)) return false;
  changeKeywords(
      "deleteKeyword", [&](KeywordTable& table) { table.erase(keyword); },
      [&](IAvoidance& rule) { rule.deleteKeyword(keyword); });
  return true;
}

// Rules that had the keywords of the data set, and no others, share those that it has now.
template <typename Change, typename Tell>
void DataSet::changeKeywords(const char* operation, Change change, Tell tell) {
  KeywordTable& keywords = m_state->m_keywords;
  const KeywordTable before = m_state->m_avoidances.empty() ? KeywordTable() : keywords;
  change(keywords);
  changeEveryRule([&](IAvoidance& rule) {
    KeywordTable* const own = RuleView::keywordsFor(rule, operation);
    if (!own) {
      tell(rule);
    } else if (own->sharesWith(before)) {
      *own = keywords;
    } else {
      change(*own);
    }
  });
}

void DataSet::State::pushKeywords(IAvoidance& rule) const {
  for (const auto& [keyword, alternation] : m_keywords) {
    KeywordTable* const own = RuleView::keywordsFor(rule, "addOrUpdateKeyword");
    if (!own) {
      rule.addOrUpdateKeyword(keyword, alternation->values());
    } else if (own->empty() || own->sharesWith(m_keywords)) {
      *own = m_keywords;
    } else {
      own->set(keyword, alternation);
    }
  }
}

bool DataSet::addToDataSet(std::unique_ptr<IAvoidance> rule) {
  trace("addToDataSet");
  auto all = m_state->m_lock.all();
  if (!rule) return false;
  m_state->pushKeywords(*rule);
  rule->setCaseSensitiveSearch(m_state->m_caseSensitiveSearch);
  rule->setWildCardSearch(m_state->m_wildCardSearch);
  // A rule that cannot be compiled with these settings keeps the expression it came with.
  rule->updateRegex();
  const auto [held, isNew] = m_state->m_avoidances.try_emplace(rule->getKey(), std::move(rule));
  if (!isNew) {
    // Here, and not where the caller's expression ends.
    rule.reset();
    return false;
  }
  try {
    const auto& rules = m_state->m_avoidances;
    const auto next = std::next(held);
    m_state->index.insert(held->first, *held->second,
                          held == rules.begin() ? nullptr : std::prev(held)->second.get(),
                          next == rules.end() ? nullptr : next->second.get());
  } catch (...) {
    m_state->m_avoidances.erase(held);
    throw;
  }
  if (!RuleView::isOfTheLibrary(*held->second)) {
    ++m_state->foreignRules;
    all.beginSingleFile();
  }
  return true;
}

bool DataSet::removeFromDataSet(IAvoidance& rule) {
  trace("removeFromDataSet");
  const auto all = m_state->m_lock.all();
  const auto held = m_state->m_avoidances.find(rule.getKey());
  if (held == m_state->m_avoidances.end()) return false;
  m_state->index.erase(*held->second);
  if (!RuleView::isOfTheLibrary(*held->second)) --m_state->foreignRules;
  m_state->m_avoidances.erase(held);
  return true;
}

bool DataSet::isPresentInDataSet(ILookupData& request) {
  trace("isPresentInDataSet");
  LookupData* const lookupData = asLookupData(request);
  if (traceFileTakes(kTraceLevel)) {
    // So that the lines of one query stand together.
    const auto all = m_state->m_lock.all();
    return lookupData && m_state->decide(*this, *lookupData, all.scratch());
  }
  const auto query = m_state->query();
  return lookupData && m_state->decide(*this, *lookupData, query.scratch());
}

bool DataSet::State::decide(DataSet& self, LookupData& request, RuleIndex::Scratch& scratch) const {
  if (!m_enabled) return false;
  const AccessCheck check = accessCheck();
  if (kind.deciding) kind.deciding(check);
  if (check == AccessCheck::AtDataSetLevel && !accessTypeFits(m_accessType, request.m_accessType)) {
    return false;
  }
  if (m_matchAnything) return true;
  if (m_matchEmptyInput && self.isEmptyInput(&request)) return answerToEmptyInput(request);
  if (!anyRuleMatches(request, check, scratch)) return false;
  if (kind.ruleMatched) kind.ruleMatched(check);
  return true;
}

bool DataSet::State::answerToEmptyInput(LookupData& request) const {
  if (!kind.firstRuleAnswersEmptyInput) return true;
  return !m_avoidances.empty() &&
         m_avoidances.begin()->second->canAvoidWithAccessType(request, /*flag=*/true);
}

bool DataSet::isEmptyInput(LookupData* request) {
  trace("isEmptyInput");
  return m_state->kind.inputIsEmpty(*request);
}

void DataSet::trace(const char* operation) const {
  traceCall(m_state->kind.className, operation);
}

bool DataSet::State::anyRuleMatches(LookupData& request, AccessCheck check,
                                    RuleIndex::Scratch& scratch) const {
  const std::string* behind = nullptr;
  // The trace shows every rule being asked, so while it is written the rules are walked.
  if (!plainWalk.load(std::memory_order_relaxed) && !traceFileTakes(kTraceLevel)) {
    const auto answer = index.anyMatches(request, check == AccessCheck::ByEachRule, scratch);
    if (answer) return *answer;
    behind = scratch.walkBehind;
  }
  return walk(request, check, behind);
}

// Asks the rules one by one, in key order, those behind a key (null: all).
bool DataSet::State::walk(LookupData& request, AccessCheck check, const std::string* behind) const {
  for (auto next = behind ? m_avoidances.upper_bound(*behind) : m_avoidances.begin();
       next != m_avoidances.end(); ++next) {
    IAvoidance& rule = *next->second;
    const bool matches = check == AccessCheck::ByEachRule
                             ? rule.canAvoidWithAccessType(request, false)
                             : rule.canAvoid(request);
    if (matches) return true;
  }
  return false;
}

DataSet* DataSetView::of(IDataSet& dataSet) {
  const std::type_info& type = typeid(dataSet);
  if (type == typeid(FilePathDataSet) || type == typeid(FolderDataSet) ||
      type == typeid(ProcessDataSet) || type == typeid(FileTypeDataSet) ||
      type == typeid(FileAgeDataSet)) {
    return static_cast<DataSet*>(&dataSet);
  }
  return nullptr;
}

bool DataSetView::hasForeignRules(const DataSet& dataSet) {
  return dataSet.m_state->foreignRules.load(std::memory_order_relaxed) != 0;
}

std::optional<bool> DataSetView::isPresentBesideOthers(DataSet& dataSet, LookupData& request) {
  dataSet.trace("isPresentInDataSet");
  const auto query = dataSet.m_state->query();
  if (query.isAlone()) return std::nullopt;
  return dataSet.m_state->decide(dataSet, request, query.scratch());
}

void DataSetView::setPlainWalk(bool on) {
  plainWalk = on;
}

template <typename Change>
void DataSet::changeEveryRule(Change change) {
  for (const auto& [key, rule] : m_state->m_avoidances) {
    change(*rule);
    rule->updateRegex();
  }
}

}  // namespace QVL
