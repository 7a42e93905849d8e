#include "qvlpolicy/lint/PatternOrder.h"

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <string_view>

#include "qvlpolicy/RulePatterns.h"

namespace qvlpolicy {
namespace {

bool startsWith(std::string_view text, std::string_view beginning) {
  return text.substr(0, beginning.size()) == beginning;
}

// A character that a pattern hands to its expression as it is and that means something there, or in
// a file type may.
bool isOfExpression(char c, bool isFileType) {
  return isExpressionCharacter(c) || (isFileType && (c == '.' || c == '*'));
}

char lower(char c) {
  return c >= 'A' && c <= 'Z' ? static_cast<char>(c - 'A' + 'a') : c;
}

}  // namespace

KeywordNames keywordNamesOf(const DataSet& dataSet) {
  std::vector<std::string_view> names;
  for (const Keyword& keyword : dataSet.keywords) {
    const bool isReplaced = keyword.name.find_first_of(".*?") != std::string::npos;
    names.push_back(isReplaced ? std::string_view() : std::string_view(keyword.name));
  }
  return KeywordNames(names);
}

std::optional<Pattern> Pattern::of(const DataSet& dataSet, const KeywordNames& names,
                                   const Rule& rule, std::size_t& steps) {
  if (!dataSet.wildcards || dataSet.kind == Kind::FileAge) return std::nullopt;
  const bool isFileType = dataSet.kind == Kind::FileType;
  if (rule.text.find("DOUBLE") != std::string::npos && !isFileType) return std::nullopt;
  // A folder for bare names is an expression.
  if (rule.defaultFolder && rule.text.find_first_of("/%") == std::string::npos) return std::nullopt;

  Pattern pattern;
  std::vector<Token>& tokens = pattern.m_tokens;
  tokens.reserve(rule.text.size() + 1);
  for (std::string_view rest = rule.text; !rest.empty();) {
    constexpr std::size_t kNone = SIZE_MAX;
    std::size_t keyword = kNone;
    steps += names.eachAtStartOf(rest, [&](std::size_t i) { keyword = std::min(keyword, i); });
    const char c = rest.front();
    std::size_t length = 1;
    if (keyword != kNone) {
      tokens.push_back(static_cast<Token>(kFirstKeyword + keyword));
      length = dataSet.keywords[keyword].name.size();
    } else if (isOfExpression(c, isFileType)) {
      return std::nullopt;
    } else if (c == '/' && startsWith(rest, "/**/")) {
      tokens.push_back(static_cast<unsigned char>('/'));
      tokens.push_back(kFolders);
      length = 4;
    } else if (c == '*') {
      length = startsWith(rest, "**") ? 2 : 1;
      tokens.push_back(length == 2 ? kAnything : kComponent);
    } else if (c == '?') {
      tokens.push_back(kAnyCharacter);
    } else {
      tokens.push_back(static_cast<unsigned char>(dataSet.caseSensitive ? c : lower(c)));
    }
    rest.remove_prefix(length);
  }
  if (dataSet.kind == Kind::Folder) {
    tokens.push_back(rule.includeSubfolders ? kAnything : kComponent);
  }
  bool isInRun = false;
  for (const Token token : tokens) {
    const bool isCharacter = token < kFirstWildcard;
    if (isCharacter && !isInRun) pattern.m_runs.emplace_back();
    if (isCharacter) pattern.m_runs.back() += static_cast<char>(token);
    isInRun = isCharacter;
  }
  return pattern;
}

// May a token of the wide pattern take one of the narrow pattern, or a part of what it takes?
bool Pattern::mayTake(Token wide, Token narrow) {
  const bool isCharacter = narrow < kFirstWildcard;
  switch (wide) {
    case kAnyCharacter:
      return narrow == kAnyCharacter || (isCharacter && narrow != '/' && narrow < 0x80);
    case kComponent:
      return narrow == kAnyCharacter || narrow == kComponent || (isCharacter && narrow != '/');
    case kAnything:
    case kFolders:
      return true;
    default:
      return wide == narrow;
  }
}

std::size_t Pattern::leadingCharacters() const {
  return m_tokens.empty() || m_tokens.front() >= kFirstWildcard ? 0 : m_runs.front().size();
}

std::optional<bool> Pattern::covers(const Pattern& narrow, std::size_t most, std::size_t& steps,
                                    Scratch& scratch) const {
  // Most pairs of rules part within the characters that they begin with.
  const std::size_t same = leadingCharacters();
  if (same > narrow.leadingCharacters()) return false;
  if (same > 0 && narrow.m_runs.front().compare(0, same, m_runs.front()) != 0) return false;

  // The places in this pattern, behind what both begin with, that can be reached with what has been
  // taken of the other one; and the folders that have begun, to be left behind a slash.
  const std::size_t size = m_tokens.size() - same;
  const Token* const tokens = m_tokens.data() + same;
  std::vector<std::size_t>& places = scratch.places;
  std::vector<std::size_t>& next = scratch.next;
  std::vector<std::size_t>& begun = scratch.begun;
  std::vector<std::size_t>& reachedAt = scratch.reachedAt;
  next.clear();
  begun.clear();
  reachedAt.assign(size + 1, SIZE_MAX);
  const auto reach = [&](std::size_t place, std::size_t piece) {
    for (; reachedAt[place] != piece; ++place) {
      const bool isNew = reachedAt[place] == SIZE_MAX;
      reachedAt[place] = piece;
      next.push_back(place);
      if (place == size || tokens[place] < kComponent || tokens[place] > kFolders) return;
      // Such a wildcard may take nothing.
      if (isNew && tokens[place] == kFolders) begun.push_back(place);
    }
  };
  reach(0, 0);
  std::size_t taken = 0;
  for (std::size_t at = same; at < narrow.m_tokens.size(); ++at) {
    places.swap(next);
    next.clear();
    taken += places.size() + begun.size();
    steps += places.size() + begun.size();
    if (taken > most) return std::nullopt;
    const Token token = narrow.m_tokens[at];
    const std::size_t piece = at - same + 1;
    // Folders of the other pattern stand behind a slash, so they end in one even if they are none.
    const std::size_t left = token == kFolders || token == '/' ? begun.size() : 0;
    for (std::size_t i = 0; i < left; ++i) reach(begun[i] + 1, piece);
    for (const std::size_t place : places) {
      if (place == size || tokens[place] == kFolders || !mayTake(tokens[place], token)) continue;
      const bool stays = tokens[place] == kComponent || tokens[place] == kAnything;
      reach(stays ? place : place + 1, piece);
    }
    if (next.empty() && begun.empty()) return false;
  }
  return reachedAt[size] == narrow.m_tokens.size() - same;
}

}  // namespace qvlpolicy
