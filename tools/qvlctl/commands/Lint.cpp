#include <algorithm>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <utility>

#include "commands/Commands.h"
#include "fmt/format.h"
#include "io/Json.h"
#include "io/Output.h"
#include "io/Sarif.h"
#include "io/TraceLog.h"
#include "lint/Baseline.h"

namespace qvlctl {
namespace {

using qvlpolicy::Severity;
using qvlpolicy::severityName;

struct LintOptions {
  std::string policyFile;
  std::string format;
  std::string platform = kThisPlatform;
  std::string baseline;
};

std::optional<Platform> platformOf(const std::string& name) {
  if (name == "macos") return Platform::MacOs;
  if (name == "linux") return Platform::Linux;
  return std::nullopt;
}

const char* nameOf(Platform platform) {
  return platform == Platform::MacOs ? "macos" : "linux";
}

// The text as a workflow command of GitHub takes it; more is escaped in a property.
std::string escapedForGithub(std::string_view text, bool isProperty) {
  std::string result;
  for (const char c : text) {
    const bool isSpecial =
        c == '%' || c == '\r' || c == '\n' || (isProperty && (c == ':' || c == ','));
    result += isSpecial ? fmt::format("%{:02X}", static_cast<unsigned char>(c)) : std::string(1, c);
  }
  return result;
}

class Lint {
 public:
  explicit Lint(const LintOptions& options) : m_options(options) {
    keepTraceLogSilent();
    const qvlpolicy::Loaded loaded = readPolicy(options.policyFile).loaded;
    qvlpolicy::LintReport report = qvlpolicy::lint(loaded, {platformOf(options.platform), {}});
    m_platform = report.platform;
    m_findings = withFingerprints(loaded.description.get(), std::move(report.findings));
    if (!options.baseline.empty()) applyBaseline(options.baseline, m_findings);
  }

  int run() {
    if (m_options.format == "json") {
      writeJson();
    } else if (m_options.format == "sarif") {
      writeSarif();
    } else {
      writeText(m_options.format == "github");
    }
    m_output.flush();
    if (count(Severity::Error) > 0) return kTrouble;
    return count(Severity::Warning) > 0 ? kNo : kYes;
  }

 private:
  template <typename Which>
  std::uint64_t countIf(Which which) const {
    return static_cast<std::uint64_t>(std::count_if(m_findings.begin(), m_findings.end(), which));
  }

  // Those that count.
  std::uint64_t count(Severity severity) const {
    return countIf(
        [&](const Finding& finding) { return finding.severity == severity && finding.isOpen(); });
  }
  std::uint64_t allowedCount() const {
    return countIf([](const Finding& finding) { return finding.allowedFor.has_value(); });
  }
  std::uint64_t baselineCount() const {
    return countIf(
        [](const Finding& finding) { return finding.isInBaseline && !finding.allowedFor; });
  }

  void writeText(bool forGithub) {
    for (const Finding& finding : m_findings) {
      if (finding.isOpen()) forGithub ? writeForGithub(finding) : writeText(finding);
    }
    std::string known;
    if (allowedCount() > 0) known += fmt::format("; {} allowed", grouped(allowedCount()));
    if (baselineCount() > 0) known += fmt::format("; {} in the baseline", grouped(baselineCount()));
    m_output.print("{}: {}, {}, {}, on {}{}\n", escaped(policyName(m_options.policyFile)),
                   counted(count(Severity::Error), "error", "errors"),
                   counted(count(Severity::Warning), "warning", "warnings"),
                   counted(count(Severity::Note), "note", "notes"), nameOf(m_platform), known);
  }

  void writeText(const Finding& finding) {
    const Colour colour = finding.severity == Severity::Note ? Colour::None : Colour::Excluded;
    m_output.print("{}: {}: {} [{}]\n    advice: {}\n", inWords(finding.position),
                   m_output.coloured(colour, severityName(finding.severity)), finding.reason,
                   finding.name, finding.advice);
  }

