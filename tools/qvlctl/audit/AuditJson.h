// An audit's report as data; docs/audit.md describes its shape.

#ifndef QVLCTL_AUDIT_AUDIT_JSON_H
#define QVLCTL_AUDIT_AUDIT_JSON_H

#include "audit/AuditReport.h"
#include "audit/AuditSubject.h"
#include "io/Json.h"

namespace qvlctl {

// To be called after the walks.
Json auditInJson(const AuditSubject& subject, AuditReport& report);

}  // namespace qvlctl

#endif  // QVLCTL_AUDIT_AUDIT_JSON_H
