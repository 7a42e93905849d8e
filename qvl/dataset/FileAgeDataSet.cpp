#include "qvl/dataset/FileAgeDataSet.h"

#include <sys/stat.h>

#include "qvl/trace/TraceCall.h"

namespace QVL {

FileAgeDataSet::FileAgeDataSet()
    : DataSet({"FileAgeDataSet", byteOrder, AccessCheck::ByEachRule, /*caseSensitiveSearch=*/true,
               /*wildCardSearch=*/true}) {
  trace("FileAgeDataSet");
}

FileAgeDataSet::~FileAgeDataSet() {
  trace("~FileAgeDataSet");
}

// Has always looked at the file's age as text, which is never empty; the status call and its trace
// are what is left to be seen of that.
bool FileAgeDataSet::inputIsEmpty(LookupData& request) const {
  struct stat status;
  if (stat(request.m_filePath.c_str(), &status) != 0 && traceFileTakes(kTraceLevel)) {
    TraceLogMessage(kTraceLevel, "Unable to do stat for the file");
  }
  return false;
}

void FileAgeDataSet::deciding(AccessCheck check) const {
  if (check == AccessCheck::None) {
    trace("isPresentInDataSet, m_checkAccessType is not enabled.");
    return;
  }
  trace("isPresentInDataSet, m_checkAccessType is enabled.");
  trace(check == AccessCheck::AtDataSetLevel
            ? "isPresentInDataSet, m_checkAccessTypeAtDataSetLevelOnly is enabled."
            : "isPresentInDataSet, m_checkAccessTypeAtDataSetLevelOnly is not enabled.");
}

void FileAgeDataSet::ruleMatched(AccessCheck check) const {
  trace(check == AccessCheck::ByEachRule
            ? "isPresentInDataSet, lookupData matched for this dataset. "
              "canAvoidWithAccessType() returned true."
            : "isPresentInDataSet, lookupData matched for this dataset. "
              "canAvoid() returned true.");
}

}  // namespace QVL
