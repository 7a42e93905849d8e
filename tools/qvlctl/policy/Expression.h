// The regular expressions that rules are compiled to.

#ifndef QVLCTL_POLICY_EXPRESSION_H
#define QVLCTL_POLICY_EXPRESSION_H

#include <string>
#include <vector>

#include "policy/Policy.h"

namespace qvlctl {

// The expression that the engine compiles a rule to, with the switches and keywords of its data
// set; a rule matches what the whole expression matches. The engine keeps its expressions to
// itself, so this follows the documented translation. Empty for file-age rules, which match no
// text.
std::string expressionOf(const DataSet& dataSet, const Rule& rule);

// The keywords of the data set that stand in the rule, in the order in which they are put in.
std::vector<const Keyword*> keywordsIn(const DataSet& dataSet, const Rule& rule);

}  // namespace qvlctl

#endif  // QVLCTL_POLICY_EXPRESSION_H
