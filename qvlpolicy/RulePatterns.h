// What the engine's pattern language makes of the rules of a data set.

#ifndef QVLPOLICY_RULE_PATTERNS_H
#define QVLPOLICY_RULE_PATTERNS_H

#include <map>
#include <memory>
#include <string>
#include <vector>

#include "qvl/match/Keywords.h"
#include "qvl/match/Program.h"
#include "qvlpolicy/Description.h"

namespace qvlpolicy {

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

  // The keywords that stand in the rule, in the order in which they are put in.
  std::vector<const Keyword*> keywordsIn(const Rule& rule) const;

 private:
  struct Values {
    const Keyword* keyword;
    std::shared_ptr<const QVL::Alternation> alternation;
  };

  const DataSet& m_dataSet;
  std::map<std::string, Values> m_keywords;  // in engine's order
  QVL::Program::SharedSets m_sets;
};

}  // namespace qvlpolicy

#endif  // QVLPOLICY_RULE_PATTERNS_H
