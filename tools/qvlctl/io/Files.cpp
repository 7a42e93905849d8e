#include "io/Files.h"

#include <fcntl.h>
#include <sys/stat.h>

#include <cerrno>
#include <cstdlib>
#include <memory>
#include <string_view>
#include <system_error>

#include "fmt/format.h"
#include "io/FileDescriptor.h"
#include "io/Output.h"
#include "io/Trouble.h"

namespace qvlctl {
namespace {

// As many as a policy may have; a device without end has more than there is memory.
constexpr std::size_t kMostBytes = std::size_t{512} << 20;

[[noreturn]] void fail(const char* operation, const std::string& file) {
  const std::string reason = errorText(errno);
  throw Trouble(fmt::format("cannot {} {}: {}", operation,
                            file.empty() ? inQuotes(file) : escaped(file), reason));
}

// A temporary file beside `target`; removed unless it has taken the target's place.
class ReplacementFile {
 public:
  explicit ReplacementFile(std::string target)
      : m_target(std::move(target)), m_name(m_target + ".XXXXXX") {
    m_file = FileDescriptor(::mkstemp(m_name.data()));
    if (!m_file) fail("create a temporary file beside", m_target);
  }

  ~ReplacementFile() {
    if (!m_placed) ::unlink(m_name.c_str());
  }

  ReplacementFile(const ReplacementFile&) = delete;
  ReplacementFile& operator=(const ReplacementFile&) = delete;

  void takeOwnerAndModeOf(const struct stat& status) {
    if (::fchown(m_file.get(), status.st_uid, status.st_gid) != 0) {
      fail("keep the owner of", m_target);
    }
    if (::fchmod(m_file.get(), status.st_mode & 07777) != 0) fail("keep the mode of", m_target);
  }

  void write(std::string_view content) {
    if (!writeAll(m_file.get(), content)) fail("write", m_name);
    if (::fsync(m_file.get()) != 0) fail("write", m_name);
  }

  void replaceTarget() {
    if (::rename(m_name.c_str(), m_target.c_str()) != 0) fail("replace", m_target);
    m_placed = true;
  }

 private:
  const std::string m_target;
  std::string m_name;
  FileDescriptor m_file;
  bool m_placed = false;
};

// Makes a rename in the folder of `file` last.
void syncFolderOf(const std::string& file) {
  const std::string folder = file.substr(0, file.rfind('/') + 1);
  const FileDescriptor descriptor(::open(folder.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC));
  if (!descriptor || ::fsync(descriptor.get()) != 0) fail("sync the folder", folder);
}

std::string readAll(int descriptor, const std::string& name) {
  std::string content;
  char buffer[65536];
  for (;;) {
    const ssize_t count = ::read(descriptor, buffer, sizeof buffer);
    if (count == 0) return content;
    if (count > 0) {
      content.append(buffer, static_cast<std::size_t>(count));
      if (content.size() <= kMostBytes) continue;
      throw Trouble(fmt::format("{}: expected at most {} bytes; found more", escaped(name),
                                grouped(kMostBytes)));
    } else if (errno != EINTR) {
      fail("read", name);
    }
  }
}

}  // namespace

std::string readFile(const std::string& file) {
  const FileDescriptor descriptor(::open(file.c_str(), O_RDONLY | O_CLOEXEC));
  if (!descriptor) fail("read", file);
  return readAll(descriptor.get(), file);
}

std::string readStandardInput() {
  return readAll(STDIN_FILENO, "standard input");
}

void replaceFile(const std::string& file, const std::string& content) {
  const std::string target = realPath(file);
  struct stat status;
  if (::stat(target.c_str(), &status) != 0) fail("examine", target);
  ReplacementFile replacement(target);
  replacement.write(content);
  replacement.takeOwnerAndModeOf(status);
  replacement.replaceTarget();
  syncFolderOf(target);
}

std::string realPath(const std::string& file) {
  const std::optional<std::string> path = findRealPath(file);
  if (!path) fail("read", file);
  return *path;
}

std::optional<std::string> findRealPath(const std::string& file) {
  const std::unique_ptr<char, decltype(&std::free)> path(::realpath(file.c_str(), nullptr),
                                                         &std::free);
  if (!path) return std::nullopt;
  return path.get();
}

std::string errorText(int error) {
  return std::generic_category().message(error);
}

}  // namespace qvlctl
