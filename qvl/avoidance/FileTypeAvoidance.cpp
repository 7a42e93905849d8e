#include "qvl/avoidance/FileTypeAvoidance.h"

#include <boost/algorithm/string/case_conv.hpp>
#include <utility>

#include "qvl/avoidance/RuleKind.h"
#include "qvl/avoidance/TextLimits.h"
#include "qvl/core/RequestCast.h"
#include "qvl/match/Keywords.h"
#include "qvl/match/PatternLanguage.h"
#include "qvl/trace/TraceCall.h"

namespace QVL {
namespace {

constexpr char kClassName[] = "FileTypeAvoidance";

std::string_view inputOf(const LookupData& request) {
  traceCall(kClassName, "findFileExtension");
  return extensionOf(request.m_filePath);
}

bool acceptsText(const std::string& text) {
  return !text.empty() && text.size() <= kMaxFileTypeLength;
}

bool buildExpression(const Avoidance& /*rule*/, const std::string& text, bool wildCards,
                     ExpressionText& expression) {
  expression = ExpressionText(wildCards ? expressionOfFileType(text) : text);
  return true;
}

constexpr RuleKind kKind = {
    kClassName,
    {"FileTypeAvoidance for string file type",
     "Failed to create file type avoidance as validation of file type failed.",
     "Failed to create file type avoidance as regex could not be build."},
    {"FileTypeAvoidance for wstring file type",
     "Failed to create file type avoidance as validation of file type containing wide string "
     "failed.",
     "Failed to create file type avoidance as regex could not be build for wide string."},
    acceptsText,
    buildExpression,
    inputOf};

}  // namespace

FileTypeAvoidance::FileTypeAvoidance(std::string fileType, AccessTypes accessType)
    : Avoidance(kKind, accessType) {
  setCaseSensitiveSearch(0);
  create(std::move(fileType));
}

FileTypeAvoidance::FileTypeAvoidance(std::wstring fileType, AccessTypes accessType)
    : Avoidance(kKind, accessType) {
  setCaseSensitiveSearch(0);
  create(fileType);
}

FileTypeAvoidance::~FileTypeAvoidance() {
  trace("~FileTypeAvoidance");
}

std::string FileTypeAvoidance::findFileExtension(std::string& path) {
  traceCall(kClassName, "findFileExtension");
  return std::string(extensionOf(path));
}

bool FileTypeAvoidance::canAvoidWithAccessType(ILookupData& request, bool matchEmptyExtension) {
  trace("canAvoidWithAccessType");
  const LookupData* const lookupData = asLookupData(request);
  if (!lookupData) return false;
  const std::string_view extension = inputOf(*lookupData);
  if (extension.empty() && matchEmptyExtension) {
    if (traceFileTakes(kTraceLevel)) TraceLogMessage(kTraceLevel, "Empty extension");
  } else if (!matches(extension)) {
    return false;
  }
  return fitsAccessTypeOf(*lookupData);
}

// Not traced.
std::string FileTypeAvoidance::getKey() const {
  return text();
}

bool FileTypeAvoidance::addOrUpdateKeyword(std::string /*keyword*/,
                                           std::set<std::string> /*values*/) {
  trace("addOrUpdateKeyword");
  return false;
}

bool FileTypeAvoidance::deleteKeyword(std::string /*keyword*/) {
  trace("deleteKeyword");
  return false;
}

bool FileTypeAvoidanceDuplicateKey::operator()(const std::string& a, const std::string& b) const {
  return boost::algorithm::to_lower_copy(a) < boost::algorithm::to_lower_copy(b);
}

}  // namespace QVL
