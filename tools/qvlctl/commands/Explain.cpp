#include <algorithm>
#include <cerrno>
#include <ctime>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "commands/Commands.h"
#include "explain/Explainer.h"
#include "fmt/format.h"
#include "io/FileTimes.h"
#include "io/Files.h"
#include "io/Json.h"
#include "io/Output.h"
#include "policy/RuleText.h"
#include "queries/Queries.h"

namespace qvlctl {
namespace {

struct ExplainOptions {
  QuestionOptions question;
  PathOptions paths;
  std::string format;
};

const char* yesOrNo(bool value) {
  return value ? "true" : "false";
}

const char* differenceInWords(Difference difference) {
  switch (difference) {
    case Difference::Case:
      return "differs in upper and lower case only";
    case Difference::Normalisation:
      return "looks the same, but letters and their accents are encoded otherwise";
    case Difference::Slash:
      return "differs by a slash at the end only";
    case Difference::Alias:
      return "names another path to the same place";
    case Difference::Subfolders:
      return "leaves subfolders out";
    case Difference::Star:
      return "would match with ** for *";
    case Difference::Inside:
      return "names a folder, but not what is in it";
    case Difference::Wildcards:
      return "would match if its data set had wildcards";
    case Difference::SameFolder:
      return "is for the same folder";
    case Difference::SameExtension:
      return "is for the same extension";
  }
  return "";
}

// The times of a file and its age, when the policy asks for them.
struct Age {
  std::optional<FileTimes> times;
  int error = 0;
  std::time_t now = 0;

  explicit Age(const std::string& path)
      : times(readFileTimes(path)), error(errno), now(std::time(nullptr)) {}

  double days(std::time_t since) const { return std::difftime(now, since) / 86400; }
};

class Explain {
 public:
  explicit Explain(const ExplainOptions& options)
      : m_options(options), m_question(options.question), m_explainer(m_question.engine) {}

  int run() {
    forEachPath(
        m_options.paths, [this] { m_output.flush(); },
        [this](std::string_view path) { ask(path); });
    m_output.flush();
    return m_anyExcluded ? kYes : kNo;
  }

 private:
  void ask(std::string_view path) {
    QVL::LookupData& request = m_question.request;
    request.m_filePath = path;
    const Explanation explanation = m_explainer.explain(request);
    m_anyExcluded |= explanation.isExcluded;
    if (m_options.format == "json") {
      m_output.print("{}\n", jsonLine(inJson(explanation)));
    } else {
      if (m_isAnyTold) m_output.print("\n");
      print(explanation);
    }
    m_isAnyTold = true;
  }

  // ---- text ----

  void print(const Explanation& explanation) {
    const QVL::LookupData& request = m_question.request;
    m_output.print("{}: {}\n", escaped(request.m_filePath),
                   m_output.coloured(explanation.isExcluded ? Colour::Excluded : Colour::None,
                                     verdictName(explanation.isExcluded)));
    m_output.print("  asked   {} by {}\n", accessName(request.m_accessType),
                   request.m_processName.empty() ? "no process" : escaped(request.m_processName));
    if (qvlpolicy::findNonUtf8(request.m_filePath) != std::string::npos) {
      m_output.print(
          "  note    the path is not UTF-8, so that no file-path or folder rule matches it\n");
    }
    printExclusions(explanation);
    printLogic(explanation);
    for (std::size_t i = 0; i < explanation.dataSets.size(); ++i) {
      printDataSet(m_question.policy.dataSets[i], explanation.dataSets[i]);
    }
    printNearRules(m_explainer.nearest(request, explanation));
  }

  // For whom the file would be excluded that is scanned as asked: those that make a difference.
  std::vector<Query> otherExclusions(const Explanation& explanation) {
    std::vector<Query> found;
    if (explanation.isExcluded) return found;
    if (!m_queries) {
      m_queries.emplace(std::vector<const qvlpolicy::Policy*>{&m_question.engine.policy()},
                        QueryLimits());
    }
    for (const Query& query : m_queries->all()) {
      QVL::LookupData request = requestFor(query);
      request.m_filePath = m_question.request.m_filePath;
      if (m_question.engine.isExcluded(request)) found.push_back(query);
    }
    return found;
  }

  void printExclusions(const Explanation& explanation) {
    constexpr std::size_t kMost = 5;
    const std::vector<Query> queries = otherExclusions(explanation);
    for (std::size_t i = 0; i < queries.size() && i < kMost; ++i) {
      m_output.print("  would be excluded for  {}\n", queryInWords(queries[i]));
    }
    if (queries.size() > kMost) {
      m_output.print("  and for {} more\n", grouped(queries.size() - kMost));
    }
  }

  void printLogic(const Explanation& explanation) {
    m_output.print("  logic   {}\n", escaped(trimmed(m_question.policy.logic)));
    std::size_t width = 0;
    for (const PartAnswer& answer : explanation.parts) {
      width = std::max(width, 2 * answer.depth + answer.part->text.size());
    }
    for (const PartAnswer& answer : explanation.parts) {
      m_output.print(
          "    {:<{}}  {}\n", std::string(2 * answer.depth, ' ') + answer.part->text, width,
          answer.wasAsked ? yesOrNo(answer.value)
                          : fmt::format("not asked (would be {})", yesOrNo(answer.value)));
    }
  }

