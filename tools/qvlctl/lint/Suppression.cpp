#include "lint/Suppression.h"

#include <exception>
#include <map>
#include <optional>
#include <stdexcept>
#include <string_view>
#include <utility>
#include <vector>

#include "fmt/format.h"
#include "io/Digest.h"
#include "io/Files.h"
#include "io/Json.h"
#include "io/Output.h"
#include "io/Trouble.h"

namespace qvlctl {
namespace {

using qvlpolicy::Allowance;

// Marks the findings that an allowance is about; `dataSet` is the one that it stands in. False:
// none.
bool apply(const Policy& policy, const Allowance& allowance, std::optional<std::size_t> dataSet,
           Findings& findings) {
  bool isUsed = false;
  for (Finding& finding : findings) {
    if (finding.severity == Severity::Error || allowance.finding != finding.name) continue;
    if (dataSet && finding.dataSet != dataSet) continue;
    if (!allowance.rule.empty()) {
      if (!finding.dataSet || !finding.rule) continue;
      if (policy.dataSets[*finding.dataSet].rules[*finding.rule].text != allowance.rule) continue;
    }
    if (!finding.allowedFor) finding.allowedFor = allowance.reason;
    isUsed = true;
  }
  return isUsed;
}

Finding unusedFinding(const Policy& policy, const Allowance& allowance,
                      std::optional<std::size_t> dataSet) {
  Finding finding = {
      "allow-unused", Severity::Warning,
      dataSet ? positionOf(policy, *dataSet) : positionOfLogic(policy),
      fmt::format(
          "there is no finding {} here{}", inQuotes(allowance.finding),
          allowance.rule.empty() ? "" : fmt::format(" of a rule {}", inQuotes(allowance.rule))),
      "remove it, or correct its name; docs/lint.md tells all names"};
  finding.position.file = policy.files[allowance.place.file];
  finding.position.line = allowance.place.line;
  finding.position.column = allowance.place.column;
  finding.position.element += finding.position.element.empty() ? "allow" : ", allow";
  if (!dataSet) finding.position.element = "allow";
  finding.dataSet = dataSet;
  return finding;
}

}  // namespace

void applyAllowances(const Policy& policy, Findings& findings) {
  Findings unused;
  for (std::size_t i = 0; i < policy.dataSets.size(); ++i) {
    for (const Allowance& allowance : policy.dataSets[i].allowances) {
      if (!apply(policy, allowance, i, findings))
        unused.push_back(unusedFinding(policy, allowance, i));
    }
  }
  for (const Allowance& allowance : policy.allowances) {
    if (!apply(policy, allowance, std::nullopt, findings)) {
      unused.push_back(unusedFinding(policy, allowance, std::nullopt));
    }
  }
  for (Finding& finding : unused) findings.push_back(std::move(finding));
}

void addFingerprints(const Policy& policy, Findings& findings) {
  for (Finding& finding : findings) {
    std::string text = finding.name;
    if (finding.dataSet) {
      const DataSet& dataSet = policy.dataSets[*finding.dataSet];
      text += fmt::format("\n{}", dataSet.number);
      if (finding.rule) text += '\n' + dataSet.rules[*finding.rule].text;
    }
    constexpr std::size_t kLength = 32;
    finding.fingerprint = sha256(text).substr(0, kLength);
  }
}

void applyBaseline(const std::string& file, Findings& findings) {
  std::map<std::string, std::size_t> known;
  try {
    const Json json = Json::parse(readFile(file));
    if (json.at("report") != "lint") throw std::invalid_argument("it is another report");
    for (const Json& one : json.at("findings")) ++known[one.at("fingerprint").get<std::string>()];
  } catch (const Trouble&) {
    throw;
  } catch (const std::exception&) {
    throw Trouble(
        fmt::format("{}: expected a report as `qvlctl lint --format json` writes it; "
                    "found something else",
                    escaped(file)));
  }
  for (Finding& finding : findings) {
    const auto found = known.find(finding.fingerprint);
    if (finding.severity == Severity::Error || found == known.end() || found->second == 0) continue;
    finding.isInBaseline = true;
    --found->second;
  }
}

}  // namespace qvlctl
