// Several threads that ask at once: how many queries they get answered, and how long a query takes
// at the worst.

#include <sys/resource.h>

#include <algorithm>
#include <array>
#include <atomic>
#include <chrono>
#include <cstddef>
#include <string>
#include <thread>
#include <vector>

#include "benchmarks/Cases.h"
#include "benchmarks/ProcessorTime.h"

namespace QVL {
namespace Bench {
namespace {

using Clock = std::chrono::steady_clock;

constexpr std::chrono::milliseconds kMeasured(250);

// An engine that all threads ask.
template <typename Engine>
class Shared {
 public:
  static constexpr const char* kName = Engine::kName;

  Shared(const Workload& workload, int /*threads*/) : m_engine(workload) {}
  bool matches(Access& access, int /*thread*/) { return m_engine.matches(access); }

 private:
  Engine m_engine;
};

// What a thread did while it was measured, on cache lines of its own.
struct alignas(128) Tally {
  std::size_t queries = 0;
  double processorSeconds = 0;
  long waits = 0;
};

long voluntarySwitches() {
#if defined(RUSAGE_THREAD)
  rusage usage{};
  getrusage(RUSAGE_THREAD, &usage);
  return usage.ru_nvcsw;
#else
  return 0;
#endif
}

// Has threads ask for a while. Each has requests of its own.
template <typename Engine>
Tally askFromThreads(Engine& engine, const Accesses& accesses, int threads) {
  std::atomic<int> ready{0};
  std::atomic<bool> done{false};
  std::vector<Tally> tallies(static_cast<std::size_t>(threads));
  std::vector<std::thread> running;
  for (int thread = 0; thread < threads; ++thread) {
    running.emplace_back([&, thread] {
      Accesses own = accesses;
      for (Access& access : own) engine.matches(access, thread);
      ++ready;
      while (ready < threads) std::this_thread::yield();
      Tally& tally = tallies[static_cast<std::size_t>(thread)];
      const long waits = voluntarySwitches();
      std::size_t next = static_cast<std::size_t>(thread) * 37 % own.size();
      std::size_t queries = 0;
      tally.processorSeconds = processorTime([&] {
        while (!done.load(std::memory_order_relaxed)) {
          benchmark::DoNotOptimize(engine.matches(own[next], thread));
          if (++next == own.size()) next = 0;
          ++queries;
        }
      });
      tally.queries = queries;
      tally.waits = voluntarySwitches() - waits;
    });
  }
  while (ready < threads) std::this_thread::yield();
  std::this_thread::sleep_for(kMeasured);
  done = true;
  for (std::thread& thread : running) thread.join();
  Tally all;
  for (const Tally& tally : tallies) {
    all.queries += tally.queries;
    all.processorSeconds += tally.processorSeconds;
    all.waits += tally.waits;
  }
  return all;
}

// The text of an access that was copied is still that of the original, which lives on.
template <typename Engine>
void throughput(benchmark::State& state, const Case& one, int threads) {
  if (!engineFor<Product>(state, one)) return;
  Workload& workload = workloadOf(one);
  Engine engine(workload, threads);
  Tally all;
  double seconds = 0;
  for (auto _ : state) {
    const auto start = Clock::now();
    const Tally tally = askFromThreads(engine, workload.mixed, threads);
    seconds += std::chrono::duration<double>(Clock::now() - start).count();
    all.queries += tally.queries;
    all.processorSeconds += tally.processorSeconds;
    all.waits += tally.waits;
  }
  const auto queries = static_cast<double>(all.queries);
  state.counters["per_second"] = queries / seconds;
  state.counters["processor_ns"] = all.processorSeconds / queries * 1e9;
  state.counters["waits_per_million"] = static_cast<double>(all.waits) / queries * 1e6;
}

// What two threads lose by sharing a manager, against a manager with data sets each, where there is
// nothing to wait for: queries in the same processor time. They take short turns with both, as a
// machine that is shared gives the one and the other a different speed from one moment to the next.
void sharing(benchmark::State& state, const Case& one) {
  if (!engineFor<Product>(state, one)) return;
  constexpr int kThreads = 2;
  constexpr int kTurns = 600;
  const Workload& workload = workloadOf(one);
  std::vector<double> ratios;
  for (auto _ : state) {
    Product shared(workload);
    std::atomic<int> arrived{0};
    std::array<std::vector<double>, kThreads> ofThreads;
    std::vector<std::thread> running;
    for (std::vector<double>& ofThread : ofThreads) {
      running.emplace_back([&] {
        Product alone(workload);
        Accesses own = workload.mixed;
        int turn = 0;
        const auto timeOf = [&](Product& product) {
          ++arrived;
          for (++turn; arrived < kThreads * turn;) std::this_thread::yield();
          return processorTime([&] {
            for (Access& access : own) benchmark::DoNotOptimize(product.matches(access));
          });
        };
        for (int i = 0; i < kTurns; ++i) {
          const double together = timeOf(shared);
          ofThread.push_back(timeOf(alone) / together);
        }
      });
    }
    for (std::thread& thread : running) thread.join();
    for (const std::vector<double>& ofThread : ofThreads) {
      ratios.insert(ratios.end(), ofThread.begin(), ofThread.end());
    }
  }
  const auto middle = ratios.begin() + static_cast<std::ptrdiff_t>(ratios.size() / 2);
  std::nth_element(ratios.begin(), middle, ratios.end());
  state.counters["shared_to_own"] = *middle;
}

enum class Beside { Nothing, Queries, QueriesAndChanges };

// The time that one query of a thousand exceeds, while other threads use the same manager.
void tail(benchmark::State& state, const Case& one, Beside beside) {
  if (!engineFor<Product>(state, one)) return;
  Workload& workload = workloadOf(one);
  Product product(workload);
  std::atomic<bool> done{false};
  std::vector<std::thread> others;
  if (beside != Beside::Nothing) {
    others.emplace_back([&] {
      Accesses own = workload.mixed;
      for (std::size_t next = 0; !done; next = (next + 1) % own.size()) product.matches(own[next]);
    });
  }
  if (beside == Beside::QueriesAndChanges) {
    others.emplace_back([&] {
      while (!done) {
        auto rule = std::make_unique<FilePathAvoidance>("/changing/rule/*.log", AnyAccess);
        IAvoidance& lent = *rule;
        product.dataSet().addToDataSet(std::move(rule));
        product.dataSet().removeFromDataSet(lent);
      }
    });
  }
  std::vector<float> times;
  times.reserve(std::size_t{1} << 22);
  Accesses own = workload.mixed;
  std::size_t next = 0;
  for (auto _ : state) {
    const auto end = Clock::now() + kMeasured;
    for (auto before = Clock::now(); before < end && times.size() < times.capacity();) {
      benchmark::DoNotOptimize(product.matches(own[next]));
      const auto now = Clock::now();
      times.push_back(std::chrono::duration<float, std::micro>(now - before).count());
      before = now;
      if (++next == own.size()) next = 0;
    }
  }
  done = true;
  for (std::thread& other : others) other.join();
  const auto percentile = [&](double part) {
    const auto at = static_cast<long>(static_cast<double>(times.size() - 1) * part);
    std::nth_element(times.begin(), times.begin() + at, times.end());
    return static_cast<double>(times[static_cast<std::size_t>(at)]);
  };
  state.counters["median_us"] = percentile(0.5);
  state.counters["p999_us"] = percentile(0.999);
}

template <typename Engine>
void add(const char* operation, const Case& one, int threads) {
  const std::string name = std::string(operation) + "_" + nameOf(one) + "_" + Engine::kName;
  benchmark::RegisterBenchmark(name.c_str(), throughput<Engine>, one, threads)
      ->Iterations(1)
      ->UseRealTime();
}

void addTail(const char* operation, const Case& one, Beside beside) {
  const std::string name = std::string(operation) + "_" + nameOf(one) + "_Product";
  benchmark::RegisterBenchmark(name.c_str(), tail, one, beside)->Iterations(1)->UseRealTime();
}

}  // namespace

void registerThreads() {
  for (const std::size_t rules : {10u, 100u, 1000u, 10000u}) {
    const Case mixed(Kind::Mixed, rules);
    add<Shared<Product>>("ThreadsOne", mixed, 1);
    add<Shared<Product>>("ThreadsTwo", mixed, 2);
    add<Shared<Product>>("ThreadsEight", mixed, 8);
    add<Shared<Product>>("ThreadsMany", mixed, 32);
    benchmark::RegisterBenchmark(("ThreadsSharing_" + nameOf(mixed) + "_Product").c_str(), sharing,
                                 mixed)
        ->Iterations(1)
        ->UseRealTime();
    add<Shared<Re2Set>>("ThreadsOne", mixed, 1);
    add<Shared<Re2Set>>("ThreadsTwo", mixed, 2);
    addTail("TailAlone", mixed, Beside::Nothing);
    addTail("TailBeside", mixed, Beside::Queries);
    addTail("TailChanging", mixed, Beside::QueriesAndChanges);
  }
}

}  // namespace Bench
}  // namespace QVL
