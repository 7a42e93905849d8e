// Names of processes that rules are made for.

#ifndef QVLCTL_QUERIES_PROCESS_NAMES_H
#define QVLCTL_QUERIES_PROCESS_NAMES_H

#include <optional>
#include <string>

#include "policy/Policy.h"

namespace qvlctl {

// A name that the process rule matches: the rule itself where it matches that, as plain names and
// those with stars do; otherwise one without backslashes, with the first value of each keyword that
// does, and with "any" for what an expression leaves open. Nothing when no such name matches, as
// for most regular expressions.
std::optional<std::string> processNameFor(const DataSet& dataSet, const Rule& rule);

}  // namespace qvlctl

#endif  // QVLCTL_QUERIES_PROCESS_NAMES_H
