// The rule that excludes the accesses of a process.

#ifndef QVL_AVOIDANCE_PROCESS_AVOIDANCE_H
#define QVL_AVOIDANCE_PROCESS_AVOIDANCE_H

#include <string>

#include "qvl/avoidance/PatternAvoidance.h"
#include "qvl/core/Export.h"

namespace QVL {

// Matches the request's process name against a process pattern of any length that does not end in a
// slash. See PatternAvoidance for the pattern language.
//
// With `useDefaultFolder` non-zero, a pattern without "/" and without "%" is completed by
// `defaultFolder` and a slash in front; the folder is regular expression text and is not
// translated. An empty default folder then makes any pattern impossible to compile.
class QVL_EXPORT ProcessAvoidance : public PatternAvoidance {
 public:
  // Throw QVLException when the pattern is refused or cannot be compiled.
  ProcessAvoidance(std::string processName, AccessTypes accessType, unsigned char useDefaultFolder,
                   std::string defaultFolder);
  ProcessAvoidance(std::wstring processName, AccessTypes accessType, unsigned char useDefaultFolder,
                   std::string defaultFolder);
  ~ProcessAvoidance() override;
};

}  // namespace QVL

#endif  // QVL_AVOIDANCE_PROCESS_AVOIDANCE_H
