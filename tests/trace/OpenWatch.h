// Lets a case act at the moment when the library opens a file.

#ifndef QVL_TESTS_TRACE_OPEN_WATCH_H
#define QVL_TESTS_TRACE_OPEN_WATCH_H

#include <functional>
#include <string>

namespace QVL {
namespace Test {

// Calls `action` once, in the thread that opens the file of this name next and before it does. The
// opening goes on when the action returns.
void whenOpening(const std::string& name, std::function<void()> action);

}  // namespace Test
}  // namespace QVL

#endif  // QVL_TESTS_TRACE_OPEN_WATCH_H
