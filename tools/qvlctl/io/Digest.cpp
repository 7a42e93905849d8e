#include "io/Digest.h"

#include <nettle/sha2.h>

#include <cstdint>

#include "fmt/format.h"

namespace qvlctl {

std::string sha256(std::string_view bytes) {
  sha256_ctx context;
  sha256_init(&context);
  sha256_update(&context, bytes.size(), reinterpret_cast<const std::uint8_t*>(bytes.data()));
  std::uint8_t digest[SHA256_DIGEST_SIZE];
  sha256_digest(&context, sizeof digest, digest);
  return fmt::format("{:02x}", fmt::join(digest, digest + sizeof digest, ""));
}

}  // namespace qvlctl
