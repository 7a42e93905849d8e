#include "lint/Lint.h"

#include <algorithm>
#include <cstddef>
#include <iterator>
#include <string_view>
#include <tuple>
#include <utility>
#include <vector>

#include "lint/LogicChecks.h"
#include "lint/RuleChecks.h"
#include "lint/Suppression.h"
#include "policy/Policy.h"

namespace qvlctl {
namespace {

const char* adviceFor(std::string_view name) {
  if (name == "not-xml") return "write a literal & as &amp; and a literal < as &lt;";
  if (name == "encoding") return "write the file in UTF-8";
  if (name == "conflicting-rule") return "put it into a data set of its own";
  if (name == "refused-rule") return "docs/writing-exclusions.md tells what patterns match";
  return "docs/policy-format.md tells what may stand where";
}

Finding findingFrom(const Problem& error) {
  return {error.name,
          Severity::Error,
          {error.file, error.line, error.column, error.element},
          qvlpolicy::reasonOf(error),
          adviceFor(error.name)};
}

Platform guessPlatform(const Policy& policy) {
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

void checkPolicy(const Policy& policy, LintReport& report) {
  const std::optional<LogicPart> logic = qvlpolicy::parseLogic(policy.logic);
  if (logic) append(report.findings, checkLogic(policy, *logic));
  for (std::size_t i = 0; i < policy.dataSets.size(); ++i) {
    const Role role = logic ? roleOf(policy.dataSets[i].number, *logic) : Role::Hinders;
    append(report.findings, checkDataSet(policy, i, role, report.platform));
  }
}

// Where a finding stands among those of all files.
std::tuple<std::size_t, std::size_t, std::size_t> orderOf(const std::vector<std::string>& files,
                                                          const Position& position) {
  const auto file = std::find(files.begin(), files.end(), position.file);
  return {static_cast<std::size_t>(file - files.begin()), position.line, position.column};
}

}  // namespace

const char* nameOf(Severity severity) {
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

LintReport lint(const std::string& file, std::optional<Platform> platform) {
  LintReport report = {platform.value_or(Platform::MacOs), {}};
  Findings& findings = report.findings;
  const qvlpolicy::Loaded loaded = readPolicy(file).loaded;
  for (const Problem& error : loaded.errors) {
    findings.push_back(findingFrom(error));
  }
  // What the engine refuses leaves the rest of a policy to be looked at.
  if (!loaded.description) return report;
  const Policy& policy = *loaded.description;
  if (!platform) report.platform = guessPlatform(policy);
  checkPolicy(policy, report);
  applyAllowances(policy, findings);
  addFingerprints(policy, findings);
  std::stable_sort(findings.begin(), findings.end(), [&](const Finding& a, const Finding& b) {
    return orderOf(policy.files, a.position) < orderOf(policy.files, b.position);
  });
  return report;
}

}  // namespace qvlctl
