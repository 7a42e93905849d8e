#include "commands/Commands.h"

#include <unistd.h>

#include <algorithm>
#include <cstdint>

#include "fmt/format.h"
#include "io/Files.h"
#include "io/Output.h"
#include "io/OutputChoices.h"
#include "io/PathReader.h"
#include "io/TraceLog.h"
#include "io/Trouble.h"

namespace qvlctl {
namespace {

// The trace log starts with the library's first object.
PolicyFile loadPolicyFirst(const PolicyOptions& options) {
  if (!options.trace) keepTraceLogSilent();
  return loadPolicy(options.policyFile);
}

void addTraceOption(CLI::App& command, PolicyOptions& options) {
  command.add_flag("--trace", options.trace,
                   "Let the library write its trace file, at the level set by trace-level");
}

std::string checkAccess(const std::string& text) {
  return parseAccess(text) ? std::string()
                           : fmt::format("expected {}; found {}", kAccessChoice, inQuotes(text));
}

}  // namespace

void addPolicyOption(CLI::App& command, std::string& policyFile) {
  command.add_option("-p,--policy", policyFile, "The policy: an XML file; `-`: standard input")
      ->required()
      ->type_name("FILE");
}

void addQuestionOptions(CLI::App& command, QuestionOptions& options) {
  addPolicyOption(command, options.policyFile);
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
      ->check(checkAccess);
  addTraceOption(command, options);
}

void addMatrixOptions(CLI::App& command, MatrixOptions& options) {
  addPolicyOption(command, options.policyFile);
  command
      .add_option("--process", options.processes,
                  "Ask as if this process made the accesses, \"\": none; may be repeated (default: "
                  "none, and every process that a rule names)")
      ->type_name("NAME")
      ->expected(1)
      ->allow_extra_args(false)
      ->multi_option_policy(CLI::MultiOptionPolicy::TakeAll);
  command
      .add_option("--access", options.accesses,
                  "Ask about this kind of access: read, write, any, or a number; may be repeated "
                  "(default: every kind that a rule names, and one that none names)")
      ->type_name("TYPE")
      ->expected(1)
      ->allow_extra_args(false)
      ->multi_option_policy(CLI::MultiOptionPolicy::TakeAll)
      ->check(checkAccess);
  addTraceOption(command, options);
}

QueryLimits MatrixOptions::limits() const {
  QueryLimits limits;
  if (!processes.empty()) limits.processes = processes;
  if (!accesses.empty()) {
    limits.accesses.emplace();
    for (const std::string& access : accesses) limits.accesses->push_back(*parseAccess(access));
  }
  return limits;
}

Question::Question(const PolicyOptions& options) : Question(loadPolicyFirst(options)) {}

Question::Question(PolicyFile read)
    : policyDigest(std::move(read.digest)),
      engine(std::move(read.loaded.policy)),
      policy(engine.policy().description()) {}

Question::Question(const QuestionOptions& options)
    : Question(static_cast<const PolicyOptions&>(options)) {
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
  std::uint64_t brokenPaths = 0;
  const auto askAbout = [&](std::string_view path) {
    if (!path.empty() && path.front() != '/') ++relativePaths;
    ask(path);
  };
  const auto askStandardInput = [&] {
    if (options.isInputTaken) {
      throw Trouble("expected paths on the command line, since the policy is on standard input");
    }
    PathReader reader(STDIN_FILENO, options.zeroSeparated ? '\0' : '\n', beforeWaiting,
                      "standard input", "; did you mean -0?");
    for (std::string_view path; reader.next(path);) {
      if (options.zeroSeparated && !path.empty() && path.back() == '\n') ++brokenPaths;
      askAbout(path);
    }
  };
  if (options.paths.empty()) askStandardInput();
  for (const std::string& path : options.paths) path == "-" ? askStandardInput() : askAbout(path);

  if (relativePaths + brokenPaths > 0) beforeWaiting();
  if (brokenPaths > 0) {
    remark(fmt::format("note: {} in a line break; with -0, only a zero byte ends a path",
                       brokenPaths == 1 ? "1 path ends" : grouped(brokenPaths) + " paths end"));
  }
  if (relativePaths == 0) return;
  remark(fmt::format(
      "note: {} not absolute; a scanner asks for full paths, and only rules that begin with a "
      "wildcard, and file types, can match anything else",
      relativePaths == 1 ? "1 path is" : grouped(relativePaths) + " paths are"));
}

void addTopOption(CLI::App& command, std::size_t& top, const std::string& description) {
  command.add_option("--top", top, fmt::format("{} (default: {})", description, top))
      ->type_name("N")
      ->check([](const std::string& text) {
        return parseNumber(text) ? std::string()
                                 : fmt::format("expected a whole number; found {}", inQuotes(text));
      });
}

void addFormatOption(CLI::App& command, std::string& format,
                     const std::vector<std::string>& formats) {
  format = formats.front();
  addChoiceOption(command, "--format", "FORMAT", format, formats, "How to write");
}

void addChoiceOption(CLI::App& command, const std::string& name, const std::string& type,
                     std::string& value, const std::vector<std::string>& choices,
                     const std::string& description) {
  const std::string choice =
      fmt::format("{} or {}", fmt::join(choices.begin(), choices.end() - 1, ", "), choices.back());
  command.add_option(name, value, fmt::format("{}: {} (default: {})", description, choice, value))
      ->type_name(type)
      ->check([choices, choice](const std::string& text) {
        return std::find(choices.begin(), choices.end(), text) != choices.end()
                   ? std::string()
                   : fmt::format("expected {}; found {}", choice, inQuotes(text));
      });
}

}  // namespace qvlctl
