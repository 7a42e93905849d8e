#include "io/StatusLine.h"

#include <unistd.h>

#include <csignal>
#include <string_view>

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
  constexpr std::size_t kWidth = 78;
  if (text.size() > kWidth) text = text.substr(0, kWidth - 3) + "...";
  (void)writeAll(STDERR_FILENO, std::string(kErase) + text);
}

}  // namespace qvlctl
