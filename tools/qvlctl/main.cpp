// qvlctl: asks the exclusion engine what the scanner would ask.

#include <algorithm>
#include <exception>
#include <memory>
#include <new>
#include <optional>
#include <sstream>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "CLI/CLI.hpp"
#include "commands/Commands.h"
#include "commands/EditDistance.h"
#include "fmt/format.h"
#include "io/Output.h"
#include "io/OutputChoices.h"
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
    "expected a command: lookup, explain, diff, test, lint, audit, inventory, show, init, import, "
    "fmt or trace-level";

// Of which every command has the same.
void addOutputOptions(CLI::App& command) {
  command.add_flag("-q,--quiet", outputChoices().quiet,
                   "Leave out notes and warnings, and the line that shows progress");
  addChoiceOption(command, "--color", "WHEN", outputChoices().colour, {"auto", "always", "never"},
                  "When to use colours");
}

// What was probably meant: the nearest of the names, if it is near.
std::optional<std::string> nearest(const std::string& word, const std::vector<std::string>& names) {
  constexpr std::size_t kFarthest = 2;
  std::optional<std::string> best;
  std::size_t least = kFarthest + 1;
  for (const std::string& name : names) {
    const std::size_t distance = editDistance(word, name);
    if (distance < least && distance < name.size()) {
      least = distance;
      best = name;
    }
  }
  return best;
}

// A policy that is named without its option.
std::string suggestionOfPolicy(const std::string& mistake, int argc, char** argv) {
  constexpr std::string_view kEnding = ".xml";
  if (mistake.compare(0, 8, "--policy") != 0) return {};
  for (int i = 2; i < argc; ++i) {
    const std::string_view argument = argv[i];
    const bool isValue = argv[i - 1][0] == '-';
    if (isValue || argument.size() <= kEnding.size()) continue;
    if (argument.substr(argument.size() - kEnding.size()) == kEnding) {
      return fmt::format("\nDid you mean --policy {}?", argument);
    }
  }
  return {};
}

// Of the command, or of the whole where none is named.
std::string suggestion(const CLI::App& app, const CLI::App* command, const std::string& found) {
  std::vector<std::string> names;
  if (command == nullptr) {
    for (const CLI::App* const one : app.get_subcommands({})) names.push_back(one->get_name());
  }
  for (const CLI::Option* const option : (command == nullptr ? &app : command)->get_options()) {
    for (const std::string& name : option->get_lnames()) names.push_back("--" + name);
  }
  const std::optional<std::string> name = nearest(found.substr(0, found.find('=')), names);
  return name ? fmt::format("\nDid you mean {}?", *name) : std::string();
}

// With how many values an option may be given that was given with others.
std::optional<std::string> mismatch(const CLI::App& command, const std::string& mistake) {
  const std::string name = mistake.substr(0, mistake.find(':'));
  const CLI::Option* const option = command.get_option_no_throw(name);
  if (option == nullptr) return std::nullopt;
  const auto most = static_cast<std::size_t>(option->get_items_expected_max());
  return fmt::format("{}: expected {}; found {}", name, counted(most, "value", "values"),
                     option->count() == 0 ? "none" : grouped(option->count()));
}

// What is wrong with the command line, with what was probably meant.
std::string mistakeIn(const CLI::App& app, const CLI::App* command, const CLI::ParseError& error,
                      int argc, char** argv) {
  const std::vector<std::string> unknown = app.remaining(true);
  if (command == nullptr) {
    if (unknown.empty()) return fmt::format("{}. {}", kExpectedCommand, error.what());
    return fmt::format("{}; found {}{}", kExpectedCommand, inQuotes(unknown.front()),
                       suggestion(app, command, unknown.front()));
  }
  // An unknown option is the cause of whatever else is missing or left over.
  for (const std::string& argument : unknown) {
    if (argument.size() < 2 || argument.front() != '-') continue;
    return fmt::format("expected an option of {}; found {}{}", command->get_name(),
                       inQuotes(argument), suggestion(app, command, argument));
  }
  const bool isLeftOver = dynamic_cast<const CLI::ExtrasError*>(&error) != nullptr;
  if (isLeftOver && !unknown.empty()) {
    return fmt::format("expected nothing more; found {}", inQuotes(unknown.front()));
  }
  if (dynamic_cast<const CLI::ArgumentMismatch*>(&error) != nullptr) {
    if (const auto text = mismatch(*command, error.what())) return *text;
  }
  return error.what() + suggestionOfPolicy(error.what(), argc, argv);
}

// `--process=` names no process; the parser would take the next argument for the value.
std::vector<std::string> argumentsOf(const CLI::App& app, int argc, char** argv) {
  const auto takesValue = [&](const std::string& name) {
    const std::vector<const CLI::App*> commands = app.get_subcommands({});
    return std::any_of(commands.begin(), commands.end(), [&](const CLI::App* command) {
      const CLI::Option* const option = command->get_option_no_throw(name);
      return option != nullptr && option->get_items_expected_max() > 0;
    });
  };
  std::vector<std::string> arguments;
  bool areOptions = true;
  for (int i = 1; i < argc; ++i) {
    std::string argument = argv[i];
    areOptions = areOptions && argument != "--";
    const std::string name = argument.substr(0, argument.find('='));
    if (areOptions && name.size() + 1 == argument.size() && name.compare(0, 2, "--") == 0 &&
        takesValue(name)) {
      arguments.push_back(name);
      argument.clear();
    }
    arguments.push_back(std::move(argument));
  }
  std::reverse(arguments.begin(), arguments.end());  // as the parser wants them
  return arguments;
}

// Help and version print themselves; anything else is a mistake on the command line.
int reportParseResult(const CLI::App& app, const CLI::ParseError& error, int argc, char** argv) {
  if (error.get_exit_code() == 0) {
    std::ostringstream text;
    app.exit(error, text);
    Output output;
    output.print("{}", text.str());
    output.flush();
    return kYes;
  }
  const std::vector<CLI::App*> commands = app.get_subcommands();
  const CLI::App* const command = commands.empty() ? nullptr : commands.front();
  complain(fmt::format("{}\nTry `qvlctl{} --help`.", mistakeIn(app, command, error, argc, argv),
                       command == nullptr ? std::string() : ' ' + command->get_name()));
  return kTrouble;
}

int run(int argc, char** argv) {
  CLI::App app(
      "Asks an exclusion policy what an on-access scanner would ask: may this file access go\n"
      "unscanned? A policy is an XML file of exclusion rules; qvl-policy(5) describes it.",
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
  addShowCommand(app, action);
  addInitCommand(app, action);
  addImportCommand(app, action);
  addFmtCommand(app, action);
  addTraceLevelCommand(app, action);
  for (CLI::App* const command : app.get_subcommands({})) {
    command->group("Commands");
    addOutputOptions(*command);
  }
  try {
    app.parse(argumentsOf(app, argc, argv));
  } catch (const CLI::ParseError& error) {
    return reportParseResult(app, error, argc, argv);
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
  } catch (const std::bad_alloc&) {
    complain("out of memory");
  } catch (const std::exception& trouble) {
    complain(trouble.what());
  }
  return kTrouble;
}
