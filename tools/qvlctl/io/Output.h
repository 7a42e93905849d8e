// What qvlctl writes: buffered standard output, and texts made fit for a terminal.

#ifndef QVLCTL_IO_OUTPUT_H
#define QVLCTL_IO_OUTPUT_H

#include <qvlpolicy/Text.h>

#include <cstdint>
#include <string>
#include <string_view>
#include <utility>

#include "fmt/format.h"

namespace qvlctl {

using qvlpolicy::counted;
using qvlpolicy::escaped;
using qvlpolicy::escapedPattern;
using qvlpolicy::grouped;
using qvlpolicy::inQuotes;
using qvlpolicy::trimmed;

// A number of bytes as "12 bytes", "1.5 KiB", "3.4 GiB".
std::string readableSize(std::uint64_t bytes);

// A share as "12.3 %"; "0.0 %" of nothing.
std::string percentage(std::uint64_t part, std::uint64_t whole);

// Writes all of `text` to a descriptor; false, with errno set, when that fails.
bool writeAll(int descriptor, std::string_view text);

// "qvlctl: <message>" on standard error. Anything buffered for standard output is not touched.
void complain(std::string_view message);

// Terminal colours by their meaning here.
enum class Colour { None, Excluded, Heading };

// Standard output, buffered. Throws Trouble when it cannot be written to.
class Output {
 public:
  Output();

  template <typename... Arguments>
  void print(fmt::format_string<Arguments...> format, Arguments&&... arguments) {
    fmt::format_to(fmt::appender(m_buffer), format, std::forward<Arguments>(arguments)...);
    if (m_buffer.size() >= kFlushAt) flush();
  }

  // The text as it is: for lines that are written a million times, of which a format takes a
  // tenth of the instructions, and of those that a processor keeps at hand even more.
  void write(std::string_view text) {
    m_buffer.append(text.data(), text.data() + text.size());
    if (m_buffer.size() >= kFlushAt) flush();
  }

  // The text in a colour, when standard output is a terminal that may show colours.
  std::string coloured(Colour colour, std::string_view text) const;

  // Hands everything to the operating system. To be called before the program ends or waits.
  void flush();

 private:
  static constexpr std::size_t kFlushAt = 65536;

  const bool m_useColour;
  fmt::memory_buffer m_buffer;
};

}  // namespace qvlctl

#endif  // QVLCTL_IO_OUTPUT_H
