// Runs the real program in a folder of its own.

#ifndef QVL_TESTS_QVLCTL_PROGRAM_H
#define QVL_TESTS_QVLCTL_PROGRAM_H

#include <gtest/gtest.h>

#include <string>
#include <vector>

namespace QVL {
namespace Test {

// What a program left behind. Compares and prints whole.
struct Result {
  int status = -1;  // exit status; 128 and more: killed by a signal
  std::string out;
  std::string err;

  bool operator==(const Result& other) const {
    return status == other.status && out == other.out && err == other.err;
  }
};

void PrintTo(const Result& result, std::ostream* stream);

// How a program is run.
struct Circumstances {
  std::string program = QVLCTL;
  std::string input;
  bool bySuperuserWithoutPrivileges = false;  // Linux: file permissions bind the superuser too
  bool errorsOnTerminal = false;              // standard error is a terminal, 80 columns wide
  bool outputOnTerminal = false;              // standard output is a terminal that knows colours
};

// A test with an empty folder below the build tree, in which programs are run.
class ProgramTest : public testing::Test {
 protected:
  ProgramTest();
  ~ProgramTest() override;

  Result run(const std::vector<std::string>& arguments,
             const Circumstances& circumstances = Circumstances()) const;

  // The folder, an absolute path without symbolic links.
  const std::string& folder() const { return m_folder; }
  std::string path(const std::string& name) const { return m_folder + '/' + name; }

  // Writes a file, the folders on its way included; its path is relative to the folder.
  void write(const std::string& name, const std::string& content) const;
  std::string read(const std::string& name) const;

  // Has the system pseudo terminals?
  static bool hasTerminals();

  // An expected output that is kept in a file beside the tests.
  static std::string golden(const std::string& name);

 private:
  std::string m_folder;
};

}  // namespace Test
}  // namespace QVL

#endif  // QVL_TESTS_QVLCTL_PROGRAM_H
