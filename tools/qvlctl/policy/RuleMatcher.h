// Which rules of a data set match?

#ifndef QVLCTL_POLICY_RULE_MATCHER_H
#define QVLCTL_POLICY_RULE_MATCHER_H

#include <qvl/qvl.h>

#include <cstddef>
#include <memory>
#include <vector>

#include "policy/Policy.h"

namespace qvlctl {

// Finds every rule of a data set that matches a request by itself, which the engine does not tell:
// it stops at the first. Halves the rules until few are left, so that a thousand rules cost little
// more than one data set when none matches.
class RuleMatcher {
 public:
  // Rules that the engine refuses match nothing.
  explicit RuleMatcher(const DataSet& dataSet);
  RuleMatcher(RuleMatcher&&) noexcept;
  ~RuleMatcher();

  // The indices of the rules whose text, or age, matches, whatever their access types; ascending. A
  // path that is not UTF-8 matches none.
  std::vector<std::size_t> matching(QVL::LookupData& request) const;

 private:
  struct Node;

  std::unique_ptr<Node> m_root;
};

// Does the kind of access that is asked for fit the rule, as its data set compares them?
bool fitsAccess(const DataSet& dataSet, const Rule& rule, QVL::AccessTypes access);

}  // namespace qvlctl

#endif  // QVLCTL_POLICY_RULE_MATCHER_H
