// When, where and with what an audit was made.

#ifndef QVLCTL_AUDIT_EVIDENCE_H
#define QVLCTL_AUDIT_EVIDENCE_H

#include <string>
#include <string_view>

namespace qvlctl {

struct Evidence {
  std::string created;       // in UTC
  std::string host;          // empty when it has no name
  std::string toolVersion;   // of qvlctl
  std::string policyDigest;  // SHA-256 of the policy file
};

// Of now and of this machine.
Evidence evidenceOf(std::string_view policyText);

}  // namespace qvlctl

#endif  // QVLCTL_AUDIT_EVIDENCE_H
