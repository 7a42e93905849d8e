#include <cstdint>
#include <iterator>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "commands/Commands.h"
#include "explain/Causes.h"
#include "explain/Explainer.h"
#include "fmt/format.h"
#include "io/Files.h"
#include "io/Json.h"
#include "io/Output.h"
#include "io/Spool.h"
#include "io/Trouble.h"
#include "policy/RuleText.h"
#include "walk/Roots.h"
#include "walk/TreeWalk.h"

namespace qvlctl {
namespace {

struct DiffOptions {
  QuestionOptions question;
  std::string newPolicyFile;
  WalkOptions walk;
  PathOptions paths;  // of folders, unless they are read from standard input
  std::string format;
};

// One of the two policies. What tells reasons takes its time to make, and is made when a verdict
// has changed.
class Side {
 public:
  Side(QuestionOptions options, const std::string& policyFile)
      : m_question((options.policyFile = policyFile, options)) {}

  bool ask(std::string_view path) {
    m_question.request.m_filePath = path;
    return m_question.engine.isExcluded(m_question.request);
  }

  const Policy& policy() const { return m_question.policy; }

  // About the path that was asked last.
  Explanation explain() {
    if (!m_explainer) m_explainer.emplace(m_question.policy, m_question.engine);
    return m_explainer->explain(m_question.request);
  }

 private:
  Question m_question;
  std::optional<Explainer> m_explainer;
};

// The paths, and the bytes of the files, whose verdict has changed one way.
struct Changes {
  std::uint64_t paths = 0;
  std::uint64_t bytes = 0;
};

class Diff : private TreeVisitor {
 public:
  explicit Diff(const DiffOptions& options)
      : m_options(options),
        m_asJson(options.format == "json"),
        m_old(options.question, options.question.policyFile),
        m_new(options.question, options.newPolicyFile) {}

  int run() {
    if (readsStandardInput()) {
      forEachPath(
          m_options.paths, [this] { m_output.flush(); },
          [this](std::string_view path) { ask(path, std::nullopt); });
    } else {
      for (const std::string& root : rootsOf(m_options.paths.paths)) {
        walkTree(root, m_options.walk, *this);
      }
    }
    m_asJson ? writeSummary() : printRest();
    m_output.flush();
    tellUnreadable();
    return m_skipped.paths + m_scanned.paths > 0 ? kNo : kYes;
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
    constexpr std::size_t kMostToTell = 10;
    ++m_unreadableCount;
    if (m_unreadable.size() < kMostToTell) {
      m_unreadable.push_back(fmt::format("  {}: {}", escaped(path), errorText(error)));
    }
  }

  void tellUnreadable() const {
    if (m_unreadableCount == 0) return;
    complain(fmt::format("warning: {} could not be read and {} missing above",
                         counted(m_unreadableCount, "folder", "folders"),
                         m_unreadableCount == 1 ? "is" : "are"));
    for (const std::string& line : m_unreadable) complain(line);
    const std::uint64_t rest = m_unreadableCount - m_unreadable.size();
    if (rest > 0) complain(fmt::format("  and {} more", grouped(rest)));
  }

  // ---- the questions ----

  void ask(std::string_view path, std::optional<std::uint64_t> size) {
    ++m_asked;
    const bool wasSkipped = m_old.ask(path);
    const bool isSkipped = m_new.ask(path);
    if (wasSkipped == isSkipped) return;
    Changes& changes = isSkipped ? m_skipped : m_scanned;
    ++changes.paths;
    changes.bytes += size.value_or(0);
    const Explanation oldAnswer = m_old.explain();
    const Explanation newAnswer = m_new.explain();
    const Causes causes = compare(m_old.policy(), oldAnswer, m_new.policy(), newAnswer);
    if (m_asJson) {
      writeChange(path, size, isSkipped, oldAnswer, newAnswer, causes);
    } else {
      printChange(path, isSkipped, causes);
    }
  }

  // ---- text ----

  // Newly skipped paths are printed as they come; the others wait until those are through.
  void printChange(std::string_view path, bool isSkipped, const Causes& causes) {
    const std::string text = changeInWords(path, causes);
    if (!isSkipped) {
      m_newlyScanned.add(text);
      return;
    }
    if (m_skipped.paths == 1) printHeading("Newly skipped", true);
    m_output.print("{}", text);
  }

  void printHeading(const char* what, bool isAny) {
    m_output.print("{}{}\n", m_output.coloured(Colour::Heading, what), isAny ? ":" : ": nothing");
  }

