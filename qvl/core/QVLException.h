// The one exception type that the library throws across its interface.

#ifndef QVL_CORE_QVL_EXCEPTION_H
#define QVL_CORE_QVL_EXCEPTION_H

#include <cstdint>
#include <string>

#include "qvl/core/Export.h"

namespace QVL {

// Thrown by value by rule constructors, LookupManager::defineBusinessLogic, parseLogic, isPresent
// and executeLogic; catch it by reference. It has no base class.
class QVL_EXPORT QVLException {
 public:
  // The code of every exception that the library throws.
  static constexpr std::int32_t kCode = 3;

  // Keeps both as they are.
  QVLException(std::int32_t code, std::string message);

  QVLException(const QVLException&) = default;
  QVLException& operator=(const QVLException&) = default;

  ~QVLException();

  std::int32_t m_code;    // kCode, when the library throws it
  std::string m_message;  // a fixed English sentence
};

}  // namespace QVL

#endif  // QVL_CORE_QVL_EXCEPTION_H
