// The comparison of two saved audits, which is a part of diff.

#ifndef QVLCTL_COMMANDS_AUDIT_DIFF_H
#define QVLCTL_COMMANDS_AUDIT_DIFF_H

#include <cstddef>
#include <string>

namespace qvlctl {

struct AuditDiffOptions {
  std::string format;  // "text", "json" or "sarif"
  std::string failOn;  // "newly-skipped", "newly-scanned" or "any"
  std::size_t top;     // how many rules and folders to list
};

// Writes what differs. Its result is the exit status. Throws Trouble.
int diffAudits(const std::string& before, const std::string& after,
               const AuditDiffOptions& options);

}  // namespace qvlctl

#endif  // QVLCTL_COMMANDS_AUDIT_DIFF_H
