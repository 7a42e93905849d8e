#include <memory>
#include <string>
#include <string_view>

#include "commands/Commands.h"
#include "fmt/format.h"
#include "io/Files.h"
#include "io/Output.h"
#include "io/TraceLog.h"
#include "io/Trouble.h"
#include "qvlpolicy/Formatter.h"

namespace qvlctl {
namespace {

struct FmtOptions {
  std::string policyFile;
  bool check = false;
  bool write = false;
};

// The number of the first line in which two texts differ.
std::size_t firstDifference(std::string_view a, std::string_view b) {
  std::size_t line = 1;
  for (std::size_t i = 0; i < a.size() && i < b.size() && a[i] == b[i]; ++i) {
    if (a[i] == '\n') ++line;
  }
  return line;
}

int fmtPolicy(const FmtOptions& options) {
  keepTraceLogSilent();
  if (options.check && options.write) throw Trouble("expected --check or --write; found both");
  const bool isInput = options.policyFile == "-";
  if (isInput && options.write) throw Trouble("expected a file to write to; found -");
  const std::string name = policyName(options.policyFile);
  const std::string text = isInput ? readStandardInput() : readFile(options.policyFile);
  const qvlpolicy::Formatted formatted = qvlpolicy::formatPolicy(text, name);
  for (const qvlpolicy::Problem& error : formatted.errors) complain(qvlpolicy::inWords(error));
  if (!formatted.errors.empty()) return kTrouble;
  const bool isCanonical = formatted.text == text;
  if (options.write) {
    if (!isCanonical) replaceFile(options.policyFile, formatted.text);
    return kYes;
  }
  Output output;
  if (!options.check) {
    output.print("{}", formatted.text);
  } else if (!isCanonical) {
    output.print("{}:{}: not in canonical form\n", escaped(name),
                 firstDifference(text, formatted.text));
  }
  output.flush();
  return options.check && !isCanonical ? kNo : kYes;
}

}  // namespace

void addFmtCommand(CLI::App& app, Action& action) {
  CLI::App& command =
      *app.add_subcommand("fmt", "Print a policy in its canonical form, comments kept");
  const auto options = std::make_shared<FmtOptions>();
  addPolicyOption(command, options->policyFile);
  command.add_flag("--check", options->check,
                   "Only tell whether it is in that form, and the first line that is not");
  command.add_flag("--write", options->write,
                   "Write it back to the file, which is replaced as a whole or not at all");
  command.footer(
      "One element a line, indented by two; attributes in the order of qvl-policy(5), without "
      "those\n"
      "that have their default; an empty line before each data set. The order of elements, the\n"
      "texts of rules and logic, comments and single empty lines stay. The file may be one that\n"
      "another policy includes.\n"
      "\n"
      "Exit status: 0 done, or it is in that form; 1 --check, and it is not; 2 trouble.\n"
      "\n"
      "  qvlctl fmt --policy policy.xml --write");
  command.callback([options, &action] { action = [options] { return fmtPolicy(*options); }; });
}

}  // namespace qvlctl
