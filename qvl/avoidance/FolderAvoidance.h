// The rule that excludes the files in a folder.

#ifndef QVL_AVOIDANCE_FOLDER_AVOIDANCE_H
#define QVL_AVOIDANCE_FOLDER_AVOIDANCE_H

#include <string>

#include "qvl/avoidance/PatternAvoidance.h"
#include "qvl/core/Export.h"

namespace QVL {

// Matches the request's file path against a folder pattern of at most 4096 bytes that ends in a
// slash, followed by a file name or, when subfolders are included, by anything. See
// PatternAvoidance for the pattern language.
class QVL_EXPORT FolderAvoidance : public PatternAvoidance {
 public:
  // Throw QVLException when the pattern is refused or cannot be compiled.
  FolderAvoidance(std::string folder, AccessTypes accessType, unsigned char includeSubFolders);
  FolderAvoidance(std::wstring folder, AccessTypes accessType, unsigned char includeSubFolders);
  ~FolderAvoidance() override;

  std::string getKey() const override;
};

}  // namespace QVL

#endif  // QVL_AVOIDANCE_FOLDER_AVOIDANCE_H
