// qvlctl: asks the exclusion engine what the scanner would ask.

#include <exception>
#include <memory>
#include <sstream>
#include <string>

#include "CLI/CLI.hpp"
#include "commands/Commands.h"
#include "fmt/format.h"
#include "io/Output.h"
#include "io/Trouble.h"

namespace {

using namespace qvlctl;

// Breaks texts so that they fit beside the names of options on a terminal.
class HelpFormatter : public CLI::Formatter {
 public:
  HelpFormatter() {
    column_width(kNames);
    label("SUBCOMMAND", "COMMAND");
    label("Positionals", "Arguments");
    label("REQUIRED", "(required)");
  }

  std::string make_option_desc(const CLI::Option* option) const override {
    std::istringstream words(option->get_description());
    std::string text;
    std::size_t lineStart = 0;
    for (std::string word; words >> word;) {
      if (text.size() - lineStart + 1 + word.size() > kTexts) {
        text += '\n';
        lineStart = text.size();
      } else if (!text.empty()) {
        text += ' ';
      }
      text += word;
    }
    return text;
  }

 private:
  static constexpr std::size_t kNames = 26;
  static constexpr std::size_t kTexts = 62;
};

constexpr const char* kExpectedCommand =
    "expected a command: lookup, explain, diff, test, lint, audit, inventory or trace-level";

// Help and version print themselves; anything else is a mistake on the command line.
int reportParseResult(const CLI::App& app, const CLI::ParseError& error) {
  if (error.get_exit_code() == 0) {
    std::ostringstream text;
    app.exit(error, text);
    Output output;
    output.print("{}", text.str());
    output.flush();
    return kYes;
  }
  std::string program = "qvlctl";
  if (app.get_subcommands().empty()) {
    complain(fmt::format("{}. {}\nTry `qvlctl --help`.", kExpectedCommand, error.what()));
    return kTrouble;
  }
  for (const CLI::App* const command : app.get_subcommands()) program += " " + command->get_name();
  complain(fmt::format("{}\nTry `{} --help`.", error.what(), program));
  return kTrouble;
}

int run(int argc, char** argv) {
  CLI::App app(
      "Asks an exclusion policy what an on-access scanner would ask: may this file access go\n"
      "unscanned? A policy is an XML file of exclusion rules; docs/policy-format.md describes it.",
      "qvlctl");
  app.set_version_flag("--version", "qvlctl " QVLCTL_VERSION, "Print the version and exit");
  app.set_help_flag("-h,--help", "Print this help and exit");
  app.formatter(std::make_shared<HelpFormatter>());
  app.footer("`qvlctl COMMAND --help` tells more about a command.");

  Action action;
  addLookupCommand(app, action);
  addExplainCommand(app, action);
  addDiffCommand(app, action);
  addTestCommand(app, action);
  addLintCommand(app, action);
  addAuditCommand(app, action);
  addInventoryCommand(app, action);
  addTraceLevelCommand(app, action);
  for (CLI::App* const command : app.get_subcommands({})) command->group("Commands");
  try {
    app.parse(argc, argv);
  } catch (const CLI::ParseError& error) {
    return reportParseResult(app, error);
  }
  if (!action) {
    complain(fmt::format("{}\nTry `qvlctl --help`.", kExpectedCommand));
    return kTrouble;
  }
  return action();
}

}  // namespace

int main(int argc, char** argv) {
  try {
    return run(argc, argv);
  } catch (const std::exception& trouble) {
    complain(trouble.what());
    return kTrouble;
  }
}