  void printRest() {
    if (m_skipped.paths == 0) printHeading("Newly skipped", false);
    m_output.print("\n");
    printHeading("Newly scanned", m_scanned.paths > 0);
    m_newlyScanned.read([this](std::string_view text) { m_output.print("{}", text); });
    m_output.print("\n{} asked about: {} newly skipped{}, {} newly scanned{}\n",
                   counted(m_asked, "path", "paths"), grouped(m_skipped.paths),
                   bytesInWords(m_skipped), grouped(m_scanned.paths), bytesInWords(m_scanned));
  }

  std::string bytesInWords(const Changes& changes) const {
    return readsStandardInput() ? "" : fmt::format(" ({})", readableSize(changes.bytes));
  }

  std::string changeInWords(std::string_view path, const Causes& causes) const {
    std::string text = fmt::format("  {}\n", escaped(path));
    for (const Cause& cause : causes.onlyNew) {
      text += fmt::format("    now by {}\n", causeInWords(m_new.policy(), cause));
    }
    for (const Cause& cause : causes.onlyOld) {
      text += fmt::format("    no longer by {}\n", causeInWords(m_old.policy(), cause));
    }
    if (causes.onlyNew.empty() && causes.onlyOld.empty()) {
      text += fmt::format("    by the same rules, but the logic is {}; it was {}\n",
                          inQuotes(trimmed(m_new.policy().logic)),
                          inQuotes(trimmed(m_old.policy().logic)));
    }
    return text;
  }

  static std::string causeInWords(const Policy& policy, const Cause& cause) {
    const DataSet& dataSet = policy.dataSets[cause.dataSet];
    const std::string which = fmt::format("data set {}, ", dataSet.number);
    if (cause.rule) return which + ruleInWords(policy, dataSet, *cause.rule);
    return which + fmt::format("{}{}: {}=\"yes\"", escaped(policy.file),
                               dataSet.line > 0 ? fmt::format(":{}", dataSet.line) : "",
                               deciderName(cause.decider));
  }

  // ---- JSON ----

  void writeChange(std::string_view path, std::optional<std::uint64_t> size, bool isSkipped,
                   const Explanation& oldAnswer, const Explanation& newAnswer,
                   const Causes& causes) {
    Json json;
    json["change"] = isSkipped ? "newly-skipped" : "newly-scanned";
    addText(json, "path", path);
    if (size) json["size"] = *size;
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
    const auto inJson = [&](const Changes& changes) {
      Json json;
      json["paths"] = changes.paths;
      if (!readsStandardInput()) json["bytes"] = changes.bytes;
      return json;
    };
    Json json;
    json["change"] = "summary";
    json["asked"] = m_asked;
    json["newlySkipped"] = inJson(m_skipped);
    json["newlyScanned"] = inJson(m_scanned);
    json["unreadableFolders"] = m_unreadableCount;
    m_output.print("{}\n", jsonLine(json));
  }

  const DiffOptions& m_options;
  const bool m_asJson;
  Side m_old;
  Side m_new;
  Output m_output;
  Spool m_newlyScanned;
  std::uint64_t m_asked = 0;
  Changes m_skipped;
  Changes m_scanned;
  std::uint64_t m_unreadableCount = 0;
  std::vector<std::string> m_unreadable;
};

}  // namespace

void addDiffCommand(CLI::App& app, Action& action) {
  CLI::App& command =
      *app.add_subcommand("diff", "Compare two policies: which files would newly go unscanned?");
  const auto options = std::make_shared<DiffOptions>();
  addQuestionOptions(command, options->question);
  command
      .add_option("--with", options->newPolicyFile, "The policy to compare it with: the new one")
      ->required()
      ->type_name("FILE");
  addFormatOption(command, options->format, {"text", "json"});
  command.add_flag("-x,--one-file-system", options->walk.oneFileSystem,
                   "Leave out folders on other file systems");
  addZeroOption(command, options->paths);
  command
      .add_option("DIR", options->paths.paths,
                  "The folders to walk. `-`, or no DIR: read paths from standard input, one a line")
      ->type_name("");
  command.footer(
      "Asks both policies about every path and prints those whose verdict changes: first what is\n"
      "newly skipped, the dangerous change, then what is newly scanned; each with the rules and\n"
      "switches that match under one policy only. As JSON, a line for each change as it is found,\n"
      "and a last line that sums up.\n"
      "\n"
      "Exit status: 0 no verdict changes, 1 at least one does, 2 trouble.\n"
      "\n"
      "  qvlctl diff --policy policy.xml --with next.xml /srv\n"
      "  qvlctl diff --policy policy.xml --with next.xml - <paths.txt");
  command.callback([options, &action] { action = [options] { return Diff(*options).run(); }; });
}

}  // namespace qvlctl
