// Texts made fit for people.

#ifndef QVLPOLICY_TEXT_H
#define QVLPOLICY_TEXT_H

#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>

#include "qvlpolicy/Export.h"

namespace qvlpolicy {

// A text of any bytes as one printable line: what is no UTF-8, and control characters, become \xNN
// (or \n, \t, \r), a backslash is doubled. Unambiguous: equal results mean equal texts.
QVLPOLICY_EXPORT std::string escaped(std::string_view text);

// The same but for backslashes, which stay single: a rule or an expression reads as it is written.
QVLPOLICY_EXPORT std::string escapedPattern(std::string_view text);

// The text escaped and in double quotes, for messages; of a long one the beginning and its size.
QVLPOLICY_EXPORT std::string inQuotes(std::string_view text);

// The text without blanks, tabs and line breaks at its beginning and its end.
QVLPOLICY_EXPORT std::string trimmed(std::string_view text);

// 1234567 as "1,234,567".
QVLPOLICY_EXPORT std::string grouped(std::uint64_t number);

// "1 file", "2,345 files".
QVLPOLICY_EXPORT std::string counted(std::uint64_t number, const char* singular,
                                     const char* plural);

// Where the first byte stands that belongs to no UTF-8 character; npos when there is none.
QVLPOLICY_EXPORT std::size_t findNonUtf8(std::string_view text);

// The text in normalisation form C, in which a letter and its accent are one character where there
// is such a character; unchanged when it is not UTF-8.
QVLPOLICY_EXPORT std::string composed(std::string_view text);

}  // namespace qvlpolicy

#endif  // QVLPOLICY_TEXT_H
