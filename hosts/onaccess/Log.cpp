#include "Log.h"

#include <poll.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstdlib>

#include "fmt/format.h"

namespace onaccess {
namespace {

void writeAll(int descriptor, std::string_view text) {
  while (!text.empty()) {
    const ssize_t count = ::write(descriptor, text.data(), text.size());
    if (count >= 0) {
      text.remove_prefix(static_cast<std::size_t>(count));
    } else if (errno == EAGAIN) {
      pollfd waited = {descriptor, POLLOUT, 0};
      ::poll(&waited, 1, -1);
    } else if (errno != EINTR) {
      return;
    }
  }
}

}  // namespace

Log::Log(int descriptor, bool withLevels)
    : m_descriptor(descriptor), m_withLevels(withLevels), m_thread([this] { write(); }) {}

Log::~Log() {
  {
    std::unique_lock<std::mutex> lock(m_mutex);
    m_isEnding = true;
    m_changed.notify_all();
    m_changed.wait_for(lock, std::chrono::seconds(1), [this] { return m_hasEnded; });
    if (!m_hasEnded) ::_exit(1);  // nobody reads the log: its thread cannot be ended otherwise
  }
  m_thread.join();
}

void Log::say(Level level, const std::string& text) {
  const std::string lines = inLines(level, m_withLevels, text);
  const std::lock_guard<std::mutex> lock(m_mutex);
  if (m_lines.size() >= kQueue) {
    ++m_dropped;
    return;
  }
  m_lines.push_back(lines);
  m_changed.notify_all();
}

void Log::saySparingly(Level level, const std::string& text) {
  {
    const std::lock_guard<std::mutex> lock(m_mutex);
    const Time now = Clock::now();
    if (now - m_second >= std::chrono::seconds(1)) {
      m_second = now;
      m_saidInSecond = 0;
    }
    if (++m_saidInSecond > kPerSecond) {
      ++m_dropped;
      return;
    }
  }
  say(level, text);
}

void Log::write() {
  std::unique_lock<std::mutex> lock(m_mutex);
  for (;;) {
    m_changed.wait(lock, [this] { return m_isEnding || !m_lines.empty(); });
    if (m_lines.empty()) break;
    const std::string line = std::move(m_lines.front());
    m_lines.pop_front();
    lock.unlock();
    writeAll(m_descriptor, line);
    lock.lock();
  }
  m_hasEnded = true;
  m_changed.notify_all();
}

std::string inLines(Level level, bool withLevel, std::string_view text) {
  const std::string prefix = withLevel ? fmt::format("<{}>", static_cast<int>(level)) : "";
  std::string lines;
  do {
    const std::size_t end = std::min(text.find('\n'), text.size());
    lines += prefix;
    lines += text.substr(0, end);
    lines += '\n';
    text.remove_prefix(std::min(end + 1, text.size()));
  } while (!text.empty());
  return lines;
}

bool isReadByJournal() {
  return std::getenv("JOURNAL_STREAM") != nullptr;
}

std::string quoted(std::string_view text) {
  std::string result = "\"";
  for (const char c : text) {
    if (c < ' ' || c > '~') {
      result += fmt::format("\\x{:02X}", static_cast<unsigned char>(c));
    } else {
      if (c == '"' || c == '\\') result += '\\';
      result += c;
    }
  }
  return result + '"';
}

}  // namespace onaccess
