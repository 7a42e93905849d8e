#include <algorithm>
#include <memory>
#include <optional>
#include <string>

#include "commands/Commands.h"
#include "fmt/format.h"
#include "io/Json.h"
#include "io/Output.h"
#include "io/TraceLog.h"
#include "lint/Lint.h"

namespace qvlctl {
namespace {

#ifdef __APPLE__
constexpr const char* kThisPlatform = "macos";
#else
constexpr const char* kThisPlatform = "linux";
#endif

struct LintOptions {
  std::string policyFile;
  std::string format;
  std::string platform = kThisPlatform;
};

std::optional<Platform> platformOf(const std::string& name) {
  if (name == "macos") return Platform::MacOs;
  if (name == "linux") return Platform::Linux;
  return std::nullopt;
}

const char* nameOf(Platform platform) {
  return platform == Platform::MacOs ? "macos" : "linux";
}

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

class Lint {
 public:
  explicit Lint(const LintOptions& options) : m_options(options) {
    keepTraceLogSilent();
    m_report = lint(options.policyFile, platformOf(options.platform));
  }

  int run() {
    m_options.format == "json" ? writeJson() : writeText();
    m_output.flush();
    if (count(Severity::Error) > 0) return kTrouble;
    return count(Severity::Warning) > 0 ? kNo : kYes;
  }

 private:
  std::uint64_t count(Severity severity) const {
    return static_cast<std::uint64_t>(
        std::count_if(m_report.findings.begin(), m_report.findings.end(),
                      [&](const Finding& finding) { return finding.severity == severity; }));
  }

  void writeText() {
    for (const Finding& finding : m_report.findings) {
      const Colour colour = finding.severity == Severity::Note ? Colour::None : Colour::Excluded;
      m_output.print(
          "{}\n    advice: {}\n",
          describe(finding.position,
                   fmt::format("{}: {} [{}]", m_output.coloured(colour, nameOf(finding.severity)),
                               finding.reason, finding.name)),
          finding.advice);
    }
    m_output.print("{}: {}, {}, {}, on {}\n", escaped(m_options.policyFile),
                   counted(count(Severity::Error), "error", "errors"),
                   counted(count(Severity::Warning), "warning", "warnings"),
                   counted(count(Severity::Note), "note", "notes"), nameOf(m_report.platform));
  }

  void writeJson() {
    Json json;
    json["report"] = "lint";
    json["version"] = 1;
    addText(json, "policy", m_options.policyFile);
    json["platform"] = nameOf(m_report.platform);
    json["errors"] = count(Severity::Error);
    json["warnings"] = count(Severity::Warning);
    json["notes"] = count(Severity::Note);
    json["findings"] = Json::array();
    for (const Finding& finding : m_report.findings) {
      json["findings"].push_back({{"name", finding.name},
                                  {"severity", nameOf(finding.severity)},
                                  {"file", finding.position.file},
                                  {"line", finding.position.line},
                                  {"column", finding.position.column},
                                  {"element", finding.position.element},
                                  {"reason", finding.reason},
                                  {"advice", finding.advice}});
    }
    m_output.print("{}\n", jsonPage(json));
  }

  const LintOptions& m_options;
  LintReport m_report = {Platform::MacOs, {}};
  Output m_output;
};

}  // namespace

void addLintCommand(CLI::App& app, Action& action) {
  CLI::App& command = *app.add_subcommand(
      "lint", "Look for rules that are too broad, never match, or mean something else");
  const auto options = std::make_shared<LintOptions>();
  addPolicyOption(command, options->policyFile);
  addFormatOption(command, options->format, {"text", "json"});
  addChoiceOption(command, "--platform", "NAME", options->platform, {"linux", "macos", "auto"},
                  "Where the policy is used, which decides what names of folders are only aliases "
                  "(auto: where the folders are that the rules name)");
  command.footer(
      "Prints each finding with its place, the reason and what to do about it; docs/lint.md tells\n"
      "them all. An error is a policy that no command can use.\n"
      "\n"
      "Exit status: 0 no warnings, 1 warnings, 2 errors or other trouble.\n"
      "\n"
      "  qvlctl lint --policy policy.xml");
  command.callback([options, &action] { action = [options] { return Lint(*options).run(); }; });
}

}  // namespace qvlctl
