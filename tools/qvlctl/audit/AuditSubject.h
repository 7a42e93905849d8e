// What an audit was asked to do, as its report tells it.

#ifndef QVLCTL_AUDIT_AUDIT_SUBJECT_H
#define QVLCTL_AUDIT_AUDIT_SUBJECT_H

#include <qvl/qvl.h>

#include <string>
#include <vector>

#include "policy/Policy.h"

namespace qvlctl {

struct AuditSubject {
  const Policy& policy;
  const QVL::LookupData& request;         // its process and access type
  const std::vector<std::string>& roots;  // the folders that were walked
};

}  // namespace qvlctl

#endif  // QVLCTL_AUDIT_AUDIT_SUBJECT_H
