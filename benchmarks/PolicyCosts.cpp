// What policies cost: loading beside creating the same by the engine's interface, explanations
// beside lookups, and lint. Prints the tables of docs/policy-library.md and docs/lint.md.
//
//   qvl_policy_costs load|explain|lint [--drawn COUNT] [--from SEED] [--only NAME] RULES...
//
// --drawn: so many shapes that are drawn, after those that have names; --only: this one.

#include <qvl/qvl.h>
#include <qvlpolicy/Lint.h>
#include <qvlpolicy/Policy.h>
#include <qvlpolicy/Writer.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <ctime>
#include <fstream>
#include <functional>
#include <memory>
#include <stdexcept>
#include <string>
#include <string_view>
#include <vector>

#include "benchmarks/PolicyShapes.h"
#include "benchmarks/ProcessorTime.h"

namespace {

using QVL::Bench::PolicyShape;
using QVL::Bench::processorTime;

// Nearest rules are looked for in so many questions only: they are for people.
constexpr std::size_t kNearQuestions = 100;

struct Options {
  std::string what;
  std::size_t drawn = 0;
  std::size_t from = 1;
  std::string only;
  std::vector<std::size_t> sizes;
};

double median(std::vector<double> values) {
  std::sort(values.begin(), values.end());
  return values[values.size() / 2];
}

qvlpolicy::Loaded load(const std::string& text) {
  qvlpolicy::Loaded loaded = qvlpolicy::Policy::parse(text, "policy.xml");
  for (const auto& error : loaded.errors) std::fprintf(stderr, "%s\n", inWords(error).c_str());
  if (!loaded.policy) throw std::runtime_error("The policy is refused.");
  return loaded;
}

// ---- loading ----

std::shared_ptr<QVL::IDataSet> createDataSet(qvlpolicy::Kind kind) {
  switch (kind) {
    case qvlpolicy::Kind::Folder:
      return std::make_shared<QVL::FolderDataSet>();
    case qvlpolicy::Kind::Process:
      return std::make_shared<QVL::ProcessDataSet>();
    case qvlpolicy::Kind::FileType:
      return std::make_shared<QVL::FileTypeDataSet>();
    default:
      return std::make_shared<QVL::FilePathDataSet>();
  }
}

std::unique_ptr<QVL::IAvoidance> createRule(qvlpolicy::Kind kind, const std::string& text) {
  switch (kind) {
    case qvlpolicy::Kind::Folder:
      return std::make_unique<QVL::FolderAvoidance>(text, QVL::AnyAccess, 1);
    case qvlpolicy::Kind::Process:
      return std::make_unique<QVL::ProcessAvoidance>(text, QVL::AnyAccess, 0, "");
    case qvlpolicy::Kind::FileType:
      return std::make_unique<QVL::FileTypeAvoidance>(text, QVL::AnyAccess);
    default:
      return std::make_unique<QVL::FilePathAvoidance>(text, QVL::AnyAccess);
  }
}

// As a host does that uses the engine alone. Adds the rules, which belong to their data set, to
// `made`, unless it is null.
std::unique_ptr<QVL::LookupManager> create(const qvlpolicy::DataSet& rules,
                                           std::vector<QVL::IAvoidance*>* made = nullptr) {
  auto manager = std::make_unique<QVL::LookupManager>();
  const std::shared_ptr<QVL::IDataSet> dataSet = createDataSet(rules.kind);
  rules.caseSensitive ? dataSet->enableCaseSensitiveSearch()
                      : dataSet->disableCaseSensitiveSearch();
  rules.wildcards ? dataSet->enableWildCardSearch() : dataSet->disableWildCardSearch();
  for (const qvlpolicy::Keyword& keyword : rules.keywords) {
    dataSet->addOrUpdateKeyword(keyword.name, {keyword.values.begin(), keyword.values.end()});
  }
  for (const qvlpolicy::Rule& rule : rules.rules) {
    std::unique_ptr<QVL::IAvoidance> one = createRule(rules.kind, rule.text);
    if (made != nullptr) made->push_back(one.get());
    dataSet->addToDataSet(std::move(one));
  }
  manager->assignDataSet(dataSet, 1, 0);
  manager->defineBusinessLogic("1");
  return manager;
}

void measureLoading(const PolicyShape& shape) {
  const std::string text = policyText(shape.policy);
  std::vector<double> creating;
  std::vector<double> loading;
  const double once = processorTime([&] { load(text); });
  for (int i = 0; i < (once < 0.5 ? 5 : 1); ++i) {
    creating.push_back(processorTime([&] { create(shape.policy.dataSets.front()); }));
    loading.push_back(processorTime([&] { load(text); }));
  }
  std::printf("| %s | %zu | %.0f ms | %.0f ms | %.2f |\n", shape.name.c_str(), shape.rules(),
              median(loading) * 1e3, median(creating) * 1e3, median(loading) / median(creating));
  std::fflush(stdout);
}

// ---- explaining ----

qvlpolicy::Question questionOf(const PolicyShape::Asked& asked) {
  return {asked.path, asked.process};
}

std::size_t askAll(const qvlpolicy::Policy& policy, const PolicyShape& shape) {
  std::size_t excluded = 0;
  qvlpolicy::Answer answer;
  for (const PolicyShape::Asked& asked : shape.questions) {
    policy.ask(questionOf(asked), answer);
    excluded += answer.isExcluded ? 1 : 0;
  }
  return excluded;
}

std::size_t explainAll(const qvlpolicy::Policy& policy, const PolicyShape& shape) {
  std::size_t found = 0;
  for (const PolicyShape::Asked& asked : shape.questions) {
    for (const auto& dataSet : policy.explain(questionOf(asked)).dataSets) {
      found += dataSet.rules.size();
    }
  }
  return found;
}

// The seconds in which the rules that match are asked one by one, as a walk would that knew them.
double timeOfWalk(const qvlpolicy::Policy& policy, const PolicyShape& shape) {
  std::vector<QVL::IAvoidance*> rules;
  const auto manager = create(shape.policy.dataSets.front(), &rules);
  std::vector<std::vector<std::size_t>> found;
  for (const PolicyShape::Asked& asked : shape.questions) {
    found.emplace_back();
    const qvlpolicy::Explanation explanation = policy.explain(questionOf(asked));
    for (const auto& match : explanation.dataSets.front().rules) {
      found.back().push_back(match.rule);
    }
  }
  std::vector<double> walking;
  for (int i = 0; i < 5; ++i) {
    walking.push_back(processorTime([&] {
      QVL::LookupData request;
      for (std::size_t question = 0; question < found.size(); ++question) {
        request.m_filePath = shape.questions[question].path;
        request.m_processName = shape.questions[question].process;
        for (const std::size_t rule : found[question]) {
          if (!rules[rule]->canAvoid(request)) throw std::runtime_error("A rule does not match.");
        }
      }
    }));
  }
  return median(walking);
}

// How many questions were asked, and how many rules are near.
std::pair<std::size_t, std::size_t> findAllNear(const qvlpolicy::Policy& policy,
                                                const PolicyShape& shape) {
  std::size_t tried = 0;
  std::size_t found = 0;
  for (const PolicyShape::Asked& asked : shape.questions) {
    if (tried == kNearQuestions) break;
    const qvlpolicy::Explanation explanation = policy.explain(questionOf(asked));
    if (!explanation.matched.empty()) continue;
    ++tried;
    found += policy.nearRules(questionOf(asked), explanation).size();
  }
  return {tried, found};
}

// The most memory that this process had at once, in MB.
double peak() {
  std::ifstream status("/proc/self/status");
  for (std::string line; std::getline(status, line);) {
    if (line.compare(0, 6, "VmHWM:") == 0) return std::strtod(line.c_str() + 6, nullptr) / 1024;
  }
  throw std::runtime_error("The system does not tell the peak of a process.");
}

// Of a process that loads the policy from a file, asks, and with `explains` also finds out why.
double peakOf(const PolicyShape& shape, const std::string& file, bool explains) {
  int ends[2];
  if (pipe(ends) != 0) throw std::runtime_error("There is no pipe.");
  const pid_t child = fork();
  if (child == 0) {
    // What the parent has is not to count.
    const std::string out = std::to_string(ends[1]);
    execl("/proc/self/exe", "qvl_policy_costs", explains ? "peak-explain" : "peak-ask",
          file.c_str(), out.c_str(), static_cast<char*>(nullptr));
    _exit(127);
  }
  close(ends[1]);
  char text[64] = {};
  const ssize_t length = read(ends[0], text, sizeof text - 1);
  close(ends[0]);
  int status = 0;
  waitpid(child, &status, 0);
  if (length <= 0 || status != 0) throw std::runtime_error("No peak for " + shape.name);
  return std::strtod(text, nullptr);
}

int tellPeak(bool explains, const std::string& file, int out) {
  PolicyShape shape;
  std::ifstream questions(file + ".questions");
  for (std::string path, process; std::getline(questions, path, '\0');) {
    std::getline(questions, process, '\0');
    shape.questions.push_back({path, process});
  }
  const qvlpolicy::Loaded loaded = qvlpolicy::Policy::load(file);
  if (!loaded.policy) return 2;
  askAll(*loaded.policy, shape);
  if (explains) {
    explainAll(*loaded.policy, shape);
    findAllNear(*loaded.policy, shape);
  }
  const std::string text = std::to_string(peak());
  return write(out, text.data(), text.size()) == static_cast<ssize_t>(text.size()) ? 0 : 2;
}

void measureExplaining(const PolicyShape& shape) {
  const std::string text = policyText(shape.policy);
  const std::string file = "/tmp/qvl_policy_costs." + std::to_string(getpid());
  std::ofstream(file) << text;
  std::ofstream questions(file + ".questions");
  for (const PolicyShape::Asked& asked : shape.questions) {
    questions << asked.path << '\0' << asked.process << '\0';
  }
  questions.close();
  const double askingPeak = peakOf(shape, file, false);
  const double explainingPeak = peakOf(shape, file, true);
  std::remove(file.c_str());
  std::remove((file + ".questions").c_str());

  const auto policy = load(text).policy;
  std::size_t excluded = askAll(*policy, shape);
  std::size_t found = 0;
  const double preparing = processorTime([&] { found = explainAll(*policy, shape); });
  std::vector<double> asking;
  std::vector<double> explaining;
  // Some shapes are slow to ask.
  const double once = processorTime([&] { askAll(*policy, shape); });
  const auto passes = static_cast<int>(std::max(1.0, 0.005 / once));
  const auto timeOf = [&](const auto& pass) {
    return processorTime([&] {
             for (int i = 0; i < passes; ++i) pass();
           }) /
           passes;
  };
  const std::clock_t start = std::clock();
  while (asking.size() < 3 || (asking.size() < 15 && std::clock() - start < 3 * CLOCKS_PER_SEC)) {
    asking.push_back(timeOf([&] { askAll(*policy, shape); }));
    explaining.push_back(timeOf([&] { explainAll(*policy, shape); }));
  }
  std::pair<std::size_t, std::size_t> near;
  const double first = processorTime([&] { near = findAllNear(*policy, shape); });
  const double finding = processorTime([&] { near = findAllNear(*policy, shape); });
  const double each = 1e6 / static_cast<double>(shape.questions.size());
  const double eachNear = 1e6 / static_cast<double>(std::max<std::size_t>(near.first, 1));
  std::printf(
      "| %s | %zu | %.2f us | %.2f us | %.2f | %.0f MB | %.0f MB | %.2f | %.0f us, first %.0f us "
      "|\n",
      shape.name.c_str(), shape.rules(), median(asking) * each, median(explaining) * each,
      median(explaining) / median(asking), askingPeak, explainingPeak, explainingPeak / askingPeak,
      finding * eachNear, first * eachNear);
  std::printf(
      "  (first explanations %.0f ms; %zu of %zu excluded, %zu rules found, %zu near to %zu)\n",
      preparing * 1e3, excluded, shape.questions.size(), found, near.second, near.first);
  if (shape.policy.dataSets.size() == 1 && found > shape.questions.size()) {
    const double walking = timeOfWalk(*policy, shape);
    std::printf("  (each of them: %.0f ns in an explanation, %.0f ns when it is asked by itself)\n",
                (median(explaining) - median(asking)) * 1e9 / static_cast<double>(found),
                walking * 1e9 / static_cast<double>(found));
  }
  std::fflush(stdout);
}

// ---- lint ----

void measureLint(const PolicyShape& shape) {
  const std::string text = policyText(shape.policy);
  qvlpolicy::Loaded loaded;
  const double loading = processorTime([&] { loaded = load(text); });
  std::size_t findings = 0;
  const double linting = processorTime([&] { findings = lint(loaded).findings.size(); });
  std::printf("| %s | %zu | %.2f s | %.2f s | %zu |\n", shape.name.c_str(), shape.rules(), loading,
              linting, findings);
  std::fflush(stdout);
}

Options optionsFrom(int count, char* arguments[]) {
  Options options;
  options.what = count > 1 ? arguments[1] : "";
  for (int i = 2; i < count; ++i) {
    const std::string_view name = arguments[i];
    const char* const value = i + 1 < count ? arguments[i + 1] : "";
    if (name == "--drawn") {
      options.drawn = std::strtoul(value, nullptr, 10), ++i;
    } else if (name == "--from") {
      options.from = std::strtoul(value, nullptr, 10), ++i;
    } else if (name == "--only") {
      options.only = value, ++i;
    } else {
      options.sizes.push_back(std::strtoul(arguments[i], nullptr, 10));
    }
  }
  if (options.sizes.empty()) options.sizes = {10000, 100000};
  return options;
}

int run(const Options& options) {
  const auto each = [&](const std::function<void(const PolicyShape&)>& measure) {
    for (const std::size_t size : options.sizes) {
      for (const std::string& name : QVL::Bench::policyShapeNames()) {
        if (options.only.empty() || options.only == name) {
          measure(QVL::Bench::policyShape(name, size));
        }
      }
      for (std::size_t seed = options.from; seed < options.from + options.drawn; ++seed) {
        measure(QVL::Bench::drawnPolicyShape(seed, size));
      }
    }
    return 0;
  };
  if (options.what == "load") return each(measureLoading);
  if (options.what == "explain") return each(measureExplaining);
  if (options.what == "lint") return each(measureLint);
  std::fprintf(stderr, "expected load, explain or lint\n");
  return 2;
}

}  // namespace

int main(int count, char* arguments[]) {
  try {
    const std::string_view what = count > 1 ? arguments[1] : "";
    if (what == "peak-ask" || what == "peak-explain") {
      return count > 3 ? tellPeak(what == "peak-explain", arguments[2], std::atoi(arguments[3]))
                       : 2;
    }
    return run(optionsFrom(count, arguments));
  } catch (const std::exception& exception) {
    std::fprintf(stderr, "%s\n", exception.what());
    return 2;
  }
}
