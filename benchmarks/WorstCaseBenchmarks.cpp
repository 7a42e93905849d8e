// The slowest query for rules and paths that were made to be slow. Each pair is asked alone, in the
// processor time of its best of a few attempts; the slowest pair of a family counts.

#include <re2/re2.h>

#include <limits>

#include "benchmarks/Cases.h"
#include "benchmarks/ProcessorTime.h"

namespace QVL {
namespace Bench {
namespace {

using Part = Rule::Part;

constexpr std::size_t kPathLength = 4096;
constexpr std::size_t kMostRuns = 12;
constexpr std::size_t kLongestRule = 4096;

struct Pair {
  Rule rule;
  std::string path;
};

Rule ruleOf(std::initializer_list<Part> parts) {
  Rule rule;
  for (const Part& part : parts) rule.add(part.sort, part.text);
  return rule;
}

// "/Users/" and then `unit` up to the length of a path.
std::string pathOf(const std::string& unit) {
  std::string path = "/Users/";
  while (path.size() < kPathLength) path += unit;
  path.resize(kPathLength);
  return path;
}

// Components of `a` of this length.
std::string components(std::size_t length) {
  return std::string(length, 'a') + "/";
}

// A literal between each two of so many runs, at the end one that is not there.
Rule alternating(Part::Sort run, const std::string& literal, std::size_t runs) {
  Rule rule = ruleOf({{Part::Literal, "/Users/"}});
  for (std::size_t i = 0; i < runs; ++i) {
    rule.add(run);
    rule.add(Part::Literal, literal);
  }
  rule.add(Part::Literal, "b");
  return rule;
}

std::vector<Pair> stars() {
  std::vector<Pair> pairs;
  for (const char* const literal : {"a", "aa", "aaaaaaaa"}) {
    for (std::size_t runs = 1; runs <= kMostRuns; ++runs) {
      pairs.push_back({alternating(Part::Star, literal, runs), pathOf("a")});
    }
  }
  return pairs;
}

std::vector<Pair> doubleStars() {
  std::vector<Pair> pairs;
  for (const char* const literal : {"a", "/a", "aaaaaaaa"}) {
    for (std::size_t runs = 1; runs <= kMostRuns / 2; ++runs) {
      for (const std::size_t length : {1u, 8u, 64u, 4096u}) {
        pairs.push_back({alternating(Part::DoubleStar, literal, runs), pathOf(components(length))});
      }
    }
  }
  return pairs;
}

std::vector<Pair> anyFolders() {
  std::vector<Pair> pairs;
  for (std::size_t runs = 1; runs <= kMostRuns / 2; ++runs) {
    for (const std::size_t length : {1u, 8u, 64u}) {
      Rule rule = ruleOf({{Part::Literal, "/Users"}});
      for (std::size_t i = 0; i < runs; ++i) {
        rule.add(Part::Folders);
        rule.add(Part::Literal, "a");
        if (length > 1) rule.add(Part::Star);
      }
      rule.add(Part::Literal, "b");
      pairs.push_back({std::move(rule), pathOf(components(length))});
    }
  }
  return pairs;
}

// Stars that are tried again behind every start of a double star.
std::vector<Pair> starsBehindDoubleStar() {
  std::vector<Pair> pairs;
  for (std::size_t runs = 1; runs + 2 <= kMostRuns; ++runs) {
    for (const std::size_t length : {1u, 8u, 64u, 512u, 4096u}) {
      for (const char* const literal : {"a", "aaaa"}) {
        Rule rule = ruleOf({{Part::Literal, "/Users/"}, {Part::DoubleStar, {}}});
        rule.add(Part::Literal, literal);
        for (std::size_t i = 0; i < runs; ++i) {
          rule.add(Part::Star);
          rule.add(Part::Literal, literal);
        }
        rule.add(Part::Literal, "b");
        pairs.push_back({rule, pathOf(components(length))});
        // The same with the end in sight, so that only the middle is missing.
        rule.add(Part::Star);
        rule.add(Part::Literal, literal);
        pairs.push_back({std::move(rule), pathOf(components(length))});
      }
    }
  }
  return pairs;
}

std::vector<Pair> longLiterals() {
  std::vector<Pair> pairs;
  for (const std::size_t length : {16u, 100u, 250u, 300u, 1000u, 2000u}) {
    for (const Part::Sort run : {Part::Star, Part::DoubleStar}) {
      const std::string half(length / 2, 'a');
      for (const std::string& literal : {half + half + "b", "b" + half + half, half + "b" + half}) {
        Rule rule = ruleOf({{Part::Literal, "/Users/"}, {run, {}}});
        rule.add(Part::Literal, literal);
        rule.add(run);
        pairs.push_back({rule, pathOf("a")});
        pairs.push_back({std::move(rule), pathOf(std::string(length - 1, 'a') + "c")});
      }
    }
  }
  return pairs;
}

std::vector<Pair> questionMarks() {
  std::vector<Pair> pairs;
  for (const std::size_t count : {4u, 16u, 64u, 256u, 1024u, 2048u}) {
    for (const Part::Sort run : {Part::Star, Part::DoubleStar}) {
      for (const bool mixed : {false, true}) {
        Rule rule = ruleOf({{Part::Literal, "/Users/"}, {run, {}}});
        for (std::size_t i = 0; i < count; ++i) {
          rule.add(Part::Question);
          if (mixed) rule.add(Part::Literal, "a");
        }
        rule.add(Part::Literal, "b");
        rule.add(run);
        if (rule.text.size() <= kLongestRule) pairs.push_back({std::move(rule), pathOf("a")});
      }
    }
  }
  return pairs;
}

// Whatever nobody thought of.
std::vector<Pair> anything() {
  constexpr std::size_t kPairs = 3000;
  constexpr Part::Sort kRuns[] = {Part::Star, Part::DoubleStar, Part::Folders};
  constexpr const char* kLiterals[] = {"a", "b", "/", "aa", "ab", "/a", "a/", "aaaa"};
  Random random(7);
  std::vector<Pair> pairs;
  while (pairs.size() < kPairs) {
    Rule rule = ruleOf({{Part::Literal, "/Users/"}});
    for (std::size_t stars = 0; stars + 2 <= kMostRuns;) {
      const Part::Sort run = random.pick(kRuns);
      rule.add(run);
      stars += run == Part::Star ? 1 : 2;
      if (random.oneIn(4)) rule.add(Part::Question);
      if (!random.oneIn(8)) rule.add(Part::Literal, random.pick(kLiterals));
    }
    rule.add(Part::Literal, random.oneIn(2) ? "b" : "a");
    std::string unit;
    for (std::size_t i = 0; i < 3; ++i) {
      unit += std::string(random.below(9), 'a') + (random.oneIn(4) ? "b" : "/");
    }
    pairs.push_back({std::move(rule), pathOf(unit)});
  }
  return pairs;
}

// One component after the other, each as short as can be, against many rules.
double slashes() {
  Workload& workload = workloadOf({Kind::Mixed, 10000});
  Product& product = contenderOf<Product>({Kind::Mixed, 10000}).engine;
  Access access = workload.misses.front();
  double worst = 0;
  for (const char* const unit : {"/", "a/", "ab/", "build/", "Library/"}) {
    access.request.m_filePath = pathOf(unit);
    double best = std::numeric_limits<double>::max();
    for (int attempt = 0; attempt < 5; ++attempt) {
      best = std::min(best, processorTime([&] { product.matches(access); }));
    }
    worst = std::max(worst, best);
  }
  return worst;
}

void slowest(benchmark::State& state, std::vector<Pair> (*family)()) {
  constexpr int kAttempts = 3;
  RE2::Options options;
  options.set_dot_nl(true);
  options.set_max_mem(std::int64_t{1} << 30);
  double worst = 0;
  std::string worstRule;
  for (auto _ : state) {
    for (Pair& pair : family()) {
      Workload workload(Kind::Mixed, 0);
      workload.rules.push_back(std::move(pair.rule));
      const Rule& rule = workload.rules.front();
      Product product(workload);
      Access access;
      access.request.m_filePath = pair.path;
      const bool answer = product.matches(access);
      if (answer != RE2::FullMatch(pair.path, RE2(rule.expression, options))) {
        state.SkipWithError(("The product and RE2 disagree about " + rule.text).c_str());
        return;
      }
      double best = std::numeric_limits<double>::max();
      for (int attempt = 0; attempt < kAttempts; ++attempt) {
        best = std::min(best, processorTime([&] { product.matches(access); }));
      }
      if (best > worst) worstRule = rule.text;
      worst = std::max(worst, best);
    }
  }
  state.counters["worst_us"] = worst * 1e6;
  state.SetLabel(worstRule.size() <= 60 ? worstRule : worstRule.substr(0, 60) + "...");
}

// The rule and the path that once took the regular expression engine more than a second.
template <typename Engine>
void fourStars(benchmark::State& state) {
  Workload workload(Kind::Mixed, 0);
  workload.rules.push_back(ruleOf({{Part::Literal, "/Users/"}}));
  for (const char* const literal : {"a", "a", "a", "ab"}) {
    workload.rules.back().add(Part::Star);
    workload.rules.back().add(Part::Literal, literal);
  }
  Engine engine(workload);
  Access access;
  access.request.m_filePath = "/Users/" + std::string(193, 'a');
  access.subject = access.request.m_filePath;
  for (auto _ : state) {
    try {
      benchmark::DoNotOptimize(engine.matches(access));
    } catch (const std::exception& failure) {
      state.SetLabel(failure.what());
    }
  }
}

template <typename... Arguments>
benchmark::internal::Benchmark* add(const std::string& name, Arguments... arguments) {
  return benchmark::RegisterBenchmark(("WorstCase_" + name).c_str(), arguments...);
}

}  // namespace

void registerWorstCases() {
  add("Stars_Product", slowest, stars)->Iterations(1);
  add("DoubleStars_Product", slowest, doubleStars)->Iterations(1);
  add("Folders_Product", slowest, anyFolders)->Iterations(1);
  add("StarsBehindDoubleStar_Product", slowest, starsBehindDoubleStar)->Iterations(1);
  add("LongLiterals_Product", slowest, longLiterals)->Iterations(1);
  add("QuestionMarks_Product", slowest, questionMarks)->Iterations(1);
  add("Anything_Product", slowest, anything)->Iterations(1);
  add("Slashes_Product", [](benchmark::State& state) {
    double worst = 0;
    for (auto _ : state) worst = slashes();
    state.counters["worst_us"] = worst * 1e6;
  })->Iterations(1);
  add("FourStars_Product", fourStars<Product>)->Unit(benchmark::kMicrosecond);
  add("FourStars_Expressions", fourStars<Expressions>)
      ->Iterations(1)
      ->Unit(benchmark::kMicrosecond);
}

}  // namespace Bench
}  // namespace QVL
