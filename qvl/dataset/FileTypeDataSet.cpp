#include "qvl/dataset/FileTypeDataSet.h"

#include "qvl/avoidance/FileTypeAvoidance.h"

namespace QVL {
namespace {

bool ignoringCase(const std::string& a, const std::string& b) {
  return FileTypeAvoidanceDuplicateKey()(a, b);
}

}  // namespace

FileTypeDataSet::FileTypeDataSet()
    : DataSet({"FileTypeDataSet", ignoringCase, AccessCheck::ByEachRule,
               /*caseSensitiveSearch=*/false, /*wildCardSearch=*/true}) {
  trace("FileTypeDataSet");
}

FileTypeDataSet::~FileTypeDataSet() {
  trace("~FileTypeDataSet");
}

bool FileTypeDataSet::addOrUpdateKeyword(std::string /*keyword*/,
                                         std::set<std::string> /*values*/) {
  trace("addOrUpdateKeyword");
  return false;
}

bool FileTypeDataSet::deleteKeyword(std::string /*keyword*/) {
  trace("deleteKeyword");
  return false;
}

bool FileTypeDataSet::inputIsEmpty(LookupData& request) const {
  return FileTypeAvoidance::findFileExtension(request.m_filePath).empty();
}

// The question is put once, and not to every rule.
bool FileTypeDataSet::answerToEmptyInput(LookupData& request) {
  return askFirstRule(request, /*flag=*/true);
}

}  // namespace QVL
