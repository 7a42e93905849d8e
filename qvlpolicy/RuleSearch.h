// Which rules of a data set match?

#ifndef QVLPOLICY_RULE_SEARCH_H
#define QVLPOLICY_RULE_SEARCH_H

#include <qvl/qvl.h>

#include <cstddef>
#include <vector>

#include "qvlpolicy/Description.h"

namespace qvlpolicy {

// Finds every rule of a data set that matches a request by itself, which the engine does not tell:
// it stops at the first. Asks the data set first, whose index says at the cost of a lookup that no
// rule matches, and asks the rules one by one only when one does. Holds no rule of its own.
//
// Thread safety: any number of threads may search at once.
class RuleSearch {
 public:
  // All are to outlive the search. `rules` are those of `dataSet`, null for what it does not hold.
  RuleSearch(const DataSet& description, QVL::IDataSet& dataSet,
             const std::vector<QVL::IAvoidance*>& rules);

  // The indices of the rules whose text, or age, matches, whatever their access types; ascending. A
  // rule that cannot read the text, or gives up, does not match.
  std::vector<std::size_t> matching(const QVL::LookupData& request) const;

 private:
  // Can it be ruled out that a rule matches?
  bool mayMatch(const QVL::LookupData& request) const;

  const DataSet& m_description;
  QVL::IDataSet& m_dataSet;
  const std::vector<QVL::IAvoidance*>& m_rules;
  std::vector<QVL::AccessTypes> m_accesses;  // that rules name; one of them fits any of them
};

}  // namespace qvlpolicy

#endif  // QVLPOLICY_RULE_SEARCH_H
