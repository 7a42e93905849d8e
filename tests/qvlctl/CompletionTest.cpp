// What shells offer to complete.

#include <string>
#include <vector>

#include "Program.h"

namespace QVL {
namespace Test {
namespace {

class Completion : public ProgramTest {
 protected:
  // What bash offers at the end of these words, one a line.
  Result complete(const std::vector<std::string>& words) const {
    std::vector<std::string> arguments = {
        "bash",
        "-c",
        "source \"$1\"; program=$2; shift 2; COMP_WORDS=(qvlctl \"$@\"); COMP_CWORD=$#; "
        "_qvlctl \"$program\"; printf '%s\\n' \"${COMPREPLY[@]}\"",
        "bash",
        QVL_SOURCE_DIR "/tools/qvlctl/completion/qvlctl.bash",
        QVLCTL};
    arguments.insert(arguments.end(), words.begin(), words.end());
    Circumstances circumstances;
    circumstances.program = "/usr/bin/env";
    return run(arguments, circumstances);
  }
};

TEST_F(Completion, OffersCommands) {
  EXPECT_EQ(complete({"l"}), (Result{0, "lookup\nlint\n", ""}));
  EXPECT_EQ(complete({"ex"}), (Result{0, "explain\n", ""}));
  EXPECT_EQ(complete({"--v"}), (Result{0, "--version\n", ""}));
  EXPECT_EQ(complete({"nothing"}), (Result{0, "\n", ""}));
}

TEST_F(Completion, OffersTheOptionsOfTheCommand) {
  EXPECT_EQ(
      complete({"lookup", "--"}),
      (Result{
          0, "--help\n--policy\n--process\n--access\n--trace\n--format\n--null\n--quiet\n--color\n",
          ""}));
  EXPECT_EQ(complete({"diff", "--w"}), (Result{0, "--with\n", ""}));
  EXPECT_EQ(complete({"audit", "--o"}), (Result{0, "--one-file-system\n", ""}));
}

TEST_F(Completion, OffersTheValuesOfOptions) {
  EXPECT_EQ(complete({"lookup", "--access", "w"}), (Result{0, "write\n", ""}));
  EXPECT_EQ(complete({"lookup", "--format", ""}), (Result{0, "text\njson\n", ""}));
  EXPECT_EQ(complete({"test", "--format", ""}), (Result{0, "text\ntap\njunit\njson\n", ""}));
  EXPECT_EQ(complete({"lint", "--platform", "m"}), (Result{0, "macos\n", ""}));
  EXPECT_EQ(complete({"lint", "--platform", ""}), (Result{0, "linux\nmacos\nauto\n", ""}));
  EXPECT_EQ(complete({"init", "--platform", ""}), (Result{0, "linux\nmacos\n", ""}));
  EXPECT_EQ(complete({"audit", "--color", "a"}), (Result{0, "auto\nalways\n", ""}));
  EXPECT_EQ(complete({"diff", "--fail-on", "newly-s"}),
            (Result{0, "newly-skipped\nnewly-scanned\n", ""}));
  EXPECT_EQ(complete({"import", "--from", "g"}), (Result{0, "globs\ngitignore\n", ""}));
  EXPECT_EQ(complete({"trace-level", ""}), (Result{0, "0\n1\n4\n5\n", ""}));
}

TEST_F(Completion, OffersFilesAndFolders) {
  write("a policy.xml", "");
  write("a folder/x", "");
  EXPECT_EQ(complete({"lookup", "-p", "a p"}), (Result{0, "a policy.xml\n", ""}));
  EXPECT_EQ(complete({"lookup", "a p"}), (Result{0, "a policy.xml\n", ""}));
  EXPECT_EQ(complete({"audit", "a"}), (Result{0, "a folder\n", ""}));
}

}  // namespace
}  // namespace Test
}  // namespace QVL
