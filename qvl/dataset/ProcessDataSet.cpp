#include "qvl/dataset/ProcessDataSet.h"

namespace QVL {

ProcessDataSet::ProcessDataSet()
    : DataSet({"ProcessDataSet", byteOrder, AccessCheck::AtDataSetLevel,
               /*caseSensitiveSearch=*/true, /*wildCardSearch=*/false}) {
  trace("ProcessDataSet");
}

ProcessDataSet::~ProcessDataSet() {
  trace("~ProcessDataSet");
}

bool ProcessDataSet::inputIsEmpty(LookupData& request) const {
  return request.m_processName.empty();
}

}  // namespace QVL
