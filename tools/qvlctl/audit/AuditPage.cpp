#include "audit/AuditPage.h"

#include <qvl/qvl.h>

#include "embedded/Embedded.h"

namespace qvlctl {

std::string auditPage(const Json& audit) {
  // A script ends at the first "</script" in it, wherever that stands; "<" can be written
  // otherwise.
  const std::string data = QVL::Utility::replaceAll(jsonLine(audit), "<", "\\u003c");
  return QVL::Utility::replaceAll(std::string(kAuditPage), "@AUDIT@", data);
}

}  // namespace qvlctl
