// Stands in front of the call by which the library reads the status of files, so that a test can
// run code of its own in the middle of a query that knows classes of the library only.

#ifndef QVL_TESTS_SUPPORT_FILE_STATUS_DOUBLE_H
#define QVL_TESTS_SUPPORT_FILE_STATUS_DOUBLE_H

namespace QVL {
namespace Test {

// A path that begins with this exists and is as old as can be, whenever it is asked for. All others
// are looked for in the file system.
constexpr char kDoubledPaths[] = "/doubled";

// `visit(path)` is called, in the thread that asks, before the status of such a path is told.
void onFileStatus(void (*visit)(const char* path));

}  // namespace Test
}  // namespace QVL

#endif  // QVL_TESTS_SUPPORT_FILE_STATUS_DOUBLE_H
