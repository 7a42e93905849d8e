#include "qvlpolicy/lint/RuleChecks.h"

#include <qvl/qvl.h>

#include <algorithm>
#include <map>
#include <memory>
#include <optional>
#include <set>
#include <string>
#include <string_view>
#include <unordered_map>
#include <unordered_set>
#include <utility>
#include <vector>

#include "fmt/format.h"
#include "qvlpolicy/Engine.h"
#include "qvlpolicy/Patterns.h"
#include "qvlpolicy/RulePatterns.h"
#include "qvlpolicy/Text.h"
#include "qvlpolicy/lint/Backtracking.h"
#include "qvlpolicy/lint/Programs.h"
#include "qvlpolicy/lint/Reach.h"
#include "qvlpolicy/lint/Shadows.h"

namespace qvlpolicy {
namespace {

bool contains(std::string_view text, std::string_view part) {
  return text.find(part) != std::string_view::npos;
}

// The text with the names of keywords taken out; a zero byte stands for each.
std::string withoutNamesOf(const std::vector<const Keyword*>& keywords, std::string text) {
  for (const Keyword* const keyword : keywords) {
    text = QVL::Utility::replaceAll(std::move(text), keyword->name, std::string(1, '\0'));
  }
  return text;
}

// Characters that a pattern hands to its expression as they are and that mean something there; a
// backslash before one of them takes that meaning away.
std::string expressionCharactersIn(std::string_view pattern) {
  std::string found;
  for (std::size_t i = 0; i < pattern.size(); ++i) {
    if (!isExpressionCharacter(pattern[i])) continue;
    const bool isEscape =
        pattern[i] == '\\' && i + 1 < pattern.size() && isExpressionCharacter(pattern[i + 1]);
    if (isEscape) {
      ++i;
    } else if (!contains(found, pattern.substr(i, 1))) {
      found += pattern[i];
    }
  }
  return found;
}

// The place of the bracket that ends the set begun at `i`. First in it, a bracket is one of its
// characters, and behind a backslash anywhere.
std::size_t endOfSet(std::string_view expression, std::size_t i) {
  i += expression.substr(i + 1, 1) == "^" ? 2 : 1;
  for (bool isFirst = true; i < expression.size(); ++i, isFirst = false) {
    if (expression[i] == ']' && !isFirst) return i;
    if (expression[i] == '\\') ++i;
  }
  return expression.size();
}

// A dot outside brackets that stands for one character of any kind, though perhaps not on purpose:
// one that is repeated is.
bool hasPlainDot(std::string_view expression) {
  for (std::size_t i = 0; i < expression.size(); ++i) {
    if (expression[i] == '\\') {
      ++i;
    } else if (expression[i] == '[') {
      i = endOfSet(expression, i);
    } else if (expression[i] == '.') {
      const bool isRepeated =
          i + 1 < expression.size() && contains("*+?{", expression.substr(i + 1, 1));
      if (!isRepeated) return true;
    }
  }
  return false;
}

// Texts between percent signs that look like keywords but are none.
std::vector<std::string> unknownKeywordsIn(const std::string& text) {
  std::vector<std::string> found;
  for (std::size_t start = 0; (start = text.find('%', start)) != std::string::npos;) {
    const std::size_t end = text.find_first_not_of(
        "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789_-", start + 1);
    const bool looksLikeOne = end != std::string::npos && text[end] == '%' && end > start + 1;
    if (looksLikeOne) found.push_back(text.substr(start, end + 1 - start));
    start = looksLikeOne ? end + 1 : start + 1;
  }
  return found;
}

// "$HOME" or "${HOME}".
bool beginsWithVariable(std::string_view text) {
  constexpr std::string_view kBegins = "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz_{";
  return text.size() > 1 && text.front() == '$' && contains(kBegins, text.substr(1, 1));
}

std::string quotedCharacters(const std::string& characters) {
  std::string text;
  for (const char c : characters) text += (text.empty() ? "" : " ") + std::string(1, c);
  return text;
}

class DataSetCheck {
 public:
  DataSetCheck(const Description& policy, std::size_t index, const Circumstances& circumstances)
      : m_policy(policy),
        m_index(index),
        m_dataSet(policy.dataSets[index]),
        m_role(circumstances.role),
        m_platform(circumstances.platform),
        m_today(circumstances.today),
        m_rules(circumstances.rules),
        m_forNames(*circumstances.forNames),
        m_maker(m_dataSet) {
    for (const Keyword& keyword : m_dataSet.keywords) m_keywordNames.insert(keyword.name);
  }

