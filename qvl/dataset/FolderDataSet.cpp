#include "qvl/dataset/FolderDataSet.h"

namespace QVL {

FolderDataSet::FolderDataSet()
    : DataSet({"FolderDataSet", byteOrder, AccessCheck::ByEachRule, /*caseSensitiveSearch=*/true,
               /*wildCardSearch=*/true}) {
  trace("FolderDataSet");
}

FolderDataSet::~FolderDataSet() {
  trace("~FolderDataSet");
}

}  // namespace QVL
