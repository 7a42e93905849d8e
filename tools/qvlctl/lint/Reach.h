// How much of a file system a rule covers.

#ifndef QVLCTL_LINT_REACH_H
#define QVLCTL_LINT_REACH_H

#include <optional>
#include <string>

#include "policy/Policy.h"

namespace qvlctl {

// What a rule covers that no rule should; the rule is asked about paths that nobody has thought of.
struct Reach {
  bool everything = false;
  std::string tree;  // a whole top-level tree, or the home folders; empty for none
  std::string home;  // one user's whole home folder; empty for none
};

Reach reachOf(const DataSet& dataSet, const Rule& rule);

// The folder, which ordinary users may write to, that the rule names something in.
std::optional<std::string> writableFolderOf(Kind kind, const Rule& rule);

}  // namespace qvlctl

#endif  // QVLCTL_LINT_REACH_H
