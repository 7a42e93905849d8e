#include "qvl/avoidance/FilePathAvoidance.h"

#include <utility>

#include "qvl/avoidance/RuleKind.h"
#include "qvl/avoidance/TextLimits.h"

namespace QVL {
namespace {

// A path pattern names files; folders are the folder rule's.
bool acceptsText(const std::string& text) {
  return !text.empty() && text.size() <= kMaxPathLength && text.back() != '/';
}

constexpr RuleKind kKind = {
    "FilePathAvoidance",
    {"FilePathAvoidance for string file path",
     "Failed to create path avoidance as validation of path failed.",
     "Failed to create path avoidance as regex could not be build."},
    {"FilePathAvoidance for wstring file path",
     "Failed to create path avoidance as validation of path containing wide string failed.",
     "Failed to create path avoidance as regex could not be build for wide string."},
    acceptsText,
    buildPatternExpression,
    filePathOf};

}  // namespace

FilePathAvoidance::FilePathAvoidance(std::string path, AccessTypes accessType)
    : PatternAvoidance(kKind, accessType, {}) {
  create(std::move(path));
}

FilePathAvoidance::FilePathAvoidance(std::wstring path, AccessTypes accessType)
    : PatternAvoidance(kKind, accessType, {}) {
  create(path);
}

FilePathAvoidance::~FilePathAvoidance() {
  trace("~FilePathAvoidance");
}

}  // namespace QVL
