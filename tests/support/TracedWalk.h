// Has data sets walk their rules because the trace has to show each.

#ifndef QVL_TESTS_SUPPORT_TRACED_WALK_H
#define QVL_TESTS_SUPPORT_TRACED_WALK_H

#include <cstdio>

#include "tests/support/TraceRecorder.h"

namespace QVL {
namespace Test {

// While it lives the trace takes every line, though nobody keeps them: a data set then asks its
// rules in key order, one after the other, as the trace has to show, and not by its index. See
// PlainWalk for the walk without the trace.
class TracedWalk {
 private:
  Stream m_nowhere{std::fopen("/dev/null", "w")};
  TraceDiversion m_diversion{m_nowhere.get()};
};

}  // namespace Test
}  // namespace QVL

#endif  // QVL_TESTS_SUPPORT_TRACED_WALK_H