  Findings run() {
    m_position = positionOf(m_policy, m_index);
    checkSwitches();
    const std::set<const Keyword*> inRules = readRules();
    for (std::size_t i = 0; i < m_dataSet.keywords.size(); ++i) {
      const Keyword& keyword = m_dataSet.keywords[i];
      m_position = positionOfKeyword(m_policy, m_index, i);
      checkKeyword(keyword, inRules.count(&keyword) > 0);
    }
    for (std::size_t i = 0; i < m_dataSet.rules.size(); ++i) {
      m_position = positionOfRule(m_policy, m_index, i);
      m_rule = i;
      checkRule(i);
    }
    checkPairs();
    return std::move(m_findings);
  }

 private:
  void add(const char* name, Severity severity, std::string reason, std::string advice) {
    m_findings.push_back(
        {name, severity, m_position, std::move(reason), std::move(advice), m_index, m_rule});
  }

  void warn(const char* name, std::string reason, std::string advice) {
    add(name, Severity::Warning, std::move(reason), std::move(advice));
  }

  // Where other data sets have to match as well, what is too much is less.
  void warnByRole(const char* name, std::string reason, std::string advice) {
    if (m_role == Role::Hinders || !m_dataSet.enabled) return;
    if (m_role == Role::Helps) reason += ", as far as the logic lets other data sets decide";
    add(name, m_role == Role::Decides ? Severity::Warning : Severity::Note, std::move(reason),
        std::move(advice));
  }

  // ---- What is read of all rules ----

  // Answers which keywords stand in rules, and notes what is left to the engine.
  std::set<const Keyword*> readRules() {
    const std::vector<Rule>& rules = m_dataSet.rules;
    RulePatterns patterns(m_dataSet);
    std::set<const Keyword*> inRules;
    for (m_read = 0; m_read < rules.size() && patterns.steps() < m_forNames; ++m_read) {
      const Rule& rule = rules[m_read];
      const std::vector<const Keyword*> found = patterns.keywordsIn(rule);
      inRules.insert(found.begin(), found.end());
      if (!found.empty()) m_withoutKeywords[&rule] = withoutNamesOf(found, rule.text);
      if (patterns.isLeftToTheEngine(rule)) m_leftToTheEngine.push_back(m_read);
    }
    m_forNames -= std::min(m_forNames, patterns.steps());
    if (m_read < rules.size()) {
      add("not-all-read", Severity::Note,
          fmt::format("{} of its rules were not looked through for keywords, since there are too "
                      "many of both; what is odd about these may not be told",
                      rules.size() - m_read),
          "split the policy, or give the keywords names that no value can hold, such as %NAME%");
    }
    return inRules;
  }

  bool isRead(std::size_t rule) const { return rule < m_read; }

  // ---- The data set ----

  void checkSwitches() {
    checkExpiry(m_dataSet.metadata);
    const bool hasSwitchedMatches = m_dataSet.matchAnything || m_dataSet.matchEmptyInput;
    if (!m_dataSet.enabled) {
      add("data-set-off", Severity::Note, "it is switched off and never matches",
          "remove it when it is not coming back");
    } else if (m_dataSet.matchAnything) {
      warnByRole("covers-everything", "match-anything makes it match every access",
                 "name what is meant by rules");
      if (!m_dataSet.rules.empty()) {
        warn("rules-not-asked", "match-anything decides, and its rules are never asked",
             "remove match-anything, or the rules");
      }
    }
    if (m_dataSet.rules.empty() && !hasSwitchedMatches) {
      warn("no-rules", "it has no rules and never matches",
           "add rules, or remove it from the file and from the logic");
    }
    const bool refusesAll =
        m_dataSet.accessCheck == DataSet::AccessCheck::AtDataSet && m_dataSet.access == 0;
    if (refusesAll) {
      warn("access-type-0",
           "check-access=\"0\" lets only requests of access type 0 pass, which no read or write is",
           "write by-rule, never, or the access type that is meant");
    }
  }

