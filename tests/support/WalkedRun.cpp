// Linked into the second program of WALKED tests: no data set uses its index, in any of its tests.

#include "tests/support/PlainWalk.h"

namespace QVL {
namespace Test {
namespace {

const PlainWalk walkOfThisRun;

}  // namespace
}  // namespace Test
}  // namespace QVL
