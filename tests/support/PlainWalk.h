// Has data sets walk their rules. For INTERNAL tests: the switch is hidden in the library.

#ifndef QVL_TESTS_SUPPORT_PLAIN_WALK_H
#define QVL_TESTS_SUPPORT_PLAIN_WALK_H

#include "qvl/dataset/DataSetView.h"

namespace QVL {
namespace Test {

// While it lives every data set asks its rules in key order, one after the other, and not by its
// index. Made and destroyed while no query runs.
class PlainWalk {
 public:
  PlainWalk() { DataSetView::setPlainWalk(true); }
  ~PlainWalk() { DataSetView::setPlainWalk(false); }
  PlainWalk(const PlainWalk&) = delete;
  PlainWalk& operator=(const PlainWalk&) = delete;
};

}  // namespace Test
}  // namespace QVL

#endif  // QVL_TESTS_SUPPORT_PLAIN_WALK_H
