#include "qvl/avoidance/FolderAvoidance.h"

#include <utility>

#include "qvl/avoidance/RuleTexts.h"
#include "qvl/avoidance/TextLimits.h"
#include "qvl/match/PatternLanguage.h"

namespace QVL {

FolderAvoidance::FolderAvoidance(std::string folder, AccessTypes accessType,
                                 unsigned char includeSubFolders)
    : PatternAvoidance(kFolderTexts, accessType), m_includeSubFolders(includeSubFolders) {
  create(std::move(folder));
}

FolderAvoidance::FolderAvoidance(std::wstring folder, AccessTypes accessType,
                                 unsigned char includeSubFolders)
    : PatternAvoidance(kFolderTexts, accessType), m_includeSubFolders(includeSubFolders) {
  create(folder);
}

FolderAvoidance::~FolderAvoidance() {
  trace("~FolderAvoidance");
}

// Not traced, unlike that of the other pattern rules.
std::string FolderAvoidance::getKey() const {
  return text();
}

// The reverse of a file path: a folder ends in a slash.
bool FolderAvoidance::acceptsText(const std::string& text) const {
  return !text.empty() && text.size() <= kMaxPathLength && text.back() == '/';
}

const char* FolderAvoidance::ending() const {
  return endOfFolder(m_includeSubFolders != 0);
}

}  // namespace QVL
