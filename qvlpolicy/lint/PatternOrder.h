// Which of two rules is the wider one?

#ifndef QVLPOLICY_LINT_PATTERN_ORDER_H
#define QVLPOLICY_LINT_PATTERN_ORDER_H

#include <cstddef>
#include <optional>
#include <string>
#include <vector>

#include "qvlpolicy/Description.h"

namespace qvlpolicy {

// A rule with wildcards as a sequence of what its expression is made of.
class Pattern {
 public:
  // Nothing for a rule of which that cannot be said: an expression, or a pattern that holds pieces
  // of one; a rule for the age of files.
  static std::optional<Pattern> of(const DataSet& dataSet, const Rule& rule);

  // Does this one match everything that `narrow` does? True is certain; false may be wrong. Adds to
  // `steps` how many pairs of their pieces had to be looked at.
  bool covers(const Pattern& narrow, std::size_t& steps) const;

  // The runs of characters between wildcards and keywords. Of a pattern that covers another one
  // each is a part of one of the other's.
  const std::vector<std::string>& runs() const { return m_runs; }

 private:
  enum class Type {
    Character,     // this byte
    AnyCharacter,  // one, but no slash
    Component,     // any characters but slashes
    Anything,
    Folders,  // behind a slash: any number of folders, each with the slash behind it
    Keyword   // one of its values
  };

  struct Token {
    Type type;
    char character = 0;
    const Keyword* keyword = nullptr;

    bool operator==(const Token& other) const {
      return type == other.type && character == other.character && keyword == other.keyword;
    }
  };

  static bool mayTake(const Token& wide, const Token& narrow);

  std::vector<Token> m_tokens;
  std::vector<std::string> m_runs;
};

}  // namespace qvlpolicy

#endif  // QVLPOLICY_LINT_PATTERN_ORDER_H
