// The test that every entry point makes of its request. Private to the library.

#ifndef QVL_CORE_REQUEST_CAST_H
#define QVL_CORE_REQUEST_CAST_H

#include <typeinfo>

#include "qvl/core/LookupData.h"

namespace QVL {

// The request as a LookupData, or null when it is something else. The exact type is by far the most
// frequent one, and comparing it costs a fraction of the general conversion.
inline LookupData* asLookupData(ILookupData& request) {
  if (typeid(request) == typeid(LookupData)) return static_cast<LookupData*>(&request);
  return dynamic_cast<LookupData*>(&request);
}

}  // namespace QVL

#endif  // QVL_CORE_REQUEST_CAST_H
