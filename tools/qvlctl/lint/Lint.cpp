#include "lint/Lint.h"

#include <algorithm>
#include <cstddef>
#include <iterator>
#include <string_view>
#include <utility>
#include <vector>

#include "fmt/format.h"
#include "io/Files.h"
#include "io/Output.h"
#include "io/Unicode.h"
#include "io/XmlFile.h"
#include "lint/LogicChecks.h"
#include "lint/RuleChecks.h"
#include "lint/SchemaCheck.h"
#include "policy/ElementStarts.h"
#include "policy/Engine.h"
#include "policy/PolicyReader.h"

namespace qvlctl {
namespace {

constexpr const char* kFormat = "docs/policy-format.md tells what may stand where";

Finding findingFrom(const PolicyTrouble& trouble) {
  return {"unusable", Severity::Error, trouble.position, trouble.reason, kFormat};
}

// The engine multiplies in 32 bits.
Findings checkDays(XmlFile& xml) {
  constexpr unsigned int kMaxDays = 24855;
  Findings findings;
  const ElementStarts starts = findElementStarts(xml.text());
  auto start = starts.elements.begin();
  const auto rows =
      xml.document().getXPathAllElementAttribute("/exclusion-policy/data-set", "rule", "days");
  std::size_t dataSet = 0;
  for (const std::vector<std::string>& row : rows) {
    for (std::size_t i = 0; i < row.size(); ++i) {
      start = std::find_if(start, starts.elements.end(),
                           [](const ElementStart& one) { return one.name == "rule"; });
      const std::size_t line = start == starts.elements.end() ? 0 : (start++)->line;
      for (std::string_view rest = row[i]; !rest.empty();) {
        const std::size_t end = std::min(rest.find(','), rest.size());
        const std::string days = trimmed(rest.substr(0, end));
        rest.remove_prefix(std::min(end + 1, rest.size()));
        if (days.empty() || days.find_first_not_of("0123456789") != std::string::npos) continue;
        const std::optional<unsigned int> count = parseNumber(days);
        if (count && *count <= kMaxDays) continue;
        findings.push_back(
            {"age-overflow",
             Severity::Error,
             {line, fmt::format("{}, rule {}", dataSetInWords(dataSet, ""), i + 1)},
             fmt::format("{} days are more than {}, the most that the engine can count", days,
                         kMaxDays),
             "write a smaller number; 24855 days are 68 years"});
        break;
      }
    }
    ++dataSet;
  }
  return findings;
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

// The logic by itself, without rules that the engine may refuse.
std::optional<LogicPart> readLogic(const Policy& policy, Findings& findings) {
  Policy bare = policy;
  for (DataSet& dataSet : bare.dataSets) {
    dataSet.rules.clear();
    dataSet.keywords.clear();
  }
  try {
    return Engine(bare).logic();
  } catch (const PolicyTrouble& trouble) {
    findings.push_back(findingFrom(trouble));
    return std::nullopt;
  }
}

void append(Findings& findings, Findings more) {
  std::move(more.begin(), more.end(), std::back_inserter(findings));
}

// Adds what is wrong with a policy that cannot be read, in place of what the schema has to say of
// that line or of no line.
void addUnusable(Findings& findings, const PolicyTrouble& trouble) {
  const auto isOfSchema = [](const Finding& finding) {
    return std::string_view(finding.name) == "schema";
  };
  const auto isThere = [&](const Finding& finding) {
    return finding.position.line == trouble.position.line;
  };
  const bool isNamed = std::any_of(findings.begin(), findings.end(), [&](const Finding& finding) {
    return isThere(finding) && !isOfSchema(finding);
  });
  const auto saysLess = [&](const Finding& finding) {
    return isOfSchema(finding) && (isThere(finding) || finding.position.line == 0);
  };
  findings.erase(std::remove_if(findings.begin(), findings.end(), saysLess), findings.end());
  if (!isNamed) findings.push_back(findingFrom(trouble));
}

void checkPolicy(const Policy& policy, LintReport& report) {
  const std::optional<LogicPart> logic = readLogic(policy, report.findings);
  if (logic) append(report.findings, checkLogic(policy, *logic));
  for (std::size_t i = 0; i < policy.dataSets.size(); ++i) {
    const Role role = logic ? roleOf(policy.dataSets[i].number, *logic) : Role::Hinders;
    append(report.findings, checkDataSet(policy, i, role, report.platform));
  }
}

}  // namespace

LintReport lint(const std::string& file, std::optional<Platform> platform) {
  LintReport report = {platform.value_or(Platform::MacOs), {}};
  Findings& findings = report.findings;
  const std::string text = readFile(file);
  const std::size_t wrong = findNonUtf8(text);
  if (wrong != std::string::npos) {
    const auto end = text.begin() + static_cast<std::ptrdiff_t>(wrong);
    const auto line = static_cast<std::size_t>(1 + std::count(text.begin(), end, '\n'));
    findings.push_back({"not-utf8",
                        Severity::Error,
                        {line, ""},
                        fmt::format("the byte {} belongs to no UTF-8 character",
                                    escaped(std::string_view(text).substr(wrong, 1))),
                        "write the file in UTF-8"});
    return report;
  }
  XmlFile xml(file, text);
  append(findings, checkSchema(text));
  append(findings, checkDays(xml));
  try {
    const Policy policy = readPolicy(file, text);
    if (!platform) report.platform = guessPlatform(policy);
    checkPolicy(policy, report);
  } catch (const PolicyTrouble& trouble) {
    addUnusable(findings, trouble);
  }
  std::stable_sort(findings.begin(), findings.end(), [](const Finding& a, const Finding& b) {
    return a.position.line < b.position.line;
  });
  return report;
}

}  // namespace qvlctl
