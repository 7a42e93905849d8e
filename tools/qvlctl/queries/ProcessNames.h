// Names of processes that rules are made for.

#ifndef QVLCTL_QUERIES_PROCESS_NAMES_H
#define QVLCTL_QUERIES_PROCESS_NAMES_H

#include <optional>
#include <string>

#include "policy/Policy.h"

namespace qvlctl {

// A name that the process rule matches: the rule itself where it is a plain name, otherwise one
// with "any" for each star, "x" for each question mark and the first value of each keyword that
// does. Nothing when no such name matches, as for most regular expressions.
std::optional<std::string> processNameFor(const DataSet& dataSet, const Rule& rule);

}  // namespace qvlctl

#endif  // QVLCTL_QUERIES_PROCESS_NAMES_H
