#include <algorithm>
#include <cstdint>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "audit/Tally.h"
#include "commands/AuditDiff.h"
#include "commands/Commands.h"
#include "diff/ChangeGroups.h"
#include "diff/FolderSums.h"
#include "explain/Causes.h"
#include "explain/Explainer.h"
#include "fmt/format.h"
#include "io/Json.h"
#include "io/Output.h"
#include "io/Trouble.h"
#include "policy/RuleText.h"
#include "queries/Queries.h"
#include "walk/Missing.h"
#include "walk/Roots.h"
#include "walk/TreeWalk.h"

namespace qvlctl {
namespace {

struct DiffOptions {
  MatrixOptions question;
  std::string newPolicyFile;
  std::vector<std::string> audits;  // none, or the old one and the new one
  WalkOptions walk;
  PathOptions paths;  // of folders, unless they are read from standard input
  std::string format;
  std::string failOn = "any";
  std::size_t top = 10;
};

// One of the two policies. What tells reasons takes its time to make, and is made when a verdict
// has changed.
class Side {
 public:
  Side(PolicyOptions options, const std::string& policyFile)
      : m_question((options.policyFile = policyFile, options)) {}

  bool ask(QVL::LookupData& request) { return m_question.engine.isExcluded(request); }

  const Policy& policy() const { return m_question.policy; }
  const qvlpolicy::Policy* asked() const { return &m_question.engine.policy(); }

  Explanation explain(const QVL::LookupData& request) {
    if (!m_explainer) m_explainer.emplace(m_question.engine);
    return m_explainer->explain(request);
  }

 private:
  Question m_question;
  std::optional<Explainer> m_explainer;
};

// The paths, and the bytes of the files, whose verdict has changed one way.
struct Changes {
  Tally skipped;
  Tally scanned;

  Tally& of(bool isSkipped) { return isSkipped ? skipped : scanned; }
  const Tally& of(bool isSkipped) const { return isSkipped ? skipped : scanned; }
};

class Diff : private TreeVisitor {
 public:
  explicit Diff(const DiffOptions& options)
      : m_options(options),
        m_asJson(options.format == "json"),
        m_old(options.question, options.question.policyFile),
        m_new(options.question, options.newPolicyFile),
        m_queries({m_old.asked(), m_new.asked()}, options.question.limits()),
        m_changes(m_queries.all().size()) {
    for (const Query& query : m_queries.all()) m_requests.push_back(requestFor(query));
  }

  int run() {
    complainOfNameless(m_queries);
    if (readsStandardInput()) {
      forEachPath(
          m_options.paths, [this] { m_output.flush(); },
          [this](std::string_view path) { ask(path, std::nullopt); });
    } else {
      walkTrees(rootsOf(m_options.paths.paths, m_missing), m_options.walk, *this, m_missing);
    }
    if (m_asJson) {
      writeSummary();
    } else if (m_options.format == "sarif") {
      writeSarif();
    } else {
      print();
    }
    m_output.flush();
    m_missing.tell();
    const bool fails = (m_options.failOn != "newly-scanned" && m_total.skipped.files > 0) ||
                       (m_options.failOn != "newly-skipped" && m_total.scanned.files > 0);
    return fails ? kNo : kYes;
  }

 private:
  bool readsStandardInput() const {
    const std::vector<std::string>& paths = m_options.paths.paths;
    if (paths.empty()) return true;
    for (const std::string& path : paths) {
      if (path == "-" && paths.size() > 1) {
        throw Trouble("expected folders to walk or a single -; found - among folders");
      }
    }
    return paths.front() == "-";
  }

  // ---- the walk ----

  void folderBegins(const std::string& /*path*/) override {}
  void folderEnds(const std::string& /*path*/) override {}

  void file(const std::string& path, const struct stat& status) override {
    ask(path, static_cast<std::uint64_t>(status.st_size));
  }

  void unreadable(const std::string& path, int error) override {
    m_missing.unreadable(path, error);
  }

  void leftOut(const std::string& path, const std::string& fileSystem) override {
    m_missing.leftOut(path, fileSystem);
  }

  // ---- the questions ----

  void ask(std::string_view path, std::optional<std::uint64_t> size) {
    const Tally one = {1, size.value_or(0)};
    m_asked.add(one);
    for (std::size_t i = 0; i < m_requests.size(); ++i) {
      QVL::LookupData& request = m_requests[i];
      request.m_filePath = path;
      const bool wasSkipped = m_old.ask(request);
      const bool isSkipped = m_new.ask(request);
      if (wasSkipped == isSkipped) continue;
      m_changes[i].of(isSkipped).add(one);
      noteChange(i, path, size, isSkipped);
    }
    for (const bool isSkipped : {true, false}) {
      std::vector<Found>& found = m_found[isSkipped];
      if (found.empty()) continue;
      m_total.of(isSkipped).add(one);
      for (Found& change : found) {
        m_groups.add({isSkipped, std::move(change.queries), std::move(change.causes),
                      std::move(change.places)},
                     path, one);
      }
      found.clear();
    }
  }

