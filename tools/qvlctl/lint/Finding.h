// What lint has to say about a policy.

#ifndef QVLCTL_LINT_FINDING_H
#define QVLCTL_LINT_FINDING_H

#include <cstddef>
#include <optional>
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

  // What it is about, by index; nothing: the policy, or the data set, as a whole.
  std::optional<std::size_t> dataSet = {};
  std::optional<std::size_t> rule = {};

  // Stays when other rules come and go: its name, the number of the data set and the text of the
  // rule.
  std::string fingerprint = {};
  std::optional<std::string> allowedFor = {};  // the reason in the policy for which it may stay
  bool isInBaseline = false;

  // Does it count?
  bool isOpen() const { return !allowedFor && !isInBaseline; }
};

// "error", "warning" or "note".
const char* nameOf(Severity severity);

using Findings = std::vector<Finding>;

}  // namespace qvlctl

#endif  // QVLCTL_LINT_FINDING_H
