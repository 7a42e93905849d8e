// qvlctl trace-level

#include <sys/stat.h>
#include <unistd.h>

#include <filesystem>
#include <string>
#include <vector>

#include "Program.h"

namespace QVL {
namespace Test {
namespace {

namespace fs = std::filesystem;

class TraceLevel : public ProgramTest {
 protected:
  Result traceLevel(std::vector<std::string> arguments) const {
    arguments.insert(arguments.begin(), "trace-level");
    arguments.insert(arguments.end(), {"--file", "trace.xml"});
    return run(arguments);
  }

  // The files in the test's folder, one a line.
  std::string files() const {
    std::string names;
    for (const auto& entry : fs::directory_iterator(folder())) {
      names += entry.path().filename().string() + '\n';
    }
    return names;
  }
};

TEST_F(TraceLevel, Shows) {
  const struct {
    const char* text;
    const char* level;
  } rows[] = {{"5", "5\n"}, {"0", "0\n"}, {" 4 ", "4\n"}, {"-1", "-1\n"}, {"12abc", "12\n"}};
  for (const auto& row : rows) {
    write("trace.xml", std::string("<TraceValues><ScanAvoidanceFlow>") + row.text +
                           "</ScanAvoidanceFlow></TraceValues>");
    EXPECT_EQ(traceLevel({}), (Result{0, row.level, ""}));
  }
}

TEST_F(TraceLevel, SetsAndKeepsEverythingElse) {
  const std::string before =
      "<?xml version=\"1.0\" encoding=\"UTF-8\"?>\n"
      "<!-- who changed this: \xc3\xa9lodie -->\n"
      "<TraceValues other=\"a &amp; b\">\n"
      "    <Other>kept<![CDATA[ & kept]]></Other>\n"
      "  <ScanAvoidanceFlow unit=\"level\">0</ScanAvoidanceFlow><?pi kept?>\n"
      "</TraceValues>\n";
  write("trace.xml", before);
  EXPECT_EQ(traceLevel({"5"}), (Result{0, "trace.xml: trace level 5, was 0\n", ""}));
  std::string after = before;
  after.replace(after.find(">0<"), 3, ">5<");
  EXPECT_EQ(read("trace.xml"), after);
  EXPECT_EQ(traceLevel({}), (Result{0, "5\n", ""}));
  EXPECT_EQ(files(), "trace.xml\n");
}

TEST_F(TraceLevel, AddsOrRepairsTheLevel) {
  write("trace.xml", "<TraceValues/>");
  EXPECT_EQ(traceLevel({"4"}), (Result{0, "trace.xml: trace level 4, was none\n", ""}));
  EXPECT_EQ(traceLevel({}), (Result{0, "4\n", ""}));
  write("trace.xml", "<TraceValues><ScanAvoidanceFlow>loud</ScanAvoidanceFlow></TraceValues>");
  EXPECT_EQ(traceLevel({"1"}), (Result{0, "trace.xml: trace level 1, was none\n", ""}));
  EXPECT_EQ(traceLevel({}), (Result{0, "1\n", ""}));
}

TEST_F(TraceLevel, SaysWhenNoMessageHasTheLevel) {
  const struct {
    const char* level;
    const char* same;  // the level that tells as much; empty: no note
  } rows[] = {{"0", ""}, {"1", ""}, {"2", "1"}, {"3", "1"}, {"4", ""}, {"5", ""}, {"6", "5"}};
  for (const auto& row : rows) {
    write("trace.xml", "<TraceValues/>");
    const std::string note = std::string("qvlctl: note: no message of the library has the level ") +
                             row.level + "; it tells what " + row.same + " tells\n";
    const std::string out = std::string("trace.xml: trace level ") + row.level + ", was none\n";
    EXPECT_EQ(traceLevel({row.level}), (Result{0, out, *row.same == '\0' ? "" : note}));
  }
}

TEST_F(TraceLevel, WritesJson) {
  write("trace.xml", "<TraceValues/>");
  EXPECT_EQ(traceLevel({"--format", "json", "4"}),
            (Result{0, "{\"file\":\"trace.xml\",\"level\":4,\"was\":null}\n", ""}));
  EXPECT_EQ(traceLevel({"--format", "json", "5"}),
            (Result{0, "{\"file\":\"trace.xml\",\"level\":5,\"was\":4}\n", ""}));
  EXPECT_EQ(traceLevel({"--format", "json"}),
            (Result{0, "{\"file\":\"trace.xml\",\"level\":5}\n", ""}));
}

TEST_F(TraceLevel, RefusesWhatIsNoTraceConfiguration) {
  const std::string notXml =
      "qvlctl: trace.xml:2:1: it is not well-formed XML: Premature end of data in tag TraceValues "
      "line 1; a literal & is written &amp; and a literal < is written &lt;\n";
  const std::string root =
      "qvlctl: trace.xml: expected the root element <TraceValues>; found another one\n";
  const std::string twice =
      "qvlctl: trace.xml: expected one <ScanAvoidanceFlow> in <TraceValues>; found 2\n";
  const struct {
    const char* content;
    std::string errorShowing;
    std::string errorSetting;
  } rows[] = {
      {"", "qvlctl: trace.xml: expected XML, found nothing\n",
       "qvlctl: trace.xml: expected XML, found nothing\n"},
      {"<TraceValues>\n", notXml, notXml},
      {"<Other/>", root, root},
      {"<TraceValues><ScanAvoidanceFlow>1</ScanAvoidanceFlow><ScanAvoidanceFlow>1"
       "</ScanAvoidanceFlow></TraceValues>",
       twice, twice},
      {"<TraceValues/>",
       "qvlctl: trace.xml: expected a whole number in <ScanAvoidanceFlow>; found no such element\n",
       ""},
      {"<TraceValues><ScanAvoidanceFlow>loud</ScanAvoidanceFlow></TraceValues>",
       "qvlctl: trace.xml: expected a whole number in <ScanAvoidanceFlow>; found \"loud\"\n", ""},
  };
  for (const auto& row : rows) {
    SCOPED_TRACE(row.content);
    write("trace.xml", row.content);
    EXPECT_EQ(traceLevel({}), (Result{2, "", row.errorShowing}));
    if (row.errorSetting.empty()) continue;
    EXPECT_EQ(traceLevel({"5"}), (Result{2, "", row.errorSetting}));
    EXPECT_EQ(read("trace.xml"), row.content);
  }
  EXPECT_EQ(run({"trace-level", "5", "-f", "none.xml"}),
            (Result{2, "", "qvlctl: cannot read none.xml: No such file or directory\n"}));
}

TEST_F(TraceLevel, KeepsModeAndOwner) {
  write("trace.xml", "<TraceValues/>");
  ASSERT_EQ(::chmod(path("trace.xml").c_str(), 0604), 0);
  const bool mayChangeOwner = ::chown(path("trace.xml").c_str(), 12, 34) == 0;
  ASSERT_EQ(traceLevel({"5"}).status, 0);
  struct stat status;
  ASSERT_EQ(::stat(path("trace.xml").c_str(), &status), 0);
  EXPECT_EQ(status.st_mode & 07777, 0604u);
  EXPECT_EQ(status.st_uid, mayChangeOwner ? 12 : ::getuid());
  if (mayChangeOwner) {
    EXPECT_EQ(status.st_gid, 34u);
  }
}

TEST_F(TraceLevel, ReplacesTheTargetOfALink) {
  write("real/trace.xml", "<TraceValues/>");
  fs::create_symlink("real/trace.xml", path("trace.xml"));
  ASSERT_EQ(traceLevel({"5"}).status, 0);
  EXPECT_TRUE(fs::is_symlink(path("trace.xml")));
  EXPECT_NE(read("real/trace.xml").find(">5<"), std::string::npos);
}

TEST_F(TraceLevel, GivesTheFileANewInodeSoThatReadersSeeOldOrNew) {
  write("trace.xml", "<TraceValues><ScanAvoidanceFlow>0</ScanAvoidanceFlow></TraceValues>");
  fs::create_hard_link(path("trace.xml"), path("as-it-was"));
  ASSERT_EQ(traceLevel({"5"}).status, 0);
  EXPECT_NE(read("trace.xml").find(">5<"), std::string::npos);
  EXPECT_NE(read("as-it-was").find(">0<"), std::string::npos);
}

TEST_F(TraceLevel, LeavesTheFileAloneWhenItCannotBeReplaced) {
  const std::string content = "<TraceValues><ScanAvoidanceFlow>0</ScanAvoidanceFlow></TraceValues>";
  write("locked/trace.xml", content);
  fs::permissions(path("locked"), fs::perms::owner_read | fs::perms::owner_exec);
  Circumstances circumstances;
  circumstances.bySuperuserWithoutPrivileges = ::getuid() == 0;
  const Result result = run({"trace-level", "5", "-f", "locked/trace.xml"}, circumstances);
  fs::permissions(path("locked"), fs::perms::owner_all);
  if (result.status == 125) GTEST_SKIP() << "the superuser cannot be bound by permissions here";
  EXPECT_EQ(result, (Result{2, "",
                            "qvlctl: cannot create a temporary file beside " +
                                path("locked/trace.xml") + ": Permission denied\n"}));
  EXPECT_EQ(read("locked/trace.xml"), content);
}

TEST_F(TraceLevel, IsByDefaultThatOfTheLibrary) {
  const Result shown = run({"trace-level"});
  EXPECT_EQ(shown.err, "");
  EXPECT_EQ(shown.out, run({"trace-level", "-f", QVL_TEST_HOME "/config/traceValues.xml"}).out);
  EXPECT_EQ(shown.status, 0);
}

}  // namespace
}  // namespace Test
}  // namespace QVL
