// Texts in Unicode.

#ifndef QVLCTL_IO_UNICODE_H
#define QVLCTL_IO_UNICODE_H

#include <cstddef>
#include <string>
#include <string_view>

namespace qvlctl {

// Where the first byte stands that belongs to no UTF-8 character; npos when there is none.
std::size_t findNonUtf8(std::string_view text);

// The text in normalisation form C, in which a letter and its accent are one character where there
// is such a character; unchanged when it is not UTF-8.
std::string composed(std::string_view text);

}  // namespace qvlctl

#endif  // QVLCTL_IO_UNICODE_H
