// The commands of qvlctl, and what they share.

#ifndef QVLCTL_COMMANDS_COMMANDS_H
#define QVLCTL_COMMANDS_COMMANDS_H

#include <qvl/qvl.h>

#include <functional>
#include <string>
#include <string_view>
#include <vector>

#include "CLI/CLI.hpp"
#include "policy/Engine.h"
#include "policy/Policy.h"
#include "queries/Queries.h"

namespace qvlctl {

// Exit statuses, as those of grep.
enum ExitStatus { kYes = 0, kNo = 1, kTrouble = 2 };

// The name of the system that this runs on, as options say it.
#ifdef __APPLE__
inline constexpr const char* kThisPlatform = "macos";
#else
inline constexpr const char* kThisPlatform = "linux";
#endif

// What runs when the command line has been read; its result is the exit status.
using Action = std::function<int()>;

// Each adds one command. When that is the one on the command line, parsing sets `action`.
void addLookupCommand(CLI::App& app, Action& action);
void addExplainCommand(CLI::App& app, Action& action);
void addDiffCommand(CLI::App& app, Action& action);
void addTestCommand(CLI::App& app, Action& action);
void addLintCommand(CLI::App& app, Action& action);
void addAuditCommand(CLI::App& app, Action& action);
void addInventoryCommand(CLI::App& app, Action& action);
void addShowCommand(CLI::App& app, Action& action);
void addInitCommand(CLI::App& app, Action& action);
void addImportCommand(CLI::App& app, Action& action);
void addFmtCommand(CLI::App& app, Action& action);
void addTraceLevelCommand(CLI::App& app, Action& action);

// Adds --policy.
void addPolicyOption(CLI::App& command, std::string& policyFile);

struct PolicyOptions {
  std::string policyFile;  // "-": standard input
  bool trace = false;
};

// A policy, and what every request asked under it has in common.
struct QuestionOptions : PolicyOptions {
  std::string process;
  std::string access = "read";
};

void addQuestionOptions(CLI::App& command, QuestionOptions& options);

// A policy, and the processes and kinds of access that every file is asked about.
struct MatrixOptions : PolicyOptions {
  std::vector<std::string> processes;  // none: all that make a difference
  std::vector<std::string> accesses;   // likewise

  QueryLimits limits() const;
};

void addMatrixOptions(CLI::App& command, MatrixOptions& options);

// A policy that is ready to be asked.
struct Question {
  // Reads the policy and tells its warnings on standard error. Throws Trouble.
  explicit Question(const PolicyOptions& options);
  explicit Question(const QuestionOptions& options);

  const std::string policyDigest;  // see PolicyFile
  Engine engine;
  const Policy& policy;
  QVL::LookupData request;  // process and access type are filled in from QuestionOptions

 private:
  explicit Question(PolicyFile read);
};

// The paths that a command is asked about.
struct PathOptions {
  bool zeroSeparated = false;
  bool isInputTaken = false;  // standard input holds something else
  std::vector<std::string> paths;
};

void addPathOptions(CLI::App& command, PathOptions& options);

// The part of them that says how standard input is read.
void addZeroOption(CLI::App& command, PathOptions& options);

// Calls `ask` with each path, from the command line or from standard input. `beforeWaiting` is
// called where reading on may take a while: the time to hand over answers. Tells on standard error
// when paths were relative, or are lines where -0 expects zero bytes. Throws Trouble.
void forEachPath(const PathOptions& options, const std::function<void()>& beforeWaiting,
                 const std::function<void(std::string_view)>& ask);

// Adds --top, which says in numbers what `description` says in words; `top` holds the default.
void addTopOption(CLI::App& command, std::size_t& top, const std::string& description);

// Adds an option that is one of several words; `value` holds the default.
void addChoiceOption(CLI::App& command, const std::string& name, const std::string& type,
                     std::string& value, const std::vector<std::string>& choices,
                     const std::string& description);

// Adds --format, with `formats.front()` as the default.
void addFormatOption(CLI::App& command, std::string& format,
                     const std::vector<std::string>& formats);

}  // namespace qvlctl

#endif  // QVLCTL_COMMANDS_COMMANDS_H
