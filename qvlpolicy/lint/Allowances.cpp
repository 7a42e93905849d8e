#include "qvlpolicy/lint/Allowances.h"

#include <map>
#include <optional>
#include <string_view>
#include <tuple>
#include <utility>
#include <vector>

#include "fmt/format.h"
#include "qvlpolicy/Text.h"

namespace qvlpolicy {
namespace {

// Applies allowances one after the other, each finding at most once for all allowances that are
// about the same.
class Application {
 public:
  Application(const Description& policy, Findings& findings) : m_findings(findings) {
    for (std::size_t i = 0; i < findings.size(); ++i) {
      const Finding& finding = findings[i];
      if (finding.severity == Severity::Error) continue;
      note(i, finding.dataSet, "");
      if (!finding.dataSet || !finding.rule) continue;
      note(i, finding.dataSet, policy.dataSets[*finding.dataSet].rules[*finding.rule].text);
    }
  }

  // Marks the findings that the allowance is about; `dataSet` is the one that it stands in. False:
  // none.
  bool apply(const Allowance& allowance, std::optional<std::size_t> dataSet) {
    const auto found = m_byKey.find(Key(allowance.finding, dataSet, allowance.rule));
    if (found == m_byKey.end()) return false;
    for (const std::size_t i : found->second) {
      if (!m_findings[i].allowedFor) m_findings[i].allowedFor = allowance.reason;
    }
    // They are all marked now, and others like this one mark none of them.
    found->second.clear();
    return true;
  }

 private:
  // The name of a finding; a data set, or all; a rule's text, or all rules and none.
  using Key = std::tuple<std::string_view, std::optional<std::size_t>, std::string_view>;

  void note(std::size_t finding, std::optional<std::size_t> dataSet, std::string_view rule) {
    const char* const name = m_findings[finding].name;
    m_byKey[Key(name, std::nullopt, rule)].push_back(finding);
    if (dataSet) m_byKey[Key(name, dataSet, rule)].push_back(finding);
  }

  Findings& m_findings;
  std::map<Key, std::vector<std::size_t>> m_byKey;
};

Finding unusedFinding(const Description& policy, const Allowance& allowance,
                      std::optional<std::size_t> dataSet) {
  Finding finding = {
      "allow-unused", Severity::Warning,
      dataSet ? positionOf(policy, *dataSet) : positionOfLogic(policy),
      fmt::format(
          "there is no finding {} here{}", inQuotes(allowance.finding),
          allowance.rule.empty() ? "" : fmt::format(" of a rule {}", inQuotes(allowance.rule))),
      "remove it, or write the name that lint shows in brackets behind the finding"};
  finding.position.file = policy.files[allowance.place.file];
  finding.position.line = allowance.place.line;
  finding.position.column = allowance.place.column;
  finding.position.element += finding.position.element.empty() ? "allow" : ", allow";
  if (!dataSet) finding.position.element = "allow";
  finding.dataSet = dataSet;
  return finding;
}

}  // namespace

void applyAllowances(const Description& policy, Findings& findings) {
  Findings unused;
  Application application(policy, findings);
  for (std::size_t i = 0; i < policy.dataSets.size(); ++i) {
    for (const Allowance& allowance : policy.dataSets[i].allowances) {
      if (!application.apply(allowance, i)) unused.push_back(unusedFinding(policy, allowance, i));
    }
  }
  for (const Allowance& allowance : policy.allowances) {
    if (!application.apply(allowance, std::nullopt)) {
      unused.push_back(unusedFinding(policy, allowance, std::nullopt));
    }
  }
  for (Finding& finding : unused) findings.push_back(std::move(finding));
}

}  // namespace qvlpolicy
