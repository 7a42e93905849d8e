// Patterns of shells and of ignore files.

#ifndef QVLCTL_IMPORT_GLOB_H
#define QVLCTL_IMPORT_GLOB_H

#include <stdexcept>
#include <string>
#include <string_view>
#include <vector>

namespace qvlctl {

// Why a text is no pattern, or one that no rule can say, in words.
class GlobError : public std::runtime_error {
 public:
  using std::runtime_error::runtime_error;
};

// A pattern taken apart: * and ? stand for what is no slash, [abc] and [!abc] for one such
// character, a backslash takes the meaning of what follows away, and a name that is ** stands for
// any number of folders.
struct Glob {
  struct Token {
    enum class Kind { Text, AnyCharacter, AnyText, Set };
    Kind kind;
    std::string text;  // of a Set, the same set in a regular expression
  };

  // What stands between two slashes.
  struct Name {
    bool isDeep = false;  // "**": any number of folders
    std::vector<Token> tokens;
  };

  std::vector<Name> names;
  bool beginsWithSlash = false;
  bool endsInSlash = false;
};

// Throws GlobError.
Glob parseGlob(std::string_view text);

// The path as a pattern that matches nothing else.
Glob literalGlob(std::string_view path);

// The texts that a pattern stands for, whose {braces} hold alternatives with commas between them.
// Throws GlobError, also when there are more than kMostAlternatives.
constexpr std::size_t kMostAlternatives = 1000;
std::vector<std::string> expandBraces(std::string_view text);

// A pattern in the two languages of rules. It begins with a slash, does not end in one, and its
// last name is not deep.
struct GlobTexts {
  std::string withWildcards;  // as people write it; may say something else than the pattern does
  std::string expression;     // exact
};
GlobTexts textsOf(const std::vector<Glob::Name>& names);

}  // namespace qvlctl

#endif  // QVLCTL_IMPORT_GLOB_H
