#include "qvl/lookup/BusinessLogicEvaluator.h"

#include <cstdlib>

#include "qvl/core/QVLException.h"

namespace QVL {
namespace BusinessLogic {

Postfix::Postfix(const std::string& text) : m_length(text.size()) {
  if (m_length > kMaxLength) return;
  const char* next = text.c_str();
  while (*next) {
    if (*next >= '0' && *next <= '9') {
      // Truncated to 32 bits as atoi does; numbers that come through the parser fit.
      char* end = nullptr;
      m_tokens.push_back({0, static_cast<std::uint32_t>(std::strtol(next, &end, 10))});
      next = end;
    } else if (*next == '!' || *next == '&' || *next == '|') {
      m_tokens.push_back({*next, 0});
      next += next[1] ? 2 : 1;
    } else {
      ++next;
    }
  }
}

const std::vector<Token>& Postfix::tokens() const {
  if (m_length == 0 || m_length > kMaxLength) throwWrongLength();
  return m_tokens;
}

void throwWrongLength() {
  throw QVLException(QVLException::kCode, "Business logic length is wrong.");
}

}  // namespace BusinessLogic
}  // namespace QVL
