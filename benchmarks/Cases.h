// What several benchmarks measure with: workloads and engines, each made once in a run.

#ifndef QVL_BENCHMARKS_CASES_H
#define QVL_BENCHMARKS_CASES_H

#include <benchmark/benchmark.h>

#include <algorithm>
#include <cstddef>
#include <map>
#include <memory>
#include <string>
#include <utility>

#include "benchmarks/Engines.h"
#include "benchmarks/Workload.h"

namespace QVL {
namespace Bench {

// Kind and number of the rules.
using Case = std::pair<Kind, std::size_t>;

// "Mixed1000"
std::string nameOf(const Case& one);

// With its accesses.
Workload& workloadOf(const Case& one);

// An engine, and in what it differs from the others; empty when it agrees with them.
template <typename Engine>
struct Contender {
  explicit Contender(Workload& workload) : engine(workload) {
    compare(workload.hits, true);
    compare(workload.misses, false);
  }

  Engine engine;
  std::string disagreement;

 private:
  void compare(Accesses& accesses, bool expected) {
    const std::size_t count = std::min(accesses.size(), Engine::kCompared);
    for (std::size_t i = 0; i < count && disagreement.empty(); ++i) {
      if (engine.matches(accesses[i]) == expected) continue;
      disagreement = std::string(Engine::kName) +
                     (expected ? " does not match " : " matches, unlike RE2, ") +
                     std::string(accesses[i].subject);
    }
  }
};

template <typename Engine>
Contender<Engine>& contenderOf(const Case& one) {
  static std::map<Case, std::unique_ptr<Contender<Engine>>> made;
  std::unique_ptr<Contender<Engine>>& contender = made[one];
  if (!contender) contender = std::make_unique<Contender<Engine>>(workloadOf(one));
  return *contender;
}

// The engine, or null when its answers are wrong; the benchmark is failed then.
template <typename Engine>
Engine* engineFor(benchmark::State& state, const Case& one) {
  Contender<Engine>& contender = contenderOf<Engine>(one);
  if (contender.disagreement.empty()) return &contender.engine;
  state.SkipWithError(contender.disagreement.c_str());
  return nullptr;
}

void registerQueries();
void registerChanges();
void registerWorstCases();
void registerTracing();
void registerThreads();

}  // namespace Bench
}  // namespace QVL

#endif  // QVL_BENCHMARKS_CASES_H
