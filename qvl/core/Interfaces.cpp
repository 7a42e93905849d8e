// The interfaces' destructors stand here so that their tables and type information exist once, in
// the library.

#include "qvl/core/IAvoidance.h"
#include "qvl/core/IDataSet.h"
#include "qvl/core/ILookupManager.h"

namespace QVL {

IAvoidance::~IAvoidance() = default;

IDataSet::~IDataSet() = default;

ILookupManager::~ILookupManager() = default;

}  // namespace QVL