  // ---- Keywords ----

  void checkKeyword(const Keyword& keyword, bool isInRule) {
    if (!isInRule && m_read < m_dataSet.rules.size()) {
      // It may be in those that were not looked through.
    } else if (m_dataSet.wildcards && keyword.name.find_first_of(".*?") != std::string::npos) {
      if (isInRule) {
        warn(
            "keyword-in-wildcard",
            fmt::format("{} is found in what dots and wildcards of the rules were replaced by, and "
                        "changes what they mean",
                        inQuotes(keyword.name)),
            "rename it, for instance to %NAME%");
      } else {
        warn("keyword-never-found",
             fmt::format("{} is found in no rule: dots and wildcards are replaced first",
                         inQuotes(keyword.name)),
             "rename it, for instance to %NAME%");
      }
    } else if (!isInRule) {
      warn("keyword-unused", fmt::format("no rule holds {}", inQuotes(keyword.name)),
           "remove it, or correct its name here or in the rules");
    }
    for (const std::string& value : keyword.values) checkExpression("value", value);
    checkNormalisation(keyword.name);
    for (const std::string& value : keyword.values) checkNormalisation(value);
  }

  // A text that is an expression whatever the switches are, or because wildcards are off.
  void checkExpression(const char* what, const std::string& text) {
    if (hasPlainDot(text)) {
      warn("unescaped-dot",
           fmt::format("the dot in the {} {} stands for any character", what, inQuotes(text)),
           "write \\. for a dot");
    }
    if (contains(text, "/*") || contains(text, "**")) {
      warn("wildcard-in-expression",
           fmt::format("the {} {} is a regular expression, where a star repeats what is before it",
                       what, inQuotes(text)),
           "write [^/]* for any characters in a folder, .* for any characters");
    }
  }

  void checkNormalisation(const std::string& text) {
    if (composed(text) == text) return;
    warn("not-nfc",
         fmt::format(
             "letters and accents in {} are apart (not in normalisation form C); a path that "
             "has them composed does not match, though it looks the same",
             inQuotes(text)),
         fmt::format("write {}, or both if files may be named either way",
                     inQuotes(composed(text))));
  }

  // ---- Rules ----

  // Dates compare as texts.
  void checkExpiry(const std::shared_ptr<const Metadata>& metadata) {
    if (!metadata || metadata->expires.empty() || metadata->expires >= m_today) return;
    warn("expired",
         fmt::format("it has expired on {}, and {}", metadata->expires,
                     m_policy.dropsExpired ? "the policy drops what has" : "still excludes"),
         "remove it, or give it another date");
  }

  void checkRule(std::size_t index) {
    const Rule& rule = m_dataSet.rules[index];
    checkExpiry(rule.metadata);
    QVL::IAvoidance* made = m_rules == nullptr ? nullptr : (*m_rules)[index];
    try {
      if (made == nullptr) made = &m_maker.make(rule);
    } catch (const QVL::QVLException&) {
      return;  // told with the errors
    }
    const Reach reach = reachOf(m_dataSet, rule, *made);
    checkReach(rule, reach);
    checkPrograms(rule, reach, *made);
    if (m_dataSet.kind == Kind::FileAge) {
      checkAge(rule);
      return;
    }
    checkBlanks(rule);
    checkNormalisation(rule.text);
    if (m_dataSet.kind == Kind::FileType) {
      checkFileType(rule);
    } else {
      checkPath(rule);
      checkAlias(rule.text);
    }
    if (m_dataSet.kind == Kind::Process) checkProcess(rule);
    if (m_dataSet.wildcards) {
      checkWildcards(rule);
    } else {
      checkExpression("rule", rule.text);
    }
    if (std::binary_search(m_leftToTheEngine.begin(), m_leftToTheEngine.end(), index)) {
      checkTime(expressionOf(m_dataSet, rule));
    }
  }

