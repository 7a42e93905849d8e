// qvlctl fmt and qvlctl init.

#include <gmock/gmock.h>

#include <string>

#include "Program.h"

namespace QVL {
namespace Test {
namespace {

using testing::HasSubstr;

using Fmt = ProgramTest;
using Init = ProgramTest;

constexpr const char* kLoose =
    "<exclusion-policy version='1'> <!-- why -->\n"
    "<logic>1</logic><data-set kind='folder' number='1' enabled='yes'>\n"
    "<rule>/a/</rule></data-set></exclusion-policy>\n";
constexpr const char* kCanonical =
    "<?xml version=\"1.0\" encoding=\"UTF-8\"?>\n"
    "<exclusion-policy version=\"1\"> <!-- why -->\n"
    "  <logic>1</logic>\n\n"
    "  <data-set number=\"1\" kind=\"folder\">\n"
    "    <rule>/a/</rule>\n"
    "  </data-set>\n"
    "</exclusion-policy>\n";

TEST_F(Fmt, PrintsChecksAndWrites) {
  write("p.xml", kLoose);
  EXPECT_EQ(run({"fmt", "-p", "p.xml"}), (Result{0, kCanonical, ""}));
  EXPECT_EQ(run({"fmt", "-p", "p.xml", "--check"}),
            (Result{1, "p.xml:1: not in canonical form\n", ""}));
  EXPECT_EQ(read("p.xml"), kLoose);
  EXPECT_EQ(run({"fmt", "-p", "p.xml", "--write"}), (Result{0, "", ""}));
  EXPECT_EQ(read("p.xml"), kCanonical);
  EXPECT_EQ(run({"fmt", "-p", "p.xml", "--check"}), (Result{0, "", ""}));
  Circumstances circumstances;
  circumstances.input = kLoose;
  EXPECT_EQ(run({"fmt", "-p", "-"}, circumstances), (Result{0, kCanonical, ""}));
}

TEST_F(Fmt, LeavesAFileAloneThatIsNoPolicy) {
  write("p.xml", "<exclusion-policy version='2'><logic>1</logic><rule/></exclusion-policy>");
  const Result result = run({"fmt", "-p", "p.xml", "--write"});
  EXPECT_EQ(result.status, 2);
  EXPECT_EQ(result.out, "");
  EXPECT_THAT(result.err, HasSubstr("qvlctl: p.xml:1:19: version: expected 1; found \"2\"\n"));
  EXPECT_THAT(result.err, HasSubstr("qvlctl: p.xml:1:47: unknown element <rule>"));
  EXPECT_EQ(read("p.xml"),
            "<exclusion-policy version='2'><logic>1</logic><rule/></exclusion-policy>");
}

TEST_F(Fmt, WantsOneWayAtATime) {
  write("p.xml", kLoose);
  EXPECT_EQ(run({"fmt", "-p", "p.xml", "--write", "--check"}),
            (Result{2, "", "qvlctl: expected --check or --write; found both\n"}));
  EXPECT_EQ(run({"fmt", "-p", "-", "--write"}),
            (Result{2, "", "qvlctl: expected a file to write to; found -\n"}));
  EXPECT_EQ(run({"fmt", "-p", "none.xml"}),
            (Result{2, "", "qvlctl: cannot read none.xml: No such file or directory\n"}));
}

TEST_F(Init, WritesAPolicyThatLintLikes) {
  for (const char* const platform : {"linux", "macos"}) {
    const std::string file = std::string(platform) + ".xml";
    EXPECT_EQ(run({"init", "--platform", platform, file}), (Result{0, "", ""}));
    EXPECT_EQ(run({"init", "--platform", platform}), (Result{0, read(file), ""}));
    EXPECT_EQ(run({"lint", "-p", file, "--platform", platform}),
              (Result{0, file + ": 0 errors, 0 warnings, 0 notes, on " + platform + "\n", ""}));
    EXPECT_EQ(run({"fmt", "-p", file, "--check"}), (Result{0, "", ""}));
    EXPECT_EQ(run({"init", "--platform", platform, file}),
              (Result{2, "", "qvlctl: expected a file that is not there yet; " + file + " is\n"}));
  }
  EXPECT_EQ(
      run({"init", "no/such/folder/p.xml"}),
      (Result{2, "", "qvlctl: cannot write no/such/folder/p.xml: No such file or directory\n"}));
}

TEST_F(Init, ExcludesWhatItsCommentsSay) {
  run({"init", "--platform", "linux", "p.xml"});
  EXPECT_EQ(run({"lookup", "-p", "p.xml", "/usr/share/zoneinfo/UTC",
                 "/var/log/journal/1/system.journal", "/var/lib/postgresql/1/base", "/srv/a"}),
            (Result{0,
                    "excluded  1        /usr/share/zoneinfo/UTC\n"
                    "excluded  2        /var/log/journal/1/system.journal\n"
                    "scan      -        /var/lib/postgresql/1/base\n"
                    "scan      -        /srv/a\n",
                    ""}));
  EXPECT_EQ(run({"lookup", "-p", "p.xml", "--access", "write", "--process",
                 "/usr/lib/postgresql/15/bin/postgres", "/var/lib/postgresql/1/base",
                 "/var/lib/postgresql/1/x.exe", "/usr/share/zoneinfo/UTC"}),
            (Result{0,
                    "excluded  3,4      /var/lib/postgresql/1/base\n"
                    "scan      3,4,9    /var/lib/postgresql/1/x.exe\n"
                    "scan      3        /usr/share/zoneinfo/UTC\n",
                    ""}));
}

}  // namespace
}  // namespace Test
}  // namespace QVL
