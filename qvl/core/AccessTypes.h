// The kinds of file access that a request, a rule or a data set can name.

#ifndef QVL_CORE_ACCESS_TYPES_H
#define QVL_CORE_ACCESS_TYPES_H

#include <cstdint>

namespace QVL {

// The library compares access types for equality only; every 32-bit value is legal and means what
// the host and its callers agree on. The one exception is AnyAccess: kept by a rule or a data set
// it fits every request. On a request it is a value like any other.
enum AccessTypes : std::uint32_t {
  ReadAccess = 1,
  WriteAccess = 2,
  AnyAccess = 3,
};

// True when an access type kept by a rule or a data set admits a request of type `requested`.
constexpr bool accessTypeFits(AccessTypes kept, AccessTypes requested) {
  return kept == requested || kept == AnyAccess;
}

}  // namespace QVL

#endif  // QVL_CORE_ACCESS_TYPES_H
