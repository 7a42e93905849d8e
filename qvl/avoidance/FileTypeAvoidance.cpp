#include "qvl/avoidance/FileTypeAvoidance.h"

#include <boost/algorithm/string/case_conv.hpp>
#include <utility>

#include "qvl/avoidance/RuleTexts.h"
#include "qvl/avoidance/TextLimits.h"
#include "qvl/core/RequestCast.h"
#include "qvl/match/Keywords.h"
#include "qvl/match/PatternLanguage.h"
#include "qvl/trace/TraceCall.h"

namespace QVL {

FileTypeAvoidance::FileTypeAvoidance(std::string fileType, AccessTypes accessType)
    : Avoidance(kFileTypeTexts, accessType) {
  setCaseSensitiveSearch(0);
  create(std::move(fileType));
}

FileTypeAvoidance::FileTypeAvoidance(std::wstring fileType, AccessTypes accessType)
    : Avoidance(kFileTypeTexts, accessType) {
  setCaseSensitiveSearch(0);
  create(fileType);
}

FileTypeAvoidance::~FileTypeAvoidance() {
  trace("~FileTypeAvoidance");
}

std::string FileTypeAvoidance::findFileExtension(std::string& path) {
  traceCall(kFileTypeTexts.className, "findFileExtension");
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

bool FileTypeAvoidance::acceptsText(const std::string& text) const {
  return !text.empty() && text.size() <= kMaxFileTypeLength;
}

bool FileTypeAvoidance::buildExpression(ExpressionText& expression) const {
  expression = ExpressionText(wildCardSearch() ? expressionOfFileType(text()) : text());
  return true;
}

std::string_view FileTypeAvoidance::inputOf(const LookupData& request) const {
  trace("findFileExtension");
  return extensionOf(request.m_filePath);
}

bool FileTypeAvoidanceDuplicateKey::operator()(const std::string& a, const std::string& b) const {
  return boost::algorithm::to_lower_copy(a) < boost::algorithm::to_lower_copy(b);
}

}  // namespace QVL
