#include <fcntl.h>
#include <unistd.h>

#include <cerrno>
#include <memory>
#include <string>
#include <string_view>

#include "commands/Commands.h"
#include "fmt/format.h"
#include "import/Importer.h"
#include "io/FileDescriptor.h"
#include "io/Files.h"
#include "io/Output.h"
#include "io/OutputChoices.h"
#include "io/PathReader.h"
#include "io/TraceLog.h"
#include "io/Trouble.h"
#include "qvlpolicy/Writer.h"

namespace qvlctl {
namespace {

struct ImportOptions {
  std::string format;
  std::string base;
  PathOptions list;  // how it is read
  std::string file = "-";
};

// The folder that an ignore file is about.
std::string baseOf(const ImportOptions& options) {
  if (!options.base.empty()) {
    if (options.base.front() != '/') return realPath(options.base);
    return options.base;
  }
  if (options.format != "gitignore") return {};
  if (options.file == "-") {
    throw Trouble(
        "expected --base and the folder that the ignore file is about, since it is on "
        "standard input");
  }
  const std::string file = realPath(options.file);
  return file.substr(0, file.rfind('/') + 1);
}

class Import {
 public:
  explicit Import(const ImportOptions& options)
      : m_options(options),
        m_name(options.file == "-" ? "standard input" : options.file),
        m_importer(formatOf(options.format), baseOf(options),
                   [this](std::size_t line, bool isExpressed, const std::string& what) {
                     tell(line, isExpressed, what);
                   }) {
    keepTraceLogSilent();
  }

  int run() {
    if (m_options.list.zeroSeparated && m_options.format == "gitignore") {
      throw Trouble("expected lines in an ignore file; found -0");
    }
    if (m_options.file == "-") {
      read(STDIN_FILENO);
    } else {
      const FileDescriptor descriptor(::open(m_options.file.c_str(), O_RDONLY | O_CLOEXEC));
      if (!descriptor) {
        throw Trouble(fmt::format("cannot read {}: {}", escaped(m_name), errorText(errno)));
      }
      read(descriptor.get());
    }
    if (m_importer.isEmpty()) {
      throw Trouble(
          fmt::format("{}: expected at least one line that a policy can express; found "
                      "{}",
                      escaped(m_name), m_importer.lineCount() == 0 ? "none" : "none that it can"));
    }
    Output output;
    output.print("{}", qvlpolicy::policyText(m_importer.description(m_name)));
    output.flush();
    if (m_importer.hasExceptions()) {
      remark(
          "note: what a line with ! names is always scanned, also where git ignores it because "
          "it ignores its folder");
    }
    if (m_importer.failedCount() == 0) return kYes;
    complain(fmt::format("{} of {} could not be expressed", grouped(m_importer.failedCount()),
                         counted(m_importer.lineCount(), "line", "lines")));
    return kNo;
  }

 private:
  static ListFormat formatOf(const std::string& name) {
    if (name == "globs") return ListFormat::Globs;
    return name == "paths" ? ListFormat::Paths : ListFormat::GitIgnore;
  }

  void read(int descriptor) {
    const bool isZeroSeparated = m_options.list.zeroSeparated;
    PathReader lines(
        descriptor, isZeroSeparated ? '\0' : '\n', [] {}, m_name,
        m_options.format == "gitignore" ? "" : "; did you mean -0?");
    for (std::string_view line; lines.next(line);) {
      // As editors on other systems end lines.
      if (!isZeroSeparated && !line.empty() && line.back() == '\r') line.remove_suffix(1);
      try {
        m_importer.add(line);
      } catch (const Trouble& trouble) {
        throw Trouble(fmt::format("{}: {}", escaped(m_name), trouble.what()));
      }
    }
  }

  void tell(std::size_t line, bool isExpressed, const std::string& what) const {
    const std::string place = fmt::format("{}:{}", escaped(m_name), line);
    if (isExpressed) {
      remark(fmt::format("{}: note: {}", place, what));
    } else {
      complain(fmt::format("{}: {}", place, what));
    }
  }

  const ImportOptions& m_options;
  const std::string m_name;
  Importer m_importer;
};

}  // namespace

void addImportCommand(CLI::App& app, Action& action) {
  CLI::App& command =
      *app.add_subcommand("import", "Make a policy of a plain list: paths, globs or a .gitignore");
  const auto options = std::make_shared<ImportOptions>();
  options->format = "paths";
  addChoiceOption(command, "--from", "KIND", options->format, {"paths", "globs", "gitignore"},
                  "What the list holds");
  command
      .add_option("--base", options->base,
                  "The folder that a .gitignore is about (default: the one that it is in)")
      ->type_name("DIR");
  addZeroOption(command, options->list);
  command
      .add_option("LIST", options->file, "The list. `-`, or no LIST: read it from standard input")
      ->type_name("");
  command.footer(
      "Prints the policy. Every line is a rule, with what means something else there escaped; a\n"
      "line that ends in / is a folder with everything in it. A line that no rule can say is told\n"
      "on standard error with its number and the reason, and left out: nothing is excluded that\n"
      "the list does not name.\n"
      "\n"
      "Exit status: 0 every line is expressed, 1 at least one is not, 2 trouble.\n"
      "\n"
      "  qvlctl import --from gitignore /srv/build/.gitignore >policy.xml\n"
      "  find /srv -name '*.db' -print0 | qvlctl import -0 >policy.xml");
  command.callback([options, &action] { action = [options] { return Import(*options).run(); }; });
}

}  // namespace qvlctl