  void noteChange(std::size_t query, std::string_view path, std::optional<std::uint64_t> size,
                  bool isSkipped) {
    const Explanation oldAnswer = m_old.explain(m_requests[query]);
    const Explanation newAnswer = m_new.explain(m_requests[query]);
    const Causes causes = compare(m_old.policy(), oldAnswer, m_new.policy(), newAnswer);
    if (m_asJson) writeChange(query, path, size, isSkipped, oldAnswer, newAnswer, causes);
    std::vector<std::string> words = inWords(causes);
    std::vector<Found>& found = m_found[isSkipped];
    const auto same = std::find_if(found.begin(), found.end(),
                                   [&](const Found& one) { return one.causes == words; });
    if (same == found.end()) {
      found.push_back({{query}, std::move(words), placesOf(causes)});
    } else {
      same->queries.push_back(query);
    }
  }

  std::vector<std::string> inWords(const Causes& causes) const {
    std::vector<std::string> words;
    for (const Cause& cause : causes.onlyNew) {
      words.push_back("now by " + causeInWords(m_new.policy(), cause));
    }
    for (const Cause& cause : causes.onlyOld) {
      words.push_back("no longer by " + causeInWords(m_old.policy(), cause));
    }
    if (words.empty()) {
      words.push_back(fmt::format("by the same rules, but the logic is {}; it was {}",
                                  inQuotes(trimmed(m_new.policy().logic)),
                                  inQuotes(trimmed(m_old.policy().logic))));
    }
    return words;
  }

  // Those in the new policy; where it has none, those in the old one.
  std::vector<SarifPlace> placesOf(const Causes& causes) const {
    std::vector<SarifPlace> places;
    const bool isInNew = !causes.onlyNew.empty() || causes.onlyOld.empty();
    const Policy& policy = isInNew ? m_new.policy() : m_old.policy();
    const auto add = [&](const Position& position) {
      places.push_back({position.file, position.line, position.column, position.element});
    };
    for (const Cause& cause : isInNew ? causes.onlyNew : causes.onlyOld) {
      add(cause.rule ? positionOfRule(policy, cause.dataSet, *cause.rule)
                     : positionOf(policy, cause.dataSet));
    }
    if (places.empty()) add(positionOfLogic(policy));
    return places;
  }

  static std::string causeInWords(const Policy& policy, const Cause& cause) {
    const DataSet& dataSet = policy.dataSets[cause.dataSet];
    const std::string which = fmt::format("data set {}, ", dataSet.number);
    if (cause.rule) return which + ruleInWords(policy, dataSet, *cause.rule);
    return which + fmt::format("{}{}: {}=\"yes\"", escaped(policy.files[dataSet.place.file]),
                               dataSet.place.line > 0 ? fmt::format(":{}", dataSet.place.line) : "",
                               deciderName(cause.decider));
  }

  // ---- text ----

  void print() {
    for (const bool isSkipped : {true, false}) {
      printGroups(isSkipped);
      m_output.print("\n");
    }
    m_output.print("{} asked about: {} newly skipped, {} newly scanned\n",
                   counted(m_asked.files, "path", "paths"), inWords(m_total.skipped),
                   inWords(m_total.scanned));
    for (std::size_t i = 0; i < m_changes.size(); ++i) {
      m_output.print("  {}: {} newly skipped, {} newly scanned\n", queryInWords(m_queries.all()[i]),
                     inWords(m_changes[i].skipped), inWords(m_changes[i].scanned));
    }
  }

  void printGroups(bool isSkipped) {
    const std::string title =
        m_output.coloured(Colour::Heading, isSkipped ? "Newly skipped" : "Newly scanned");
    const Tally& total = m_total.of(isSkipped);
    m_output.print("{}: {}\n", title, total.files == 0 ? "nothing" : inWords(total));
    const std::vector<const ChangeGroup*> groups = m_groups.largestFirst(isSkipped);
    for (std::size_t i = 0; i < groups.size() && i < m_options.top; ++i) printGroup(*groups[i]);
    if (groups.size() > m_options.top) {
      m_output.print("  and {} for other reasons\n",
                     counted(groups.size() - m_options.top, "group", "groups"));
    }
  }

