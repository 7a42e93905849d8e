#include <cstddef>
#include <memory>
#include <string>
#include <string_view>
#include <vector>

#include "commands/Commands.h"
#include "fmt/format.h"
#include "io/Json.h"
#include "io/Output.h"

namespace qvlctl {
namespace {

struct LookupOptions {
  QuestionOptions question;
  PathOptions paths;
  std::string format;
};

std::string commaSeparated(const std::vector<unsigned int>& numbers) {
  if (numbers.empty()) return "-";
  std::string text = std::to_string(numbers.front());
  for (std::size_t i = 1; i < numbers.size(); ++i) text += ',' + std::to_string(numbers[i]);
  return text;
}

class Lookup {
 public:
  explicit Lookup(const LookupOptions& options)
      : m_options(options), m_question(options.question) {}

  int run() {
    forEachPath(
        m_options.paths, [this] { m_output.flush(); },
        [this](std::string_view path) { ask(path); });
    m_output.flush();
    return m_anyExcluded ? kYes : kNo;
  }

 private:
  void ask(std::string_view path) {
    m_question.request.m_filePath = path;
    const bool isExcluded = m_question.engine.isExcluded(m_question.request);
    m_anyExcluded |= isExcluded;
    m_asJson ? writeLine(path, isExcluded) : printLine(path, isExcluded);
  }

  void printLine(std::string_view path, bool isExcluded) {
    constexpr std::size_t kWidth = 7;
    m_line = isExcluded ? m_excluded : m_scan;
    m_line += "  ";
    const std::string numbers = commaSeparated(m_question.request.m_matchIdentifiers);
    m_line += numbers;
    if (numbers.size() < kWidth) m_line.append(kWidth - numbers.size(), ' ');
    m_line += "  ";
    m_line += escaped(path);
    m_line += '\n';
    m_output.write(m_line);
  }

  void writeLine(std::string_view path, bool isExcluded) {
    Json json = objectOf(4);
    addText(json, "path", path);
    json["verdict"] = verdictName(isExcluded);
    json["matched"] = m_question.request.m_matchIdentifiers;
    m_output.print("{}\n", jsonLine(json));
  }

  const LookupOptions& m_options;
  const bool m_asJson = m_options.format == "json";
  Question m_question;
  Output m_output;
  const std::string m_excluded = m_output.coloured(Colour::Excluded, "excluded");
  const std::string m_scan = "scan    ";
  std::string m_line;  // kept for its memory
  bool m_anyExcluded = false;
};

}  // namespace

void addLookupCommand(CLI::App& app, Action& action) {
  CLI::App& command =
      *app.add_subcommand("lookup", "Ask about single files: excluded, or scanned?");
  const auto options = std::make_shared<LookupOptions>();
  addQuestionOptions(command, options->question);
  addFormatOption(command, options->format, {"text", "json"});
  addPathOptions(command, options->paths);
  command.footer(
      "Prints a line for each path: the verdict (`excluded` or `scan`), the numbers of the data\n"
      "sets that were asked and matched (`-`: none), and the path. Bytes of a path that cannot be\n"
      "printed are shown as \\xNN. As JSON, a line for each path.\n"
      "\n"
      "Exit status: 0 at least one path is excluded, 1 none is, 2 trouble.\n"
      "\n"
      "  qvlctl lookup --policy policy.xml --access write /var/log/syslog\n"
      "  find / -print0 | qvlctl lookup --policy policy.xml -0");
  command.callback([options, &action] {
    options->paths.isInputTaken = options->question.policyFile == "-";
    action = [options] { return Lookup(*options).run(); };
  });
}

}  // namespace qvlctl
