#include "qvl/dataset/ProcessDataSet.h"

#include "qvl/dataset/DataSetKind.h"

namespace QVL {
namespace {

bool processNameIsEmpty(LookupData& request) {
  return request.m_processName.empty();
}

constexpr DataSetKind kKind = {"ProcessDataSet",
                               byteOrder,
                               AccessCheck::AtDataSetLevel,
                               /*caseSensitiveSearch=*/true,
                               /*wildCardSearch=*/false,
                               processNameIsEmpty};

}  // namespace

ProcessDataSet::ProcessDataSet() : DataSet(kKind) {
  trace("ProcessDataSet");
}

ProcessDataSet::~ProcessDataSet() {
  trace("~ProcessDataSet");
}

}  // namespace QVL
