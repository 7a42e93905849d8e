// When, where and with what an audit was made.

#ifndef QVLCTL_AUDIT_EVIDENCE_H
#define QVLCTL_AUDIT_EVIDENCE_H

#include <string>

namespace qvlctl {

struct Evidence {
  std::string created;       // in UTC
  std::string host;          // empty when it has no name
  std::string toolVersion;   // of qvlctl
  std::string policyDigest;  // see PolicyFile
};

// Of now and of this machine.
Evidence evidenceNow(std::string policyDigest);

}  // namespace qvlctl

#endif  // QVLCTL_AUDIT_EVIDENCE_H
