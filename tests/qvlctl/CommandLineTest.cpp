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
              "unscanned? A policy is an XML file of exclusion rules; qvl-policy(5) describes it.\n"
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
              "  show                    Print a policy as one file, with all it includes\n"
              "  init                    Write a commented policy to begin with\n"
              "  import                  Make a policy of a plain list: paths, globs or a "
              ".gitignore\n"
              "  fmt                     Print a policy in its canonical form, comments kept\n"
              "  trace-level             Show or set how much the library's trace file tells\n"
              "\n"
              "`qvlctl COMMAND --help` tells more about a command.\n",
              ""}));
  for (const char* const command : {"lookup", "explain", "diff", "test", "lint", "audit",
                                    "inventory", "show", "init", "import", "fmt", "trace-level"}) {
    const Result help = run({command, "--help"});
    EXPECT_EQ(help.status, 0);
    EXPECT_EQ(help.err, "");
    EXPECT_THAT(help.out, HasSubstr(std::string("Usage: qvlctl ") + command));
    EXPECT_THAT(help.out, HasSubstr("Exit status: 0"));
  }
}

TEST_F(CommandLine, GuessesWhatWasMeant) {
  const struct {
    std::vector<std::string> arguments;
    const char* meant;
  } rows[] = {
      {{"lokup", "-p", "p.xml"}, "lookup"},
      {{"adit", "-p", "p.xml"}, "audit"},
      {{"--verison"}, "--version"},
      {{"lookup", "--polcy", "p.xml"}, "--policy"},
      {{"lookup", "-p", "p.xml", "--acess=read"}, "--access"},
      {{"audit", "-p", "p.xml", ".", "--one-file-sytem"}, "--one-file-system"},
      {{"diff", "-p", "p.xml", "--wiht", "q.xml"}, "--with"},
      {{"lint", "p.xml"}, "--policy p.xml"},
      {{"diff", "--with", "new.xml", "p.xml"}, "--policy p.xml"},
  };
  for (const auto& row : rows) {
    const Result result = run(row.arguments);
    EXPECT_EQ(result.status, 2);
    EXPECT_THAT(result.err, HasSubstr(std::string("\nDid you mean ") + row.meant + "?\n"));
  }
  const std::vector<std::vector<std::string>> rowsFarFromAll = {
      {"frobnicate"}, {"x"}, {"lookup", "/a"}, {"audit", "--top", "p.xml"}};
  for (const std::vector<std::string>& far : rowsFarFromAll) {
    EXPECT_THAT(run(far).err, testing::Not(HasSubstr("Did you mean")));
  }
}

class QuietCommandLine : public ProgramTest {
 protected:
  void SetUp() override {
    write("policy.xml",
          "<exclusion-policy version='1'><logic>1|7</logic>"
          "<data-set number='1' kind='folder'><rule>/skip/</rule></data-set></exclusion-policy>");
  }
};

TEST_F(QuietCommandLine, LeavesOutNotesAndWarnings) {
  EXPECT_THAT(run({"lookup", "-p", "policy.xml", "skip/a"}).err,
              testing::AllOf(HasSubstr("warning: "), HasSubstr("note: ")));
  for (const char* const quiet : {"-q", "--quiet"}) {
    EXPECT_EQ(run({"lookup", quiet, "-p", "policy.xml", "skip/a"}),
              (Result{1, "scan      -        skip/a\n", ""}));
  }
  EXPECT_EQ(run({"lookup", "-q", "-p", "none.xml", "/a"}),
            (Result{2, "", "qvlctl: cannot read none.xml: No such file or directory\n"}));
  Circumstances terminal;
  terminal.errorsOnTerminal = true;
  EXPECT_EQ(run({"audit", "-q", "-p", "policy.xml", "."}, terminal).err, "");
}

TEST_F(QuietCommandLine, ColoursAreAsTheCommandLineSays) {
  const std::string coloured = "\x1b[33mexcluded\x1b[0m  1        /skip/a";
  const std::string plain = "excluded  1        /skip/a";
  const auto lookup = [&](const char* when, const Circumstances& circumstances) {
    return run({"lookup", "-q", "-p", "policy.xml", "--color", when, "/skip/a"}, circumstances).out;
  };
  Circumstances terminal;
  terminal.outputOnTerminal = true;
  EXPECT_EQ(lookup("auto", terminal), coloured + "\r\n");
  EXPECT_EQ(lookup("never", terminal), plain + "\r\n");
  EXPECT_EQ(lookup("auto", Circumstances()), plain + "\n");
  EXPECT_EQ(lookup("always", Circumstances()), coloured + "\n");
}

