#include "io/StatusLine.h"

#include <sys/ioctl.h>
#include <unistd.h>

#include <algorithm>
#include <csignal>
#include <cstddef>
#include <string_view>
#include <utility>

#include "io/Output.h"

namespace qvlctl {
namespace {

constexpr int kSignals[] = {SIGINT, SIGTERM, SIGHUP};

// Carriage return, then "erase to the end of the line".
constexpr std::string_view kErase = "\r\x1b[K";

// Erases the line and ends as if the signal had not been caught. Everything called here may be
// called in a signal handler.
void eraseAndEnd(int signal) {
  (void)writeAll(STDERR_FILENO, kErase);
  (void)std::signal(signal, SIG_DFL);
  (void)std::raise(signal);
}

void handleSignals(void (*handler)(int)) {
  for (const int signal : kSignals) {
    // What the caller of the program has it ignore stays ignored.
    if (std::signal(signal, handler) == SIG_IGN) (void)std::signal(signal, SIG_IGN);
  }
}

// In columns, the last one left free: some terminals go on to the next line behind it.
std::size_t widthOfTerminal() {
  constexpr std::size_t kUsual = 80;
  winsize size{};
  const bool isKnown = ::ioctl(STDERR_FILENO, TIOCGWINSZ, &size) == 0 && size.ws_col > 0;
  return (isKnown ? std::size_t{size.ws_col} : kUsual) - 1;
}

// Of bytes, of which a character has at least as many as columns.
std::string cutTo(std::size_t width, std::string text) {
  constexpr std::string_view kDots = "...";
  if (text.size() <= width) return text;
  std::size_t end = width - std::min(width, kDots.size());
  while (end > 0 && (static_cast<unsigned char>(text[end]) & 0xc0) == 0x80) --end;
  text.resize(end);
  return text.append(kDots.substr(0, width));
}

}  // namespace

StatusLine::StatusLine(bool isWanted) : m_isShown(isWanted && ::isatty(STDERR_FILENO) != 0) {
  if (m_isShown) handleSignals(&eraseAndEnd);
}

StatusLine::~StatusLine() {
  if (!m_isShown) return;
  (void)writeAll(STDERR_FILENO, kErase);
  handleSignals(SIG_DFL);
}

void StatusLine::show(std::string text) {
  if (!m_isShown) return;
  (void)writeAll(STDERR_FILENO, std::string(kErase) + cutTo(widthOfTerminal(), std::move(text)));
}

}  // namespace qvlctl
