#include "io/Output.h"

#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstdio>
#include <cstdlib>

#include "io/Files.h"
#include "io/OutputChoices.h"
#include "io/Trouble.h"

namespace qvlctl {
namespace {

bool isPlain(char c) {
  return c >= 0x20 && c < 0x7f;
}

// The length in bytes of the printable UTF-8 character that `text` begins with; 0 when there is
// none: overlong forms, surrogates and the second block of control characters included.
std::size_t printableCharacter(std::string_view text) {
  const auto byte = [&](std::size_t i) { return static_cast<unsigned char>(text[i]); };
  const unsigned char lead = byte(0);
  std::size_t length = 0;
  std::uint32_t least = 0;
  std::uint32_t code = 0;
  if (lead >= 0xc2 && lead <= 0xdf) {
    length = 2, least = 0xa0, code = lead & 0x1fu;
  } else if (lead >= 0xe0 && lead <= 0xef) {
    length = 3, least = 0x800, code = lead & 0x0fu;
  } else if (lead >= 0xf0 && lead <= 0xf4) {
    length = 4, least = 0x10000, code = lead & 0x07u;
  } else {
    return isPlain(text[0]) ? 1 : 0;
  }
  if (text.size() < length) return 0;
  for (std::size_t i = 1; i < length; ++i) {
    if ((byte(i) & 0xc0) != 0x80) return 0;
    code = code << 6 | (byte(i) & 0x3fu);
  }
  const bool isSurrogate = code >= 0xd800 && code <= 0xdfff;
  return code < least || code > 0x10ffff || isSurrogate ? 0 : length;
}

// With every backslash shown as `backslash`.
std::string escapedWith(std::string_view text, const char* backslash) {
  std::string result;
  while (!text.empty()) {
    const std::size_t length = printableCharacter(text);
    const char c = text.front();
    if (c == '\\') {
      result += backslash;
    } else if (length > 0) {
      result.append(text.substr(0, length));
    } else if (c == '\n') {
      result += "\\n";
    } else if (c == '\t') {
      result += "\\t";
    } else if (c == '\r') {
      result += "\\r";
    } else {
      result += fmt::format("\\x{:02X}", static_cast<unsigned char>(c));
    }
    text.remove_prefix(std::max<std::size_t>(length, 1));
  }
  return result;
}

bool mayUseColour() {
  const std::string& choice = outputChoices().colour;
  if (choice != "auto") return choice == "always";
  const char* const terminal = std::getenv("TERM");
  return ::isatty(STDOUT_FILENO) && std::getenv("NO_COLOR") == nullptr && terminal != nullptr &&
         std::string_view(terminal) != "dumb";
}

}  // namespace

std::string escaped(std::string_view text) {
  const bool isUnchanged =
      std::all_of(text.begin(), text.end(), [](char c) { return isPlain(c) && c != '\\'; });
  return isUnchanged ? std::string(text) : escapedWith(text, "\\\\");
}

std::string escapedPattern(std::string_view text) {
  return escapedWith(text, "\\");
}

std::string inQuotes(std::string_view text) {
  constexpr std::size_t kLongest = 200;
  if (text.size() <= kLongest) return '"' + escaped(text) + '"';
  return fmt::format("\"{}...\" ({} bytes)", escaped(text.substr(0, kLongest)),
                     grouped(text.size()));
}

std::string trimmed(std::string_view text) {
  static constexpr const char* kWhitespace = " \t\r\n";
  const std::size_t first = std::min(text.find_first_not_of(kWhitespace), text.size());
  return std::string(text.substr(first, text.find_last_not_of(kWhitespace) + 1 - first));
}

std::string grouped(std::uint64_t number) {
  std::string digits = std::to_string(number);
  for (std::size_t i = digits.size(); i > 3;) {
    i -= 3;
    digits.insert(i, 1, ',');
  }
  return digits;
}

std::string readableSize(std::uint64_t bytes) {
  if (bytes < 1024) return counted(bytes, "byte", "bytes");
  static constexpr const char* kUnits[] = {"KiB", "MiB", "GiB", "TiB", "PiB", "EiB"};
  double size = static_cast<double>(bytes) / 1024;
  std::size_t unit = 0;
  // 1023.95 would be printed as 1024.0.
  while (size >= 1023.95 && unit + 1 < std::size(kUnits)) {
    size /= 1024;
    ++unit;
  }
  return fmt::format("{:.1f} {}", size, kUnits[unit]);
}

std::string counted(std::uint64_t number, const char* singular, const char* plural) {
  return grouped(number) + ' ' + (number == 1 ? singular : plural);
}

std::string percentage(std::uint64_t part, std::uint64_t whole) {
  const double share =
      whole == 0 ? 0 : 100 * static_cast<double>(part) / static_cast<double>(whole);
  return fmt::format("{:.1f} %", share);
}

bool writeAll(int descriptor, std::string_view text) {
  while (!text.empty()) {
    const ssize_t count = ::write(descriptor, text.data(), text.size());
    if (count >= 0) {
      text.remove_prefix(static_cast<std::size_t>(count));
    } else if (errno != EINTR) {
      return false;
    }
  }
  return true;
}

void complain(std::string_view message) {
  // Nobody is left to be told when standard error itself fails.
  (void)writeAll(STDERR_FILENO, fmt::format("qvlctl: {}\n", message));
}

void remark(std::string_view message) {
  if (!outputChoices().quiet) complain(message);
}

OutputChoices& outputChoices() {
  static OutputChoices choices;
  return choices;
}

Output::Output() : m_useColour(mayUseColour()) {}

std::string Output::coloured(Colour colour, std::string_view text) const {
  if (!m_useColour || colour == Colour::None) return std::string(text);
  return fmt::format("\x1b[{}m{}\x1b[0m", colour == Colour::Heading ? "1" : "33", text);
}

void Output::flush() {
  const std::string_view text(m_buffer.data(), m_buffer.size());
  const bool written = writeAll(STDOUT_FILENO, text);
  m_buffer.clear();
  if (!written) {
    throw Trouble(fmt::format("cannot write to standard output: {}", errorText(errno)));
  }
}

}  // namespace qvlctl
