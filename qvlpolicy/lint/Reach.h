// How much of a file system a rule covers.

#ifndef QVLPOLICY_LINT_REACH_H
#define QVLPOLICY_LINT_REACH_H

#include <qvl/qvl.h>

#include <optional>
#include <string>

#include "qvlpolicy/Description.h"

namespace qvlpolicy {

// What a rule covers that no rule should; the rule is asked about paths that nobody has thought of.
struct Reach {
  bool everything = false;
  std::string tree;  // a whole top-level tree, or the home folders; empty for none
  std::string home;  // one user's whole home folder; empty for none
};

// `made` is the rule as the engine makes it.
Reach reachOf(const DataSet& dataSet, const Rule& rule, QVL::IAvoidance& made);

// The folder, which ordinary users may write to, that the rule names something in.
std::optional<std::string> writableFolderOf(Kind kind, const Rule& rule);

}  // namespace qvlpolicy

#endif  // QVLPOLICY_LINT_REACH_H
