#include "qvlpolicy/LivePolicy.h"

#include <algorithm>
#include <atomic>
#include <mutex>
#include <utility>

#include "qvl/core/Export.h"

namespace qvlpolicy {
namespace {

// Threads spread over so many slots, each on cache lines of its own.
constexpr std::size_t kSlots = 16;

struct AtomicHits {
  std::atomic<std::uint64_t> count{0};
  std::atomic<std::int64_t> last{0};

  void note(std::time_t now) {
    count.fetch_add(1, std::memory_order_relaxed);
    last.store(now, std::memory_order_relaxed);
  }
};

void addTo(Hits& sum, const AtomicHits& hits) {
  sum.count += hits.count.load(std::memory_order_relaxed);
  sum.last =
      std::max(sum.last, static_cast<std::time_t>(hits.last.load(std::memory_order_relaxed)));
}

std::size_t slotOfThread() {
  static std::atomic<std::size_t> next{0};
  thread_local const std::size_t slot = next.fetch_add(1, std::memory_order_relaxed) % kSlots;
  return slot;
}

// A policy with what is counted about it.
class Force {
 public:
  Force(std::shared_ptr<const Policy> policy, Counting counting)
      : m_policy(std::move(policy)), m_since(std::time(nullptr)) {
    if (counting == Counting::Nothing) return;
    const std::vector<DataSet>& dataSets = m_policy->description().dataSets;
    for (std::size_t i = 0; i < dataSets.size(); ++i) m_indices.emplace_back(dataSets[i].number, i);
    std::sort(m_indices.begin(), m_indices.end());
    for (auto& hits : m_dataSets) hits = std::make_unique<AtomicHits[]>(dataSets.size());
    if (counting != Counting::Rules) return;
    std::size_t rules = 0;
    for (const DataSet& dataSet : dataSets) {
      m_firstRules.push_back(rules);
      rules += dataSet.rules.size();
    }
    m_rules = std::make_unique<AtomicHits[]>(rules);
    m_policy->prepareSearches();
  }

  const std::shared_ptr<const Policy>& policy() const { return m_policy; }

  void count(std::size_t slot, const Question& question, const Answer& answer) {
    if (answer.dataSets.empty()) return;
    const std::time_t now = std::time(nullptr);
    for (const unsigned int number : answer.dataSets) {
      const auto found = std::lower_bound(m_indices.begin(), m_indices.end(),
                                          std::make_pair(number, std::size_t{0}));
      m_dataSets[slot][found->second].note(now);
    }
    if (!m_rules || !answer.isExcluded) return;
    for (const MatchingRule& match : m_policy->matchingRules(question)) {
      if (match.fitsAccess) m_rules[m_firstRules[match.dataSet] + match.rule].note(now);
    }
  }

  void addTo(Counters& counters) const {
    counters.policy = m_policy;
    counters.since = m_since;
    const std::vector<DataSet>& dataSets = m_policy->description().dataSets;
    if (m_dataSets[0]) {
      counters.dataSets.resize(dataSets.size());
      for (const auto& hits : m_dataSets) {
        for (std::size_t i = 0; i < dataSets.size(); ++i) {
          qvlpolicy::addTo(counters.dataSets[i], hits[i]);
        }
      }
    }
    if (!m_rules) return;
    for (std::size_t i = 0; i < dataSets.size(); ++i) {
      std::vector<Hits> rules(dataSets[i].rules.size());
      for (std::size_t j = 0; j < rules.size(); ++j) {
        qvlpolicy::addTo(rules[j], m_rules[m_firstRules[i] + j]);
      }
      counters.rules.push_back(std::move(rules));
    }
  }

