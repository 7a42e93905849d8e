#include <qvlpolicy/Writer.h>

#include <memory>
#include <string>

#include "commands/Commands.h"
#include "io/Output.h"
#include "io/TraceLog.h"
#include "policy/Policy.h"

namespace qvlctl {
namespace {

int show(const std::string& policyFile) {
  keepTraceLogSilent();
  Output output;
  output.print("{}", qvlpolicy::policyText(loadPolicy(policyFile).loaded.policy->description()));
  output.flush();
  return kYes;
}

}  // namespace

void addShowCommand(CLI::App& app, Action& action) {
  CLI::App& command =
      *app.add_subcommand("show", "Print a policy as one file, with all it includes");
  const auto policyFile = std::make_shared<std::string>();
  addPolicyOption(command, *policyFile);
  command.footer(
      "Prints a policy file that says the same: included files and tables of keywords are put in,\n"
      "and a comment at each data set names the file and line that it comes from.\n"
      "\n"
      "Exit status: 0, or 2 for a policy that cannot be used and other trouble.\n"
      "\n"
      "  qvlctl show --policy policy.xml");
  command.callback([policyFile, &action] { action = [policyFile] { return show(*policyFile); }; });
}

}  // namespace qvlctl
