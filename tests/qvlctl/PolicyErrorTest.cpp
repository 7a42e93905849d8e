// A policy that cannot be used: what is wrong, exit status 2, and no answer. What can be wrong is
// told by the tests of the policy library.

#include <string>

#include "Program.h"

namespace QVL {
namespace Test {
namespace {

using PolicyError = ProgramTest;

TEST_F(PolicyError, TellsAllErrorsEachOnALineOfItsOwn) {
  write("policy.xml",
        "<exclusion-policy version=\"1\">\n<logic>1|</logic>\n"
        "<data-set number=\"1\" kind=\"folder\"><rule>/x</rule></data-set>\n"
        "</exclusion-policy>\n");
  for (const char* const command : {"lookup", "explain", "show"}) {
    std::vector<std::string> arguments = {command, "--policy", "policy.xml"};
    if (std::string(command) != "show") arguments.emplace_back("/x/file");
    EXPECT_EQ(
        run(arguments),
        (Result{2, "",
                "qvlctl: policy.xml:2:10: logic: expected the number of a data set, ! or (; "
                "found the end\n"
                "qvlctl: policy.xml:3:36: data set 1, rule 1: the rule does not end in a slash "
                "(Failed to create folder avoidance as validation of folder failed.); expected "
                "a folder pattern of 1 to 4096 bytes that ends in \"/\"; found \"/x\"\n"}));
  }
}

TEST_F(PolicyError, NamesAFileThatCannotBeRead) {
  EXPECT_EQ(run({"lookup", "--policy", "none.xml", "/x"}),
            (Result{2, "", "qvlctl: cannot read none.xml: No such file or directory\n"}));
  EXPECT_EQ(run({"lookup", "--policy", "", "/x"}),
            (Result{2, "", "qvlctl: cannot read \"\": No such file or directory\n"}));
  EXPECT_EQ(run({"lookup", "--policy", folder(), "/x"}),
            (Result{2, "", "qvlctl: cannot read " + folder() + ": Is a directory\n"}));
}

TEST_F(PolicyError, ShowsUnprintableNamesEscaped) {
  EXPECT_EQ(run({"lookup", "--policy", "a\n\xff.xml", "/x"}),
            (Result{2, "", "qvlctl: cannot read a\\n\\xFF.xml: No such file or directory\n"}));
}

TEST_F(PolicyError, KeepsAnAuditFromAnswering) {
  write("policy.xml", "<exclusion-policy version=\"1\"><data-set/></exclusion-policy>");
  const Result result = run({"audit", "--policy", "policy.xml", "."});
  EXPECT_EQ(result.status, 2);
  EXPECT_EQ(result.out, "");
}

}  // namespace
}  // namespace Test
}  // namespace QVL
