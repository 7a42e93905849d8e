// The data set of file type rules.

#ifndef QVL_DATASET_FILE_TYPE_DATA_SET_H
#define QVL_DATASET_FILE_TYPE_DATA_SET_H

#include "qvl/core/Export.h"
#include "qvl/dataset/DataSet.h"

namespace QVL {

// Keys are ordered and compared without regard to case; case is ignored in matching; wildcards are
// on; access types are checked by each rule. There are no keywords.
//
// The empty input is the missing extension. While it is matched, the first rule in key order alone
// decides, by its access type.
class QVL_EXPORT FileTypeDataSet : public DataSet {
 public:
  FileTypeDataSet();
  ~FileTypeDataSet() override;

  // Always false, changing nothing.
  bool addOrUpdateKeyword(std::string keyword, std::set<std::string> values) override;
  bool deleteKeyword(std::string keyword) override;
};

}  // namespace QVL

#endif  // QVL_DATASET_FILE_TYPE_DATA_SET_H
