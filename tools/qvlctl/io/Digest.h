// Digests of texts.

#ifndef QVLCTL_IO_DIGEST_H
#define QVLCTL_IO_DIGEST_H

#include <string>
#include <string_view>

namespace qvlctl {

// The SHA-256 of the bytes, in hexadecimal.
std::string sha256(std::string_view bytes);

}  // namespace qvlctl

#endif  // QVLCTL_IO_DIGEST_H
