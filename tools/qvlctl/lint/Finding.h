// What lint has to say about a policy.

#ifndef QVLCTL_LINT_FINDING_H
#define QVLCTL_LINT_FINDING_H

#include <string>
#include <vector>

#include "policy/Policy.h"

namespace qvlctl {

enum class Severity {
  Error,    // the policy cannot be used
  Warning,  // it does not do what it seems to, or excludes too much
  Note      // worth a look
};

struct Finding {
  const char* name;  // stable
  Severity severity;
  Position position;
  std::string reason;
  std::string advice;
};

using Findings = std::vector<Finding>;

}  // namespace qvlctl

#endif  // QVLCTL_LINT_FINDING_H
