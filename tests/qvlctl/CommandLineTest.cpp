// The command line itself.

#include <gmock/gmock.h>
#include <unistd.h>

#include <string>
#include <vector>

#include "Program.h"

namespace QVL {
namespace Test {
namespace {

using testing::HasSubstr;
using CommandLine = ProgramTest;

TEST_F(CommandLine, TellsItsVersion) {
  EXPECT_EQ(run({"--version"}), (Result{0, "qvlctl " QVLCTL_VERSION "\n", ""}));
}

TEST_F(CommandLine, HelpsWithEveryCommand) {
  EXPECT_EQ(
      run({"--help"}),
      (Result{0,
              "Asks an exclusion policy what an on-access scanner would ask: may this file "
              "access go\n"
              "unscanned? A policy is an XML file of exclusion rules; docs/policy-format.md "
              "describes it.\n"
              "Usage: qvlctl [OPTIONS] [COMMAND]\n"
              "\n"
              "Options:\n"
              "  --version               Print the version and exit\n"
              "  -h,--help               Print this help and exit\n"
              "\n"
              "Commands:\n"
              "  lookup                  Ask about single files: excluded, or scanned?\n"
              "  explain                 Tell why files are excluded or scanned: which rule did "
              "it?\n"
              "  diff                    Compare two policies: which files would newly go "
              "unscanned?\n"
              "  test                    Check a policy against a file of expected answers\n"
              "  lint                    Look for rules that are too broad, never match, or "
              "mean something else\n"
              "  audit                   Walk folders: which files and how many bytes would go "
              "unscanned?\n"
              "  inventory               List files as qvl-fleet reads them: path, size, times\n"
              "  trace-level             Show or set how much the library's trace file tells\n"
              "\n"
              "`qvlctl COMMAND --help` tells more about a command.\n",
              ""}));
  for (const char* const command :
       {"lookup", "explain", "diff", "test", "lint", "audit", "inventory", "trace-level"}) {
    const Result help = run({command, "--help"});
    EXPECT_EQ(help.status, 0);
    EXPECT_EQ(help.err, "");
    EXPECT_THAT(help.out, HasSubstr(std::string("Usage: qvlctl ") + command));
    EXPECT_THAT(help.out, HasSubstr("Exit status: 0"));
  }
}

TEST_F(CommandLine, HelpThatCannotBeWrittenIsTrouble) {
  if (::access("/dev/full", W_OK) != 0) GTEST_SKIP() << "this system has no /dev/full";
  Circumstances circumstances;
  circumstances.program = "/bin/sh";
  for (const char* const arguments : {"--help", "--version", "audit --help"}) {
    const std::string command = std::string("exec \"$0\" ") + arguments + " >/dev/full";
    EXPECT_EQ(run({"-c", command, QVLCTL}, circumstances),
              (Result{2, "", "qvlctl: cannot write to standard output: No space left on device\n"}))
        << arguments;
  }
}

TEST_F(CommandLine, HelpFitsATerminal) {
  for (const char* const command :
       {"lookup", "explain", "diff", "test", "lint", "audit", "inventory", "trace-level"}) {
    const std::string help = run({command, "--help"}).out;
    for (std::size_t start = 0, end; (end = help.find('\n', start)) != std::string::npos;
         start = end + 1) {
      const std::string line = help.substr(start, end - start);
      // A path has no place to break.
      if (line.find(QVL_TEST_HOME) == std::string::npos) {
        EXPECT_LE(line.size(), 92u) << line;
      }
    }
  }
}

TEST_F(CommandLine, MistakesAreTroubleAndNameTheHelp) {
  const struct {
    std::vector<std::string> arguments;
    const char* error;
  } rows[] = {
      {{},
       "qvlctl: expected a command: lookup, explain, diff, test, lint, audit, inventory or "
       "trace-level\nTry "
       "`qvlctl "
       "--help`.\n"},
      {{"ask"},
       "qvlctl: expected a command: lookup, explain, diff, test, lint, audit, inventory or "
       "trace-level. The "
       "following "
       "argument "
       "was not "
       "expected: ask\nTry `qvlctl --help`.\n"},
      {{"lookup", "/a"}, "qvlctl: --policy is required\nTry `qvlctl lookup --help`.\n"},
      {{"lookup", "--policy"},
       "qvlctl: --policy: 1 required FILE missing\nTry `qvlctl lookup --help`.\n"},
      {{"audit", "-p", "p.xml"}, "qvlctl: DIR is required\nTry `qvlctl audit --help`.\n"},
      {{"audit", "-p", "p.xml", "--top", "few", "."},
       "qvlctl: --top: expected a whole number; found \"few\"\nTry `qvlctl audit --help`.\n"},
      {{"lookup", "-p", "p.xml", "--access", "reed"},
       "qvlctl: --access: expected read, write, any or a whole number from 0 to 4294967295; found "
       "\"reed\"\nTry `qvlctl lookup --help`.\n"},
      {{"test", "-p", "p.xml", "--format", "xml", "c"},
       "qvlctl: --format: expected text, tap, junit or json; found \"xml\"\nTry `qvlctl test "
       "--help`.\n"},
      {{"diff", "-p", "p.xml"}, "qvlctl: --with is required\nTry `qvlctl diff --help`.\n"},
      {{"trace-level", "-1"},
       "qvlctl: LEVEL: expected a whole number from 0 to 2147483647; found \"-1\"\nTry `qvlctl "
       "trace-level --help`.\n"},
      {{"trace-level", "loud"},
       "qvlctl: LEVEL: expected a whole number from 0 to 2147483647; found \"loud\"\nTry `qvlctl "
       "trace-level --help`.\n"},
  };
  for (const auto& row : rows) {
    EXPECT_EQ(run(row.arguments), (Result{2, "", row.error}));
  }
}

}  // namespace
}  // namespace Test
}  // namespace QVL
