// A folder of a test's own inside the build tree, and small helpers for the files in it.

#ifndef QVL_TESTS_SUPPORT_SCRATCH_FOLDER_H
#define QVL_TESTS_SUPPORT_SCRATCH_FOLDER_H

#include <stdlib.h>
#include <unistd.h>

#include <filesystem>
#include <fstream>
#include <iterator>
#include <stdexcept>
#include <string>

namespace QVL {
namespace Test {

inline void writeFile(const std::filesystem::path& path, const std::string& text) {
  std::ofstream file(path, std::ios::binary | std::ios::trunc);
  file << text;
  file.close();
  if (!file) throw std::runtime_error("cannot write " + path.string());
}

inline std::string readFile(const std::filesystem::path& path) {
  std::ifstream file(path, std::ios::binary);
  if (!file) throw std::runtime_error("cannot read " + path.string());
  return std::string(std::istreambuf_iterator<char>(file), std::istreambuf_iterator<char>());
}

// Made empty, removed with everything in it at the end of its life.
class ScratchFolder {
 public:
  ScratchFolder() {
    std::string name = QVL_TEST_HOME "/scratch-XXXXXX";
    if (!mkdtemp(name.data())) throw std::runtime_error("cannot make " + name);
    m_path = name;
  }

  ~ScratchFolder() {
    std::error_code ignored;
    std::filesystem::remove_all(m_path, ignored);
  }

  ScratchFolder(const ScratchFolder&) = delete;
  ScratchFolder& operator=(const ScratchFolder&) = delete;

  const std::filesystem::path& path() const { return m_path; }

  // The full name of something in the folder.
  std::string operator/(const std::string& name) const { return (m_path / name).string(); }

 private:
  std::filesystem::path m_path;
};

}  // namespace Test
}  // namespace QVL

#endif  // QVL_TESTS_SUPPORT_SCRATCH_FOLDER_H
