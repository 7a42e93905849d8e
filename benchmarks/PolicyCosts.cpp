// What policies cost: loading beside creating the same by the engine's interface, and an
// explanation beside a lookup. Prints the tables of docs/policy-library.md.
//
//   qvl_policy_costs [RULES...]

#include <malloc.h>
#include <qvl/qvl.h>
#include <qvlpolicy/Policy.h>

#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <functional>
#include <memory>
#include <random>
#include <string>
#include <vector>

#include "benchmarks/ProcessorTime.h"

namespace {

using QVL::Bench::processorTime;

// A third each: folders, paths with wildcards, and plain paths. No two are alike.
std::vector<std::string> rulesOf(std::size_t count) {
  std::mt19937_64 random(20261122);
  const auto word = [&](std::size_t syllables) {
    static const char* const kSyllables[] = {"ka", "ro", "mi", "tes", "lu", "ban", "dor", "sil"};
    std::string made;
    for (std::size_t i = 0; i < syllables; ++i) made += kSyllables[random() % 8];
    return made;
  };
  std::vector<std::string> rules;
  for (std::size_t i = 0; i < count; ++i) {
    const std::string number = std::to_string(i);
    const std::string folder = "/srv/" + word(2) + '/' + word(3);
    if (i % 3 == 0) {
      rules.push_back(folder + '/' + number + "/**/" + word(2) + "*." + word(1));
    } else if (i % 3 == 1) {
      rules.push_back(folder + number + "/**");
    } else {
      rules.push_back(folder + '/' + word(2) + number + ".db");
    }
  }
  return rules;
}

std::string policyOf(const std::vector<std::string>& rules) {
  std::string text =
      "<exclusion-policy version=\"1\"><logic>1</logic>\n<data-set number=\"1\" "
      "kind=\"file-path\">\n";
  for (const std::string& rule : rules) text += "<rule>" + rule + "</rule>\n";
  return text + "</data-set></exclusion-policy>\n";
}

// Half of them are matched by a rule.
std::vector<std::string> pathsFor(const std::vector<std::string>& rules) {
  std::vector<std::string> paths;
  for (std::size_t i = 0; i < 2000; ++i) {
    std::string path = rules[i * 7919 % rules.size()];
    for (std::size_t at = 0; (at = path.find('*')) != std::string::npos;) {
      path.replace(at,
                   path.find_first_not_of('*', at) == std::string::npos
                       ? path.size() - at
                       : path.find_first_not_of('*', at) - at,
                   "x");
    }
    paths.push_back(i % 2 == 0 ? path : path + "/no");
  }
  return paths;
}

double median(std::vector<double> values) {
  std::sort(values.begin(), values.end());
  return values[values.size() / 2];
}

double heap() {
  malloc_trim(0);
  const struct mallinfo2 info = mallinfo2();
  return static_cast<double>(info.uordblks + info.hblkhd);
}

std::shared_ptr<const qvlpolicy::Policy> load(const std::string& text) {
  qvlpolicy::Loaded loaded = qvlpolicy::Policy::parse(text, "policy.xml");
  for (const auto& error : loaded.errors) std::fprintf(stderr, "%s\n", inWords(error).c_str());
  if (!loaded.policy) std::exit(2);
  return std::move(loaded.policy);
}

// As a host does that uses the engine alone.
std::unique_ptr<QVL::LookupManager> create(const std::vector<std::string>& rules) {
  auto manager = std::make_unique<QVL::LookupManager>();
  auto dataSet = std::make_shared<QVL::FilePathDataSet>();
  for (const std::string& rule : rules) {
    dataSet->addToDataSet(std::make_unique<QVL::FilePathAvoidance>(rule, QVL::AnyAccess));
  }
  manager->assignDataSet(dataSet, 1, 0);
  manager->defineBusinessLogic("1");
  return manager;
}

void measure(std::size_t count) {
  const std::vector<std::string> rules = rulesOf(count);
  const std::string text = policyOf(rules);
  std::vector<double> creating;
  std::vector<double> loading;
  for (int i = 0; i < 5; ++i) {
    creating.push_back(processorTime([&] { create(rules); }));
    loading.push_back(processorTime([&] { load(text); }));
  }
  std::printf("| %zu rules: loading / creating | %.1f ms | %.1f ms | %.2f |\n", count,
              median(loading) * 1e3, median(creating) * 1e3, median(loading) / median(creating));

  const std::vector<std::string> paths = pathsFor(rules);
  const double before = heap();
  const std::shared_ptr<const qvlpolicy::Policy> policy = load(text);
  qvlpolicy::Answer answer;
  std::size_t excluded = 0;
  const auto lookups = [&] {
    for (const std::string& path : paths) {
      policy->ask({path, ""}, answer);
      excluded += answer.isExcluded ? 1 : 0;
    }
  };
  lookups();
  const double afterLookups = heap() - before;
  const double preparing = processorTime([&] { policy->prepareSearches(); });
  std::size_t found = 0;
  const auto explanations = [&] {
    for (const std::string& path : paths) {
      found += policy->explain({path, ""}).dataSets[0].rules.size();
    }
  };
  explanations();
  const double afterExplanations = heap() - before;
  std::vector<double> asking;
  std::vector<double> explaining;
  for (int i = 0; i < 15; ++i) {
    asking.push_back(processorTime(lookups));
    explaining.push_back(processorTime(explanations));
  }
  const double questions = static_cast<double>(paths.size());
  std::printf("| %zu rules: explain / lookup | %.2f us | %.2f us | %.2f |\n", count,
              median(explaining) / questions * 1e6, median(asking) / questions * 1e6,
              median(explaining) / median(asking));
  std::printf("| %zu rules: heap with searches / without | %.1f MB | %.1f MB | %.2f |\n", count,
              afterExplanations * 1e-6, afterLookups * 1e-6, afterExplanations / afterLookups);
  std::printf("  (searches made in %.0f ms; %zu of %zu excluded, %zu rules found)\n",
              preparing * 1e3, excluded / 16, paths.size(), found / 16);
}

}  // namespace

int main(int count, char* arguments[]) {
  std::vector<std::size_t> sizes = {10000, 100000};
  if (count > 1) sizes.clear();
  for (int i = 1; i < count; ++i) sizes.push_back(std::strtoul(arguments[i], nullptr, 10));
  for (const std::size_t size : sizes) measure(size);
}
