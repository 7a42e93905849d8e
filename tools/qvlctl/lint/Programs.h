// Rules that let programs through.

#ifndef QVLCTL_LINT_PROGRAMS_H
#define QVLCTL_LINT_PROGRAMS_H

#include <optional>
#include <string>

#include "policy/Policy.h"

namespace qvlctl {

// A shell or an interpreter, which does what its input says, that a process rule matches: by its
// usual path, or because the rule names one wherever it is. Nothing for other kinds of rules.
std::optional<std::string> interpreterOf(const DataSet& dataSet, const Rule& rule);

// An extension of files that hold programs, or documents that do, that a file-type rule matches, or
// a file-path rule in any folder. Nothing for other kinds of rules.
std::optional<std::string> programTypeOf(const DataSet& dataSet, const Rule& rule);

}  // namespace qvlctl

#endif  // QVLCTL_LINT_PROGRAMS_H
