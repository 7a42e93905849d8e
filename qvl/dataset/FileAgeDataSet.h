// The data set of file age rules.

#ifndef QVL_DATASET_FILE_AGE_DATA_SET_H
#define QVL_DATASET_FILE_AGE_DATA_SET_H

#include "qvl/core/Export.h"
#include "qvl/dataset/DataSet.h"

namespace QVL {

// Access types are checked by each rule; case matters; wildcards are on. Every step of a decision
// is traced.
//
// The empty-input test reads the file's status and is never true, so matching empty input costs a
// status call and decides nothing.
class QVL_EXPORT FileAgeDataSet : public DataSet {
 public:
  FileAgeDataSet();
  ~FileAgeDataSet() override;
};

}  // namespace QVL

#endif  // QVL_DATASET_FILE_AGE_DATA_SET_H
