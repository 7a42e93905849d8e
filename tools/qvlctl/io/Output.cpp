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

bool mayUseColour() {
  const std::string& choice = outputChoices().colour;
  if (choice != "auto") return choice == "always";
  const char* const terminal = std::getenv("TERM");
  return ::isatty(STDOUT_FILENO) && std::getenv("NO_COLOR") == nullptr && terminal != nullptr &&
         std::string_view(terminal) != "dumb";
}

}  // namespace

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
