// What a data set of the library tells a manager about itself. Private to the library.

#ifndef QVL_DATASET_DATA_SET_VIEW_H
#define QVL_DATASET_DATA_SET_VIEW_H

#include <optional>

#include "qvl/core/IDataSet.h"
#include "qvl/core/LookupData.h"

namespace QVL {

class DataSet;

// A data set of which it is known what it does when it is asked. As long as all of its rules are of
// the library's own classes, too, nobody can tell whether it is asked by one thread or by several.
class DataSetView {
 public:
  // Null for a data set of a host's own class, and of a class derived from ours, which may do as it
  // likes.
  static DataSet* of(IDataSet& dataSet);

  // Does it hold a rule of a host's own class? Any thread may ask.
  static bool hasForeignRules(const DataSet& dataSet);

  // isPresentInDataSet for a query beside which others run. Absent when the data set has foreign
  // rules.
  static std::optional<bool> isPresentBesideOthers(DataSet& dataSet, LookupData& request);

  // How all data sets find the rule that matches from now on: by their indexes, or by the plain
  // walk over their rules, one after the other in key order. For tests that hold one against the
  // other; to be called while no query runs.
  static void setPlainWalk(bool on);
};

}  // namespace QVL

#endif  // QVL_DATASET_DATA_SET_VIEW_H
