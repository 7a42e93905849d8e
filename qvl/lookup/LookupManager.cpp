#include "qvl/lookup/LookupManager.h"

#include <algorithm>
#include <array>
#include <atomic>
#include <cstdint>
#include <map>
#include <optional>
#include <utility>
#include <vector>

#include "qvl/core/QVLException.h"
#include "qvl/core/RequestCast.h"
#include "qvl/core/SlotLock.h"
#include "qvl/dataset/DataSetView.h"
#include "qvl/lookup/BusinessLogicEvaluator.h"
#include "qvl/lookup/BusinessLogicParser.h"
#include "qvl/trace/TraceCall.h"

namespace QVL {
namespace {

void trace(const char* operation) {
  traceCall("LookupManager", operation);
}

// The answer of a data set that was asked in this evaluation.
struct Answer {
  std::uint32_t number;
  bool present;
};

// A logic names few data sets, so their answers stand in a row.
const bool* findAnswer(const Answer* begin, const Answer* end, std::uint32_t number) {
  const auto found = std::find_if(begin, end, [&](const Answer& a) { return a.number == number; });
  return found == end ? nullptr : &found->present;
}

// The memo of the manager, which keeps its storage from evaluation to evaluation.
class LookupCache {
 public:
  const bool* find(std::uint32_t number) const {
    return findAnswer(m_answers.data(), m_answers.data() + m_answers.size(), number);
  }
  // Makes room, so that no query has to.
  void reserve(std::size_t answers) { m_answers.reserve(answers); }
  void insert(std::uint32_t number, bool present) { m_answers.push_back({number, present}); }
  void clear() { m_answers.clear(); }
  bool empty() const { return m_answers.empty(); }

 private:
  std::vector<Answer> m_answers;
};

// The memo of an evaluation beside which others run, on its stack: there is room for every operand
// that a logic can have, which is written before it is read.
class OwnCache {
 public:
  const bool* find(std::uint32_t number) const {
    return findAnswer(m_answers.data(), m_answers.data() + m_size, number);
  }
  void insert(std::uint32_t number, bool present) { m_answers[m_size++] = {number, present}; }

 private:
  std::array<Answer, BusinessLogic::kMostOperands> m_answers;
  std::size_t m_size = 0;
};

// Thrown when an evaluation beside which others run comes to code of a host's own.
struct HasToBeAlone {};

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

struct QVL_HIDDEN LookupManager::State {
  struct Nothing {};
  SlotLock<Nothing> m_lock;

  struct Registered {
    explicit Registered(std::shared_ptr<IDataSet> held)
        : dataSet(std::move(held)), ours(dataSet ? DataSetView::of(*dataSet) : nullptr) {}

    // Does it call code of a host's own?
    bool isForeign() const {
      return ours ? DataSetView::hasForeignRules(*ours) : dataSet != nullptr;
    }

    std::shared_ptr<IDataSet> dataSet;
    DataSet* ours;  // the same, when it is of a class of the library
  };

  // Guarded by m_lock.
  std::map<std::uint32_t, Registered> m_dataSets;
  BusinessLogic::Postfix m_businessLogic;  // empty until defined

  // The memo of evaluations that are alone, and of the steps that a host calls directly.
  LookupCache m_lookupCache;

  bool hasForeignParts() const {
    return std::any_of(m_dataSets.begin(), m_dataSets.end(),
                       [](const auto& each) { return each.second.isForeign(); });
  }

  // The steps of an evaluation, for a memo and a way of asking.
  template <typename Memo, typename Ask>
  bool lookUp(Memo& memo, std::uint32_t number, Ask ask);
  template <typename Ask>
  bool lookUpInDataSet(std::uint32_t number, ILookupData& request, Ask ask);

  bool evaluateBesideOthers(LookupData& request);

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
  // Outlives the lock: the data set that is replaced goes with it.
  State::Registered registered(std::move(dataSet));
  auto all = m_state->m_lock.all();
  if (registered.isForeign()) all.beginSingleFile();
  const auto [held, isNew] = m_state->m_dataSets.try_emplace(number, nullptr);
  if (isNew || replace) std::swap(held->second, registered);
  return isNew && !replace;
}

bool LookupManager::isPresent(ILookupData& request) {
  trace("isPresent");
  LookupData* const lookupData = asLookupData(request);
  if (!lookupData) return false;
  if (!m_state->defined.load(std::memory_order_acquire)) {
    throw QVLException(QVLException::kCode, "Business logic can't be empty.");
  }
  // While the trace is written, evaluations go one by one, so that the lines of each stand
  // together.
  if (!traceFileTakes(kTraceLevel)) {
    const std::size_t matched = lookupData->m_matchIdentifiers.size();
    const auto query = m_state->m_lock.query([&] { return m_state->hasForeignParts(); });
    if (query.isAlone()) return evaluate(m_state->m_businessLogic, request);
    // What a direct call of a step has left in the memo belongs to one evaluation.
    if (m_state->m_lookupCache.empty()) {
      try {
        return m_state->evaluateBesideOthers(*lookupData);
      } catch (const HasToBeAlone&) {
        // Begins anew, alone.
        lookupData->m_matchIdentifiers.resize(matched);
      }
    }
  }
  auto all = m_state->m_lock.all();
  if (m_state->hasForeignParts()) all.beginSingleFile();
  return evaluate(m_state->m_businessLogic, request);
}

bool LookupManager::State::evaluateBesideOthers(LookupData& request) {
  trace("executeLogic");
  OwnCache memo;
  return BusinessLogic::evaluate(m_businessLogic.tokens(), [&](std::uint32_t number) {
    return lookUp(memo, number, [&] {
      return lookUpInDataSet(number, request, [&](const Registered& asked) {
        return asked.ours ? DataSetView::isPresentBesideOthers(*asked.ours, request) : std::nullopt;
      });
    });
  });
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
  const auto all = m_state->m_lock.all();
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
  return m_state->lookUp(m_state->m_lookupCache, number,
                         [&] { return lookupInDataSet(number, request); });
}

bool LookupManager::lookupInDataSet(unsigned int& number, ILookupData& request) {
  return m_state->lookUpInDataSet(number, request, [&](const State::Registered& asked) {
    return std::optional(asked.dataSet->isPresentInDataSet(request));
  });
}

template <typename Memo, typename Ask>
bool LookupManager::State::lookUp(Memo& memo, std::uint32_t number, Ask ask) {
  trace("doLookup");
  if (const bool* known = memo.find(number)) return *known;
  const bool present = ask();
  memo.insert(number, present);
  return present;
}

template <typename Ask>
bool LookupManager::State::lookUpInDataSet(std::uint32_t number, ILookupData& request, Ask ask) {
  trace("lookupInDataSet");
  LookupData* const lookupData = asLookupData(request);
  if (!lookupData) return false;
  std::optional<bool> present;
  // Whatever goes wrong with a data set, the access is scanned.
  try {
    const auto found = m_dataSets.find(number);
    if (found == m_dataSets.end() || !found->second.dataSet) return false;
    present = ask(found->second);
    if (present == true) lookupData->setMatchIndentifier(number);
  } catch (...) {
    return false;
  }
  if (!present) throw HasToBeAlone();
  return *present;
}

}  // namespace QVL
