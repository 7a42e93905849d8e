#include "qvl/avoidance/FilePathAvoidance.h"

#include <utility>

#include "qvl/avoidance/RuleTexts.h"
#include "qvl/avoidance/TextLimits.h"

namespace QVL {

FilePathAvoidance::FilePathAvoidance(std::string path, AccessTypes accessType)
    : PatternAvoidance(kFilePathTexts, accessType) {
  create(std::move(path));
}

FilePathAvoidance::FilePathAvoidance(std::wstring path, AccessTypes accessType)
    : PatternAvoidance(kFilePathTexts, accessType) {
  create(path);
}

FilePathAvoidance::~FilePathAvoidance() {
  trace("~FilePathAvoidance");
}

// A path pattern names files; folders are the folder rule's.
bool FilePathAvoidance::acceptsText(const std::string& text) const {
  return !text.empty() && text.size() <= kMaxPathLength && text.back() != '/';
}

}  // namespace QVL