  // All other expressions are matched in a time linear in the path, whatever they are.
  void checkTime(const std::string& expression) {
    if (canTakeExponentialTime(expression)) {
      warn("exponential-time",
           fmt::format("a path can go round a loop of {} in two ways, and trying them all takes a "
                       "time that doubles with every character",
                       inQuotes(expression)),
           "let every round of the loop begin or end with what cannot stand elsewhere in it, such "
           "as a slash");
      return;
    }
    add("not-linear", Severity::Note,
        fmt::format("{} is left to the regular expression engine, which may take a time that grows "
                    "much faster than the path",
                    inQuotes(expression)),
        "leave out references back, conditions, parts that look around or are never given back, "
        "and counts behind what reads nothing at some places only");
  }

  void checkReach(const Rule& rule, const Reach& reach) {
    static constexpr const char* kNarrow = "name the folders and files that are meant";
    if (reach.everything) {
      warnByRole("covers-everything", "it covers everything", kNarrow);
    } else if (!reach.tree.empty()) {
      warnByRole("covers-tree", fmt::format("it covers everything in {}", reach.tree), kNarrow);
    } else if (!reach.home.empty()) {
      warnByRole("covers-home",
                 fmt::format("it covers the whole home folder {}", escaped(reach.home)), kNarrow);
    }
    const std::optional<std::string> folder = writableFolderOf(m_dataSet.kind, rule);
    if (folder && reach.tree.empty()) {
      warnByRole(
          "writable-by-all",
          fmt::format("it is for something in {}, where any program of any user, or what is "
                      "downloaded, can be put",
                      *folder),
          "let the data be kept where only its owner may write, or restrict by process as well");
    }
  }

  // Where nothing else has to match, what can run or be any program is let through with the rule.
  void checkPrograms(const Rule& rule, const Reach& reach, QVL::IAvoidance& made) {
    if (m_role != Role::Decides || !m_dataSet.enabled || reach.everything) return;
    if (const auto interpreter = interpreterOf(m_dataSet, rule, made)) {
      warn("interpreter",
           fmt::format("{} runs whatever it is told to, and all that it does goes unscanned",
                       escaped(*interpreter)),
           "name the program that is meant, or let the logic want a folder as well");
    }
    if (const auto extension = programTypeOf(m_dataSet, made)) {
      warn("carries-programs",
           fmt::format("files with the extension {} can carry programs, and are let through "
                       "anywhere",
                       *extension),
           "name the folders where they are meant");
    }
  }

  void checkAge(const Rule& rule) {
    if (ageOf(rule).days.size() == 1) return;
    add("superfluous-days", Severity::Note,
        fmt::format("only the smallest number of days counts: it means {}",
                    ruleText(Kind::FileAge, rule)),
        "leave the others out");
  }

  void checkBlanks(const Rule& rule) {
    if (trimmed(rule.text) == rule.text) return;
    warn("blank-at-end",
         fmt::format(
             "blanks and line breaks at the beginning or the end belong to the rule {}, which "
             "matches only with them",
             inQuotes(rule.text)),
         "write the rule on one line, without blanks inside the tags");
  }

  void checkFileType(const Rule& rule) {
    const std::string& text = rule.text;
    if (text.front() == '.') {
      warn("dot-before-extension",
           fmt::format("an extension has no dot in front; in {} it stands for any character",
                       inQuotes(text)),
           contains(text.substr(1), ".") || text.size() == 1
               ? std::string("name what follows the last dot of the path")
               : fmt::format("write {}", inQuotes(text.substr(1))));
    } else if (hasPlainDot(text)) {
      warn("unescaped-dot",
           fmt::format(
               "the dot in {} stands for any character, and an extension is what follows the "
               "last dot only",
               inQuotes(text)),
           "name what follows the last dot, or use a file path rule such as /**.tar.gz");
    }
    if (m_dataSet.wildcards && contains(text, "*")) {
      warn("star-in-file-type",
           fmt::format("in a file type a star is a star: {} matches only a name that holds one",
                       inQuotes(text)),
           "write each extension, or use ? for one character");
    }
    if (m_dataSet.wildcards && contains(text, "/")) {
      warn("never-matches", fmt::format("no extension holds a slash, as {} does", inQuotes(text)),
           "name what follows the last dot, or use a file path rule");
    }
  }