 private:
  const std::shared_ptr<const Policy> m_policy;
  const std::time_t m_since;
  std::vector<std::pair<unsigned int, std::size_t>> m_indices;  // of data sets, by number
  std::unique_ptr<AtomicHits[]> m_dataSets[kSlots];             // by index; null: not counted
  std::vector<std::size_t> m_firstRules;                        // in m_rules, by data set
  std::unique_ptr<AtomicHits[]> m_rules;                        // null: not counted
};

}  // namespace

struct QVL_HIDDEN LivePolicy::State {
  // What the threads of one slot use. The mutex is held for as long as it takes to copy a pointer.
  struct alignas(64) Slot {
    std::mutex mutex;
    std::shared_ptr<Force> force;  // counts its owners apart from those of the other slots
    std::atomic<std::uint64_t> questions{0};
    std::atomic<std::uint64_t> excluded{0};
  };

  State(std::string name, Counting what) : file(std::move(name)), counting(what) {}

  std::shared_ptr<Force> inForce(std::size_t slot) {
    const std::lock_guard<std::mutex> lock(slots[slot].mutex);
    return slots[slot].force;
  }

  void put(std::shared_ptr<const Policy> policy) {
    const auto made = std::make_shared<Force>(std::move(policy), counting);
    // All of them, or none when there is no memory.
    std::shared_ptr<Force> owners[kSlots];
    for (auto& owner : owners) owner = {made.get(), [made](Force*) {}};
    for (std::size_t i = 0; i < kSlots; ++i) {
      const std::lock_guard<std::mutex> lock(slots[i].mutex);
      slots[i].force.swap(owners[i]);
    }
  }

  const std::string file;
  const Counting counting;
  Slot slots[kSlots];
  std::mutex reloading;
  std::atomic<std::uint64_t> reloads{0};
  std::atomic<std::uint64_t> refused{0};
};

LivePolicy::LivePolicy(std::shared_ptr<const Policy> policy, Counting counting,
                       const std::string& file)
    : m_state(std::make_unique<State>(file.empty() ? policy->description().file : file, counting)) {
  m_state->put(std::move(policy));
}

LivePolicy::~LivePolicy() = default;

bool LivePolicy::isExcluded(const Question& question) {
  thread_local Answer answer;
  ask(question, answer);
  return answer.isExcluded;
}

Answer LivePolicy::ask(const Question& question) {
  Answer answer;
  ask(question, answer);
  return answer;
}

void LivePolicy::ask(const Question& question, Answer& answer) {
  const std::size_t slot = slotOfThread();
  const std::shared_ptr<Force> force = m_state->inForce(slot);
  force->policy()->ask(question, answer);
  if (m_state->counting == Counting::Nothing) return;
  State::Slot& counts = m_state->slots[slot];
  counts.questions.fetch_add(1, std::memory_order_relaxed);
  if (answer.isExcluded) counts.excluded.fetch_add(1, std::memory_order_relaxed);
  force->count(slot, question, answer);
}

std::shared_ptr<const Policy> LivePolicy::policy() const {
  return m_state->inForce(slotOfThread())->policy();
}

Loaded LivePolicy::reload() {
  const std::lock_guard<std::mutex> lock(m_state->reloading);
  Loaded loaded = Policy::load(m_state->file);
  if (loaded.policy) {
    m_state->put(loaded.policy);
    m_state->reloads.fetch_add(1, std::memory_order_relaxed);
  } else {
    m_state->refused.fetch_add(1, std::memory_order_relaxed);
  }
  return loaded;
}

void LivePolicy::replace(std::shared_ptr<const Policy> policy) {
  const std::lock_guard<std::mutex> lock(m_state->reloading);
  m_state->put(std::move(policy));
  m_state->reloads.fetch_add(1, std::memory_order_relaxed);
}

Counters LivePolicy::counters() const {
  Counters counters;
  for (const State::Slot& slot : m_state->slots) {
    counters.questions += slot.questions.load(std::memory_order_relaxed);
    counters.excluded += slot.excluded.load(std::memory_order_relaxed);
  }
  counters.reloads = m_state->reloads.load(std::memory_order_relaxed);
  counters.refused = m_state->refused.load(std::memory_order_relaxed);
  m_state->inForce(slotOfThread())->addTo(counters);
  return counters;
}

}  // namespace qvlpolicy
