#include "qvlpolicy/Lint.h"

#include <algorithm>
#include <cstddef>
#include <iterator>
#include <string>
#include <string_view>
#include <tuple>
#include <unordered_map>
#include <utility>
#include <vector>

#include "fmt/format.h"
#include "qvlpolicy/Patterns.h"
#include "qvlpolicy/PolicyState.h"
#include "qvlpolicy/lint/Allowances.h"
#include "qvlpolicy/lint/LogicChecks.h"
#include "qvlpolicy/lint/RuleChecks.h"

namespace qvlpolicy {
namespace {

// Characters of a policy that are looked through for the names of keywords. No policy that people
// write has as many.
constexpr std::size_t kMostForNames = 100'000'000;

// What the XML library says decides.
const char* adviceForXml(std::string_view reason) {
  const auto says = [&](std::string_view words) {
    return reason.find(words) != std::string_view::npos;
  };
  if (says("Document is empty") || says("'<' not found")) {
    return "qvlctl init writes a policy to begin with";
  }
  return says("tag mismatch") || says("end of data")
             ? "close each element where it ends, and nothing else"
             : "write a literal & as &amp; and a literal < as &lt;";
}

const char* adviceFor(std::string_view name) {
  if (name == "encoding") return "write the file in UTF-8";
  if (name == "conflicting-rule") return "put it into a data set of its own";
  if (name == "refused-rule") return "qvl-policy(5) tells what patterns match";
  return "qvl-policy(5) tells what may stand where";
}

Finding findingFrom(const Problem& error) {
  const std::string reason = reasonOf(error);
  const bool isXml = std::string_view(error.name) == "not-xml";
  return {error.name,
          Severity::Error,
          {error.file, error.line, error.column, error.element},
          reason,
          isXml ? adviceForXml(reason) : adviceFor(error.name)};
}

Platform guessPlatform(const Description& policy) {
  static constexpr const char* kMacOs[] = {"/Users/",  "/Applications/", "/Library/",
                                           "/System/", "/private/",      "/Volumes/"};
  static constexpr const char* kLinux[] = {"/home/",    "/root/",      "/srv/",     "/usr/include/",
                                           "/var/lib/", "/var/cache/", "/usr/lib/", "/usr/share/",
                                           "/proc/",    "/run/",       "/lib/",     "/usr/sbin/"};
  const auto count = [&](const auto& folders) {
    std::size_t rules = 0;
    for (const DataSet& dataSet : policy.dataSets) {
      for (const Rule& rule : dataSet.rules) {
        rules += static_cast<std::size_t>(
            std::any_of(std::begin(folders), std::end(folders), [&](std::string_view folder) {
              return std::string_view(rule.text).substr(0, folder.size()) == folder;
            }));
      }
    }
    return rules;
  };
  return count(kLinux) > count(kMacOs) ? Platform::Linux : Platform::MacOs;
}

void append(Findings& findings, Findings more) {
  std::move(more.begin(), more.end(), std::back_inserter(findings));
}

void checkPolicy(const Description& policy, const Engine* engine, const std::string& today,
                 LintReport& report) {
  const std::optional<LogicPart> logic = parseLogic(policy.logic);
  if (logic) append(report.findings, checkLogic(policy, *logic));
  // A logic is short, and there may be many data sets that it does not name.
  const std::vector<unsigned int> inLogic =
      logic ? dataSetsIn(*logic) : std::vector<unsigned int>();
  std::size_t forNames = kMostForNames;
  for (std::size_t i = 0; i < policy.dataSets.size(); ++i) {
    const unsigned int number = policy.dataSets[i].number;
    const bool isInLogic = std::binary_search(inLogic.begin(), inLogic.end(), number);
    const Role role = isInLogic ? roleOf(number, *logic) : Role::Hinders;
    append(report.findings,
           checkDataSet(policy, i,
                        {role, report.platform, today,
                         engine == nullptr ? nullptr : &engine->rules(i), &forNames}));
  }
}

// Where a finding stands among those of all files.
class FileOrder {
 public:
  explicit FileOrder(const std::vector<std::string>& files) {
    for (std::size_t i = 0; i < files.size(); ++i) m_numbers.emplace(files[i], i);
  }

  bool operator()(const Finding& a, const Finding& b) const {
    return placeOf(a.position) < placeOf(b.position);
  }

 private:
  std::tuple<std::size_t, std::size_t, std::size_t> placeOf(const Position& position) const {
    const auto file = m_numbers.find(position.file);
    return {file == m_numbers.end() ? m_numbers.size() : file->second, position.line,
            position.column};
  }

  std::unordered_map<std::string_view, std::size_t> m_numbers;
};

}  // namespace

const char* severityName(Severity severity) {
  switch (severity) {
    case Severity::Error:
      return "error";
    case Severity::Warning:
      return "warning";
    case Severity::Note:
      return "note";
  }
  return "";
}

std::string inWords(const Finding& finding) {
  return fmt::format("{}: {}: {} [{}]", inWords(finding.position), severityName(finding.severity),
                     finding.reason, finding.name);
}

LintReport lint(const Loaded& loaded, const LintOptions& options) {
  LintReport report = {options.platform.value_or(Platform::MacOs), {}};
  Findings& findings = report.findings;
  for (const Problem& error : loaded.errors) findings.push_back(findingFrom(error));
  // What the engine refuses leaves the rest of a policy to be looked at.
  if (!loaded.description) return report;
  const Description& policy = *loaded.description;
  if (!options.platform) report.platform = guessPlatform(policy);
  const Engine* const engine = loaded.policy ? &PolicyView::engineOf(*loaded.policy) : nullptr;
  checkPolicy(policy, engine, options.today.empty() ? todayText() : options.today, report);
  applyAllowances(policy, findings);
  std::stable_sort(findings.begin(), findings.end(), FileOrder(policy.files));
  return report;
}

}  // namespace qvlpolicy
