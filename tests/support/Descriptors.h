// Counts what the process has open.

#ifndef QVL_TESTS_SUPPORT_DESCRIPTORS_H
#define QVL_TESTS_SUPPORT_DESCRIPTORS_H

#include <fcntl.h>

namespace QVL {
namespace Test {

// How many of the first 1,024 descriptors are open.
inline int openDescriptors() {
  int open = 0;
  for (int descriptor = 0; descriptor < 1024; ++descriptor) {
    open += fcntl(descriptor, F_GETFD) != -1;
  }
  return open;
}

}  // namespace Test
}  // namespace QVL

#endif  // QVL_TESTS_SUPPORT_DESCRIPTORS_H
