// The rule that excludes files by their path.

#ifndef QVL_AVOIDANCE_FILE_PATH_AVOIDANCE_H
#define QVL_AVOIDANCE_FILE_PATH_AVOIDANCE_H

#include <string>

#include "qvl/avoidance/PatternAvoidance.h"
#include "qvl/core/Export.h"

namespace QVL {

// Matches the request's file path against a path pattern of at most 4096 bytes that does not end in
// a slash. See PatternAvoidance for the pattern language.
class QVL_EXPORT FilePathAvoidance : public PatternAvoidance {
 public:
  // Throw QVLException when the pattern is refused or cannot be compiled.
  FilePathAvoidance(std::string path, AccessTypes accessType);
  FilePathAvoidance(std::wstring path, AccessTypes accessType);
  ~FilePathAvoidance() override;
};

}  // namespace QVL

#endif  // QVL_AVOIDANCE_FILE_PATH_AVOIDANCE_H
