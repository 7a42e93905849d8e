// Findings that are known from an earlier report.

#ifndef QVLCTL_LINT_BASELINE_H
#define QVLCTL_LINT_BASELINE_H

#include <qvlpolicy/Lint.h>

#include <string>
#include <vector>

#include "policy/Policy.h"

namespace qvlctl {

struct Finding : qvlpolicy::Finding {
  // Stays when other rules come and go: its name, the number of the data set and the text of the
  // rule. Empty where a policy could not be read.
  std::string fingerprint = {};
  bool isInBaseline = false;

  // Does it count?
  bool isOpen() const { return !allowedFor && !isInBaseline; }
};

using Findings = std::vector<Finding>;

// The findings with their fingerprints; `policy` is null when nothing could be read.
Findings withFingerprints(const Policy* policy, qvlpolicy::Findings findings);

// Marks what an earlier report, as lint writes it in JSON, holds: as many findings of a fingerprint
// as are there. Errors are not held against it. Throws Trouble when the file holds no such report.
void applyBaseline(const std::string& file, Findings& findings);

}  // namespace qvlctl

#endif  // QVLCTL_LINT_BASELINE_H
