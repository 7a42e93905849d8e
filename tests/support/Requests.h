// Requests of every sort that tests lend to the library.

#ifndef QVL_TESTS_SUPPORT_REQUESTS_H
#define QVL_TESTS_SUPPORT_REQUESTS_H

#include <cstdint>
#include <string>
#include <utility>

#include "qvl/qvl.h"

namespace QVL {
namespace Test {

constexpr AccessTypes accessType(std::uint32_t value) {
  return static_cast<AccessTypes>(value);
}

inline LookupData fileRequest(std::string path, AccessTypes access = AccessTypes()) {
  LookupData request;
  request.m_filePath = std::move(path);
  request.m_accessType = access;
  return request;
}

inline LookupData processRequest(std::string process, AccessTypes access = AccessTypes()) {
  LookupData request;
  request.m_processName = std::move(process);
  request.m_accessType = access;
  return request;
}

// A request that the library does not know.
class ForeignRequest : public ILookupData {};

// A host's own record, which is a LookupData all the same.
class HostRequest : public LookupData {
 public:
  HostRequest() = default;
  explicit HostRequest(const LookupData& request) : LookupData(request) {}
};

}  // namespace Test
}  // namespace QVL

#endif  // QVL_TESTS_SUPPORT_REQUESTS_H
