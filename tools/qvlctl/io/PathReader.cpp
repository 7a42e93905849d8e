#include "io/PathReader.h"

#include <unistd.h>

#include <cerrno>
#include <utility>

#include "fmt/format.h"
#include "io/Files.h"
#include "io/Output.h"
#include "io/Trouble.h"

namespace qvlctl {

PathReader::PathReader(int descriptor, char separator, std::function<void()> beforeWaiting,
                       std::string source, std::string hint)
    : m_descriptor(descriptor),
      m_separator(separator),
      m_beforeWaiting(std::move(beforeWaiting)),
      m_source(std::move(source)),
      m_hint(std::move(hint)) {}

bool PathReader::next(std::string_view& text) {
  for (;;) {
    const std::size_t end = m_buffer.find(m_separator, m_scanned);
    text = std::string_view(m_buffer).substr(m_start, end - m_start);
    check(text);
    if (end != std::string::npos) {
      m_start = m_scanned = end + 1;
      ++m_count;
      return true;
    }
    m_scanned = m_buffer.size();
    if (readMore()) continue;
    if (m_start == m_buffer.size()) return false;
    text = std::string_view(m_buffer).substr(m_start);
    m_start = m_scanned = m_buffer.size();
    ++m_count;
    return true;
  }
}

void PathReader::check(std::string_view part) {
  if (m_separator != '\0' && part.find('\0') != std::string_view::npos) {
    refuse("expected a text that ends in a line break; found a zero byte" + m_hint);
  }
  if (part.size() > kLongest) {
    refuse(
        fmt::format("expected at most {} bytes, more than any path has; found more, which "
                    "begin {}",
                    grouped(kLongest), inQuotes(part.substr(0, 60))));
  }
}

void PathReader::refuse(const std::string& reason) {
  m_beforeWaiting();
  throw Trouble(fmt::format("{}:{}: {}", escaped(m_source), m_count + 1, reason));
}

bool PathReader::readMore() {
  m_beforeWaiting();
  m_buffer.erase(0, m_start);
  m_scanned -= m_start;
  m_start = 0;

  constexpr std::size_t kBlock = 65536;
  const std::size_t held = m_buffer.size();
  m_buffer.resize(held + kBlock);
  ssize_t count;
  do {
    count = ::read(m_descriptor, m_buffer.data() + held, kBlock);
  } while (count < 0 && errno == EINTR);
  if (count < 0) {
    throw Trouble(fmt::format("cannot read {}: {}", escaped(m_source), errorText(errno)));
  }
  m_buffer.resize(held + static_cast<std::size_t>(count));
  return count > 0;
}

}  // namespace qvlctl
