// From infix to postfix. Private to the library.

#ifndef QVL_LOOKUP_BUSINESS_LOGIC_PARSER_H
#define QVL_LOOKUP_BUSINESS_LOGIC_PARSER_H

#include <cstddef>
#include <string>

namespace QVL {
namespace BusinessLogic {

// The longest infix and the longest postfix text, in characters.
constexpr std::size_t kMaxLength = 2048;

// The postfix form of an infix expression; LookupManager::parseLogic says what holds for both.
// Throws QVLException when the text holds a letter, and otherwise at the first thing in it that
// cannot be read.
std::string toPostfix(const std::string& infix);

}  // namespace BusinessLogic
}  // namespace QVL

#endif  // QVL_LOOKUP_BUSINESS_LOGIC_PARSER_H
