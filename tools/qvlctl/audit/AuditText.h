// An audit's report for a terminal.

#ifndef QVLCTL_AUDIT_AUDIT_TEXT_H
#define QVLCTL_AUDIT_AUDIT_TEXT_H

#include <cstddef>

#include "audit/AuditReport.h"
#include "audit/AuditSubject.h"
#include "io/Output.h"

namespace qvlctl {

// At most `top` folders and rules are listed each time.
void writeAuditText(Output& output, const AuditSubject& subject, const AuditReport& report,
                    std::size_t top);

}  // namespace qvlctl

#endif  // QVLCTL_AUDIT_AUDIT_TEXT_H
