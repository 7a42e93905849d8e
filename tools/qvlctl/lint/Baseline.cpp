#include "lint/Baseline.h"

#include <exception>
#include <map>
#include <stdexcept>
#include <utility>

#include "fmt/format.h"
#include "io/Digest.h"
#include "io/Files.h"
#include "io/Json.h"
#include "io/Output.h"
#include "io/Trouble.h"

namespace qvlctl {
namespace {

std::string fingerprintOf(const Policy& policy, const qvlpolicy::Finding& finding) {
  std::string text = finding.name;
  if (finding.dataSet) {
    const DataSet& dataSet = policy.dataSets[*finding.dataSet];
    text += fmt::format("\n{}", dataSet.number);
    if (finding.rule) text += '\n' + dataSet.rules[*finding.rule].text;
  }
  constexpr std::size_t kLength = 32;
  return sha256(text).substr(0, kLength);
}

}  // namespace

Findings withFingerprints(const Policy* policy, qvlpolicy::Findings findings) {
  Findings result;
  result.reserve(findings.size());
  for (qvlpolicy::Finding& finding : findings) {
    std::string fingerprint = policy == nullptr ? "" : fingerprintOf(*policy, finding);
    result.push_back({std::move(finding), std::move(fingerprint), false});
  }
  return result;
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
    if (finding.severity == qvlpolicy::Severity::Error || found == known.end() ||
        found->second == 0)
      continue;
    finding.isInBaseline = true;
    --found->second;
  }
}

}  // namespace qvlctl
