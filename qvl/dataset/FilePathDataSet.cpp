#include "qvl/dataset/FilePathDataSet.h"

namespace QVL {

FilePathDataSet::FilePathDataSet()
    : DataSet({"FilePathDataSet", byteOrder, AccessCheck::ByEachRule, /*caseSensitiveSearch=*/true,
               /*wildCardSearch=*/true}) {
  trace("FilePathDataSet");
}

FilePathDataSet::~FilePathDataSet() {
  trace("~FilePathDataSet");
}

}  // namespace QVL