  void printDataSet(const DataSet& dataSet, const DataSetAnswer& answer) {
    m_output.print(
        "  {}\n", m_output.coloured(
                      Colour::Heading,
                      fmt::format("data set {}, {}{}: {}{}", dataSet.number, kindName(dataSet.kind),
                                  dataSet.name.empty() ? "" : ", " + inQuotes(dataSet.name),
                                  answer.matches ? "matches" : "does not match",
                                  answer.wasAsked    ? ""
                                  : answer.isInLogic ? "; not asked"
                                                     : "; not in the logic")));
    if (dataSet.metadata) m_output.print("    noted {}\n", metadataInWords(dataSet.metadata));
    if (dataSet.isDropped) m_output.print("    it has expired, and the policy drops what has\n");
    if (dataSet.kind == Kind::FileAge) printAge();
    printDecider(dataSet, answer);
    for (const MatchingRule& match : answer.rules) printRule(dataSet, match);
    for (const std::size_t rule : answer.gaveUp) {
      m_output.print(
          "    {}\n      gave up: its expression takes too long on this text, so that "
          "it does not match\n",
          ruleInWords(m_question.policy, dataSet, rule));
    }
  }

  void printDecider(const DataSet& dataSet, const DataSetAnswer& answer) {
    switch (answer.decider) {
      case Decider::SwitchedOff:
        if (!dataSet.enabled) m_output.print("    enabled=\"no\": never matches\n");
        break;
      case Decider::AccessType:
        m_output.print("    check-access=\"{}\": does not match what is asked for {}\n",
                       accessName(dataSet.access), accessName(m_question.request.m_accessType));
        break;
      case Decider::MatchAnything:
        m_output.print("    match-anything=\"yes\": matches without asking a rule\n");
        break;
      case Decider::EmptyInput:
        m_output.print("    match-empty-input=\"yes\": {} is empty\n", inputName(dataSet.kind));
        break;
      case Decider::Rules:
        if (answer.rules.empty()) m_output.print("    no rule matches\n");
        break;
    }
  }

  static const char* inputName(Kind kind) {
    return kind == Kind::Process    ? "the process"
           : kind == Kind::FileType ? "the extension"
                                    : "the path";
  }

  void printAge() {
    const Age age(m_question.request.m_filePath);
    if (!age.times) {
      m_output.print("    the file cannot be examined: {}\n", errorText(age.error));
      return;
    }
    const auto line = [&](const char* what, std::time_t time) {
      m_output.print("    {} {}, {:.1f} days ago\n", what, timeText(time), age.days(time));
    };
    if (age.times->creation) {
      line("created ", *age.times->creation);
    } else {
      m_output.print("    created  at a time that the file system does not tell\n");
    }
    line("modified", age.times->modification);
  }

  void printRule(const DataSet& dataSet, const MatchingRule& match) {
    const Rule& rule = dataSet.rules[match.rule];
    m_output.print("    {}\n", ruleInWords(m_question.policy, dataSet, match.rule));
    if (!match.fitsAccess) {
      m_output.print(
          "      for {} only; asked for {}\n",
          accessName(dataSet.accessCheck == DataSet::AccessCheck::AtDataSet ? dataSet.access
                                                                            : rule.access),
          accessName(m_question.request.m_accessType));
    }
    if (rule.metadata) m_output.print("      noted       {}\n", metadataInWords(rule.metadata));
    if (dataSet.kind == Kind::FileAge) return;
    m_output.print("      expression  {}{}\n", escapedPattern(expressionOf(dataSet, rule)),
                   dataSet.caseSensitive ? "" : "   in upper or lower case");
    for (const Keyword* const keyword : keywordsIn(dataSet, rule)) {
      m_output.print("      keyword     {} = {}\n", escapedPattern(keyword->name),
                     escapedPattern(fmt::format("{}", fmt::join(keyword->values, " | "))));
    }
  }

  void printNearRules(const std::vector<NearRule>& nearRules) {
    if (nearRules.empty()) return;
    m_output.print("  {}\n", m_output.coloured(Colour::Heading, "nearest rules"));
    for (const NearRule& nearRule : nearRules) {
      const DataSet& dataSet = m_question.policy.dataSets[nearRule.dataSet];
      m_output.print("    data set {}, {}\n      {}\n", dataSet.number,
                     ruleInWords(m_question.policy, dataSet, nearRule.rule),
                     differenceInWords(nearRule.difference));
    }
  }

  // ---- JSON ----

