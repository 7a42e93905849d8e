#include <unistd.h>

#include <algorithm>
#include <chrono>
#include <memory>
#include <string>
#include <vector>

#include "commands/AuditReport.h"
#include "commands/Commands.h"
#include "fmt/format.h"
#include "io/Files.h"
#include "io/Output.h"
#include "walk/Roots.h"
#include "walk/TreeWalk.h"

namespace qvlctl {
namespace {

struct AuditOptions {
  QuestionOptions question;
  WalkOptions walk;
  std::size_t top = 10;
  std::vector<std::string> folders;
};

// A line on standard error that is written over and over, if that is a terminal.
class Progress {
 public:
  void show(const AuditReport& report) {
    if (!m_isTerminal) return;
    const Clock::time_point now = Clock::now();
    if (now < m_next) return;
    m_next = now + std::chrono::milliseconds(100);
    // Carriage return, then "erase to the end of the line"; a long line is not to wrap.
    std::string line =
        fmt::format("{} skipped of {}  {}", grouped(report.skipped().files),
                    counted(report.seen().files, "file", "files"), escaped(report.currentFolder()));
    constexpr std::size_t kWidth = 78;
    if (line.size() > kWidth) line = line.substr(0, kWidth - 3) + "...";
    write("\r\x1b[K" + line);
  }

  void clear() {
    if (m_isTerminal) write("\r\x1b[K");
  }

 private:
  using Clock = std::chrono::steady_clock;

  static void write(const std::string& text) { (void)writeAll(STDERR_FILENO, text); }

  const bool m_isTerminal = ::isatty(STDERR_FILENO) != 0;
  Clock::time_point m_next;
};

class Audit {
 public:
  explicit Audit(const AuditOptions& options)
      : m_options(options),
        m_roots(rootsOf(options.folders)),
        m_question(options.question),
        m_report(m_question.engine, m_question.request, options.top,
                 [this] { m_progress.show(m_report); }) {}

  int run() {
    for (const std::string& root : m_roots) walkTree(root, m_options.walk, m_report);
    m_progress.clear();
    printTotals();
    printDataSets();
    printSkippedFolders();
    printQuestions();
    printUnreadable();
    m_output.flush();
    return kYes;
  }

 private:
  void heading(const std::string& text) {
    m_output.print("\n{}\n", m_output.coloured(Colour::Heading, text));
  }

  void row(const std::string& title, const Tally& tally, const std::string& remark) {
    m_output.print("  {:<9} {:>19}  {:>11}{}\n", title, counted(tally.files, "file", "files"),
                   readableSize(tally.bytes), remark);
  }

  void printTotals() {
    const Tally& seen = m_report.seen();
    const Tally& skipped = m_report.skipped();
    m_output.print(
        "{}\n",
        m_output.coloured(Colour::Heading, fmt::format("Audit of {} under {}", escapedList(m_roots),
                                                       escaped(m_question.policy.file))));
    row("found", seen, "");
    row("skipped", skipped,
        fmt::format("   {} of the files, {} of the bytes", percentage(skipped.files, seen.files),
                    percentage(skipped.bytes, seen.bytes)));
    row("scanned", {seen.files - skipped.files, seen.bytes - skipped.bytes}, "");
  }

  static std::string escapedList(const std::vector<std::string>& paths) {
    std::string list;
    for (const std::string& path : paths) list += (list.empty() ? "" : ", ") + escaped(path);
    return list;
  }

  void printDataSets() {
    heading("Skipped, by the data sets that matched (a file may count for several)");
    for (const DataSet& dataSet : m_question.policy.dataSets) {
      row(std::to_string(dataSet.number), m_report.skippedBy(dataSet.number),
          fmt::format("   {}{}{}", kindName(dataSet.kind), dataSet.name.empty() ? "" : ": ",
                      escaped(dataSet.name)));
    }
    const Tally& none = m_report.skippedByNone();
    if (none.files > 0) row("none", none, "   the logic negates, and no data set matched");
  }

  void printSkippedFolders() {
    if (m_report.skippedFolders().empty()) return;
    heading("Largest skipped folders (*: skipped in part, the files directly in it)");
    for (const SkippedFolder& folder : m_report.skippedFolders()) {
      m_output.print("  {:>11} {:>19}  {}{}\n", readableSize(folder.skipped.bytes),
                     counted(folder.skipped.files, "file", "files"), escaped(folder.path),
                     folder.isWhole ? "" : " *");
    }
  }

  void printQuestions() {
    const double seconds = m_report.questionTime().count();
    const std::uint64_t files = m_report.seen().files;
    const double rate = seconds > 0 ? static_cast<double>(files) / seconds : 0;
    m_output.print("\n{} in {:.3f} seconds, {} a second\n", counted(files, "query", "queries"),
                   seconds, grouped(static_cast<std::uint64_t>(rate)));
  }

  void printUnreadable() {
    const std::uint64_t count = m_report.unreadableCount();
    if (count == 0) return;
    m_output.flush();
    complain(fmt::format("warning: {} could not be read and {} missing above",
                         counted(count, "folder", "folders"), count == 1 ? "is" : "are"));
    for (const UnreadableFolder& folder : m_report.unreadableFolders()) {
      complain(fmt::format("  {}: {}", escaped(folder.path), errorText(folder.error)));
    }
    const std::uint64_t told = m_report.unreadableFolders().size();
    if (count > told) complain(fmt::format("  and {} more", grouped(count - told)));
  }

  const AuditOptions& m_options;
  const std::vector<std::string> m_roots;
  Question m_question;
  Progress m_progress;
  AuditReport m_report;
  Output m_output;
};

}  // namespace

void addAuditCommand(CLI::App& app, Action& action) {
  CLI::App& command = *app.add_subcommand(
      "audit", "Walk folders: which files and how many bytes would go unscanned?");
  const auto options = std::make_shared<AuditOptions>();
  addQuestionOptions(command, options->question);
  command.add_flag("-x,--one-file-system", options->walk.oneFileSystem,
                   "Leave out folders on other file systems");
  command
      .add_option("--top", options->top,
                  "How many of the largest skipped folders to list (default: 10)")
      ->type_name("N")
      ->check([](const std::string& text) {
        return parseNumber(text) ? std::string()
                                 : fmt::format("expected a whole number; found {}", inQuotes(text));
      });
  command.add_option("DIR", options->folders, "The folders to walk")->required()->type_name("");
  command.footer(
      "Asks about every regular file under each DIR by its real path. Symbolic links inside are\n"
      "neither followed nor counted. Sizes are those that `ls -l` shows. What cannot be read is\n"
      "left out and told at the end, and is no failure.\n"
      "\n"
      "Exit status: 0 done, 2 trouble.\n"
      "\n"
      "  qvlctl audit --policy policy.xml /usr /var\n"
      "  qvlctl audit --policy policy.xml --process /usr/sbin/mysqld --access write /var/lib");
  command.callback([options, &action] { action = [options] { return Audit(*options).run(); }; });
}

}  // namespace qvlctl
