#include "commands/Commands.h"

#include <unistd.h>

#include <algorithm>
#include <cstdint>

#include "fmt/format.h"
#include "io/Output.h"
#include "io/PathReader.h"
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

void addZeroOption(CLI::App& command, PathOptions& options) {
  command.add_flag("-0,--null", options.zeroSeparated,
                   "Paths on standard input end in a zero byte, as `find -print0` writes them");
}

void addPathOptions(CLI::App& command, PathOptions& options) {
  addZeroOption(command, options);
  command
      .add_option(
          "PATH", options.paths,
          "Full paths, taken as they stand; the files need not exist, but an age rule looks "
          "at them. `-`, or no PATH: read paths from standard input, one a line")
      ->type_name("");
}

void forEachPath(const PathOptions& options, const std::function<void()>& beforeWaiting,
                 const std::function<void(std::string_view)>& ask) {
  std::uint64_t relativePaths = 0;
  const auto askAbout = [&](std::string_view path) {
    if (!path.empty() && path.front() != '/') ++relativePaths;
    ask(path);
  };
  const auto askStandardInput = [&] {
    PathReader reader(STDIN_FILENO, options.zeroSeparated ? '\0' : '\n', beforeWaiting,
                      "standard input", "; did you mean -0?");
    for (std::string_view path; reader.next(path);) askAbout(path);
  };
  if (options.paths.empty()) askStandardInput();
  for (const std::string& path : options.paths) path == "-" ? askStandardInput() : askAbout(path);

  if (relativePaths == 0) return;
  beforeWaiting();
  complain(fmt::format(
      "note: {} not absolute; a scanner asks for full paths, and only rules that begin with a "
      "wildcard, and file types, can match anything else",
      relativePaths == 1 ? "1 path is" : grouped(relativePaths) + " paths are"));
}

void addFormatOption(CLI::App& command, std::string& format,
                     const std::vector<std::string>& formats) {
  format = formats.front();
  const std::string choice =
      fmt::format("{} or {}", fmt::join(formats.begin(), formats.end() - 1, ", "), formats.back());
  command
      .add_option("--format", format, fmt::format("How to write: {} (default: {})", choice, format))
      ->type_name("FORMAT")
      ->check([formats, choice](const std::string& text) {
        return std::find(formats.begin(), formats.end(), text) != formats.end()
                   ? std::string()
                   : fmt::format("expected {}; found {}", choice, inQuotes(text));
      });
}

}  // namespace qvlctl
