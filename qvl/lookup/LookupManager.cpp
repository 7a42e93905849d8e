#include "qvl/lookup/LookupManager.h"

#include <algorithm>
#include <atomic>
#include <boost/thread/lock_types.hpp>
#include <boost/thread/mutex.hpp>
#include <cstdint>
#include <map>
#include <utility>
#include <vector>

#include "qvl/core/QVLException.h"
#include "qvl/core/RequestCast.h"
#include "qvl/lookup/BusinessLogicEvaluator.h"
#include "qvl/lookup/BusinessLogicParser.h"
#include "qvl/trace/TraceCall.h"

namespace QVL {
namespace {

using Lock = boost::unique_lock<boost::mutex>;

void trace(const char* operation) {
  traceCall("LookupManager", operation);
}

// The answers of the data sets that were asked in this evaluation. A logic names few of them, so
// they stand in a row, which keeps its storage from query to query.
class LookupCache {
 public:
  const bool* find(std::uint32_t number) const {
    const auto found = std::find_if(m_answers.begin(), m_answers.end(),
                                    [&](const Answer& a) { return a.number == number; });
    return found == m_answers.end() ? nullptr : &found->present;
  }
  // Makes room, so that no query has to.
  void reserve(std::size_t answers) { m_answers.reserve(answers); }
  void insert(std::uint32_t number, bool present) { m_answers.push_back({number, present}); }
  void clear() { m_answers.clear(); }

 private:
  struct Answer {
    std::uint32_t number;
    bool present;
  };
  std::vector<Answer> m_answers;
};

// Empties the memo on every way out of an evaluation.
class Forgetting {
 public:
  explicit Forgetting(LookupCache& cache) : m_cache(cache) {}
  ~Forgetting() { m_cache.clear(); }
  Forgetting(const Forgetting&) = delete;
  Forgetting& operator=(const Forgetting&) = delete;

 private:
  LookupCache& m_cache;
};

}  // namespace

struct LookupManager::State {
  boost::mutex m_mutex;

  // Guarded by m_mutex.
  std::map<std::uint32_t, std::shared_ptr<IDataSet>> m_dataSets;
  BusinessLogic::Postfix m_businessLogic;  // empty until defined
  LookupCache m_lookupCache;

  // Whether m_businessLogic is defined, for the question that comes ahead of the lock.
  std::atomic<bool> defined{false};
};

LookupManager::LookupManager() : m_state(std::make_unique<State>()) {
  trace("LookupManager");
}

LookupManager::~LookupManager() {
  trace("~LookupManager");
}

bool LookupManager::assignDataSet(std::shared_ptr<IDataSet> dataSet, unsigned int number,
                                  unsigned char replace) {
  trace("assignDataSet");
  const Lock lock(m_state->m_mutex);
  if (replace) {
    // The data set that is replaced goes with the argument, after the lock.
    m_state->m_dataSets[number].swap(dataSet);
    return false;
  }
  return m_state->m_dataSets.emplace(number, std::move(dataSet)).second;
}

bool LookupManager::isPresent(ILookupData& request) {
  trace("isPresent");
  if (!asLookupData(request)) return false;
  if (!m_state->defined.load(std::memory_order_acquire)) {
    throw QVLException(QVLException::kCode, "Business logic can't be empty.");
  }
  const Lock lock(m_state->m_mutex);
  return evaluate(m_state->m_businessLogic, request);
}

bool LookupManager::executeLogic(std::string postfix, ILookupData& request) {
  return evaluate(BusinessLogic::Postfix(postfix), request);
}

bool LookupManager::evaluate(const BusinessLogic::Postfix& logic, ILookupData& request) {
  trace("executeLogic");
  const std::vector<BusinessLogic::Token>& tokens = logic.tokens();
  const Forgetting atTheEnd(m_state->m_lookupCache);
  return BusinessLogic::evaluate(tokens,
                                 [&](std::uint32_t number) { return doLookup(number, request); });
}

void LookupManager::defineBusinessLogic(std::string infix) {
  trace("defineBusinessLogic");
  const Lock lock(m_state->m_mutex);
  BusinessLogic::Postfix logic(parseLogic(std::move(infix)));
  m_state->m_lookupCache.reserve(logic.size());
  m_state->m_businessLogic = std::move(logic);
  m_state->defined.store(!m_state->m_businessLogic.empty(), std::memory_order_release);
}

std::string LookupManager::parseLogic(std::string infix) {
  trace("parseLogic");
  return BusinessLogic::toPostfix(infix);
}

bool LookupManager::doLookup(unsigned int number, ILookupData& request) {
  trace("doLookup");
  if (const bool* known = m_state->m_lookupCache.find(number)) return *known;
  const bool present = lookupInDataSet(number, request);
  m_state->m_lookupCache.insert(number, present);
  return present;
}

bool LookupManager::lookupInDataSet(unsigned int& number, ILookupData& request) {
  trace("lookupInDataSet");
  LookupData* const lookupData = asLookupData(request);
  if (!lookupData) return false;
  // Whatever goes wrong with a data set, the access is scanned.
  try {
    const auto found = m_state->m_dataSets.find(number);
    if (found == m_state->m_dataSets.end() || !found->second) return false;
    if (!found->second->isPresentInDataSet(request)) return false;
    lookupData->setMatchIndentifier(number);
    return true;
  } catch (...) {
    return false;
  }
}

}  // namespace QVL