  void printGroup(const ChangeGroup& group) {
    for (const std::string& cause : group.key.causes) m_output.print("  {}\n", cause);
    for (const std::size_t query : group.key.queries) {
      m_output.print("  asked: {}\n", queryInWords(m_queries.all()[query]));
    }
    const std::vector<FolderSums::Line> lines = group.folders.lines(m_options.top);
    for (std::size_t i = 0; i < lines.size() && i < m_options.top; ++i) {
      m_output.print("    {}  {}{}\n", inColumns(lines[i].tally), escaped(lines[i].path),
                     lines[i].isDirect ? " (files directly in it)" : "");
    }
    if (lines.size() <= m_options.top) return;
    Tally rest;
    for (std::size_t i = m_options.top; i < lines.size(); ++i) rest.add(lines[i].tally);
    m_output.print("    {}  in {}\n", inColumns(rest),
                   counted(lines.size() - m_options.top, "other place", "other places"));
  }

  // "3 (1.2 KiB)"; without bytes where no file was looked at.
  std::string inWords(const Tally& tally) const {
    return grouped(tally.files) +
           (readsStandardInput() ? "" : fmt::format(" ({})", readableSize(tally.bytes)));
  }

  std::string inColumns(const Tally& tally) const {
    if (readsStandardInput()) {
      return fmt::format("{:>15}", counted(tally.files, "path", "paths"));
    }
    return fmt::format("{:>15}  {:>11}", counted(tally.files, "file", "files"),
                       readableSize(tally.bytes));
  }

  // ---- SARIF: a result for each group ----

  void writeSarif() {
    SarifLog log;
    log.addSort(sortOf(true), "Files that go unscanned under the new policy only");
    log.addSort(sortOf(false), "Files that are scanned under the new policy only");
    for (const bool isSkipped : {true, false}) {
      for (const ChangeGroup* const group : m_groups.largestFirst(isSkipped)) {
        SarifResult result;
        result.name = sortOf(isSkipped);
        result.level = isSkipped ? "warning" : "note";
        result.message = messageOf(*group);
        result.places = group->key.places;
        log.add(result);
      }
    }
    m_output.print("{}\n", jsonPage(log.json()));
  }

  static const char* sortOf(bool isSkipped) {
    return isSkipped ? "newly-skipped" : "newly-scanned";
  }

  std::string messageOf(const ChangeGroup& group) const {
    std::vector<std::string> queries;
    for (const std::size_t query : group.key.queries) {
      queries.push_back(queryInWords(m_queries.all()[query]));
    }
    std::string text =
        fmt::format("{} newly {}: {}. Asked: {}.", inWords(group.tally),
                    group.key.isSkipped ? "skipped" : "scanned", fmt::join(group.key.causes, "; "),
                    queries.empty() ? "various" : fmt::format("{}", fmt::join(queries, "; ")));
    const std::vector<FolderSums::Line> lines = group.folders.lines(m_options.top);
    for (std::size_t i = 0; i < lines.size() && i < m_options.top; ++i) {
      text += fmt::format("{} {} in {}", i == 0 ? "" : ",", inWords(lines[i].tally),
                          escaped(lines[i].path));
    }
    return text;
  }

  // ---- JSON ----

  void writeChange(std::size_t query, std::string_view path, std::optional<std::uint64_t> size,
                   bool isSkipped, const Explanation& oldAnswer, const Explanation& newAnswer,
                   const Causes& causes) {
    Json json;
    json["change"] = sortOf(isSkipped);
    addText(json, "path", path);
    if (size) json["size"] = *size;
    addText(json, "process", m_requests[query].m_processName);
    json["access"] = accessName(m_requests[query].m_accessType);
    json["oldMatched"] = oldAnswer.matched;
    json["newMatched"] = newAnswer.matched;
    json["onlyOld"] = inJson(m_old.policy(), causes.onlyOld);
    json["onlyNew"] = inJson(m_new.policy(), causes.onlyNew);
    m_output.print("{}\n", jsonLine(json));
  }

  static Json inJson(const Policy& policy, const std::vector<Cause>& causes) {
    Json list = Json::array();
    for (const Cause& cause : causes) {
      const DataSet& dataSet = policy.dataSets[cause.dataSet];
      Json one;
      one["dataSet"] = dataSet.number;
      one["kind"] = kindName(dataSet.kind);
      one["decidedBy"] = deciderName(cause.decider);
      if (cause.rule) one.update(ruleInJson(dataSet, *cause.rule));
      list.push_back(one);
    }
    return list;
  }