  void writeForGithub(const Finding& finding) {
    const Position& position = finding.position;
    std::string properties = "file=" + escapedForGithub(position.file, true);
    if (position.line > 0) properties += fmt::format(",line={}", position.line);
    if (position.column > 0) properties += fmt::format(",col={}", position.column);
    properties += fmt::format(",title={}", finding.name);
    m_output.print("::{} {}::{}\n",
                   finding.severity == Severity::Note ? "notice" : severityName(finding.severity),
                   properties, escapedForGithub(messageOf(finding), false));
  }

  static std::string messageOf(const Finding& finding) {
    return fmt::format("{}{}{}. Advice: {}.", finding.position.element,
                       finding.position.element.empty() ? "" : ": ", finding.reason,
                       finding.advice);
  }

  void writeSarif() {
    SarifLog log;
    for (const Finding& finding : m_findings) {
      const Position& position = finding.position;
      SarifResult result;
      result.name = finding.name;
      result.level = severityName(finding.severity);
      result.message = messageOf(finding);
      result.places = {{position.file, position.line, position.column, position.element}};
      result.isSuppressed = finding.allowedFor.has_value();
      result.justification = finding.allowedFor.value_or("");
      result.fingerprint = finding.fingerprint;
      if (!m_options.baseline.empty()) {
        result.baselineState = finding.isInBaseline ? "unchanged" : "new";
      }
      log.addSort(result.name,
                  "lint.md, which qvlctl(1) tells the place of, describes " + result.name);
      log.add(result);
    }
    m_output.print("{}\n", jsonPage(log.json()));
  }

  void writeJson() {
    Json json;
    json["report"] = "lint";
    json["version"] = 1;
    addText(json, "policy", policyName(m_options.policyFile));
    json["platform"] = nameOf(m_platform);
    json["errors"] = count(Severity::Error);
    json["warnings"] = count(Severity::Warning);
    json["notes"] = count(Severity::Note);
    json["allowed"] = allowedCount();
    json["inBaseline"] = baselineCount();
    json["findings"] = Json::array();
    for (const Finding& finding : m_findings) {
      Json one = {{"name", finding.name}, {"severity", severityName(finding.severity)}};
      addText(one, "file", finding.position.file);
      one["line"] = finding.position.line;
      one["column"] = finding.position.column;
      one["element"] = finding.position.element;
      one["reason"] = finding.reason;
      one["advice"] = finding.advice;
      one["fingerprint"] = finding.fingerprint;
      if (finding.allowedFor) one["allowed"] = *finding.allowedFor;
      if (finding.isInBaseline) one["baseline"] = true;
      json["findings"].push_back(std::move(one));
    }
    m_output.print("{}\n", jsonPage(json));
  }

  const LintOptions& m_options;
  Platform m_platform = Platform::MacOs;
  Findings m_findings;
  Output m_output;
};

}  // namespace

void addLintCommand(CLI::App& app, Action& action) {
  CLI::App& command = *app.add_subcommand(
      "lint", "Look for rules that are too broad, never match, or mean something else");
  const auto options = std::make_shared<LintOptions>();
  addPolicyOption(command, options->policyFile);
  addFormatOption(command, options->format, {"text", "json", "sarif", "github"});
  addChoiceOption(command, "--platform", "NAME", options->platform, {"linux", "macos", "auto"},
                  "Where the policy is used, which decides what names of folders are only aliases "
                  "(auto: where the folders are that the rules name)");
  command
      .add_option("--baseline", options->baseline,
                  "An earlier report in JSON: what it holds does not count")
      ->type_name("FILE");
  command.footer(
      "Prints each finding with its place, the reason and what to do about it; qvlctl(1) tells\n"
      "where lint.md is, which describes them all. An error is a policy that no command can use.\n"
      "What an <allow> of the policy names is counted and left out, as is what --baseline holds.\n"
      "`sarif` is the format of code reviews (2.1.0), `github` that of GitHub's workflows.\n"
      "\n"
      "Exit status: 0 no warnings, 1 warnings, 2 errors or other trouble.\n"
      "\n"
      "  qvlctl lint --policy policy.xml\n"
      "  qvlctl lint --policy policy.xml --format json >baseline.json");
  command.callback([options, &action] { action = [options] { return Lint(*options).run(); }; });
}

}  // namespace qvlctl