TEST_F(QuietCommandLine, ThePolicyMayComeFromStandardInput) {
  Circumstances circumstances;
  circumstances.input = read("policy.xml");
  EXPECT_EQ(run({"lookup", "-q", "-p", "-", "/skip/a"}, circumstances),
            (Result{0, "excluded  1        /skip/a\n", ""}));
  EXPECT_EQ(run({"lookup", "-p", "-", "/skip/a"}, circumstances).err,
            "qvlctl: warning: standard input:1:31: logic: there is no data set 7; it counts as not "
            "matching\n");
  EXPECT_THAT(run({"lint", "-p", "-"}, circumstances).out,
              HasSubstr("\nstandard input: 0 errors, 1 warning, "));
  EXPECT_EQ(run({"diff", "-p", "-", "--with", "-", "."}, circumstances),
            (Result{2, "",
                    "qvlctl: expected one policy on standard input; found --policy - and --with "
                    "-\n"}));
  EXPECT_EQ(run({"lookup", "-q", "-p", "-"}, circumstances),
            (Result{2, "",
                    "qvlctl: expected paths on the command line, since the policy is on standard "
                    "input\n"}));
  EXPECT_EQ(run({"test", "-q", "-p", "-", "-"}, circumstances),
            (Result{2, "",
                    "qvlctl: expected files of cases, since the policy is on standard input; found "
                    "-\n"}));
  Circumstances closed;
  closed.program = "/bin/sh";
  for (const char* const command : {"lookup -p - /a", "fmt -p -", "lookup -p policy.xml -"}) {
    EXPECT_EQ(run({"-c", std::string("exec \"$0\" ") + command + " -q <&-", QVLCTL}, closed),
              (Result{2, "", "qvlctl: cannot read standard input: Bad file descriptor\n"}))
        << command;
  }
  circumstances.input = "<exclusion-policy";
  EXPECT_THAT(run({"audit", "-p", "-", "."}, circumstances).err,
              HasSubstr("qvlctl: standard input:"));
}

TEST_F(CommandLine, EndsReadingADeviceWithoutEnd) {
  const std::string reason = ": expected at most 536,870,912 bytes; found more\n";
  EXPECT_EQ(run({"fmt", "-p", "/dev/zero"}), (Result{2, "", "qvlctl: /dev/zero" + reason}));
  write("old.json", "{}");
  EXPECT_EQ(run({"diff", "--audits", "/dev/zero", "old.json"}),
            (Result{2, "", "qvlctl: /dev/zero" + reason}));
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
  for (const char* const command : {"lookup", "explain", "diff", "test", "lint", "audit",
                                    "inventory", "show", "init", "import", "fmt", "trace-level"}) {
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
       "qvlctl: expected a command: lookup, explain, diff, test, lint, audit, inventory, show, "
       "init, import, fmt or trace-level\nTry `qvlctl --help`.\n"},
      {{"ask"},
       "qvlctl: expected a command: lookup, explain, diff, test, lint, audit, inventory, show, "
       "init, import, fmt or trace-level; found \"ask\"\nTry `qvlctl --help`.\n"},
      {{"lokup", "-p", "p.xml", "/a"},
       "qvlctl: expected a command: lookup, explain, diff, test, lint, audit, inventory, show, "
       "init, import, fmt or trace-level; found \"lokup\"\nDid you mean lookup?\nTry `qvlctl "
       "--help`.\n"},
      {{"lookup", "--polcy", "p.xml", "/a"},
       "qvlctl: expected an option of lookup; found \"--polcy\"\nDid you mean --policy?\nTry "
       "`qvlctl "
       "lookup --help`.\n"},
      {{"lookup", "-p", "p.xml", "-z", "/a"},
       "qvlctl: expected an option of lookup; found \"-z\"\nTry `qvlctl lookup --help`.\n"},
      {{"lint", "-p", "p.xml", "q.xml"},
       "qvlctl: expected nothing more; found \"q.xml\"\nTry `qvlctl lint --help`.\n"},
      {{"lookup", "-p", "p.xml", "-p", "q.xml"},
       "qvlctl: --policy: expected 1 value; found 2\nTry `qvlctl lookup --help`.\n"},
      {{"diff", "--audits", "a.json"},
       "qvlctl: --audits: expected 2 values; found 1\nTry `qvlctl diff --help`.\n"},
      {{"lookup", "/a"}, "qvlctl: --policy is required\nTry `qvlctl lookup --help`.\n"},
      {{"lookup", "--policy"},
       "qvlctl: --policy: expected 1 value; found none\nTry `qvlctl lookup --help`.\n"},
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
