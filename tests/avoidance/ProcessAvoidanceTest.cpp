#include <gtest/gtest.h>

#include <string>

#include "qvl/qvl.h"
#include "tests/support/Outcome.h"
#include "tests/support/Requests.h"
#include "tests/support/RuleKinds.h"
#include "tests/support/TraceRecorder.h"

namespace QVL {
namespace Test {
namespace {

constexpr unsigned char kAsWritten = 0;
constexpr unsigned char kInDefaultFolder = 1;

bool matches(ProcessAvoidance& rule, const std::string& process) {
  LookupData request = processRequest(process);
  return rule.canAvoid(request);
}

TEST(ProcessRule, ReadsTheProcessNameOfTheRequestOnly) {
  ProcessAvoidance rule(std::string("agent"), AnyAccess, kAsWritten, "");
  LookupData request = fileRequest("agent");
  EXPECT_FALSE(rule.canAvoid(request));
  EXPECT_FALSE(rule.canAvoidWithAccessType(request, false));
  request.m_processName = "agent";
  EXPECT_TRUE(rule.canAvoid(request));
  EXPECT_TRUE(rule.canAvoidWithAccessType(request, false));
}

TEST(ProcessRule, ABareNameIsCompletedByTheDefaultFolder) {
  const struct {
    const char* rule;
    const char* folder;
    const char* process;
    bool asWritten;
    bool inDefaultFolder;
  } rows[] = {
      {"agent", "/Applications/Tools", "agent", true, false},
      {"agent", "/Applications/Tools", "/Applications/Tools/agent", false, true},
      {"agent", "/Applications/Tools", "/Applications/Toolsagent", false, false},
      {"agent", "/Applications/Tools", "/Applications/Tools/agents", false, false},
      {"agent", "/Applications/Tools", "/Applications/Tools/x/agent", false, false},
      {"agent*", "/Applications/Tools", "/Applications/Tools/agent", false, true},
      {"agent*", "/Applications/Tools", "/Applications/Tools/agent7", false, true},
      {"agent*", "/Applications/Tools", "/Applications/Tools/agent/7", false, false},
      {"agent*", "/Applications/Tools", "agent7", true, false},
      // A text with "/" is a path already.
      {"/opt/bin/agent", "/Applications/Tools", "/opt/bin/agent", true, true},
      {"/opt/bin/agent", "/Applications/Tools", "/Applications/Tools//opt/bin/agent", false, false},
      {"bin/agent", "/Applications/Tools", "bin/agent", true, true},
      {"bin/agent", "/Applications/Tools", "/Applications/Tools/bin/agent", false, false},
      // A text with "%" anywhere uses keywords, known or not.
      {"%AGENT%", "/Applications/Tools", "%AGENT%", true, true},
      {"%AGENT%", "/Applications/Tools", "/Applications/Tools/%AGENT%", false, false},
      {"100%", "/Applications/Tools", "100%", true, true},
      {"100%", "/Applications/Tools", "/Applications/Tools/100%", false, false},
      // The stored text decides, not the slashes that the translation writes.
      {"a?b", "/d", "/d/axb", false, true},
      {"a?b", "/d", "axb", true, false},
      {"**", "/d", "/d/x/y", true, true},
      {"**", "/d", "/e/x/y", true, false},
      {"DOUBLEWITHSLASH", "/d", "/d//x/", true, true},
      {"DOUBLEWITHSLASH", "/d", "/e/x/", true, false},
      // The folder is not translated: it is regular expression text.
      {"agent", "/a.b", "/axb/agent", false, true},
      {"agent", "/a.b", "/a.b/agent", false, true},
      {"agent", "/a*", "/aaa/agent", false, true},
      {"agent", "/a*", "/axy/agent", false, false},
      {"agent", "/a?", "/agent", false, false},
      {"agent", "/(a|b)", "/b/agent", false, true},
      {"agent", "/a/", "/a//agent", false, true},
      {"agent", "/a/", "/a/agent", false, false},
      {"agent", "DOUBLE", "DOUBLE/agent", false, true},
      {"agent", "DOUBLE", "x/agent", false, false},
      {"agent", "/日本", "/日本/agent", false, true},
      {"a|b", "/d", "/d/a", false, true},
      {"a|b", "/d", "b", true, true},  // the bar separates the folder from the second name
  };
  for (const auto& row : rows) {
    ProcessAvoidance asWritten(std::string(row.rule), AnyAccess, kAsWritten, row.folder);
    EXPECT_EQ(matches(asWritten, row.process), row.asWritten)
        << row.rule << " as written, process " << row.process;
    ProcessAvoidance completed(std::string(row.rule), AnyAccess, kInDefaultFolder, row.folder);
    EXPECT_EQ(matches(completed, row.process), row.inDefaultFolder)
        << row.rule << " in " << row.folder << ", process " << row.process;
    ProcessAvoidance wide(widened(row.rule), AnyAccess, kInDefaultFolder, row.folder);
    EXPECT_EQ(matches(wide, row.process), row.inDefaultFolder)
        << "wide " << row.rule << " in " << row.folder << ", process " << row.process;
  }
}

TEST(ProcessRule, AnyNonZeroByteUsesTheDefaultFolder) {
  for (const unsigned char flag : std::vector<unsigned char>{1, 2, 128, 255}) {
    ProcessAvoidance rule(std::string("agent"), AnyAccess, flag, "/d");
    EXPECT_TRUE(matches(rule, "/d/agent")) << int{flag};
  }
}

TEST(ProcessRule, AnEmptyDefaultFolderMakesEveryTextImpossible) {
  for (const char* text : {"agent", "/opt/bin/agent", "%AGENT%", "*"}) {
    EXPECT_EQ(thrownBy([&] {
                ProcessAvoidance rule(std::string(text), AnyAccess, kInDefaultFolder, "");
              }),
              ProcessKind::kNotBuiltMessage)
        << text;
    EXPECT_EQ(
        thrownBy([&] { ProcessAvoidance rule(widened(text), AnyAccess, kInDefaultFolder, ""); }),
        ProcessKind::kNotBuiltMessage)
        << text;
  }
}

TEST(ProcessRule, AFolderThatIsNoExpressionMakesBareNamesImpossible) {
  EXPECT_EQ(thrownBy([] {
              ProcessAvoidance rule(std::string("agent"), AnyAccess, kInDefaultFolder, "/(");
            }),
            ProcessKind::kNotBuiltMessage);
  EXPECT_EQ(thrownBy([] {
              ProcessAvoidance rule(std::string("/agent"), AnyAccess, kInDefaultFolder, "/(");
            }),
            "nothing");
}

TEST(ProcessRule, TheDefaultFolderIsPutInWithoutWildcardsToo) {
  ProcessAvoidance rule(std::string("ag.nt"), AnyAccess, kInDefaultFolder, "/d");
  rule.disableWildCardSearch();
  ASSERT_TRUE(rule.updateRegex());
  EXPECT_TRUE(matches(rule, "/d/agent"));
  EXPECT_FALSE(matches(rule, "agent"));

  // "[^/]" holds a slash, whatever it means.
  ProcessAvoidance raw(std::string("x"), AnyAccess, kInDefaultFolder, "/d");
  ASSERT_TRUE(raw.validate("[^/]+", AnyAccess));
  raw.disableWildCardSearch();
  ASSERT_TRUE(raw.updateRegex());
  EXPECT_TRUE(matches(raw, "agent"));
  EXPECT_FALSE(matches(raw, "/d/agent"));
}

TEST(ProcessRule, KeywordsReachTheDefaultFolder) {
  ProcessAvoidance rule(std::string("agent"), AnyAccess, kInDefaultFolder, "/%DIR%");
  ASSERT_TRUE(rule.addOrUpdateKeyword("%DIR%", {"a", "b"}));
  ASSERT_TRUE(rule.updateRegex());
  EXPECT_TRUE(matches(rule, "/b/agent"));
  EXPECT_FALSE(matches(rule, "/%DIR%/agent"));
}

TEST(ProcessRule, KeywordsStandWithoutTheDefaultFolder) {
  ProcessAvoidance rule(std::string("%AGENT%"), AnyAccess, kInDefaultFolder, "/d");
  ASSERT_TRUE(rule.addOrUpdateKeyword("%AGENT%", {"agent", "/opt/agent"}));
  ASSERT_TRUE(rule.updateRegex());
  EXPECT_TRUE(matches(rule, "agent"));
  EXPECT_TRUE(matches(rule, "/opt/agent"));
  EXPECT_FALSE(matches(rule, "/d/agent"));
}

TEST(ProcessRule, AcceptsTextsOfAnyLength) {
  const std::string text(20000, 'a');
  ProcessAvoidance rule(text, AnyAccess, kAsWritten, "");
  EXPECT_TRUE(matches(rule, text));
  EXPECT_FALSE(matches(rule, text + "a"));
  EXPECT_EQ(thrownBy([&] { ProcessKind::make(widened(text)); }), "nothing");
}

TEST(ProcessRule, KeyIsTheTextWithoutTheDefaultFolder) {
  ProcessAvoidance rule(std::string("agent*"), AnyAccess, kInDefaultFolder, "/d");
  EXPECT_EQ(rule.getKey(), "agent*");
}

TEST(ProcessRule, TracesItsLookups) {
  ProcessAvoidance rule(std::string("agent"), ReadAccess, kAsWritten, "");
  LookupData match = processRequest("agent", ReadAccess);
  ForeignRequest foreign;
  TraceRecorder trace;
  EXPECT_TRUE(rule.canAvoid(match));
  EXPECT_EQ(trace.take(), traced({"ProcessAvoidance::canAvoid\n"}));
  EXPECT_TRUE(rule.canAvoidWithAccessType(match, false));
  EXPECT_EQ(trace.take(), traced({"ProcessAvoidance::canAvoidWithAccessType\n"}));
  rule.canAvoid(foreign);
  EXPECT_EQ(trace.take(), traced({"ProcessAvoidance::canAvoid\n"}));
  rule.canAvoidWithAccessType(foreign, false);
  EXPECT_EQ(trace.take(), traced({"ProcessAvoidance::canAvoidWithAccessType\n"}));
}

TEST(ProcessRule, TracesAConstructionThatFailsForItsFolder) {
  TraceRecorder trace;
  EXPECT_EQ(thrownBy([] {
              ProcessAvoidance rule(std::string("/agent"), AnyAccess, kInDefaultFolder, "");
            }),
            ProcessKind::kNotBuiltMessage);
  EXPECT_EQ(trace.take(),
            traced({"ProcessAvoidance::ProcessAvoidance for string type process name\n",
                    "ProcessAvoidance::validate\n", "ProcessAvoidance::updateRegex\n"}));
}

}  // namespace
}  // namespace Test
}  // namespace QVL