  const char* everybodysHome() const {
    return m_platform == Platform::MacOs ? "/Users/*" : "/home/*";
  }

  void checkPath(const Rule& rule) {
    const std::string& text = rule.text;
    const bool isBareProcess =
        m_dataSet.kind == Kind::Process && !contains(text, "/") && !contains(text, "%");
    if (!isBareProcess && cannotBeginPath(rule)) {
      const bool isHome = text.front() == '~';
      warn("never-matches",
           fmt::format("the scanner asks for full paths, which begin with a slash; {} does not",
                       inQuotes(text)),
           isHome ? fmt::format("write the home folder out: {} for everybody's", everybodysHome())
                  : "write the full path, or begin with /**/");
    }
    // In an expression a slash may stand in brackets, and a dot for any character.
    if (!m_dataSet.wildcards) return;
    if (contains(text, "//")) {
      warn("never-matches",
           fmt::format("no path holds two slashes in a row, as {} does", inQuotes(text)),
           "write one");
    }
    if (contains(text, "/./") || contains(text, "/../")) {
      warn("never-matches",
           fmt::format("the scanner asks for paths without . and .. folders; {} holds one",
                       inQuotes(text)),
           "write the path that they lead to");
    }
  }

  // Is the first character one that is no slash, and neither a wildcard nor a piece of an
  // expression?
  bool cannotBeginPath(const Rule& rule) const {
    if (!isRead(*m_rule)) return false;
    const std::string& text = withoutKeywordNames(rule);
    const char first = text.front();
    if (first == '/' || first == '\0' || first == '*') return false;
    if (isExpressionCharacter(first)) return false;
    if (!m_dataSet.wildcards && (first == '.' || contains("?*{", text.substr(1, 1)))) return false;
    return !contains(text, "|");
  }

  void checkAlias(const std::string& text) {
    const std::optional<std::string> real = realName(m_platform, text);
    if (!real) return;
    warn("alias-path",
         fmt::format("on {} {} is another name for {}, and the scanner asks for the real one",
                     m_platform == Platform::MacOs ? "macOS" : "Linux", inQuotes(text),
                     inQuotes(*real)),
         fmt::format("write {}", inQuotes(*real)));
  }

  void checkProcess(const Rule& rule) {
    const bool isBare = !contains(rule.text, "/") && !contains(rule.text, "%");
    if (!rule.defaultFolder) {
      if (isBare && rule.text.front() != '*') {
        add("bare-process", Severity::Note,
            fmt::format("{} matches only where the scanner names processes without their folders",
                        inQuotes(rule.text)),
            "write the full path, or add default-folder");
      }
      return;
    }
    const std::string& folder = *rule.defaultFolder;
    checkNormalisation(folder);
    if (!isBare) {
      warn("default-folder-unused",
           fmt::format("default-folder is for names without / and %; {} has one",
                       inQuotes(rule.text)),
           "remove default-folder");
      return;
    }
    checkExpression("default-folder", folder);
    checkAlias(folder);
    if (folder.back() == '/' || folder.front() != '/') {
      warn("never-matches",
           fmt::format("default-folder is put before the name with a slash between them: {}",
                       inQuotes(folder + '/' + rule.text)),
           "write a full path without a slash at its end");
    }
  }

