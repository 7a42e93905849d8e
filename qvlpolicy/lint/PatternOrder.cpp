#include "qvlpolicy/lint/PatternOrder.h"

#include <algorithm>
#include <cstddef>
#include <string_view>

namespace qvlpolicy {
namespace {

bool startsWith(std::string_view text, std::string_view beginning) {
  return text.substr(0, beginning.size()) == beginning;
}

bool contains(std::string_view characters, char c) {
  return characters.find(c) != std::string_view::npos;
}

char lower(char c) {
  return c >= 'A' && c <= 'Z' ? static_cast<char>(c - 'A' + 'a') : c;
}

bool isAscii(char c) {
  return static_cast<unsigned char>(c) < 0x80;
}

}  // namespace

KeywordNames::KeywordNames(const DataSet& dataSet) {
  for (const Keyword& keyword : dataSet.keywords) {
    if (keyword.name.empty() || keyword.name.find_first_of(".*?") != std::string::npos) continue;
    m_keywords.emplace(keyword.name, &keyword);
    m_lengths.push_back(keyword.name.size());
  }
  std::sort(m_lengths.begin(), m_lengths.end());
  m_lengths.erase(std::unique(m_lengths.begin(), m_lengths.end()), m_lengths.end());
}

const Keyword* KeywordNames::atStartOf(std::string_view text) const {
  const Keyword* first = nullptr;
  for (const std::size_t length : m_lengths) {
    if (length > text.size()) break;
    const auto found = m_keywords.find(text.substr(0, length));
    if (found == m_keywords.end()) continue;
    if (first == nullptr || found->second < first) first = found->second;
  }
  return first;
}

std::optional<Pattern> Pattern::of(const DataSet& dataSet, const KeywordNames& keywords,
                                   const Rule& rule) {
  if (!dataSet.wildcards || dataSet.kind == Kind::FileAge) return std::nullopt;
  const bool isFileType = dataSet.kind == Kind::FileType;
  if (rule.text.find("DOUBLE") != std::string::npos && !isFileType) return std::nullopt;
  // A folder for bare names is an expression.
  if (rule.defaultFolder && rule.text.find_first_of("/%") == std::string::npos) return std::nullopt;

  Pattern pattern;
  const auto add = [&](Type type) { pattern.m_tokens.push_back({type}); };
  for (std::string_view rest = rule.text; !rest.empty();) {
    const Keyword* const keyword = keywords.atStartOf(rest);
    const char c = rest.front();
    std::size_t length = 1;
    if (keyword != nullptr) {
      pattern.m_tokens.push_back({Type::Keyword, 0, keyword});
      length = keyword->name.size();
    } else if (contains(isFileType ? "+()[]{}|^$\\.*" : "+()[]{}|^$\\", c)) {
      return std::nullopt;
    } else if (startsWith(rest, "/**/")) {
      pattern.m_tokens.push_back({Type::Character, '/'});
      add(Type::Folders);
      length = 4;
    } else if (startsWith(rest, "**")) {
      add(Type::Anything);
      length = 2;
    } else if (c == '*') {
      add(Type::Component);
    } else if (c == '?') {
      add(Type::AnyCharacter);
    } else {
      pattern.m_tokens.push_back({Type::Character, dataSet.caseSensitive ? c : lower(c)});
    }
    rest.remove_prefix(length);
  }
  if (dataSet.kind == Kind::Folder) {
    add(rule.includeSubfolders ? Type::Anything : Type::Component);
  }
  bool isInRun = false;
  for (const Token& token : pattern.m_tokens) {
    const bool isCharacter = token.type == Type::Character;
    if (isCharacter && !isInRun) pattern.m_runs.emplace_back();
    if (isCharacter) pattern.m_runs.back() += token.character;
    isInRun = isCharacter;
  }
  return pattern;
}

// May a token of the wide pattern take one of the narrow pattern, or a part of what it takes?
bool Pattern::mayTake(const Token& wide, const Token& narrow) {
  switch (wide.type) {
    case Type::Character:
    case Type::Keyword:
      return wide == narrow;
    case Type::AnyCharacter:
      return narrow.type == Type::AnyCharacter ||
             (narrow.type == Type::Character && narrow.character != '/' &&
              isAscii(narrow.character));
    case Type::Component:
      return narrow.type == Type::AnyCharacter || narrow.type == Type::Component ||
             (narrow.type == Type::Character && narrow.character != '/');
    case Type::Anything:
    case Type::Folders:
      return true;
  }
  return false;
}

bool Pattern::covers(const Pattern& narrow, std::size_t& steps) const {
  // Most pairs of rules part within the first characters.
  const std::size_t common = std::min(m_tokens.size(), narrow.m_tokens.size());
  std::size_t same = 0;
  while (same < common && m_tokens[same].type == Type::Character &&
         m_tokens[same] == narrow.m_tokens[same]) {
    ++same;
  }
  if (same < m_tokens.size() && m_tokens[same].type == Type::Character) return false;

  // The places in this pattern, behind what both begin with, that can be reached with what has been
  // taken of the other one; and the folders that have begun and are left behind a slash, or at
  // once, for the next place.
  const std::size_t size = m_tokens.size() - same;
  const Token* const tokens = m_tokens.data() + same;
  std::vector<bool> places(size + 1);
  std::vector<bool> next(size + 1);
  std::vector<bool> begun(size + 1);
  const auto goOnWithout = [&] {
    for (std::size_t i = 0; i < size; ++i) {
      const Type type = tokens[i].type;
      if (!places[i]) continue;
      if (type == Type::Folders) begun[i] = true;
      if (type == Type::Folders || type == Type::Component || type == Type::Anything) {
        places[i + 1] = true;
      }
    }
  };
  places[0] = true;
  goOnWithout();
  for (std::size_t at = same; at < narrow.m_tokens.size(); ++at) {
    const Token& token = narrow.m_tokens[at];
    // Folders of the other pattern stand behind a slash, so they end in one even if they are none.
    const bool endsInSlash =
        token.type == Type::Folders || (token.type == Type::Character && token.character == '/');
    steps += size + 1;
    next.assign(size + 1, false);
    for (std::size_t i = 0; i < size; ++i) {
      const Type type = tokens[i].type;
      if (type == Type::Folders) {
        if (begun[i] && endsInSlash) next[i + 1] = true;
      } else if (places[i] && mayTake(tokens[i], token)) {
        next[type == Type::Component || type == Type::Anything ? i : i + 1] = true;
      }
    }
    places.swap(next);
    goOnWithout();
  }
  return places[size];
}

}  // namespace qvlpolicy
