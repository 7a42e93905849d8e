#include "io/Spool.h"

#include <cerrno>

#include "fmt/format.h"
#include "io/Files.h"
#include "io/Trouble.h"

namespace qvlctl {
namespace {

constexpr std::size_t kKeptInMemory = 1u << 20;

[[noreturn]] void fail() {
  throw Trouble(fmt::format("cannot use a temporary file: {}", errorText(errno)));
}

}  // namespace

void Spool::add(std::string_view text) {
  m_latest += text;
  if (m_latest.size() > kKeptInMemory) moveToFile();
}

void Spool::read(const std::function<void(std::string_view)>& take) {
  if (m_file) {
    std::rewind(m_file.get());
    char buffer[65536];
    for (std::size_t count; (count = std::fread(buffer, 1, sizeof buffer, m_file.get())) > 0;) {
      take({buffer, count});
    }
    if (std::ferror(m_file.get())) fail();
  }
  take(m_latest);
}

void Spool::moveToFile() {
  if (!m_file) m_file.reset(std::tmpfile());
  if (!m_file) fail();
  if (std::fwrite(m_latest.data(), 1, m_latest.size(), m_file.get()) != m_latest.size() ||
      std::fflush(m_file.get()) != 0) {
    fail();
  }
  m_latest.clear();
}

}  // namespace qvlctl