  void writeSummary() {
    const auto add = [&](Json& json, const Changes& changes) {
      for (const bool isSkipped : {true, false}) {
        Json one;
        one["paths"] = changes.of(isSkipped).files;
        if (!readsStandardInput()) one["bytes"] = changes.of(isSkipped).bytes;
        json[isSkipped ? "newlySkipped" : "newlyScanned"] = one;
      }
    };
    Json json;
    json["change"] = "summary";
    json["asked"] = m_asked.files;
    add(json, m_total);
    json["queries"] = Json::array();
    for (std::size_t i = 0; i < m_changes.size(); ++i) {
      Json one = queryInJson(m_queries.all()[i]);
      add(one, m_changes[i]);
      json["queries"].push_back(std::move(one));
    }
    json["unreadableFolders"] = m_missing.unreadableCount();
    json["leftOutFolders"] = m_missing.leftOutCount();
    m_output.print("{}\n", jsonLine(json));
  }

  // What has changed for a path, one way: queries with the same causes together.
  struct Found {
    std::vector<std::size_t> queries;
    std::vector<std::string> causes;
    std::vector<SarifPlace> places;
  };

  const DiffOptions& m_options;
  const bool m_asJson;
  Side m_old;
  Side m_new;
  Queries m_queries;
  std::vector<QVL::LookupData> m_requests;  // one for each query
  Missing m_missing;
  Output m_output;
  Tally m_asked;
  Changes m_total;
  std::vector<Changes> m_changes;  // by query
  std::vector<Found> m_found[2];   // for the current path, scanned and skipped
  ChangeGroups m_groups;
};

// Saved audits tell what was asked.
void refuseBesideAudits(const CLI::App& command) {
  for (const CLI::Option* const option : command.get_options()) {
    const std::string name = option->get_name();
    const bool isForAudits = name == "--audits" || name == "--format" || name == "--top" ||
                             name == "--fail-on" || name == "--quiet" || name == "--color";
    if (option->count() > 0 && !isForAudits) {
      throw CLI::ValidationError(fmt::format("expected no {} beside --audits", name));
    }
  }
}

}  // namespace

void addDiffCommand(CLI::App& app, Action& action) {
  CLI::App& command =
      *app.add_subcommand("diff", "Compare two policies: which files would newly go unscanned?");
  const auto options = std::make_shared<DiffOptions>();
  addMatrixOptions(command, options->question);
  command.get_option("--policy")->required(false);
  command
      .add_option("--with", options->newPolicyFile, "The policy to compare it with: the new one")
      ->type_name("FILE");
  command
      .add_option("--audits", options->audits,
                  "Compare two audits that were saved in JSON, the old one first, in place of "
                  "policies")
      ->option_text("OLD NEW")
      ->expected(2);
  addFormatOption(command, options->format, {"text", "json", "sarif"});
  addTopOption(command, options->top, "How many reasons, and folders for each, to list");
  addChoiceOption(command, "--fail-on", "CHANGE", options->failOn,
                  {"newly-skipped", "newly-scanned", "any"},
                  "Which changes are worth exit status 1");
  addWalkOptions(command, options->walk);
  addZeroOption(command, options->paths);
  command
      .add_option("DIR", options->paths.paths,
                  "The folders to walk. `-`, or no DIR: read paths from standard input, one a line")
      ->type_name("");
  command.footer(
      "Asks both policies about every path, for every process and every kind of access that makes\n"
      "a difference, and prints what changes: first what is newly skipped, the dangerous change,\n"
      "then what is newly scanned; grouped by the rules and switches that match under one policy\n"
      "only, and by folder, the largest first. As JSON, a line for each path and query whose\n"
      "verdict changes, and a last line that sums up; as SARIF 2.1.0, a result for each group, at\n"
      "its rules. With --audits, no file is looked at: what differs are sums, for queries, rules\n"
      "and folders, and exit status 1 means that one of them has grown (or shrunk).\n"
      "\n"
      "Exit status: 0 no verdict changes, 1 at least one does, 2 trouble.\n"
      "\n"
      "  qvlctl diff --policy policy.xml --with next.xml --fail-on newly-skipped /srv\n"
      "  qvlctl diff --audits monday.json tuesday.json --fail-on newly-skipped\n"
      "  qvlctl diff --policy policy.xml --with next.xml --process \"\" --access read - "
      "<paths.txt");
  command.callback([options, &command, &action] {
    if (!options->audits.empty()) {
      refuseBesideAudits(command);
      action = [options] {
        return diffAudits(options->audits[0], options->audits[1],
                          {options->format, options->failOn, options->top});
      };
      return;
    }
    for (const auto& [file, name] : {std::pair(options->question.policyFile, "--policy"),
                                     std::pair(options->newPolicyFile, "--with")}) {
      if (file.empty()) throw CLI::RequiredError(name);
    }
    if (options->question.policyFile == "-" && options->newPolicyFile == "-") {
      throw Trouble("expected one policy on standard input; found --policy - and --with -");
    }
    options->paths.isInputTaken =
        options->question.policyFile == "-" || options->newPolicyFile == "-";
    action = [options] { return Diff(*options).run(); };
  });
}

}  // namespace qvlctl
