// What lint finds, by the library: what is found is told by the tests of qvlctl.

#include <gtest/gtest.h>
#include <qvlpolicy/Lint.h>

#include <string>
#include <vector>

#include "tests/qvlpolicy/Policies.h"

namespace qvlpolicy {
namespace {

std::vector<std::string> found(const LintReport& report) {
  std::vector<std::string> lines;
  for (const Finding& finding : report.findings) lines.push_back(inWords(finding));
  return lines;
}

using Lines = std::vector<std::string>;

TEST(Lint, TellsPlaceSeverityAndReason) {
  const LintReport report =
      lint(Policy::parse(policy("<logic>1&amp;2</logic>\n" + folderSet(1, "/srv/") +
                                "<data-set number=\"2\" kind=\"file-type\" expires=\"2020-01-01\">"
                                "<rule>txt</rule></data-set>"),
                         "p.xml"));
  EXPECT_EQ(report.platform, Platform::Linux);
  EXPECT_EQ(found(report),
            (Lines{"p.xml:3:36: data set 1, rule 1: note: it covers everything in /srv, as far as "
                   "the logic lets other data sets decide [covers-tree]",
                   "p.xml:4:1: data set 2: warning: it has expired on 2020-01-01, and still "
                   "excludes [expired]"}));
  const Finding& first = report.findings[0];
  EXPECT_EQ(first.name, std::string("covers-tree"));
  EXPECT_EQ(severityName(first.severity), std::string("note"));
  EXPECT_EQ(first.advice, "name the folders and files that are meant");
  EXPECT_EQ(first.dataSet, 0u);
  EXPECT_EQ(first.rule, 0u);
  EXPECT_EQ(report.findings[1].dataSet, 1u);
  EXPECT_EQ(report.findings[1].rule, std::nullopt);
}

TEST(Lint, GoesByTheDateThatItIsGiven) {
  const Loaded loaded = Policy::parse(
      policy("<logic>1</logic>\n<data-set number=\"1\" kind=\"file-type\" expires=\"2030-06-30\">"
             "<rule>txt</rule></data-set>"),
      "p.xml");
  EXPECT_EQ(found(lint(loaded, {Platform::Linux, "2030-06-30"})), Lines{});
  EXPECT_EQ(lint(loaded, {Platform::Linux, "2030-07-01"}).findings.size(), 1u);
}

TEST(Lint, LooksAtWhatIsLeftOfARefusedPolicy) {
  const Loaded loaded =
      Policy::parse(policy("<logic>1</logic>\n<data-set number=\"1\" kind=\"folder\">\n"
                           "<rule>/srv/x</rule>\n<rule>/opt/</rule></data-set>"),
                    "p.xml");
  ASSERT_FALSE(loaded.policy);
  const LintReport report = lint(loaded);
  ASSERT_EQ(report.findings.size(), 2u);
  EXPECT_EQ(report.findings[0].name, std::string("refused-rule"));
  EXPECT_EQ(report.findings[0].severity, Severity::Error);
  EXPECT_EQ(report.findings[1].name, std::string("covers-tree"));
}

TEST(Lint, TellsTheErrorsOfWhatIsNoPolicy) {
  EXPECT_EQ(found(lint(Policy::parse("# a list", "p.xml"))),
            (Lines{"p.xml:1:1: error: it is not well-formed XML: Start tag expected, '<' not found "
                   "[not-xml]"}));
  EXPECT_EQ(found(lint(Policy::load("/no/such/file.xml"))),
            (Lines{"/no/such/file.xml: error: cannot read it: No such file or directory "
                   "[unreadable]"}));
}

}  // namespace
}  // namespace qvlpolicy
