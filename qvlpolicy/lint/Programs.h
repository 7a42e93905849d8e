// Rules that let programs through.

#ifndef QVLPOLICY_LINT_PROGRAMS_H
#define QVLPOLICY_LINT_PROGRAMS_H

#include <qvl/qvl.h>

#include <optional>
#include <string>

#include "qvlpolicy/Description.h"

namespace qvlpolicy {

// A shell or an interpreter, which does what its input says, that a process rule matches: by its
// usual path, or because the rule names one wherever it is. Nothing for other kinds of rules.
// `made` is the rule as the engine makes it.
std::optional<std::string> interpreterOf(const DataSet& dataSet, const Rule& rule,
                                         QVL::IAvoidance& made);

// An extension of files that hold programs, or documents that do, that a file-type rule matches, or
// a file-path rule in any folder. Nothing for other kinds of rules.
std::optional<std::string> programTypeOf(const DataSet& dataSet, QVL::IAvoidance& made);

}  // namespace qvlpolicy

#endif  // QVLPOLICY_LINT_PROGRAMS_H
