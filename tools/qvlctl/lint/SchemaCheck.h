// The first check of a policy file.

#ifndef QVLCTL_LINT_SCHEMA_CHECK_H
#define QVLCTL_LINT_SCHEMA_CHECK_H

#include <string>

#include "lint/Finding.h"

namespace qvlctl {

// What in a text that is well-formed XML does not fit the schema of policies, one finding a line at
// most. Throws Trouble when there is no memory.
Findings checkSchema(const std::string& text);

}  // namespace qvlctl

#endif  // QVLCTL_LINT_SCHEMA_CHECK_H
