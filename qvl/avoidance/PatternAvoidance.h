// What the file path, folder, process and file age rules have in common: the pattern language.

#ifndef QVL_AVOIDANCE_PATTERN_AVOIDANCE_H
#define QVL_AVOIDANCE_PATTERN_AVOIDANCE_H

#include <memory>
#include <set>
#include <string>

#include "qvl/avoidance/Avoidance.h"
#include "qvl/core/Export.h"

namespace QVL {

class KeywordTable;

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
  PatternAvoidance(const RuleTexts& texts, AccessTypes accessType);

 private:
  friend class RuleView;

  bool buildExpression(ExpressionText& expression) const final;

  // Edits the translated text before keywords are substituted; false when the rule cannot be built.
  virtual bool prepareForKeywords(std::string& expression) const;

  // What the expression ends in, behind the text.
  virtual const char* ending() const;

  QVL_HIDDEN KeywordTable& keywords();

  struct Keywords;
  std::unique_ptr<Keywords> m_keywords;
};

}  // namespace QVL

#endif  // QVL_AVOIDANCE_PATTERN_AVOIDANCE_H
