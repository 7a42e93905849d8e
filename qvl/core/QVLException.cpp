#include "qvl/core/QVLException.h"

#include <utility>

namespace QVL {

QVLException::QVLException(std::int32_t code, std::string message)
    : m_code(code), m_message(std::move(message)) {}

QVLException::~QVLException() = default;

}  // namespace QVL
