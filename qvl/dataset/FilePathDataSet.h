// The data set of file path rules.

#ifndef QVL_DATASET_FILE_PATH_DATA_SET_H
#define QVL_DATASET_FILE_PATH_DATA_SET_H

#include "qvl/core/Export.h"
#include "qvl/dataset/DataSet.h"

namespace QVL {

// Access types are checked by each rule; case matters; wildcards are on.
class QVL_EXPORT FilePathDataSet : public DataSet {
 public:
  FilePathDataSet();
  ~FilePathDataSet() override;
};

}  // namespace QVL

#endif  // QVL_DATASET_FILE_PATH_DATA_SET_H
