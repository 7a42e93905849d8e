#include "audit/AuditText.h"

#include <algorithm>
#include <string>
#include <vector>

#include "fmt/format.h"
#include "policy/RuleText.h"

namespace qvlctl {
namespace {

class AuditText {
 public:
  AuditText(Output& output, const AuditSubject& subject, const AuditReport& report, std::size_t top)
      : m_output(output), m_subject(subject), m_report(report), m_top(top) {}

  void write() {
    printTotals();
    printDataSets();
    printRules();
    printSkippedFolders();
    printQuestions();
  }

 private:
  // A rule with what it did.
  struct RuleLine {
    std::size_t dataSet;
    std::size_t rule;
    RuleHit hit;
  };

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
    m_output.print("{}\n", m_output.coloured(Colour::Heading,
                                             fmt::format("Audit of {} under {}", escapedRoots(),
                                                         escaped(m_subject.policy.file))));
    m_output.print("  {} on {}, qvlctl {}, policy sha256:{}\n", m_subject.evidence.created,
                   escaped(m_subject.evidence.host), m_subject.evidence.toolVersion,
                   m_subject.evidence.policyDigest);
    row("found", seen, "");
    row("skipped", skipped,
        fmt::format("   {} of the files, {} of the bytes", percentage(skipped.files, seen.files),
                    percentage(skipped.bytes, seen.bytes)));
    row("scanned", m_report.scanned(), "");
    printQueries();
  }

  void printQueries() {
    const std::vector<Query>& queries = m_subject.queries;
    heading(queries.size() == 1 ? "Skipped, by what was asked"
                                : "Skipped, by what was asked (above: for at least one of these)");
    for (std::size_t i = 0; i < queries.size(); ++i) {
      row("", m_report.skippedFor(i), "   " + queryInWords(queries[i]));
    }
    if (queries.size() > 1) row("", m_report.skippedAlways(), "   for all of them");
  }

  std::string escapedRoots() const {
    std::string list;
    for (const std::string& root : m_subject.roots)
      list += (list.empty() ? "" : ", ") + escaped(root);
    return list;
  }

  void printDataSets() {
    heading("Skipped, by the data sets that matched (a file may count for several)");
    for (const DataSet& dataSet : m_subject.policy.dataSets) {
      row(std::to_string(dataSet.number), m_report.skippedBy(dataSet.number),
          fmt::format("   {}{}{}", kindName(dataSet.kind), dataSet.name.empty() ? "" : ": ",
                      escaped(dataSet.name)));
    }
    const Tally& none = m_report.skippedByNone();
    if (none.files > 0) row("none", none, "   the logic negates, and no data set matched");
  }

  void printRules() {
    std::vector<RuleLine> hits;
    std::vector<RuleLine> idle;
    std::vector<RuleLine> leftOut;
    std::vector<RuleLine> dropped;
    const std::vector<DataSet>& dataSets = m_subject.policy.dataSets;
    for (std::size_t i = 0; i < dataSets.size(); ++i) {
      for (std::size_t j = 0; j < dataSets[i].rules.size(); ++j) {
        const RuleLine line = {i, j, m_report.ruleHits().of(i, j)};
        const bool isHit = line.hit.skipped.files + line.hit.scanned.files > 0;
        (isHit                ? hits
         : line.hit.isDropped ? dropped
         : line.hit.isLeftOut ? leftOut
                              : idle)
            .push_back(line);
      }
    }
    std::stable_sort(hits.begin(), hits.end(), [](const RuleLine& a, const RuleLine& b) {
      return a.hit.skipped.files + a.hit.scanned.files > b.hit.skipped.files + b.hit.scanned.files;
    });
    const std::size_t count = hits.size() + idle.size() + leftOut.size() + dropped.size();
    printRules(fmt::format("Rules by hits, where their data set was asked: {} of {}",
                           grouped(hits.size()), counted(count, "rule", "rules")),
               hits, [&](const RuleLine& line) {
                 return fmt::format("{:>13} skipped {:>13} scanned  ",
                                    grouped(line.hit.skipped.files),
                                    grouped(line.hit.scanned.files));
               });
    printRules(fmt::format("Rules that never hit: {}", grouped(idle.size())), idle,
               [](const RuleLine&) { return "  "; });
    printRules(fmt::format("Rules that only another process or access type can hit: {}",
                           grouped(leftOut.size())),
               leftOut, [](const RuleLine&) { return "  "; });
    printRules(fmt::format("Rules that have expired and are dropped: {}", grouped(dropped.size())),
               dropped, [](const RuleLine&) { return "  "; });
  }

  template <typename Beginning>
  void printRules(const std::string& title, const std::vector<RuleLine>& lines,
                  Beginning beginning) {
    if (lines.empty() || m_top == 0) return;
    heading(title);
    for (std::size_t i = 0; i < lines.size() && i < m_top; ++i) {
      const DataSet& dataSet = m_subject.policy.dataSets[lines[i].dataSet];
      const Rule& rule = dataSet.rules[lines[i].rule];
      m_output.print("{}data set {}, rule {}{}: {}\n", beginning(lines[i]), dataSet.number,
                     lines[i].rule + 1,
                     rule.place.line > 0 ? fmt::format(", line {}", rule.place.line) : "",
                     ruleText(dataSet.kind, rule));
    }
    if (lines.size() > m_top) m_output.print("  and {} more\n", grouped(lines.size() - m_top));
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
    const std::uint64_t count = m_report.questionCount();
    const double rate = seconds > 0 ? static_cast<double>(count) / seconds : 0;
    m_output.print("\n{} in {:.3f} seconds, {} a second\n", counted(count, "query", "queries"),
                   seconds, grouped(static_cast<std::uint64_t>(rate)));
  }

  Output& m_output;
  const AuditSubject& m_subject;
  const AuditReport& m_report;
  const std::size_t m_top;
};

}  // namespace

void writeAuditText(Output& output, const AuditSubject& subject, const AuditReport& report,
                    std::size_t top) {
  AuditText(output, subject, report, top).write();
}

}  // namespace qvlctl
