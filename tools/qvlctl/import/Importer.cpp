#include "import/Importer.h"

#include <algorithm>
#include <cstdint>
#include <exception>
#include <utility>

#include "fmt/format.h"
#include "io/Output.h"
#include "io/Trouble.h"
#include "qvlpolicy/Patterns.h"
#include "qvlpolicy/Text.h"

namespace qvlctl {
namespace {

using qvlpolicy::DataSet;
using qvlpolicy::Description;
using qvlpolicy::Kind;
using qvlpolicy::Rule;

using Names = std::vector<Glob::Name>;

constexpr std::size_t kLongestLine = 65536;
constexpr std::size_t kLongestRule = 4096;
constexpr std::size_t kLongestLogic = 2048;

// Would people, and lint, take the rule with wildcards for a mistake? It would hold the brackets of
// an expression, or what looks like a keyword.
bool looksUnmeant(const Names& names, std::string_view rule) {
  const auto isSet = [](const Glob::Token& token) { return token.kind == Glob::Token::Kind::Set; };
  return std::count(rule.begin(), rule.end(), '%') > 1 ||
         std::any_of(names.begin(), names.end(), [&](const Glob::Name& name) {
           return std::any_of(name.tokens.begin(), name.tokens.end(), isSet);
         });
}

// Does the name stand for what it says, and for nothing else?
bool isText(const Glob::Name& name, std::string_view text) {
  return name.tokens.size() == 1 && name.tokens.front().kind == Glob::Token::Kind::Text &&
         name.tokens.front().text == text;
}

void refuseWhatNoRuleHolds(std::string_view line) {
  if (line.size() > kLongestLine) {
    throw GlobError(fmt::format("expected at most {} bytes; found {}", kLongestLine, line.size()));
  }
  if (qvlpolicy::findNonUtf8(line) != std::string_view::npos) {
    throw GlobError("it is not UTF-8, as a policy is; ? matches any one character");
  }
  const auto isUnknownToXml = [](char c) {
    return static_cast<unsigned char>(c) < 0x20 && c != '\t' && c != '\n' && c != '\r';
  };
  if (std::any_of(line.begin(), line.end(), isUnknownToXml) ||
      line.find("\xef\xbf\xbe") != std::string_view::npos ||
      line.find("\xef\xbf\xbf") != std::string_view::npos) {
    throw GlobError("it holds a character that cannot stand in XML; ? matches any one character");
  }
}

Names joined(Names names, const Names& more) {
  names.insert(names.end(), more.begin(), more.end());
  return names;
}

}  // namespace

Importer::Importer(ListFormat format, std::string_view base,
                   std::function<void(std::size_t, bool, const std::string&)> tell)
    : m_format(format), m_base(literalGlob(base).names), m_tell(std::move(tell)) {}

void Importer::add(std::string_view line) {
  ++m_line;
  if (line.empty() || line.front() == '#') return;
  if (m_format == ListFormat::GitIgnore && trimmed(line).empty()) return;
  ++m_lineCount;
  try {
    refuseWhatNoRuleHolds(line);
    switch (m_format) {
      case ListFormat::Paths:
        addPath(line);
        break;
      case ListFormat::Globs:
        for (const std::string& text : expandBraces(line)) addGlob(text);
        break;
      case ListFormat::GitIgnore:
        addIgnored(line);
        break;
    }
  } catch (const GlobError& error) {
    // Without it, more would be excluded than the list says.
    if (m_format == ListFormat::GitIgnore && line.front() == '!' && !m_groups.empty()) {
      throw Trouble(
          fmt::format("line {}, which takes out of what comes before it, cannot be "
                      "expressed: {}; found {}",
                      m_line, error.what(), inQuotes(line)));
    }
    ++m_failedCount;
    m_tell(m_line, false, fmt::format("{}; found {}", error.what(), inQuotes(line)));
  }
}

void Importer::addPath(std::string_view line) {
  const Glob path = literalGlob(line);
  if (!path.beginsWithSlash) throw GlobError("expected a full path, which begins with /");
  addRule(path.endsInSlash ? Kind::Folder : Kind::FilePath, path.names, false);
  if (line.back() == ' ') {
    m_tell(m_line, true,
           fmt::format("the blank at its end is part of the path {}", inQuotes(line)));
  }
}

void Importer::addGlob(std::string_view line) {
  Glob glob = parseGlob(line);
  if (!glob.beginsWithSlash) {
    const bool isName = glob.names.size() == 1;
    if (!isName && (glob.names.empty() || !glob.names.front().isDeep)) {
      throw GlobError("expected a full path, which begins with /, a name without a slash, or **/");
    }
    if (isName) glob.names.insert(glob.names.begin(), {true, {}});
  }
  bool isFolder = glob.endsInSlash;
  if (!glob.names.empty() && glob.names.back().isDeep) {
    if (isFolder) {
      glob.names.push_back({false, {{Glob::Token::Kind::AnyText, {}}}});
    } else {
      glob.names.pop_back();
      isFolder = true;
    }
  }
  while (isFolder && !glob.names.empty() && glob.names.back().isDeep) glob.names.pop_back();
  addRule(isFolder ? Kind::Folder : Kind::FilePath, glob.names, false);
}

void Importer::addIgnored(std::string_view line) {
  const bool isException = line.front() == '!';
  if (isException) line.remove_prefix(1);
  // Blanks at the end do not count, unless a backslash says so.
  while (!line.empty() && line.back() == ' ') {
    const std::size_t other = line.find_last_not_of('\\', line.size() - 2);
    const std::size_t backslashes =
        line.size() - 2 - (other == std::string_view::npos ? std::size_t(-1) : other);
    if (line.size() > 1 && backslashes % 2 == 1) break;
    line.remove_suffix(1);
  }
  if (line.find("//") != std::string_view::npos) throw GlobError("git matches nothing with //");
  Glob glob = parseGlob(line);
  Names names = std::move(glob.names);
  if (names.empty()) throw GlobError("expected a pattern");
  const bool isAnchored = glob.beginsWithSlash || names.size() > 1;
  if (!isAnchored) names.insert(names.begin(), {true, {}});
  bool isInsideOnly = false;  // what is in the folder, and not the folder
  if (names.back().isDeep) {
    if (glob.endsInSlash || !isAnchored) {
      names.push_back({false, {{Glob::Token::Kind::AnyText, {}}}});
    } else {
      isInsideOnly = true;
      while (!names.empty() && names.back().isDeep) names.pop_back();
    }
  }
  if (isException && m_groups.empty()) {
    throw GlobError("there is nothing before it that it could take out");
  }
  names = joined(m_base, names);
  if (!isInsideOnly && !glob.endsInSlash) addRule(Kind::FilePath, names, isException);
  addRule(Kind::Folder, names, isException);
  m_hasExceptions = m_hasExceptions || isException;
}

void Importer::addRule(Kind kind, const Names& names, bool isException) {
  if (kind == Kind::FilePath && names.empty()) throw GlobError("expected a file's name");
  for (const Glob::Name& name : names) {
    if (isText(name, ".") || isText(name, "..")) {
      throw GlobError("expected no . and .., which are in no path that a scanner asks for");
    }
  }
  const GlobTexts texts = textsOf(names);
  const char* const end = kind == Kind::Folder ? "/" : "";
  DataSet dataSet;
  dataSet.kind = kind;
  Rule rule;
  rule.text = texts.withWildcards + end;
  const std::string inside = kind == Kind::Folder ? ".*" : "";
  if (looksUnmeant(names, rule.text) ||
      qvlpolicy::expressionOf(dataSet, rule) != texts.expression + end + inside) {
    dataSet.wildcards = false;
    rule.text = texts.expression + end;
  }
  if (rule.text.size() > kLongestRule) {
    throw GlobError(fmt::format("expected a rule of at most {} bytes; it would have {}",
                                kLongestRule, rule.text.size()));
  }
  try {
    qvlpolicy::makeRule(dataSet, rule);
  } catch (const std::exception& refusal) {
    throw GlobError(fmt::format("the engine refuses {}: {}", inQuotes(rule.text), refusal.what()));
  }

  if (m_groups.empty() || m_groups.back().isException != isException) {
    m_groups.push_back({isException, {}});
    m_known.clear();
  }
  const auto [earlier, isNew] =
      m_known.emplace(std::tuple(kind, dataSet.wildcards, rule.text), m_line);
  if (!isNew) {
    if (earlier->second != m_line) {
      m_tell(m_line, true, fmt::format("it says the same as line {}", earlier->second));
    }
    return;
  }
  std::vector<DataSet>& dataSets = m_groups.back().dataSets;
  auto place = std::find_if(dataSets.begin(), dataSets.end(), [&](const DataSet& one) {
    return one.kind == kind && one.wildcards == dataSet.wildcards;
  });
  if (place == dataSets.end()) {
    dataSet.place.line = static_cast<std::uint32_t>(m_line);
    place = dataSets.insert(place, std::move(dataSet));
  }
  place->rules.push_back(std::move(rule));
}

Description Importer::description(const std::string& file) const {
  Description description;
  description.file = file;
  description.files = {file};
  unsigned int number = 0;
  for (const Group& group : m_groups) {
    std::vector<unsigned int> numbers;
    for (const DataSet& dataSet : group.dataSets) {
      numbers.push_back(++number);
      description.dataSets.push_back(dataSet);
      description.dataSets.back().number = number;
      description.dataSets.back().name = group.isException ? "exceptions" : "";
    }
    const std::string all = fmt::format("{}", fmt::join(numbers, "|"));
    std::string& logic = description.logic;
    if (group.isException) {
      logic = fmt::format("({})&!({})", logic, all);
    } else {
      logic = logic.empty() ? all : fmt::format("({})|{}", logic, all);
    }
  }
  if (description.logic.size() > kLongestLogic) {
    throw Trouble(fmt::format(
        "expected a logic of at most {} characters; it would have {}, since lines with ! and "
        "without take turns too often",
        kLongestLogic, description.logic.size()));
  }
  return description;
}

}  // namespace qvlctl
