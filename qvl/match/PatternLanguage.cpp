#include "qvl/match/PatternLanguage.h"

#include <utility>

namespace QVL {
namespace {

struct Replacement {
  const char* from;
  const char* to;
};

template <std::size_t count>
std::string withAllReplaced(std::string text, const Replacement (&replacements)[count]) {
  for (const Replacement& one : replacements) {
    text = withReplaced(std::move(text), one.from, one.to);
  }
  return text;
}

}  // namespace

std::string withReplaced(std::string text, std::string_view from, std::string_view to) {
  std::size_t at = from.empty() ? std::string::npos : text.find(from);
  if (at == std::string::npos) return text;
  std::string replaced;
  std::size_t copied = 0;
  for (; at != std::string::npos; at = text.find(from, copied)) {
    replaced.append(text, copied, at - copied);
    replaced += to;
    copied = at + from.size();
  }
  replaced.append(text, copied, std::string::npos);
  return replaced;
}

// The stars that a step puts in must not be rewritten by a later one, so the double star waits
// under a placeholder; a rule text that holds such a word means the wildcard.
std::string expressionOfGlob(std::string glob) {
  static constexpr Replacement kWildcards[] = {
      {".", "\\."},   {"/**/", "DOUBLEWITHSLASH"},    {"**", "DOUBLE"},
      {"*", "[^/]*"}, {"DOUBLEWITHSLASH", "/(.*/|)"}, {"DOUBLE", ".*"},
      {"?", "[^/]"},
  };
  return withAllReplaced(std::move(glob), kWildcards);
}

std::string expressionOfFileType(std::string fileType) {
  static constexpr Replacement kWildcards[] = {{"?", "[^/]"}, {"*", "\\*"}};
  return withAllReplaced(std::move(fileType), kWildcards);
}

std::string expressionBeforeKeywords(const std::string& text, bool wildCards,
                                     const std::string* defaultFolder) {
  std::string expression = wildCards ? expressionOfGlob(text) : text;
  // A name that is no path, and names no keyword, is that of a program in the default folder.
  const bool isInDefaultFolder = text.find_first_of("/%") == std::string::npos;
  return defaultFolder && isInDefaultFolder ? *defaultFolder + '/' + expression : expression;
}

const char* endOfFolder(bool includesSubFolders) {
  return includesSubFolders ? ".*" : "[^/]*";
}

std::string_view extensionOf(std::string_view path) {
  const std::size_t dot = path.rfind('.');
  return dot == std::string_view::npos ? std::string_view() : path.substr(dot + 1);
}

}  // namespace QVL
