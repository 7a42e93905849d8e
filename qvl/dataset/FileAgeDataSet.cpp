#include "qvl/dataset/FileAgeDataSet.h"

#include <sys/stat.h>

#include "qvl/dataset/DataSetKind.h"
#include "qvl/trace/TraceCall.h"

namespace QVL {
namespace {

constexpr char kClassName[] = "FileAgeDataSet";

// Has always looked at the file's age as text, which is never empty; the status call and its trace
// are what is left to be seen of that.
bool statusIsRead(LookupData& request) {
  struct stat status;
  if (stat(request.m_filePath.c_str(), &status) != 0 && traceFileTakes(kTraceLevel)) {
    TraceLogMessage(kTraceLevel, "Unable to do stat for the file");
  }
  return false;
}

void deciding(AccessCheck check) {
  if (check == AccessCheck::None) {
    traceCall(kClassName, "isPresentInDataSet, m_checkAccessType is not enabled.");
    return;
  }
  traceCall(kClassName, "isPresentInDataSet, m_checkAccessType is enabled.");
  traceCall(kClassName,
            check == AccessCheck::AtDataSetLevel
                ? "isPresentInDataSet, m_checkAccessTypeAtDataSetLevelOnly is enabled."
                : "isPresentInDataSet, m_checkAccessTypeAtDataSetLevelOnly is not enabled.");
}

void ruleMatched(AccessCheck check) {
  traceCall(kClassName, check == AccessCheck::ByEachRule
                            ? "isPresentInDataSet, lookupData matched for this dataset. "
                              "canAvoidWithAccessType() returned true."
                            : "isPresentInDataSet, lookupData matched for this dataset. "
                              "canAvoid() returned true.");
}

constexpr DataSetKind kKind = {kClassName,
                               byteOrder,
                               AccessCheck::ByEachRule,
                               /*caseSensitiveSearch=*/true,
                               /*wildCardSearch=*/true,
                               statusIsRead,
                               /*firstRuleAnswersEmptyInput=*/false,
                               deciding,
                               ruleMatched};

}  // namespace

FileAgeDataSet::FileAgeDataSet() : DataSet(kKind) {
  trace("FileAgeDataSet");
}

FileAgeDataSet::~FileAgeDataSet() {
  trace("~FileAgeDataSet");
}

}  // namespace QVL
