// What the engine's pattern language makes of the rules of a data set.

#ifndef QVLPOLICY_RULE_PATTERNS_H
#define QVLPOLICY_RULE_PATTERNS_H

#include <cstddef>
#include <memory>
#include <string>
#include <vector>

#include "qvl/match/Keywords.h"
#include "qvl/match/Program.h"
#include "qvlpolicy/Description.h"
#include "qvlpolicy/KeywordNames.h"

namespace qvlpolicy {

// Does the character mean something in an expression that it keeps in a rule with wildcards?
bool isExpressionCharacter(char c);

// The expression of a rule before keywords are put in; what stands behind it is not there either.
std::string expressionBeforeKeywords(const DataSet& dataSet, const Rule& rule);

// What stands behind the expression of a rule.
const char* endOfExpression(const DataSet& dataSet, const Rule& rule);

// Reads the rules of a data set. Keywords are read once for all rules, as in the engine, and sets
// of characters are shared by all programs.
//
// Thread safety: for one thread; the programs are immutable.
class RulePatterns {
 public:
  // The data set outlives the object.
  explicit RulePatterns(const DataSet& dataSet);

  // The program that matches what a rule matches, with the switches and keywords of the data set;
  // null where the engine matches it with the expression engine, and for a rule by age. The engine
  // has taken the rule, so that its expression is known to be valid.
  std::unique_ptr<const QVL::Program> programOf(const Rule& rule);

  // Does the engine match the rule with the expression engine? That of a rule by age it does not.
  // Any rule may be asked about, also one that the engine refuses.
  bool isLeftToTheEngine(const Rule& rule);

  // The keywords that stand in the rule, in the order in which they are put in. Only those are
  // tried whose names the rule holds, or a value might.
  std::vector<const Keyword*> keywordsIn(const Rule& rule);

  // How many characters have been looked through for names of keywords. Names that are found in
  // rules only take about as many as the rules have; each that values may hold takes the rule with
  // its values again.
  std::size_t steps() const { return m_steps; }

 private:
  struct Named {
    const Keyword* keyword;
    std::shared_ptr<const QVL::Alternation> alternation;
  };

  // Puts in the keywords, and adds those that were there to `found` unless it is null.
  void substituteKeywords(QVL::ExpressionText& expression, std::vector<const Keyword*>* found);

  const DataSet& m_dataSet;
  std::vector<Named> m_keywords;             // in the engine's order
  KeywordNames m_names;                      // of m_keywords
  std::vector<std::size_t> m_maybeInValues;  // those of m_keywords that the value of one might hold
  std::vector<std::size_t> m_tried;          // storage for substituteKeywords
  std::size_t m_steps = 0;
  QVL::Program::SharedSets m_sets;
};

}  // namespace qvlpolicy

#endif  // QVLPOLICY_RULE_PATTERNS_H
