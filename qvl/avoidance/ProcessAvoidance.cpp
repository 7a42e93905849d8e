#include "qvl/avoidance/ProcessAvoidance.h"

#include <utility>

#include "qvl/avoidance/RuleTexts.h"
#include "qvl/match/PatternLanguage.h"

namespace QVL {

ProcessAvoidance::ProcessAvoidance(std::string processName, AccessTypes accessType,
                                   unsigned char useDefaultFolder, std::string defaultFolder)
    : PatternAvoidance(kProcessTexts, accessType),
      m_useDefaultFolder(useDefaultFolder),
      m_defaultFolder(std::move(defaultFolder)) {
  create(std::move(processName));
}

ProcessAvoidance::ProcessAvoidance(std::wstring processName, AccessTypes accessType,
                                   unsigned char useDefaultFolder, std::string defaultFolder)
    : PatternAvoidance(kProcessTexts, accessType),
      m_useDefaultFolder(useDefaultFolder),
      m_defaultFolder(std::move(defaultFolder)) {
  create(processName);
}

ProcessAvoidance::~ProcessAvoidance() {
  trace("~ProcessAvoidance");
}

// Of any length, unlike a path.
bool ProcessAvoidance::acceptsText(const std::string& text) const {
  return !text.empty() && text.back() != '/';
}

bool ProcessAvoidance::prepareForKeywords(std::string& expression) const {
  if (!m_useDefaultFolder) return true;
  if (m_defaultFolder.empty()) return false;
  if (isInDefaultFolder(text())) expression = m_defaultFolder + "/" + expression;
  return true;
}

std::string_view ProcessAvoidance::inputOf(const LookupData& request) const {
  return request.m_processName;
}

}  // namespace QVL
