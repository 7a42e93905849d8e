#include "commands/AuditDiff.h"

#include <algorithm>
#include <cstdint>
#include <set>
#include <utility>
#include <vector>

#include "commands/Commands.h"
#include "diff/SavedAudit.h"
#include "fmt/format.h"
#include "io/Json.h"
#include "io/Output.h"
#include "io/OutputChoices.h"
#include "io/Sarif.h"

namespace qvlctl {
namespace {

std::string inWords(const Tally& tally) {
  return fmt::format("{} ({})", grouped(tally.files), readableSize(tally.bytes));
}

// "+3 files", "-1 file", "0 files"; the same of sizes.
template <typename ToText>
std::string difference(std::uint64_t before, std::uint64_t after, ToText toText) {
  if (after == before) return toText(0);
  return after > before ? "+" + toText(after - before) : "-" + toText(before - after);
}

std::string inWords(const SkippedChange& change) {
  const auto files = [](std::uint64_t count) { return counted(count, "file", "files"); };
  return difference(change.before.files, change.after.files, files) + ", " +
         difference(change.before.bytes, change.after.bytes, readableSize);
}

Json tallyInJson(const Tally& tally) {
  return {{"files", tally.files}, {"bytes", tally.bytes}};
}

class AuditDiff {
 public:
  AuditDiff(const std::string& before, const std::string& after, const AuditDiffOptions& options)
      : m_options(options),
        m_before(readAudit(before)),
        m_after(readAudit(after)),
        m_changes(compareAudits(m_before, m_after)) {}

  int run() {
    if (std::set<std::string>(m_before.roots.begin(), m_before.roots.end()) !=
        std::set<std::string>(m_after.roots.begin(), m_after.roots.end())) {
      remark("note: the audits walked different folders");
    }
    if (m_before.host != m_after.host) {
      remark(fmt::format("note: the audits are of different hosts: {} and {}",
                         escaped(m_before.host), escaped(m_after.host)));
    }
    if (m_options.format == "json") {
      writeJson();
    } else if (m_options.format == "sarif") {
      writeSarif();
    } else {
      print();
    }
    m_output.flush();
    const bool fails = (m_options.failOn != "newly-scanned" && any(&SkippedChange::hasGrown)) ||
                       (m_options.failOn != "newly-skipped" && any(&SkippedChange::hasShrunk));
    return fails ? kNo : kYes;
  }

 private:
  bool any(bool (SkippedChange::*is)() const) const {
    for (const auto* const list : {&m_changes.queries, &m_changes.rules, &m_changes.folders}) {
      if (std::any_of(list->begin(), list->end(),
                      [&](const SkippedChange& change) { return (change.*is)(); })) {
        return true;
      }
    }
    return false;
  }

  void print() {
    for (const SavedAudit* const audit : {&m_before, &m_after}) {
      m_output.print("{} {}: {} skipped of {}; {}, policy {}\n", audit == &m_before ? "Old" : "New",
                     escaped(audit->file), inWords(audit->skipped), inWords(audit->found),
                     escaped(audit->created), escaped(audit->policy));
    }
    m_output.print("The policy is {}\n",
                   m_before.policyDigest == m_after.policyDigest ? "the same" : "another one");
    for (const bool isMore : {true, false}) {
      printHeading(isMore ? "More is skipped" : "Less is skipped");
      const bool byAny = print(m_changes.rules, "by", isMore);
      const bool inAny = print(m_changes.folders, "in", isMore);
      if (!byAny && !inAny) m_output.print("  nowhere\n");
    }
    m_output.print("\n");
    for (const SkippedChange& change : m_changes.queries) {
      m_output.print("  {}: {} skipped, it was {}\n", change.words, inWords(change.after),
                     inWords(change.before));
    }
  }

  void printHeading(const char* heading) {
    m_output.print("\n{}\n", m_output.coloured(Colour::Heading, heading));
  }

  // True when there was any. What has grown in files or bytes counts as more.
  bool print(const std::vector<SkippedChange>& changes, const char* word, bool isMore) {
    std::size_t count = 0;
    for (const SkippedChange& change : changes) {
      if (change.hasGrown() != isMore) continue;
      if (++count <= m_options.top) {
        m_output.print("  {}  {} {}\n", inWords(change), word, change.words);
      }
    }
    if (count > m_options.top) {
      m_output.print("  and {} {} more\n", word, grouped(count - m_options.top));
    }
    return count > 0;
  }

  void writeJson() {
    Json json;
    json["report"] = "audit-diff";
    json["version"] = 1;
    for (const SavedAudit* const audit : {&m_before, &m_after}) {
      Json& one = json[audit == &m_before ? "old" : "new"];
      addText(one, "file", audit->file);
      one["created"] = audit->created;
      addText(one, "host", audit->host);
      addText(one, "policy", audit->policy);
      one["policyDigest"] = audit->policyDigest;
      one["found"] = tallyInJson(audit->found);
      one["skipped"] = tallyInJson(audit->skipped);
    }
    json["queries"] = inJson(m_changes.queries);
    json["rules"] = inJson(m_changes.rules);
    json["folders"] = inJson(m_changes.folders);
    m_output.print("{}\n", jsonPage(json));
  }

  static Json inJson(const std::vector<SkippedChange>& changes) {
    Json list = Json::array();
    for (const SkippedChange& change : changes) {
      list.push_back({{"name", change.words},
                      {"old", tallyInJson(change.before)},
                      {"new", tallyInJson(change.after)}});
    }
    return list;
  }

  void writeSarif() {
    SarifLog log;
    log.addSort("newly-skipped", "More is skipped than in an earlier audit");
    log.addSort("newly-scanned", "Less is skipped than in an earlier audit");
    for (const bool isMore : {true, false}) {
      for (const auto* const list : {&m_changes.rules, &m_changes.folders}) {
        for (const SkippedChange& change : *list) {
          if (change.hasGrown() != isMore) continue;
          SarifResult result;
          result.name = isMore ? "newly-skipped" : "newly-scanned";
          result.level = isMore ? "warning" : "note";
          result.message = fmt::format("{} skipped {} {}", inWords(change),
                                       list == &m_changes.rules ? "by" : "in", change.words);
          result.places = {{change.file, change.line, 0, change.words}};
          log.add(result);
        }
      }
    }
    m_output.print("{}\n", jsonPage(log.json()));
  }

  const AuditDiffOptions m_options;
  const SavedAudit m_before;
  const SavedAudit m_after;
  const AuditChanges m_changes;
  Output m_output;
};

}  // namespace

int diffAudits(const std::string& before, const std::string& after,
               const AuditDiffOptions& options) {
  return AuditDiff(before, after, options).run();
}

}  // namespace qvlctl
