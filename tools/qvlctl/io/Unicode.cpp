#include "io/Unicode.h"

#include <unicode/bytestream.h>
#include <unicode/normalizer2.h>
#include <unicode/utf8.h>

#include <cstdint>

#include "fmt/format.h"
#include "io/Trouble.h"

namespace qvlctl {

std::size_t findNonUtf8(std::string_view text) {
  const auto* const bytes = reinterpret_cast<const std::uint8_t*>(text.data());
  for (std::size_t next = 0; next < text.size();) {
    const std::size_t start = next;
    UChar32 character;
    U8_NEXT(bytes, next, text.size(), character);
    if (character < 0) return start;
  }
  return std::string_view::npos;
}

std::string composed(std::string_view text) {
  if (findNonUtf8(text) != std::string_view::npos) return std::string(text);
  UErrorCode error = U_ZERO_ERROR;
  std::string result;
  icu::StringByteSink<std::string> sink(&result);
  const icu::Normalizer2* const form = icu::Normalizer2::getNFCInstance(error);
  if (U_SUCCESS(error)) {
    form->normalizeUTF8(0, {text.data(), static_cast<std::int32_t>(text.size())}, sink, nullptr,
                        error);
  }
  if (U_FAILURE(error)) {
    throw Trouble(fmt::format("cannot normalise a text: {}", u_errorName(error)));
  }
  return result;
}

}  // namespace qvlctl
