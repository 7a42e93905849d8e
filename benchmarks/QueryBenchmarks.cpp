// The time of one query, by number and kind of rules.

#include <algorithm>
#include <cstdint>

#include "benchmarks/Cases.h"

namespace QVL {
namespace Bench {
namespace {

// So few paths that what they need stays in the processor's nearest memory.
constexpr std::size_t kHotPaths = 64;

template <typename Engine>
void query(benchmark::State& state, const Case& one, Accesses Workload::*sort, std::size_t paths) {
  Engine* const engine = engineFor<Engine>(state, one);
  if (!engine) return;
  Accesses& accesses = workloadOf(one).*sort;
  paths = std::min(paths, accesses.size());
  std::size_t next = 0;
  for (auto _ : state) {
    benchmark::DoNotOptimize(engine->matches(accesses[next]));
    if (++next == paths) next = 0;
  }
}

template <typename Engine>
void add(const char* operation, const Case& one, Accesses Workload::*sort,
         std::size_t paths = SIZE_MAX) {
  const std::string name = std::string(operation) + "_" + nameOf(one) + "_" + Engine::kName;
  benchmark::RegisterBenchmark(name.c_str(), query<Engine>, one, sort, paths);
}

template <typename... Engines>
void addAll(const Case& one) {
  (add<Engines>("Query", one, &Workload::mixed), ...);
}

}  // namespace

void registerQueries() {
  for (const std::size_t rules : {10u, 100u, 1000u, 10000u, 100000u}) {
    const Case mixed(Kind::Mixed, rules);
    addAll<Product, Re2Set>(mixed);
    add<Product>("Hot", mixed, &Workload::mixed, kHotPaths);
    add<Re2Set>("Hot", mixed, &Workload::mixed, kHotPaths);
    add<Product>("Hit", mixed, &Workload::hits);
    add<Re2Set>("Hit", mixed, &Workload::hits);
    add<Product>("Miss", mixed, &Workload::misses);
    add<Re2Set>("Miss", mixed, &Workload::misses);
    if (rules <= 10000) {
      add<Vectorscan>("Hot", mixed, &Workload::mixed, kHotPaths);
      addAll<Vectorscan, Expressions, Walk, TracedProduct>(mixed);
    }
  }
  for (const Kind kind : {Kind::Regex, Kind::Folder, Kind::Process, Kind::Type}) {
    addAll<Product, Walk, Re2Set, Vectorscan>({kind, 1000});
  }
  addAll<Floor>({Kind::Folder, 1000});
}

}  // namespace Bench
}  // namespace QVL
