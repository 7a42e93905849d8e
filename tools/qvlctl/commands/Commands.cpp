#include "commands/Commands.h"

#include "fmt/format.h"
#include "io/Output.h"
#include "io/TraceLog.h"
#include "policy/PolicyReader.h"

namespace qvlctl {
namespace {

// The trace log starts with the library's first object.
Policy readPolicyFirst(const QuestionOptions& options) {
  if (!options.trace) keepTraceLogSilent();
  return readPolicy(options.policyFile);
}

}  // namespace

void addQuestionOptions(CLI::App& command, QuestionOptions& options) {
  command.add_option("-p,--policy", options.policyFile, "The policy: an XML file")
      ->required()
      ->type_name("FILE");
  command
      .add_option("--process", options.process,
                  "Ask as if this process made the accesses: a name or a full path, as the scanner "
                  "would give it (default: none)")
      ->type_name("NAME");
  command
      .add_option("--access", options.access,
                  "Ask about this kind of access: read, write, any, or the number that the scanner "
                  "uses for another one. A request for any fits only what is excluded for any "
                  "access (default: read)")
      ->type_name("TYPE")
      ->check([](const std::string& text) {
        return parseAccess(text)
                   ? std::string()
                   : fmt::format("expected {}; found {}", kAccessChoice, inQuotes(text));
      });
  command.add_flag("--trace", options.trace,
                   "Let the library write its trace file, at the level set by trace-level");
}

Question::Question(const QuestionOptions& options)
    : policy(readPolicyFirst(options)), engine(policy) {
  for (const Warning& warning : engine.warnings()) {
    complain("warning: " + describe(policy.file, warning.position, warning.message));
  }
  request.m_processName = options.process;
  request.m_accessType = *parseAccess(options.access);
}

}  // namespace qvlctl