  Json inJson(const Explanation& explanation) {
    const QVL::LookupData& request = m_question.request;
    Json json = objectOf(12);
    addText(json, "path", request.m_filePath);
    addText(json, "process", request.m_processName);
    json["access"] = accessName(request.m_accessType);
    json["verdict"] = verdictName(explanation.isExcluded);
    json["matched"] = explanation.matched;
    json["excludedFor"] = Json::array();
    for (const Query& query : otherExclusions(explanation)) {
      json["excludedFor"].push_back(queryInJson(query));
    }
    json["logic"]["text"] = m_question.policy.logic;
    std::size_t next = 0;
    json["logic"]["evaluation"] = inJson(explanation.parts, next);
    json["dataSets"] = Json::array();
    for (std::size_t i = 0; i < explanation.dataSets.size(); ++i) {
      json["dataSets"].push_back(inJson(m_question.policy.dataSets[i], explanation.dataSets[i]));
    }
    json["nearRules"] = Json::array();
    for (const NearRule& nearRule : m_explainer.nearest(request, explanation)) {
      const DataSet& dataSet = m_question.policy.dataSets[nearRule.dataSet];
      Json one = objectOf(10);
      one["dataSet"] = dataSet.number;
      one.update(ruleInJson(dataSet, nearRule.rule));
      one["difference"] = differenceName(nearRule.difference);
      json["nearRules"].push_back(std::move(one));
    }
    return json;
  }

  // The part at `next` and what it combines; `next` ends behind them.
  static Json inJson(const std::vector<PartAnswer>& answers, std::size_t& next) {
    const PartAnswer& answer = answers[next++];
    Json json = objectOf(4);
    json["text"] = answer.part->text;
    if (answer.part->dataSet) json["dataSet"] = *answer.part->dataSet;
    json["asked"] = answer.wasAsked;
    json["value"] = answer.value;
    if (!answer.part->dataSet) json["parts"] = Json::array();
    while (next < answers.size() && answers[next].depth > answer.depth) {
      json["parts"].push_back(inJson(answers, next));
    }
    return json;
  }

  Json inJson(const DataSet& dataSet, const DataSetAnswer& answer) const {
    Json json = objectOf(13);
    json["number"] = dataSet.number;
    json["kind"] = kindName(dataSet.kind);
    json["name"] = dataSet.name;
    json["caseSensitive"] = dataSet.caseSensitive;
    if (dataSet.metadata) json["metadata"] = metadataInJson(dataSet.metadata);
    json["inLogic"] = answer.isInLogic;
    json["asked"] = answer.wasAsked;
    json["matches"] = answer.matches;
    json["decidedBy"] = deciderName(answer.decider);
    if (dataSet.kind == Kind::FileAge) addAge(json);
    json["rules"] = Json::array();
    for (const MatchingRule& match : answer.rules) {
      const Rule& rule = dataSet.rules[match.rule];
      Json one = ruleInJson(dataSet, match.rule);
      one["fitsAccess"] = match.fitsAccess;
      if (dataSet.kind != Kind::FileAge) {
        one["expression"] = expressionOf(dataSet, rule);
        one["keywords"] = Json::object();
        for (const Keyword* const keyword : keywordsIn(dataSet, rule)) {
          one["keywords"][keyword->name] = keyword->values;
        }
      }
      json["rules"].push_back(std::move(one));
    }
    json["gaveUp"] = Json::array();
    for (const std::size_t rule : answer.gaveUp) {
      json["gaveUp"].push_back(ruleInJson(dataSet, rule));
    }
    return json;
  }

  void addAge(Json& json) const {
    const Age age(m_question.request.m_filePath);
    const auto add = [&](const char* what, const std::optional<std::time_t>& time) {
      json[what] = nullptr;
      if (!time) return;
      json[what] = {{"time", timeText(*time)}, {"days", age.days(*time)}};
    };
    add("creation", age.times ? age.times->creation : std::nullopt);
    add("modification", age.times ? std::optional(age.times->modification) : std::nullopt);
  }

  const ExplainOptions& m_options;
  Question m_question;
  Explainer m_explainer;
  std::optional<Queries> m_queries;  // made for the first path that is scanned
  Output m_output;
  bool m_anyExcluded = false;
  bool m_isAnyTold = false;
};

}  // namespace

void addExplainCommand(CLI::App& app, Action& action) {
  CLI::App& command =
      *app.add_subcommand("explain", "Tell why files are excluded or scanned: which rule did it?");
  const auto options = std::make_shared<ExplainOptions>();
  addQuestionOptions(command, options->question);
  addFormatOption(command, options->format, {"text", "json"});
  addPathOptions(command, options->paths);
  command.footer(
      "Prints for each path the verdict; the logic with the value of each of its parts; and for\n"
      "each data set its answer and every rule that matches by itself, with the regular "
      "expression\n"
      "that it stands for. When no data set matches, the rules that miss it by least.\n"
      "\n"
      "Exit status: 0 at least one path is excluded, 1 none is, 2 trouble.\n"
      "\n"
      "  qvlctl explain --policy policy.xml /home/ann/project/build/main.o");
  command.callback([options, &action] {
    options->paths.isInputTaken = options->question.policyFile == "-";
    action = [options] { return Explain(*options).run(); };
  });
}

}  // namespace qvlctl
