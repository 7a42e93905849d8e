// The data set of process rules.

#ifndef QVL_DATASET_PROCESS_DATA_SET_H
#define QVL_DATASET_PROCESS_DATA_SET_H

#include "qvl/core/Export.h"
#include "qvl/dataset/DataSet.h"

namespace QVL {

// The input is the request's process name. Case matters; wildcards are off. Access types are
// checked at data-set level against 0: until the host calls checkAccessTypeAtDataSetLevelOnly or
// disableCheckingOfAccessType, only a request of access type 0 can be present.
class QVL_EXPORT ProcessDataSet : public DataSet {
 public:
  ProcessDataSet();
  ~ProcessDataSet() override;
};

}  // namespace QVL

#endif  // QVL_DATASET_PROCESS_DATA_SET_H
