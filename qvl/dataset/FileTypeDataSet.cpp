#include "qvl/dataset/FileTypeDataSet.h"

#include "qvl/avoidance/FileTypeAvoidance.h"
#include "qvl/dataset/DataSetKind.h"

namespace QVL {
namespace {

bool ignoringCase(const std::string& a, const std::string& b) {
  return FileTypeAvoidanceDuplicateKey()(a, b);
}

bool extensionIsMissing(LookupData& request) {
  return FileTypeAvoidance::findFileExtension(request.m_filePath).empty();
}

constexpr DataSetKind kKind = {"FileTypeDataSet",
                               ignoringCase,
                               AccessCheck::ByEachRule,
                               /*caseSensitiveSearch=*/false,
                               /*wildCardSearch=*/true,
                               extensionIsMissing,
                               /*firstRuleAnswersEmptyInput=*/true};

}  // namespace

FileTypeDataSet::FileTypeDataSet() : DataSet(kKind) {
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

}  // namespace QVL