  void checkWildcards(const Rule& rule) {
    if (!isRead(*m_rule)) return;
    const std::string& text = withoutKeywordNames(rule);
    const std::string characters = expressionCharactersIn(text);
    if (!characters.empty()) {
      warn(
          "expression-characters",
          fmt::format("{} keep{} the meaning of regular expressions in {}",
                      quotedCharacters(characters), characters.size() == 1 ? "s" : "",
                      inQuotes(rule.text)),
          beginsWithVariable(text)
              ? fmt::format("variables of shells are not replaced: write the folder out, such as "
                            "{} for everybody's home folder",
                            everybodysHome())
              : "put a backslash before each that is meant as it stands; for a regular expression, "
                "set wildcards=\"no\"");
    }
    if (m_dataSet.kind == Kind::FileType) return;
    const char* const word = contains(text, "DOUBLEWITHSLASH") ? "DOUBLEWITHSLASH"
                             : contains(text, "DOUBLE")        ? "DOUBLE"
                                                               : nullptr;
    if (word != nullptr) {
      warn("reserved-word",
           fmt::format("{} stands for {} in {}", word,
                       std::string_view(word) == "DOUBLE" ? "**" : "/**/", inQuotes(rule.text)),
           "write [D]OUBLE for the word itself, or the wildcard if that is meant");
    }
    for (const std::string& name : unknownKeywordsIn(rule.text)) {
      if (m_keywordNames.count(name) > 0) continue;
      warn("unknown-keyword",
           fmt::format("its data set has no keyword {}, so that is taken as it stands",
                       inQuotes(name)),
           "define the keyword in this data set, or correct its name");
    }
  }

  const std::string& withoutKeywordNames(const Rule& rule) const {
    const auto found = m_withoutKeywords.find(&rule);
    return found == m_withoutKeywords.end() ? rule.text : found->second;
  }

  // ---- Rules against each other ----

  void checkPairs() {
    const std::vector<Rule>& rules = m_dataSet.rules;
    ShadowLimits limits;
    limits.named = m_forNames;
    const Shadows found = rulesInShadow(m_dataSet, limits);
    m_forNames -= std::min(m_forNames, found.named);
    if (found.cutShort > 0) {
      m_position = positionOf(m_policy, m_index);
      m_rule.reset();
      add("not-all-compared", Severity::Note,
          fmt::format(
              "{} of its rules were not compared with all others that share characters with "
              "them, which would take too long; one in shadow may not be told",
              found.cutShort),
          "nothing, unless such rules are to be found: then split the data set");
    }
    const std::vector<std::optional<std::size_t>>& shadows = found.byRule;
    for (std::size_t i = 0; i < rules.size(); ++i) {
      m_position = positionOfRule(m_policy, m_index, i);
      m_rule = i;
      if (isSameAsEarlier(i) || !shadows[i]) continue;
      warn("shadowed",
           fmt::format("everything that it matches, rule {} matches as well: {}", *shadows[i] + 1,
                       ruleText(m_dataSet.kind, rules[*shadows[i]])),
           "remove it, or narrow the other one");
    }
  }

  bool isSameAsEarlier(std::size_t index) {
    const std::vector<Rule>& rules = m_dataSet.rules;
    const auto [earlier, isNew] = m_byKey.emplace(rules[index].text, index);
    if (isNew) return false;
    // A rule with other attributes is refused, and told with the errors.
    if (haveTheSameEffect(m_dataSet, rules[earlier->second], rules[index])) {
      warn("duplicate", fmt::format("the same rule as rule {}", earlier->second + 1), "remove one");
    }
    return true;
  }

  const Description& m_policy;
  const std::size_t m_index;
  const DataSet& m_dataSet;
  const Role m_role;
  const Platform m_platform;
  std::map<std::string, std::size_t, KeyOrder> m_byKey{keyOrderOf(m_dataSet.kind)};
  const std::string& m_today;
  const std::vector<QVL::IAvoidance*>* const m_rules;
  std::size_t& m_forNames;
  RuleMaker m_maker;  // of rules that are not there yet
  std::unordered_map<const Rule*, std::string> m_withoutKeywords;  // of those that hold any
  Position m_position;
  std::optional<std::size_t> m_rule;  // that is being checked
  Findings m_findings;
  std::vector<std::size_t> m_leftToTheEngine;  // rules, ascending
  std::size_t m_read = 0;  // so many rules were looked through for keywords, from the first
  std::unordered_set<std::string_view> m_keywordNames;
};

}  // namespace

Findings checkDataSet(const Description& policy, std::size_t dataSet,
                      const Circumstances& circumstances) {
  return DataSetCheck(policy, dataSet, circumstances).run();
}

}  // namespace qvlpolicy
