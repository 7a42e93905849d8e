// What the file path, folder, process and file age rules have in common: the pattern language.

#ifndef QVL_AVOIDANCE_PATTERN_AVOIDANCE_H
#define QVL_AVOIDANCE_PATTERN_AVOIDANCE_H

#include <memory>
#include <set>
#include <string>

#include "qvl/avoidance/Avoidance.h"
#include "qvl/core/Export.h"

namespace QVL {

class ExpressionText;
class KeywordTable;
struct PatternFrame;

// A rule whose text is a glob with keywords or, with wildcards off, a regular expression.
//
// With wildcards on (the default), `*` stands for any run of characters within one path component,
// `**` for any run of characters, `/**/` for any number of whole folders (none included), `?` for
// one character other than `/`; a dot is literal. Every other character keeps its meaning in
// regular expressions. The words DOUBLE and DOUBLEWITHSLASH stand for `**` and `/**/`.
//
// Keywords are substituted afterwards, in ascending order, each over the result of the one before,
// by an alternation of their values. The resulting expression must match the whole input.
class QVL_EXPORT PatternAvoidance : public Avoidance {
 public:
  ~PatternAvoidance() override;

  bool addOrUpdateKeyword(std::string keyword, std::set<std::string> values) override;
  bool deleteKeyword(std::string keyword) override;

 protected:
  // As that of Avoidance.
  QVL_HIDDEN PatternAvoidance(const RuleKind& kind, AccessTypes accessType, PatternFrame frame);

 private:
  friend bool buildPatternExpression(const Avoidance& rule, const std::string& text, bool wildCards,
                                     ExpressionText& expression);

  friend class RuleView;
  QVL_HIDDEN KeywordTable& keywords();

  struct State;  // keywords and what is around the text
  std::unique_ptr<State> m_patternState;
};

}  // namespace QVL

#endif  // QVL_AVOIDANCE_PATTERN_AVOIDANCE_H
