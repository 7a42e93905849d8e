// What tests of the policy library share.

#ifndef TESTS_QVLPOLICY_POLICIES_H
#define TESTS_QVLPOLICY_POLICIES_H

#include <gtest/gtest.h>
#include <qvlpolicy/Policy.h>
#include <unistd.h>

#include <filesystem>
#include <fstream>
#include <string>

namespace qvlpolicy {

// A policy with `inside` from line 2 on.
inline std::string policy(const std::string& inside) {
  return "<exclusion-policy version=\"1\">\n" + inside + "\n</exclusion-policy>\n";
}

inline std::string folderSet(unsigned int number, const std::string& rule) {
  return "<data-set number=\"" + std::to_string(number) + "\" kind=\"folder\"><rule>" + rule +
         "</rule></data-set>\n";
}

// All errors, one a line.
inline std::string errorsOf(const Loaded& loaded) {
  std::string text;
  for (const Problem& error : loaded.errors) text += inWords(error) + '\n';
  return text;
}

// A folder of its own for each test.
class FolderOfPolicies : public testing::Test {
 protected:
  FolderOfPolicies()
      : m_folder(std::filesystem::path(QVLPOLICY_SCRATCH) / std::to_string(::getpid())) {
    std::filesystem::create_directories(m_folder);
  }
  ~FolderOfPolicies() override { std::filesystem::remove_all(m_folder); }

  std::string path(const std::string& name) const { return (m_folder / name).string(); }

  void write(const std::string& name, const std::string& text) const {
    std::filesystem::create_directories((m_folder / name).parent_path());
    std::ofstream(m_folder / name, std::ios::binary | std::ios::trunc) << text;
  }

  Loaded load(const std::string& name, const LoadOptions& options = {}) const {
    return Policy::load(path(name), options);
  }

 private:
  const std::filesystem::path m_folder;
};

}  // namespace qvlpolicy

#endif  // TESTS_QVLPOLICY_POLICIES_H
