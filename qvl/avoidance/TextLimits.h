// Limits of rule texts. Private to the library.

#ifndef QVL_AVOIDANCE_TEXT_LIMITS_H
#define QVL_AVOIDANCE_TEXT_LIMITS_H

#include <cstddef>

namespace QVL {

constexpr std::size_t kMaxPathLength = 4096;    // bytes of a file path or folder pattern
constexpr std::size_t kMaxFileTypeLength = 12;  // bytes of a file type

}  // namespace QVL

#endif  // QVL_AVOIDANCE_TEXT_LIMITS_H
