// An audit's report as a page for a browser.

#ifndef QVLCTL_AUDIT_AUDIT_PAGE_H
#define QVLCTL_AUDIT_AUDIT_PAGE_H

#include <string>

#include "io/Json.h"

namespace qvlctl {

// One page that needs nothing beside it: the report as data, and what draws it.
std::string auditPage(const Json& audit);

}  // namespace qvlctl

#endif  // QVLCTL_AUDIT_AUDIT_PAGE_H
