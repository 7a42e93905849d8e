#include <algorithm>
#include <chrono>
#include <memory>
#include <optional>
#include <string>
#include <utility>
#include <vector>

#include "audit/AuditJson.h"
#include "audit/AuditPage.h"
#include "audit/AuditReport.h"
#include "audit/AuditText.h"
#include "audit/Evidence.h"
#include "commands/Commands.h"
#include "fmt/format.h"
#include "io/Output.h"
#include "io/StatusLine.h"
#include "queries/Queries.h"
#include "walk/Missing.h"
#include "walk/Roots.h"
#include "walk/TreeWalk.h"

namespace qvlctl {
namespace {

struct AuditOptions {
  MatrixOptions question;
  WalkOptions walk;
  std::string format;
  std::size_t top = 10;
  std::vector<std::string> folders;
};

// How far the walk has come, ten times a second at most.
class Progress {
 public:
  void show(const AuditReport& report) {
    if (!m_line.isShown()) return;
    const Clock::time_point now = Clock::now();
    if (now < m_next) return;
    m_next = now + std::chrono::milliseconds(100);
    const std::string speed = progressInWords(report.seen().files, now - m_start, report.done());
    m_line.show(fmt::format("{} skipped of {}{}{}  {}", grouped(report.skipped().files),
                            counted(report.seen().files, "file", "files"),
                            speed.empty() ? "" : ", ", speed, escaped(report.currentFolder())));
  }

 private:
  using Clock = std::chrono::steady_clock;

  StatusLine m_line;
  const Clock::time_point m_start = Clock::now();
  Clock::time_point m_next;
};

class Audit {
 public:
  explicit Audit(const AuditOptions& options)
      : m_options(options),
        m_missing(std::max<std::size_t>(options.top, 1)),
        m_roots(rootsOf(options.folders, m_missing)),
        m_question(options.question),
        m_evidence(evidenceNow(m_question.policyDigest)),
        m_queries({&m_question.engine.policy()}, options.question.limits()),
        m_report(m_question.engine, m_queries.all(), m_missing, m_roots.size(), options.top,
                 [this] { m_progress->show(m_report); }) {}

  int run() {
    complainOfNameless(m_queries);
    walkTrees(m_roots, m_options.walk, m_report, m_missing);
    m_progress.reset();
    write();
    m_output.flush();
    m_missing.tell();
    return kYes;
  }

 private:
  void write() {
    const AuditSubject subject = {m_evidence, m_question.policy, m_queries.all(), m_roots};
    if (m_options.format == "text") {
      writeAuditText(m_output, subject, m_report, m_options.top);
      return;
    }
    const Json audit = auditInJson(subject, m_report);
    m_output.print("{}", m_options.format == "json" ? jsonPage(audit) + '\n' : auditPage(audit));
  }

  const AuditOptions& m_options;
  Missing m_missing;
  const std::vector<std::string> m_roots;
  Question m_question;
  const Evidence m_evidence;
  Queries m_queries;
  std::optional<Progress> m_progress{std::in_place};  // until the walks have ended
  AuditReport m_report;
  Output m_output;
};

}  // namespace

void addAuditCommand(CLI::App& app, Action& action) {
  CLI::App& command = *app.add_subcommand(
      "audit", "Walk folders: which files and how many bytes would go unscanned?");
  const auto options = std::make_shared<AuditOptions>();
  addMatrixOptions(command, options->question);
  addWalkOptions(command, options->walk);
  addFormatOption(command, options->format, {"text", "json", "html"});
  addTopOption(command, options->top, "How many folders and rules to list each time");
  command.add_option("DIR", options->folders, "The folders to walk")->required()->type_name("");
  command.footer(
      "Asks about every regular file under each DIR by its real path: for every process and every\n"
      "kind of access that makes a difference, or those given. A file counts as skipped when it\n"
      "is for one of them. Symbolic links inside are neither followed nor counted. Sizes are "
      "those\n"
      "that `ls -l` shows. What cannot be read is told at the end, and is no failure as long as\n"
      "one DIR can be. `--format html` writes a page for a browser, with a picture of the "
      "folders.\n"
      "\n"
      "Exit status: 0 done, 2 trouble.\n"
      "\n"
      "  qvlctl audit --policy policy.xml /usr /var\n"
      "  qvlctl audit --policy policy.xml --format html / > audit.html\n"
      "  qvlctl audit --policy policy.xml --process /usr/sbin/mysqld --access write /var/lib");
  command.callback([options, &action] { action = [options] { return Audit(*options).run(); }; });
}

}  // namespace qvlctl
