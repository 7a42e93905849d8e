// Which of two rules is the wider one?

#ifndef QVLPOLICY_LINT_PATTERN_ORDER_H
#define QVLPOLICY_LINT_PATTERN_ORDER_H

#include <cstddef>
#include <optional>
#include <string>
#include <string_view>
#include <unordered_map>
#include <vector>

#include "qvlpolicy/Description.h"

namespace qvlpolicy {

// The names of the keywords of a data set, to be looked up. Names that hold a wildcard or a dot are
// not there.
class KeywordNames {
 public:
  // The data set outlives the object.
  explicit KeywordNames(const DataSet& dataSet);

  // Of the keywords whose names the text begins with, the first of the data set; null: none.
  const Keyword* atStartOf(std::string_view text) const;

 private:
  std::unordered_map<std::string_view, const Keyword*> m_keywords;
  std::vector<std::size_t> m_lengths;  // of their names, ascending
};

// A rule with wildcards as a sequence of what its expression is made of.
class Pattern {
 public:
  // Nothing for a rule of which that cannot be said: an expression, or a pattern that holds pieces
  // of one; a rule for the age of files.
  static std::optional<Pattern> of(const DataSet& dataSet, const KeywordNames& keywords,
                                   const Rule& rule);

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
