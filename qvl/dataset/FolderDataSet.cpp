#include "qvl/dataset/FolderDataSet.h"

#include "qvl/dataset/DataSetKind.h"

namespace QVL {
namespace {

constexpr DataSetKind kKind = {"FolderDataSet",
                               byteOrder,
                               AccessCheck::ByEachRule,
                               /*caseSensitiveSearch=*/true,
                               /*wildCardSearch=*/true,
                               filePathIsEmpty};

}  // namespace

FolderDataSet::FolderDataSet() : DataSet(kKind) {
  trace("FolderDataSet");
}

FolderDataSet::~FolderDataSet() {
  trace("~FolderDataSet");
}

}  // namespace QVL
