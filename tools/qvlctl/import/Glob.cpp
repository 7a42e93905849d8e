#include "import/Glob.h"

#include <algorithm>
#include <cstddef>
#include <utility>

#include "fmt/format.h"
#include "io/Output.h"

namespace qvlctl {
namespace {

using Token = Glob::Token;

// What a class of characters holds in ASCII, as in a set of a regular expression; the slash, which
// no set matches, left out.
struct CharacterClass {
  std::string_view name;
  const char* content;
};
constexpr CharacterClass kClasses[] = {
    {"alnum", "0-9A-Za-z"},     {"alpha", "A-Za-z"}, {"blank", " \t"},
    {"cntrl", "\x01-\x1f\x7f"}, {"digit", "0-9"},    {"graph", "!-.0-~"},
    {"lower", "a-z"},           {"print", " -.0-~"}, {"punct", "!-.:-@\\[-`{-~"},
    {"space", "\t-\r "},        {"upper", "A-Z"},    {"xdigit", "0-9A-Fa-f"},
};

bool contains(std::string_view text, char c) {
  return text.find(c) != std::string_view::npos;
}

// The bytes of the character that stands at a place.
std::size_t lengthOfCharacter(std::string_view text, std::size_t at) {
  std::size_t end = at + 1;
  while (end < text.size() && (static_cast<unsigned char>(text[end]) & 0xc0) == 0x80) ++end;
  return end - at;
}

// Reads what stands between brackets.
class SetReader {
 public:
  // `at` is behind the opening bracket.
  SetReader(std::string_view text, std::size_t at) : m_text(text), m_at(at) {}

  Token read() {
    const bool isNegated = m_at < m_text.size() && contains("!^", m_text[m_at]);
    if (isNegated) ++m_at;
    for (bool isFirst = true;; isFirst = false) {
      if (m_at >= m_text.size()) throw GlobError("[ has no ] that ends it");
      if (m_text[m_at] == ']' && !isFirst) break;
      if (m_text.substr(m_at, 2) == "[:") {
        addClass();
      } else {
        addRange();
      }
    }
    ++m_at;
    if (isNegated) return {Token::Kind::Set, fmt::format("[^{}/]", m_content)};
    if (m_content.empty()) throw GlobError("a set that holds no character but a slash");
    return {Token::Kind::Set, fmt::format("[{}]", m_content)};
  }

  std::size_t end() const { return m_at; }

 private:
  void addClass() {
    const std::size_t end = m_text.find(":]", m_at);
    if (end == std::string_view::npos) throw GlobError("[: has no :] that ends it");
    const std::string_view name = m_text.substr(m_at + 2, end - m_at - 2);
    const auto found = std::find_if(std::begin(kClasses), std::end(kClasses),
                                    [&](const CharacterClass& one) { return one.name == name; });
    if (found == std::end(kClasses)) {
      throw GlobError(fmt::format("there is no class of characters {}", inQuotes(name)));
    }
    m_content += found->content;
    m_at = end + 2;
  }

  void addRange() {
    const std::string first = character();
    const bool isRange = m_at + 1 < m_text.size() && m_text[m_at] == '-' && m_text[m_at + 1] != ']';
    if (!isRange) {
      if (first != "/") add(first);
      return;
    }
    ++m_at;
    const std::string last = character();
    // In UTF-8, texts compare as their characters do.
    if (last < first) throw GlobError(fmt::format("the range {}-{} is upside down", first, last));
    if (first <= "/" && "/" <= last) {
      if (first < "/") addRange(first, ".");
      if ("/" < last) addRange("0", last);
    } else {
      addRange(first, last);
    }
  }

  void addRange(const std::string& first, const std::string& last) {
    add(first);
    if (first == last) return;
    m_content += '-';
    add(last);
  }

  std::string character() {
    if (m_text[m_at] == '\\') ++m_at;
    if (m_at >= m_text.size()) throw GlobError("[ has no ] that ends it");
    const std::size_t length = lengthOfCharacter(m_text, m_at);
    m_at += length;
    return std::string(m_text.substr(m_at - length, length));
  }

  void add(const std::string& character) {
    if (contains("\\[]^-", character.front())) m_content += '\\';
    m_content += character;
  }

