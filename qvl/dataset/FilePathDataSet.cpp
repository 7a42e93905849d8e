#include "qvl/dataset/FilePathDataSet.h"

#include "qvl/dataset/DataSetKind.h"

namespace QVL {
namespace {

constexpr DataSetKind kKind = {"FilePathDataSet",
                               byteOrder,
                               AccessCheck::ByEachRule,
                               /*caseSensitiveSearch=*/true,
                               /*wildCardSearch=*/true,
                               filePathIsEmpty};

}  // namespace

FilePathDataSet::FilePathDataSet() : DataSet(kKind) {
  trace("FilePathDataSet");
}

FilePathDataSet::~FilePathDataSet() {
  trace("~FilePathDataSet");
}

}  // namespace QVL
