#include <fcntl.h>
#include <unistd.h>

#include <cerrno>
#include <memory>
#include <string>

#include "commands/Commands.h"
#include "embedded/Embedded.h"
#include "fmt/format.h"
#include "io/FileDescriptor.h"
#include "io/Files.h"
#include "io/Output.h"
#include "io/Trouble.h"

namespace qvlctl {
namespace {

struct InitOptions {
  std::string platform = kThisPlatform;
  std::string file = "-";
};

int writePolicy(const InitOptions& options) {
  const char* const text = options.platform == "macos" ? kMacOsPolicy : kLinuxPolicy;
  if (options.file == "-") {
    Output output;
    output.print("{}", text);
    output.flush();
    return kYes;
  }
  const FileDescriptor file(
      ::open(options.file.c_str(), O_WRONLY | O_CREAT | O_EXCL | O_CLOEXEC, 0644));
  if (!file && errno == EEXIST) {
    throw Trouble(
        fmt::format("expected a file that is not there yet; {} is", escaped(options.file)));
  }
  if (!file || !writeAll(file.get(), text)) {
    const std::string reason = errorText(errno);
    if (file) ::unlink(options.file.c_str());
    throw Trouble(fmt::format("cannot write {}: {}", escaped(options.file), reason));
  }
  return kYes;
}

}  // namespace

void addInitCommand(CLI::App& app, Action& action) {
  CLI::App& command = *app.add_subcommand("init", "Write a commented policy to begin with");
  const auto options = std::make_shared<InitOptions>();
  addChoiceOption(command, "--platform", "NAME", options->platform, {"linux", "macos"},
                  "Where it is to be used");
  command
      .add_option("FILE", options->file,
                  "The file to make, which must not be there yet. `-`, or no FILE: standard output")
      ->type_name("");
  command.footer(
      "It is narrow, and lint has nothing to say of it; its comments tell how to go on.\n"
      "\n"
      "Exit status: 0 done, 2 trouble.\n"
      "\n"
      "  qvlctl init policy.xml && qvlctl audit --policy policy.xml /var");
  command.callback([options, &action] { action = [options] { return writePolicy(*options); }; });
}

}  // namespace qvlctl
