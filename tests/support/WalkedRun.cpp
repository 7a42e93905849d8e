// Linked into test programs that run once more with QVL_TEST_WALK set: then no data set uses its
// index, in any of the program's tests.

#include <cstdlib>
#include <memory>

#include "tests/support/RuleWalk.h"

namespace QVL {
namespace Test {
namespace {

const std::unique_ptr<RuleWalk> walkOfThisRun{
    std::getenv("QVL_TEST_WALK") ? std::make_unique<RuleWalk>() : nullptr};

}  // namespace
}  // namespace Test
}  // namespace QVL
