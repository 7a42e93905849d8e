// The rule that excludes files by their extension.

#ifndef QVL_AVOIDANCE_FILE_TYPE_AVOIDANCE_H
#define QVL_AVOIDANCE_FILE_TYPE_AVOIDANCE_H

#include <set>
#include <string>

#include "qvl/avoidance/Avoidance.h"
#include "qvl/core/Export.h"

namespace QVL {

// Matches the extension of the request's file path against a file type of 1 to 12 bytes. The
// extension is what follows the last dot anywhere in the path, empty when there is none.
//
// With wildcards on (the default), `?` stands for one character other than `/` and `*` for itself;
// everything else, the dot included, keeps its meaning in regular expressions. Case is ignored by
// default. There are no keywords.
class QVL_EXPORT FileTypeAvoidance : public Avoidance {
 public:
  // Throw QVLException when the file type is refused or cannot be compiled.
  FileTypeAvoidance(std::string fileType, AccessTypes accessType);
  FileTypeAvoidance(std::wstring fileType, AccessTypes accessType);
  ~FileTypeAvoidance() override;

  // The extension of a path.
  static std::string findFileExtension(std::string& path);

  // With `matchEmptyExtension`, a path without an extension passes the extension test.
  bool canAvoidWithAccessType(ILookupData& request, bool matchEmptyExtension) override;
  std::string getKey() const override;

  // Always false, changing nothing.
  bool addOrUpdateKeyword(std::string keyword, std::set<std::string> values) override;
  bool deleteKeyword(std::string keyword) override;
};

// Orders file types without regard to case: both are turned to lower case, byte by byte, by the
// global locale as it is at that moment, and compared as unsigned bytes.
struct QVL_EXPORT FileTypeAvoidanceDuplicateKey {
  // True when `a` orders before `b`.
  bool operator()(const std::string& a, const std::string& b) const;
};

}  // namespace QVL

#endif  // QVL_AVOIDANCE_FILE_TYPE_AVOIDANCE_H
