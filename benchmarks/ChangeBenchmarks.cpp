// What rules cost before the first query: time to set up and to change, and memory.

#include <malloc.h>

#include <chrono>
#include <optional>

#include "benchmarks/Cases.h"
#include "benchmarks/ProcessorTime.h"

namespace QVL {
namespace Bench {
namespace {

constexpr std::size_t kManyRules = 10000;

// Making an engine. The product's is asked once, because its index is made by the first query.
template <typename Engine>
void setUp(benchmark::State& state, const Case& one) {
  if (!engineFor<Engine>(state, one)) return;
  Workload& workload = workloadOf(one);
  for (auto _ : state) {
    std::optional<Engine> engine(std::in_place, workload);
    if constexpr (std::is_same_v<Engine, Product>) {
      benchmark::DoNotOptimize(engine->matches(workload.misses.front()));
    }
    state.PauseTiming();
    engine.reset();
    state.ResumeTiming();
  }
}

// The rules that come after the first ones.
std::vector<Rule> moreRules(std::size_t count) {
  Workload larger(Kind::Mixed, kManyRules + count);
  larger.rules.erase(larger.rules.begin(), larger.rules.begin() + kManyRules);
  return std::move(larger.rules);
}

// A rule comes, a query, the rule goes, a query.
void change(Product& product, const Rule& rule, Access& access) {
  std::unique_ptr<IAvoidance> made = makeRule(Kind::Mixed, rule);
  IAvoidance& lent = *made;
  product.dataSet().addToDataSet(std::move(made));
  benchmark::DoNotOptimize(product.matches(access));
  product.dataSet().removeFromDataSet(lent);
  benchmark::DoNotOptimize(product.matches(access));
}

void changes(benchmark::State& state) {
  constexpr std::size_t kChanges = 20000;
  static const std::vector<Rule> rules = moreRules(kChanges);
  const Case one(Kind::Mixed, kManyRules);
  if (!engineFor<Product>(state, one)) return;
  Workload& workload = workloadOf(one);
  Product product(workload);
  product.matches(workload.misses.front());
  std::size_t next = 0;
  for (auto _ : state) {
    change(product, rules[next % kChanges], workload.misses[next % workload.misses.size()]);
    ++next;
  }
}

// The slowest of so many changes that the index has to make room for their keys.
void worstChange(benchmark::State& state) {
  constexpr std::size_t kChanges = 20000;
  static const std::vector<Rule> rules = moreRules(kChanges);
  const Case one(Kind::Mixed, kManyRules);
  if (!engineFor<Product>(state, one)) return;
  Workload& workload = workloadOf(one);
  Product product(workload);
  Access& access = workload.misses.front();
  product.matches(access);
  double worst = 0;
  for (auto _ : state) {
    for (const Rule& rule : rules) {
      worst = std::max(worst, processorTime([&] { change(product, rule, access); }));
    }
  }
  state.counters["worst_us"] = worst * 1e6;
}

std::size_t allocated() {
  const struct mallinfo2 info = mallinfo2();
  return info.uordblks + info.hblkhd;
}

// The memory that an engine has after its first queries.
template <typename Engine>
void memory(benchmark::State& state, const Case& one) {
  if (!engineFor<Engine>(state, one)) return;
  Workload& workload = workloadOf(one);
  double bytes = 0;
  for (auto _ : state) {
    const std::size_t before = allocated();
    Engine engine(workload);
    for (std::size_t i = 0; i < 100; ++i) engine.matches(workload.mixed[i]);
    bytes = static_cast<double>(allocated() - before);
  }
  state.counters["bytes"] = bytes;
}

template <typename Function>
benchmark::internal::Benchmark* add(const std::string& name, Function function, const Case& one) {
  return benchmark::RegisterBenchmark(name.c_str(), function, one);
}

template <typename... Engines>
void addAll(const Case& one) {
  const std::string input = "_" + nameOf(one) + "_";
  (add("SetUp" + input + Engines::kName, setUp<Engines>, one)->Unit(benchmark::kMillisecond), ...);
  (add("Memory" + input + Engines::kName, memory<Engines>, one)->Iterations(1), ...);
}

}  // namespace

void registerChanges() {
  addAll<Product, Re2Set, Expressions>({Kind::Mixed, 1000});
  addAll<Product, Re2Set, Expressions>({Kind::Mixed, kManyRules});
  addAll<Product, Re2Set>({Kind::Mixed, 100000});
  const std::string input = nameOf({Kind::Mixed, kManyRules});
  benchmark::RegisterBenchmark(("Change_" + input + "_Product").c_str(), changes)
      ->Unit(benchmark::kMicrosecond);
  benchmark::RegisterBenchmark(("WorstChange_" + input + "_Product").c_str(), worstChange)
      ->Iterations(1);
}

}  // namespace Bench
}  // namespace QVL
