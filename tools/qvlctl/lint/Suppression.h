// Findings that are known and may stay.

#ifndef QVLCTL_LINT_SUPPRESSION_H
#define QVLCTL_LINT_SUPPRESSION_H

#include <string>

#include "lint/Finding.h"
#include "policy/Policy.h"

namespace qvlctl {

// Marks what the policy's <allow> elements are about, and adds a finding for each of them that is
// about nothing. Errors cannot be allowed.
void applyAllowances(const Policy& policy, Findings& findings);

// Gives every finding its fingerprint.
void addFingerprints(const Policy& policy, Findings& findings);

// Marks what an earlier report, as lint writes it in JSON, holds: as many findings of a fingerprint
// as are there. Errors are not held against it. Throws Trouble when the file holds no such report.
void applyBaseline(const std::string& file, Findings& findings);

}  // namespace qvlctl

#endif  // QVLCTL_LINT_SUPPRESSION_H
