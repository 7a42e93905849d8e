// Files that are part of the program. The build makes them texts.

#ifndef QVLCTL_EMBEDDED_EMBEDDED_H
#define QVLCTL_EMBEDDED_EMBEDDED_H

namespace qvlctl {

extern const char* const kAuditPage;    // embedded/audit.html
extern const char* const kLinuxPolicy;  // embedded/init-linux.xml
extern const char* const kMacOsPolicy;  // embedded/init-macos.xml

}  // namespace qvlctl

#endif  // QVLCTL_EMBEDDED_EMBEDDED_H
