// What qvlctl does with the library's trace file.

#include <unistd.h>

#include <string>

#include "Program.h"

namespace QVL {
namespace Test {
namespace {

using TraceFile = ProgramTest;

TEST_F(TraceFile, IsLeftToTheScannerUnlessAskedFor) {
  const std::string trace = QVL_TEST_HOME "/var/ScanAvoidanceTraces.log";
  write("policy.xml", "<exclusion-policy version='1'><logic>(1)</logic></exclusion-policy>");
  ::unlink(trace.c_str());
  const Result quiet = run({"lookup", "-p", "policy.xml", "/a"});
  EXPECT_EQ(quiet.out, "scan      -        /a\n");
  EXPECT_NE(::access(trace.c_str(), F_OK), 0);
  EXPECT_EQ(run({"lookup", "-p", "policy.xml", "--trace", "/a"}), quiet);
  EXPECT_EQ(::access(trace.c_str(), F_OK), 0);
}

}  // namespace
}  // namespace Test
}  // namespace QVL
