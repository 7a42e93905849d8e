// The rule that excludes files older than a number of days.

#ifndef QVL_AVOIDANCE_FILE_AGE_AVOIDANCE_H
#define QVL_AVOIDANCE_FILE_AGE_AVOIDANCE_H

#include <string>

#include "qvl/avoidance/PatternAvoidance.h"
#include "qvl/core/Export.h"

namespace QVL {

// Reads the timestamps of the file that the request names, once per lookup, and excludes the file
// when its age in seconds is strictly greater than one of the listed numbers of days.
//
// The age text: character 0 selects the timestamp, "0" creation, "1" last modification, anything
// else an age of 0; characters 1 to 3 are not read; from character 4 on, 23 characters of whole
// numbers of days separated by commas. A number of days is multiplied by 86400 in 32 bits, so a
// count above 24855 wraps around; 9223372036854775807 or more counts as -1, which excludes every
// file. A file that cannot be examined, or whose creation time is asked for and not known to the
// file system, is not excluded; a creation time of 0, as some tools leave it, is not known either.
//
// The text is compiled like any pattern, and refused when that fails, but no lookup uses the
// expression.
class QVL_EXPORT FileAgeAvoidance : public PatternAvoidance {
 public:
  // Throw QVLException when the text is empty or cannot be compiled.
  FileAgeAvoidance(std::string fileAge, AccessTypes accessType);
  FileAgeAvoidance(std::wstring fileAge, AccessTypes accessType);
  ~FileAgeAvoidance() override;

  bool canAvoid(ILookupData& request) override;
  bool canAvoidWithAccessType(ILookupData& request, bool flag) override;
};

}  // namespace QVL

#endif  // QVL_AVOIDANCE_FILE_AGE_AVOIDANCE_H
