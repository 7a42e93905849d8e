#include "qvl/avoidance/ProcessAvoidance.h"

#include <utility>

#include "qvl/avoidance/RuleKind.h"

namespace QVL {
namespace {

// Of any length, unlike a path.
bool acceptsText(const std::string& text) {
  return !text.empty() && text.back() != '/';
}

std::string_view processNameOf(const LookupData& request) {
  return request.m_processName;
}

constexpr RuleKind kKind = {"ProcessAvoidance",
                            {"ProcessAvoidance for string type process name",
                             "Failed to create process avoidance as validation of process failed.",
                             "Failed to create process avoidance as regex could not be build."},
                            {"ProcessAvoidance for wstring type process name",
                             "Failed to create process avoidance as validation of process failed.",
                             "Failed to create process avoidance as regex could not be build."},
                            acceptsText,
                            buildPatternExpression,
                            processNameOf};

PatternFrame frameOf(unsigned char useDefaultFolder, std::string defaultFolder) {
  if (useDefaultFolder == 0) return {};
  return {std::make_shared<const std::string>(std::move(defaultFolder))};
}

}  // namespace

ProcessAvoidance::ProcessAvoidance(std::string processName, AccessTypes accessType,
                                   unsigned char useDefaultFolder, std::string defaultFolder)
    : PatternAvoidance(kKind, accessType, frameOf(useDefaultFolder, std::move(defaultFolder))) {
  create(std::move(processName));
}

ProcessAvoidance::ProcessAvoidance(std::wstring processName, AccessTypes accessType,
                                   unsigned char useDefaultFolder, std::string defaultFolder)
    : PatternAvoidance(kKind, accessType, frameOf(useDefaultFolder, std::move(defaultFolder))) {
  create(processName);
}

ProcessAvoidance::~ProcessAvoidance() {
  trace("~ProcessAvoidance");
}

}  // namespace QVL
