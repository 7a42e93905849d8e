// UTF-8 as the library reads it. Private to the library.

#ifndef QVL_MATCH_UTF8_H
#define QVL_MATCH_UTF8_H

#include <cstddef>
#include <cstdint>
#include <string_view>

namespace QVL {
namespace Utf8 {

constexpr std::size_t kLongestCharacter = 4;  // in bytes

inline bool isContinuation(char byte) {
  return (static_cast<unsigned char>(byte) & 0xC0) == 0x80;
}

// Where the character after the one at `at` begins.
inline std::size_t next(std::string_view text, std::size_t at) {
  do {
    ++at;
  } while (at < text.size() && isContinuation(text[at]));
  return at;
}

bool isAscii(std::string_view text);

// How many bytes from the start of a text are UTF-8, surrogates, overlong forms and lead bytes from
// F5 on excluded.
std::size_t validPrefix(std::string_view text);

// Does a text begin inside a character or end inside one? The expression engine throws for such a
// text before it looks at anything else.
bool isCutOff(std::string_view text);

// The code point at `at` of a UTF-8 text; `at` is moved behind it.
std::uint32_t decode(std::string_view text, std::size_t& at);

}  // namespace Utf8
}  // namespace QVL

#endif  // QVL_MATCH_UTF8_H
