// Text helper of the pattern translation.

#ifndef QVL_AVOIDANCE_UTILITY_H
#define QVL_AVOIDANCE_UTILITY_H

#include <string>

#include "qvl/core/Export.h"

namespace QVL {
namespace Utility {

// `text` with every occurrence of `from` replaced by `to`, left to right and without overlap; the
// inserted text is not searched again. An empty `from` occurs nowhere. Thread safe.
QVL_EXPORT std::string replaceAll(std::string text, const std::string& from, const std::string& to);

}  // namespace Utility
}  // namespace QVL

#endif  // QVL_AVOIDANCE_UTILITY_H
