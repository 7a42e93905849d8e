#include "PolicyInForce.h"

#include <algorithm>
#include <ctime>
#include <utility>

#include "Metrics.h"
#include "Trouble.h"
#include "fmt/format.h"

namespace onaccess {
namespace {

using qvlpolicy::DataSet;
using qvlpolicy::Kind;

std::string linesOf(const std::vector<qvlpolicy::Problem>& problems, const char* prefix) {
  std::string lines;
  for (const qvlpolicy::Problem& problem : problems) {
    lines += prefix + inWords(problem) + "\n";
  }
  return lines;
}

bool readsProgramOf(const qvlpolicy::Policy& policy) {
  const std::vector<DataSet>& dataSets = policy.description().dataSets;
  return std::any_of(dataSets.begin(), dataSets.end(),
                     [](const DataSet& dataSet) { return dataSet.kind == Kind::Process; });
}

}  // namespace

PolicyInForce::PolicyInForce(const std::string& file, qvlpolicy::Counting counting) : m_file(file) {
  const qvlpolicy::Loaded loaded = qvlpolicy::Policy::load(file);
  if (!loaded.policy) {
    std::string errors = linesOf(loaded.errors, "");
    if (!errors.empty()) errors.pop_back();
    throw Trouble(errors);
  }
  m_warnings = linesOf(loaded.warnings, "warning: ");
  m_readsProgram = readsProgramOf(*loaded.policy);
  m_policy = std::make_unique<qvlpolicy::LivePolicy>(loaded.policy, counting, file);
}

std::optional<bool> PolicyInForce::isExcluded(const std::string& path, const std::string& program,
                                              std::vector<unsigned int>& dataSets) {
  const std::uint64_t swaps = m_swaps;
  qvlpolicy::Answer answer;
  answer.dataSets.swap(dataSets);
  // The kernel says that a file is opened, not for what: every open may read.
  m_policy->ask({path, program, QVL::ReadAccess}, answer);
  dataSets.swap(answer.dataSets);
  // Without a program, the answer of a policy that reads programs is none.
  if (program.empty() && (m_readsProgram || m_swaps != swaps)) return std::nullopt;
  return answer.isExcluded;
}

bool PolicyInForce::reload(std::string& words) {
  const qvlpolicy::Loaded loaded = qvlpolicy::Policy::load(m_file);
  words = linesOf(loaded.errors, "") + linesOf(loaded.warnings, "warning: ");
  if (!loaded.policy) {
    ++m_refused;
    return false;
  }
  const bool readsProgram = readsProgramOf(*loaded.policy);
  const bool areProgramsRead = readsProgram || m_readsProgram;
  if (areProgramsRead) {
    ++m_swaps;
    m_readsProgram = true;
  }
  m_policy->replace(loaded.policy);
  if (areProgramsRead) {
    ++m_swaps;
    m_readsProgram = readsProgram;
  }
  return true;
}

std::string PolicyInForce::inPrometheusText() const {
  const qvlpolicy::Counters counters = m_policy->counters();
  std::string text = prometheusMetric("qvl_onaccess_reloads_total", "counter",
                                      "Policies that came into force after the first.",
                                      static_cast<double>(counters.reloads));
  text += prometheusMetric("qvl_onaccess_refused_reloads_total", "counter",
                           "Reloads that left the policy in force.",
                           static_cast<double>(m_refused.load()));
  text += prometheusMetric("qvl_onaccess_policy_since_seconds", "gauge",
                           "When the policy in force was loaded, in seconds since 1970.",
                           static_cast<double>(counters.since));
  if (!counters.policy) return text;

  const std::vector<DataSet>& dataSets = counters.policy->description().dataSets;
  const auto labelOf = [&](std::size_t i) {
    return fmt::format("data_set=\"{}\",name=\"{}\"", dataSets[i].number,
                       prometheusLabel(dataSets[i].name));
  };
  text +=
      "# HELP qvl_onaccess_data_set_matches Opens that a data set matched under this policy.\n"
      "# TYPE qvl_onaccess_data_set_matches gauge\n";
  for (std::size_t i = 0; i < counters.dataSets.size(); ++i) {
    text += fmt::format("qvl_onaccess_data_set_matches{{{}}} {}\n", labelOf(i),
                        counters.dataSets[i].count);
  }
  text +=
      "# HELP qvl_onaccess_rule_matches Excluded opens that a rule matched under this policy.\n"
      "# TYPE qvl_onaccess_rule_matches gauge\n";
  for (std::size_t i = 0; i < counters.rules.size(); ++i) {
    for (std::size_t j = 0; j < counters.rules[i].size(); ++j) {
      if (counters.rules[i][j].count == 0) continue;
      text += fmt::format("qvl_onaccess_rule_matches{{{},rule=\"{}\",number=\"{}\"}} {}\n",
                          labelOf(i), prometheusLabel(dataSets[i].rules[j].text), j + 1,
                          counters.rules[i][j].count);
    }
  }
  return text;
}

std::string PolicyInForce::summary() const {
  const qvlpolicy::Counters counters = m_policy->counters();
  std::tm parts;
  char since[32] = "";
  if (::gmtime_r(&counters.since, &parts) != nullptr) {
    std::strftime(since, sizeof since, "%Y-%m-%dT%H:%M:%SZ", &parts);
  }
  std::string text = fmt::format("policy: {} (since {}, {} reloaded, {} refused)\n", m_file, since,
                                 counters.reloads, m_refused.load());
  if (!counters.policy) return text;
  const std::vector<DataSet>& dataSets = counters.policy->description().dataSets;
  for (std::size_t i = 0; i < counters.dataSets.size(); ++i) {
    text += fmt::format("data set {}: {} matches {}\n", dataSets[i].number,
                        counters.dataSets[i].count, dataSets[i].name);
  }
  return text;
}

}  // namespace onaccess