  const std::string_view m_text;
  std::size_t m_at;
  std::string m_content;
};

void addText(std::vector<Token>& tokens, std::string_view text) {
  if (tokens.empty() || tokens.back().kind != Token::Kind::Text) {
    tokens.push_back({Token::Kind::Text, {}});
  }
  tokens.back().text += text;
}

void append(std::string& text, const Token& token, bool isExpression) {
  switch (token.kind) {
    case Token::Kind::Text:
      for (const char c : token.text) {
        const bool isEscaped = contains("+()[]{}|^$\\", c) || (isExpression && contains(".*?", c));
        if (isEscaped) text += '\\';
        text += c;
      }
      break;
    case Token::Kind::AnyCharacter:
      text += isExpression ? "[^/]" : "?";
      break;
    case Token::Kind::AnyText:
      text += isExpression ? "[^/]*" : "*";
      break;
    case Token::Kind::Set:
      text += token.text;
      break;
  }
}

std::string textOf(const std::vector<Glob::Name>& names, bool isExpression) {
  std::string text;
  bool isBehindDeep = false;
  for (const Glob::Name& name : names) {
    if (name.isDeep) {
      if (!isBehindDeep) text += isExpression ? "/(.*/|)" : "/**/";
      isBehindDeep = true;
      continue;
    }
    if (!isBehindDeep) text += '/';
    isBehindDeep = false;
    for (const Token& token : name.tokens) append(text, token, isExpression);
  }
  return text;
}

// The alternatives of the braces that begin at `open`, and where those end.
struct Braces {
  std::vector<std::string_view> alternatives;
  std::size_t end;  // behind the closing one
};

// The place of the first brace that begins alternatives; npos: there is none.
std::size_t findBrace(std::string_view text) {
  for (std::size_t i = 0; i < text.size(); ++i) {
    if (text[i] == '\\') {
      ++i;
    } else if (text[i] == '}') {
      throw GlobError("} has no { that begins it; for itself it is \\}");
    } else if (text[i] == '{') {
      return i;
    }
  }
  return std::string_view::npos;
}

Braces bracesAt(std::string_view text, std::size_t open) {
  Braces braces = {{}, open + 1};
  std::size_t depth = 1;
  std::size_t start = open + 1;
  for (std::size_t i = open + 1; i < text.size(); ++i) {
    if (text[i] == '\\') {
      ++i;
    } else if (text[i] == '{') {
      ++depth;
    } else if (text[i] == ',' && depth == 1) {
      braces.alternatives.push_back(text.substr(start, i - start));
      start = i + 1;
    } else if (text[i] == '}' && --depth == 0) {
      braces.alternatives.push_back(text.substr(start, i - start));
      braces.end = i + 1;
      if (braces.alternatives.size() < 2) {
        throw GlobError(
            "expected alternatives in { }, with commas between them; for themselves "
            "braces are \\{ and \\}");
      }
      return braces;
    }
  }
  throw GlobError("{ has no } that ends it; for itself it is \\{");
}

void expandInto(std::vector<std::string>& texts, const std::string& done, std::string_view rest) {
  const std::size_t open = findBrace(rest);
  if (open == std::string_view::npos) {
    if (texts.size() == kMostAlternatives) {
      throw GlobError(fmt::format("expected at most {} alternatives in braces", kMostAlternatives));
    }
    texts.push_back(done + std::string(rest));
    return;
  }
  const Braces braces = bracesAt(rest, open);
  for (const std::string_view alternative : braces.alternatives) {
    expandInto(texts, done + std::string(rest.substr(0, open)),
               std::string(alternative) + std::string(rest.substr(braces.end)));
  }
}

}  // namespace

Glob parseGlob(std::string_view text) {
  Glob glob;
  glob.beginsWithSlash = !text.empty() && text.front() == '/';
  Glob::Name name;
  std::size_t begin = 0;  // of the name
  const auto endName = [&](std::size_t end) {
    if (text.substr(begin, end - begin) == "**") name = {true, {}};
    if (name.isDeep || !name.tokens.empty()) glob.names.push_back(std::move(name));
    name = {};
    begin = end + 1;
  };
  for (std::size_t i = 0; i < text.size();) {
    const char c = text[i];
    glob.endsInSlash = c == '/';
    if (c == '/') {
      endName(i++);
    } else if (c == '*') {
      // Beside other characters, two stars are one.
      if (name.tokens.empty() || name.tokens.back().kind != Token::Kind::AnyText) {
        name.tokens.push_back({Token::Kind::AnyText, {}});
      }
      ++i;
    } else if (c == '?') {
      name.tokens.push_back({Token::Kind::AnyCharacter, {}});
      ++i;
    } else if (c == '[') {
      SetReader set(text, i + 1);
      name.tokens.push_back(set.read());
      i = set.end();
    } else {
      if (c == '\\' && ++i == text.size()) {
        throw GlobError("a backslash at the end takes the meaning of nothing away");
      }
      const std::size_t length = lengthOfCharacter(text, i);
      addText(name.tokens, text.substr(i, length));
      i += length;
    }
  }
  endName(text.size());
  return glob;
}

Glob literalGlob(std::string_view path) {
  Glob glob;
  glob.beginsWithSlash = !path.empty() && path.front() == '/';
  glob.endsInSlash = !path.empty() && path.back() == '/';
  while (!path.empty()) {
    const std::size_t slash = std::min(path.find('/'), path.size());
    if (slash > 0) {
      glob.names.push_back({false, {{Token::Kind::Text, std::string(path.substr(0, slash))}}});
    }
    path.remove_prefix(std::min(slash + 1, path.size()));
  }
  return glob;
}

std::vector<std::string> expandBraces(std::string_view text) {
  std::vector<std::string> texts;
  expandInto(texts, {}, text);
  return texts;
}

GlobTexts textsOf(const std::vector<Glob::Name>& names) {
  return {textOf(names, false), textOf(names, true)};
}

}  // namespace qvlctl
