// Is a policy sane?

#ifndef QVLCTL_LINT_LINT_H
#define QVLCTL_LINT_LINT_H

#include <optional>
#include <string>

#include "lint/Finding.h"
#include "policy/Policy.h"

namespace qvlctl {

struct LintReport {
  Platform platform;
  Findings findings;  // in the order of the file
};

// Reads a policy and says what is wrong or odd about it. Without a platform, the one whose folders
// the rules name. An error hides what is only found in a policy that can be read. Throws Trouble
// when the file cannot be read.
LintReport lint(const std::string& file, std::optional<Platform> platform);

}  // namespace qvlctl

#endif  // QVLCTL_LINT_LINT_H
