// What a call of the library threw, and what it traced, as texts that read well in a failure.

#ifndef QVL_TESTS_SUPPORT_OUTCOME_H
#define QVL_TESTS_SUPPORT_OUTCOME_H

#include <cstdio>
#include <string>
#include <utility>
#include <vector>

#include "qvl/qvl.h"

namespace QVL {
namespace Test {

// "<code>: <message>" of the QVLException that `call` throws, "nothing" when it throws none.
// Anything else that it throws passes.
template <typename Call>
std::string thrownBy(Call&& call) {
  try {
    std::forward<Call>(call)();
  } catch (const QVLException& exception) {
    return std::to_string(exception.m_code) + ": " + exception.m_message;
  }
  return "nothing";
}

// The trace file's text for these messages.
inline std::string traced(const std::vector<std::string>& messages) {
  std::string text;
  for (const std::string& message : messages) {
    text += message;
    text += '\n';
  }
  return text;
}

// A text with everything but printable ASCII spelt out, for failure messages.
inline std::string shown(const std::string& text) {
  std::string readable = "\"";
  for (const char c : text) {
    const auto byte = static_cast<unsigned char>(c);
    if (byte >= 0x20 && byte < 0x7f) {
      readable += c;
    } else {
      char escape[8];
      std::snprintf(escape, sizeof escape, "\\x%02x", static_cast<unsigned>(byte));
      readable += escape;
    }
  }
  readable += "\" (" + std::to_string(text.size()) + " bytes)";
  return readable;
}

}  // namespace Test
}  // namespace QVL

#endif  // QVL_TESTS_SUPPORT_OUTCOME_H
