// The data set of folder rules.

#ifndef QVL_DATASET_FOLDER_DATA_SET_H
#define QVL_DATASET_FOLDER_DATA_SET_H

#include "qvl/core/Export.h"
#include "qvl/dataset/DataSet.h"

namespace QVL {

// Access types are checked by each rule; case matters; wildcards are on.
class QVL_EXPORT FolderDataSet : public DataSet {
 public:
  FolderDataSet();
  ~FolderDataSet() override;
};

}  // namespace QVL

#endif  // QVL_DATASET_FOLDER_DATA_SET_H
