#include "qvl/avoidance/FolderAvoidance.h"

#include <utility>

#include "qvl/avoidance/RuleKind.h"
#include "qvl/avoidance/TextLimits.h"
#include "qvl/match/PatternLanguage.h"

namespace QVL {
namespace {

// The reverse of a file path: a folder ends in a slash.
bool acceptsText(const std::string& text) {
  return !text.empty() && text.size() <= kMaxPathLength && text.back() == '/';
}

// What comes behind the folder: a file name, or anything.
PatternFrame frameOf(unsigned char includeSubFolders) {
  return {/*defaultFolder=*/nullptr, endOfFolder(includeSubFolders != 0)};
}

constexpr RuleKind kKind = {"FolderAvoidance",
                            {"FolderAvoidance for string type folder path",
                             "Failed to create folder avoidance as validation of folder failed.",
                             "Failed to create folder avoidance as regex could not be build."},
                            {"FolderAvoidance for wstring type folder path",
                             "Failed to create folder avoidance as validation of folder failed.",
                             "Failed to create folder avoidance as regex could not be build."},
                            acceptsText,
                            buildPatternExpression,
                            filePathOf};

}  // namespace

FolderAvoidance::FolderAvoidance(std::string folder, AccessTypes accessType,
                                 unsigned char includeSubFolders)
    : PatternAvoidance(kKind, accessType, frameOf(includeSubFolders)) {
  create(std::move(folder));
}

FolderAvoidance::FolderAvoidance(std::wstring folder, AccessTypes accessType,
                                 unsigned char includeSubFolders)
    : PatternAvoidance(kKind, accessType, frameOf(includeSubFolders)) {
  create(folder);
}

FolderAvoidance::~FolderAvoidance() {
  trace("~FolderAvoidance");
}

// Not traced, unlike that of the other pattern rules.
std::string FolderAvoidance::getKey() const {
  return text();
}

}  // namespace QVL
