#include "walk/TreeWalk.h"

#include <dirent.h>
#include <fcntl.h>

#include <algorithm>
#include <cerrno>
#include <memory>
#include <string_view>
#include <utility>
#include <vector>

#include "io/FileDescriptor.h"
#include "walk/PseudoFileSystems.h"

namespace qvlctl {
namespace {

constexpr std::size_t kMaxOpenFolders = 64;
constexpr int kOpenFolder = O_RDONLY | O_DIRECTORY | O_NOFOLLOW | O_CLOEXEC;

// Is the error that of an entry that has gone, or has become something else than a folder?
bool hasChanged(int error) {
  return error == ENOENT || error == ENOTDIR || error == ELOOP;
}

class Walk {
 public:
  Walk(std::string root, const WalkOptions& options, TreeVisitor& visitor)
      : m_options(options), m_visitor(visitor), m_path(std::move(root)) {}

  bool run() {
    FileDescriptor root(::open(m_path.c_str(), kOpenFolder));
    if (!root) {
      fail(errno);
      return false;
    }
    if (!enter(std::move(root))) return false;
    while (!m_folders.empty()) {
      Folder& folder = m_folders.back();
      if (folder.subfolders.empty()) {
        leave();
      } else {
        const std::string name = std::move(folder.subfolders.back());
        folder.subfolders.pop_back();
        descend(name);
      }
    }
    return true;
  }

 private:
  // A folder on the way from the root to where the walk is.
  struct Folder {
    FileDescriptor descriptor;  // closed while the walk is far below
    dev_t device;
    ino_t inode;
    std::size_t pathLength;
    std::vector<std::string> subfolders;  // still to be walked
  };

  // Puts the length of the path back at the end of its life.
  class Below {
   public:
    Below(std::string& path, std::string_view name) : m_path(path), m_length(path.size()) {
      if (m_path.back() != '/') m_path += '/';
      m_path += name;
    }
    ~Below() { m_path.resize(m_length); }
    Below(const Below&) = delete;
    Below& operator=(const Below&) = delete;

   private:
    std::string& m_path;
    const std::size_t m_length;
  };

  void descend(const std::string& name) {
    const std::size_t length = m_path.size();
    if (m_path.back() != '/') m_path += '/';
    m_path += name;
    FileDescriptor folder(::openat(m_folders.back().descriptor.get(), name.c_str(), kOpenFolder));
    const int error = errno;
    if (!folder && !hasChanged(error)) fail(error);
    if (!folder || !enter(std::move(folder))) m_path.resize(length);
  }

  // Makes the open folder at m_path the current one, its files told; false when it is left out.
  bool enter(FileDescriptor descriptor) {
    struct stat status;
    if (::fstat(descriptor.get(), &status) != 0) {
      fail(errno);
      return false;
    }
    if (m_options.oneFileSystem && !m_folders.empty() &&
        status.st_dev != m_folders.front().device) {
      return false;
    }
    if (!m_folders.empty() && status.st_dev != m_folders.back().device &&
        !m_options.pseudoFileSystems) {
      if (const auto name = pseudoFileSystemOf(descriptor.get())) {
        m_visitor.leftOut(m_path, *name);
        return false;
      }
    }
    // A file system mounted inside itself would never end.
    const bool isCycle = std::any_of(m_folders.begin(), m_folders.end(), [&](const Folder& folder) {
      return folder.device == status.st_dev && folder.inode == status.st_ino;
    });
    if (isCycle) {
      fail(ELOOP);
      return false;
    }

    m_folders.push_back({std::move(descriptor), status.st_dev, status.st_ino, m_path.size(), {}});
    if (m_folders.size() > kMaxOpenFolders) {
      m_folders[m_folders.size() - 1 - kMaxOpenFolders].descriptor.close();
    }
    m_visitor.folderBegins(m_path);
    readEntries(m_folders.back());
    m_visitor.folderRead(m_folders.back().subfolders.size());
    return true;
  }

  void readEntries(Folder& folder) {
    // The stream takes over the descriptor that it is given.
    const int duplicate = ::fcntl(folder.descriptor.get(), F_DUPFD_CLOEXEC, 0);
    const std::unique_ptr<DIR, int (*)(DIR*)> stream(
        duplicate < 0 ? nullptr : ::fdopendir(duplicate), &::closedir);
    if (!stream) {
      fail(errno);
      if (duplicate >= 0) ::close(duplicate);
      return;
    }
    for (;;) {
      errno = 0;
      const dirent* const entry = ::readdir(stream.get());
      if (entry == nullptr) break;
      const std::string_view name = entry->d_name;
      if (name == "." || name == "..") continue;
      if (entry->d_type == DT_DIR) {
        folder.subfolders.emplace_back(name);
      } else if (entry->d_type == DT_REG || entry->d_type == DT_UNKNOWN) {
        examine(folder, name);
      }
    }
    if (errno != 0 && !hasChanged(errno)) fail(errno);
    // Taken from the end, so that they are walked in the order of their names.
    std::sort(folder.subfolders.rbegin(), folder.subfolders.rend());
  }

  void examine(Folder& folder, std::string_view name) {
    const Below below(m_path, name);
    struct stat status;
    if (::fstatat(folder.descriptor.get(), name.data(), &status, AT_SYMLINK_NOFOLLOW) != 0) {
      if (!hasChanged(errno)) fail(errno);
    } else if (S_ISDIR(status.st_mode)) {
      folder.subfolders.emplace_back(name);
    } else if (S_ISREG(status.st_mode)) {
      m_visitor.file(m_path, status);
    }
  }

  void leave() {
    m_visitor.folderEnds(m_path);
    const FileDescriptor left = std::move(m_folders.back().descriptor);
    m_folders.pop_back();
    if (m_folders.empty()) return;
    Folder& folder = m_folders.back();
    m_path.resize(folder.pathLength);
    if (!folder.descriptor) reopen(folder, left);
  }

  // Goes back up from `below`, or along the path when that has been moved away. Either may lead to
  // some other folder by now; then the subfolders that have not been walked are out of reach.
  void reopen(Folder& folder, const FileDescriptor& below) {
    folder.descriptor = FileDescriptor(::openat(below.get(), "..", kOpenFolder));
    if (isOpenOn(folder)) return;
    folder.descriptor = FileDescriptor(::open(m_path.c_str(), kOpenFolder));
    if (isOpenOn(folder)) return;
    folder.descriptor.close();
    folder.subfolders.clear();
    fail(ESTALE);
  }

  static bool isOpenOn(const Folder& folder) {
    struct stat status;
    return folder.descriptor && ::fstat(folder.descriptor.get(), &status) == 0 &&
           status.st_dev == folder.device && status.st_ino == folder.inode;
  }

  void fail(int error) { m_visitor.unreadable(m_path, error); }

  const WalkOptions& m_options;
  TreeVisitor& m_visitor;
  std::string m_path;
  std::vector<Folder> m_folders;
};

}  // namespace

bool walkTree(const std::string& root, const WalkOptions& options, TreeVisitor& visitor) {
  return Walk(root, options, visitor).run();
}

}  // namespace qvlctl
