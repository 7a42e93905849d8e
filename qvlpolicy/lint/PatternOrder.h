// Which of two rules is the wider one?

#ifndef QVLPOLICY_LINT_PATTERN_ORDER_H
#define QVLPOLICY_LINT_PATTERN_ORDER_H

#include <cstddef>
#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "qvlpolicy/Description.h"
#include "qvlpolicy/KeywordNames.h"

namespace qvlpolicy {

// The names of the keywords of a data set, with their indices. Those that hold a wildcard or a dot
// are not there. The data set outlives them.
KeywordNames keywordNamesOf(const DataSet& dataSet);

// A rule with wildcards as a sequence of what its expression is made of.
class Pattern {
 public:
  // Storage that comparisons share.
  struct Scratch {
    std::vector<std::size_t> places;
    std::vector<std::size_t> next;
    std::vector<std::size_t> begun;
    std::vector<std::size_t> reachedAt;  // by place, the last piece behind which it was
  };

  // Nothing for a rule of which that cannot be said: an expression, or a pattern that holds pieces
  // of one; a rule for the age of files.
  // `names` are those of keywordNamesOf(). Adds to `steps` how many characters of the rule were
  // compared with names.
  static std::optional<Pattern> of(const DataSet& dataSet, const KeywordNames& names,
                                   const Rule& rule, std::size_t& steps);

  // Does this one match everything that `narrow` does? True is certain; false may be wrong; nothing
  // when that would take more than `most` steps. Adds to `steps` how many pairs of their pieces had
  // to be looked at: no more than `most`, and twice the pieces of this one.
  std::optional<bool> covers(const Pattern& narrow, std::size_t most, std::size_t& steps,
                             Scratch& scratch) const;

  // The runs of characters between wildcards and keywords. Of a pattern that covers another one
  // each is a part of one of the other's.
  const std::vector<std::string>& runs() const { return m_runs; }

 private:
  // A byte, a wildcard, or kFirstKeyword and more for the keyword with that index. Rules are long,
  // and there are many of them.
  using Token = std::uint32_t;

  enum : Token {
    kFirstWildcard = 256,
    kAnyCharacter = kFirstWildcard,  // one, but no slash
    kComponent,                      // any characters but slashes
    kAnything,
    kFolders,  // behind a slash: any number of folders, each with the slash behind it
    kFirstKeyword
  };

  static bool mayTake(Token wide, Token narrow);

  // How many characters stand before the first piece that is none.
  std::size_t leadingCharacters() const;

  std::vector<Token> m_tokens;
  std::vector<std::string> m_runs;
};

}  // namespace qvlpolicy

#endif  // QVLPOLICY_LINT_PATTERN_ORDER_H
