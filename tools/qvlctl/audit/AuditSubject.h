// What an audit was asked to do, as its report tells it.

#ifndef QVLCTL_AUDIT_AUDIT_SUBJECT_H
#define QVLCTL_AUDIT_AUDIT_SUBJECT_H

#include <string>
#include <vector>

#include "audit/Evidence.h"
#include "policy/Policy.h"
#include "queries/Queries.h"

namespace qvlctl {

struct AuditSubject {
  const Evidence& evidence;
  const Policy& policy;
  const std::vector<Query>& queries;      // that were asked about each file
  const std::vector<std::string>& roots;  // the folders that were walked
};

}  // namespace qvlctl

#endif  // QVLCTL_AUDIT_AUDIT_SUBJECT_H
