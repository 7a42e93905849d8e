// qvlctl lookup

#include <unistd.h>

#include <string>
#include <vector>

#include "Program.h"

namespace QVL {
namespace Test {
namespace {

class Lookup : public ProgramTest {
 protected:
  void SetUp() override {
    write("policy.xml",
          "<exclusion-policy version='1'><logic>1</logic>"
          "<data-set number='1' kind='folder'><rule>/skip/</rule></data-set>"
          "</exclusion-policy>");
  }

  Result lookup(std::vector<std::string> arguments, const std::string& input = "") const {
    arguments.insert(arguments.begin(), {"lookup", "-p", "policy.xml"});
    Circumstances circumstances;
    circumstances.input = input;
    return run(arguments, circumstances);
  }
};

TEST_F(Lookup, ExitStatusTellsWhetherAnyPathIsExcluded) {
  EXPECT_EQ(lookup({"/skip/a"}), (Result{0, "excluded  1        /skip/a\n", ""}));
  EXPECT_EQ(lookup({"/a"}), (Result{1, "scan      -        /a\n", ""}));
  EXPECT_EQ(lookup({"/a", "/skip/a", "/b"}), (Result{0,
                                                     "scan      -        /a\n"
                                                     "excluded  1        /skip/a\n"
                                                     "scan      -        /b\n",
                                                     ""}));
}

TEST_F(Lookup, ReadsPathsFromStandardInput) {
  EXPECT_EQ(lookup({}, "/skip/a\n/b\n"), (Result{0,
                                                 "excluded  1        /skip/a\n"
                                                 "scan      -        /b\n",
                                                 ""}));
  EXPECT_EQ(lookup({"-"}, "/skip/last line without end"),
            (Result{0, "excluded  1        /skip/last line without end\n", ""}));
  EXPECT_EQ(lookup({}, ""), (Result{1, "", ""}));
  EXPECT_EQ(lookup({"/a", "-", "/c"}, "/b\n"), (Result{1,
                                                       "scan      -        /a\n"
                                                       "scan      -        /b\n"
                                                       "scan      -        /c\n",
                                                       ""}));
}

TEST_F(Lookup, AnEmptyLineIsAnEmptyPath) {
  EXPECT_EQ(lookup({}, "\n"), (Result{1, "scan      -        \n", ""}));
}

TEST_F(Lookup, ReadsZeroSeparatedPaths) {
  EXPECT_EQ(lookup({"-0"}, std::string("/skip/a\nb\0/c\0", 13)),
            (Result{0,
                    "excluded  1        /skip/a\\nb\n"
                    "scan      -        /c\n",
                    ""}));
}

TEST_F(Lookup, ReadsLinesLongerThanAnyBuffer) {
  const std::string shortPath = "/skip/a\n";
  const std::string longPath = "/skip/" + std::string(200000, 'x');
  std::string input, expected;
  for (int i = 0; i < 20000; ++i) {
    input += shortPath;
    expected += "excluded  1        /skip/a\n";
  }
  EXPECT_EQ(
      lookup({}, input + longPath + '\n' + shortPath),
      (Result{0, expected + "excluded  1        " + longPath + "\nexcluded  1        /skip/a\n",
              ""}));
}

TEST_F(Lookup, ShowsUnprintableBytesEscaped) {
  const struct {
    const char* path;
    const char* shown;
  } rows[] = {
      {"/\xc3\xa9 \xe2\x82\xac \xf0\x9f\x93\x81", "/\xc3\xa9 \xe2\x82\xac \xf0\x9f\x93\x81"},
      {"/a\\b", "/a\\\\b"},
      {"/\t\r\x1b[31m\x7f", "/\\t\\r\\x1B[31m\\x7F"},
      {"/\xff\xc3", "/\\xFF\\xC3"},
      {"/\xc0\xaf\xe0\x80\xaf", "/\\xC0\\xAF\\xE0\\x80\\xAF"},  // overlong
      {"/\xed\xa0\x80", "/\\xED\\xA0\\x80"},                    // a surrogate
      {"/\xf4\x90\x80\x80", "/\\xF4\\x90\\x80\\x80"},           // beyond the last character
      {"/\xc2\x85", "/\\xC2\\x85"},                             // a control character
  };
  for (const auto& row : rows) {
    EXPECT_EQ(lookup({row.path}),
              (Result{1, std::string("scan      -        ") + row.shown + '\n', ""}));
  }
}

TEST_F(Lookup, PathsThatAreNotUtf8AreScanned) {
  EXPECT_EQ(lookup({"/skip/\xff"}), (Result{1, "scan      -        /skip/\\xFF\n", ""}));
}

// Lines where paths that end in a zero byte are expected are one path that nobody meant.
TEST_F(Lookup, TellsThatLinesAreNoPathsThatEndInAZeroByte) {
  EXPECT_EQ(lookup({"-0"}, "/a\n/b\n").err,
            "qvlctl: note: 1 path ends in a line break; with -0, only a zero byte ends a path\n");
  EXPECT_EQ(lookup({"-0"}, std::string("/a\0/b\nc\0", 9)).err, "");
  EXPECT_EQ(lookup({"-0"}, std::string("/a\n\0/b\n\0", 8)).err,
            "qvlctl: note: 2 paths end in a line break; with -0, only a zero byte ends a path\n");
}

TEST_F(Lookup, TellsThatRelativePathsAreNotWhatAScannerAsksFor) {
  const std::string rest =
      " not absolute; a scanner asks for full paths, and only rules that begin with a wildcard, "
      "and "
      "file types, can match anything else\n";
  EXPECT_EQ(lookup({"skip/a"}),
            (Result{1, "scan      -        skip/a\n", "qvlctl: note: 1 path is" + rest}));
  EXPECT_EQ(lookup({"a", "/b", "c"}).err, "qvlctl: note: 2 paths are" + rest);
}

TEST_F(Lookup, WritesALineOfJsonForEachPath) {
  EXPECT_EQ(
      lookup({"--format", "json"}, "/skip/\"a\\\t\xc3\xa9\n/skip/\xff\n\n"),
      (Result{0,
              "{\"path\":\"/skip/\\\"a\\\\\\t\xc3\xa9\",\"verdict\":\"excluded\",\"matched\":[1]}\n"
              "{\"path\":\"/skip/\\\\xFF\",\"pathHex\":\"2f736b69702fff\",\"verdict\":\"scan\","
              "\"matched\":[]}\n"
              "{\"path\":\"\",\"verdict\":\"scan\",\"matched\":[]}\n",
              ""}));
}

TEST_F(Lookup, ColoursAreForTerminalsOnly) {
  if (!hasTerminals()) GTEST_SKIP() << "this system has no pseudo terminals";
  Circumstances terminal;
  terminal.outputOnTerminal = true;
  EXPECT_EQ(run({"lookup", "-p", "policy.xml", "/skip/a", "/b"}, terminal),
            (Result{0,
                    "\x1b[33mexcluded\x1b[0m  1        /skip/a\r\n"
                    "scan      -        /b\r\n",
                    ""}));
  terminal.program = "/usr/bin/env";
  for (const char* const setting : {"NO_COLOR=1", "TERM=dumb"}) {
    EXPECT_EQ(run({setting, QVLCTL, "lookup", "-p", "policy.xml", "/skip/a"}, terminal),
              (Result{0, "excluded  1        /skip/a\r\n", ""}))
        << setting;
  }
}

TEST_F(Lookup, PathsMayBeginWithADash) {
  EXPECT_EQ(lookup({"--", "-x", "/skip/a"}).out,
            "scan      -        -x\nexcluded  1        /skip/a\n");
}

TEST_F(Lookup, AnEmptyValueBehindAnEqualSignIsTheValue) {
  EXPECT_EQ(lookup({"--process=", "/skip/a", "/b"}), (Result{0,
                                                             "excluded  1        /skip/a\n"
                                                             "scan      -        /b\n",
                                                             ""}));
  EXPECT_EQ(lookup({"--", "/a", "--process="}).out,
            "scan      -        /a\nscan      -        --process=\n");
  EXPECT_NE(lookup({"--access=", "read"}).err.find("found \"\""), std::string::npos);
}

TEST_F(Lookup, ALongListOfDataSetsMovesThePath) {
  std::string dataSets;
  std::string logic;
  std::string numbers;
  for (const char* const n : {"1", "2", "3", "4", "5"}) {
    dataSets +=
        std::string("<data-set number='") + n + "' kind='folder'><rule>/skip/</rule></data-set>";
    logic += std::string(logic.empty() ? "" : "&amp;") + n;
    numbers += std::string(numbers.empty() ? "" : ",") + n;
  }
  write("policy.xml", "<exclusion-policy version='1'><logic>" + logic + "</logic>" + dataSets +
                          "</exclusion-policy>");
  EXPECT_EQ(lookup({"/skip/a"}).out, "excluded  " + numbers + "  /skip/a\n");
}

TEST_F(Lookup, AFullDiskIsTrouble) {
  if (::access("/dev/full", W_OK) != 0) GTEST_SKIP() << "this system has no /dev/full";
  Circumstances circumstances;
  circumstances.program = "/bin/sh";
  EXPECT_EQ(
      run({"-c", "exec \"$0\" lookup -p policy.xml /skip/a > /dev/full", QVLCTL}, circumstances),
      (Result{2, "", "qvlctl: cannot write to standard output: No space left on device\n"}));
}

TEST_F(Lookup, AnotherWayToSeparatePathsIsGuessed) {
  Circumstances circumstances;
  circumstances.input = std::string("/skip/a\n/b\n/c\0/d\0", 17);
  EXPECT_EQ(run({"lookup", "-p", "policy.xml"}, circumstances),
            (Result{2, "excluded  1        /skip/a\nscan      -        /b\n",
                    "qvlctl: standard input:3: expected a text that ends in a line break; found a "
                    "zero byte; did you mean -0?\n"}));
}

TEST_F(Lookup, LinesLongerThanAnyPathAreRefused) {
  // The whole line would not fit into the memory that the program is given.
  Circumstances circumstances;
  circumstances.program = "/bin/sh";
  const std::string longLine = "(echo /skip/a; head -c 300000000 /dev/zero | tr '\\0' x)";
  const std::string limit = "ulimit -v 200000; ";
  EXPECT_EQ(run({"-c", longLine + " | (" + limit + "\"$0\" lookup -p policy.xml)", QVLCTL},
                circumstances),
            (Result{2, "excluded  1        /skip/a\n",
                    "qvlctl: standard input:2: expected at most 1,048,576 bytes, more than any "
                    "path has; found more, which begin \"" +
                        std::string(60, 'x') + "\"\n"}));

  const std::string longest = '/' + std::string((1 << 20) - 1, 'x');
  circumstances.program = QVLCTL;
  for (const char* const end : {"\n", ""}) {
    circumstances.input = longest + end;
    EXPECT_EQ(run({"lookup", "-p", "policy.xml"}, circumstances).status, 1);
    circumstances.input = longest + 'x' + end;
    EXPECT_EQ(run({"lookup", "-p", "policy.xml"}, circumstances).status, 2);
  }
  circumstances.input = longest + 'x' + std::string(1, '\0');
  EXPECT_EQ(run({"lookup", "-p", "policy.xml", "-0"}, circumstances).status, 2);
}

TEST_F(Lookup, UnreadableStandardInputIsTrouble) {
  Circumstances circumstances;
  circumstances.program = "/bin/sh";
  EXPECT_EQ(run({"-c", "exec \"$0\" lookup -p policy.xml < .", QVLCTL}, circumstances),
            (Result{2, "", "qvlctl: cannot read standard input: Is a directory\n"}));
}

}  // namespace
}  // namespace Test
}  // namespace QVL
