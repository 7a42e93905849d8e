// qvlctl test

#include <string>
#include <vector>

#include "Program.h"

namespace QVL {
namespace Test {
namespace {

const std::string kAsked = "Asked, where a case does not say:\n  read, no process\n";

class Cases : public ProgramTest {
 protected:
  void SetUp() override {
    write("policy.xml", R"(<exclusion-policy version="1"><logic>(1|2)&amp;!3</logic>
<data-set number="1" kind="folder">
  <rule>/srv/</rule>
  <rule access="write">/data/</rule>
</data-set>
<data-set number="2" kind="process" check-access="write"><rule>/bin/my tar</rule></data-set>
<data-set number="3" kind="file-type" match-empty-input="yes"><rule>exe</rule></data-set>
</exclusion-policy>
)");
  }

  Result test(const std::string& cases, const std::string& format = "text") const {
    write("cases.txt", cases);
    return run({"test", "-p", "policy.xml", "--process", "", "--access", "read", "--format", format,
                "cases.txt"});
  }
};

TEST_F(Cases, PassWhereTheAnswersAreThoseExpected) {
  EXPECT_EQ(test("# a comment\n"
                 "\n"
                 "  # another one\n"
                 "excluded  1        /srv/a.o\n"
                 "scan\t1,3\t/srv/a.exe\n"
                 "scan 3,1 /srv/a.exe\n"
                 "scan * /srv/a.exe\r\n"
                 "scan 3 /srv/a.exe \n"  // the extension is "exe "
                 "scan - access=read /data/a.o\n"
                 "excluded 1 access=write /data/a.o\n"
                 "excluded 2 process=/bin/my\\x20tar access=write /home/a b.o\n"
                 "excluded 1 /srv/a\\\\b\\n\\t\\r\\xC3\\xa9.o\n"
                 "scan 3 \"\"\n"
                 "excluded 1 /srv/last line without end.o"),
            (Result{1,
                    "cases.txt:8: /srv/a.exe : expected scan, data set 3; found excluded, data set "
                    "1; asked: read, no process\n"
                    "  data set 1 has rule 1, policy.xml:3: /srv/\n"
                    "11 cases: 10 passed, 1 failed\n" +
                        kAsked,
                    ""}));
}

TEST_F(Cases, ExitStatusTellsWhetherAllPass) {
  EXPECT_EQ(test("excluded 1 /srv/a.o\n"),
            (Result{0, "1 case: 1 passed, 0 failed\n" + kAsked, ""}));
  EXPECT_EQ(test("scan 1 /srv/a.o\n").status, 1);
}

TEST_F(Cases, NoCaseAtAllIsTrouble) {
  const std::string error = "expected at least one case in cases.txt; found none";
  for (const char* const text : {"", "\n", "# only a comment\n"}) {
    EXPECT_EQ(test(text), (Result{2, "", "qvlctl: " + error + "\n"})) << text;
  }
  EXPECT_EQ(
      test("", "tap"),
      (Result{2,
              "TAP version 13\n# asked, where a case does not say: read, no process\nBail out!  " +
                  error + "\n",
              "qvlctl: " + error + "\n"}));
  // One file of several may be empty.
  write("empty.txt", "");
  write("cases.txt", "excluded 1 /srv/a.o\n");
  EXPECT_EQ(run({"test", "-p", "policy.xml", "empty.txt", "cases.txt"}).status, 0);
}

const char* const kMixed =
    "excluded 1 /srv/a.o\n"
    "excluded 1,2 access=write process=<&> /data/#\"1.o\n"
    "excluded * /data/\\xFF\\x1b.o\n"
    "scan - \"\"\n";

TEST_F(Cases, TextTellsWhatFailedAndWhichRulesMatch) {
  EXPECT_EQ(
      test(kMixed),
      (Result{1,
              "cases.txt:2: /data/#\"1.o, write by <&>: expected excluded, data sets 1,2; "
              "found excluded, data set 1\n"
              "  data set 1 has rule 2, policy.xml:4: /data/\n"
              "cases.txt:3: /data/\\xFF\\x1B.o: expected excluded; found scan; asked: read, no "
              "process\n"
              "cases.txt:4: \"\": expected scan, no data set; found scan, data set 3; "
              "asked: read, no process\n"
              "4 cases: 1 passed, 3 failed\n" +
                  kAsked,
              ""}));
}

TEST_F(Cases, RulesForAnotherAccessAreNamed) {
  EXPECT_EQ(test("excluded 1 /data/a.o\n"),
            (Result{1,
                    "cases.txt:1: /data/a.o: expected excluded, data set 1; found scan, no data "
                    "set; asked: read, no process\n"
                    "  data set 1 has rule 2, policy.xml:4: /data/ (for another access)\n"
                    "1 case: 0 passed, 1 failed\n" +
                        kAsked,
                    ""}));
}

TEST_F(Cases, TapIsWhatHarnessesRead) {
  EXPECT_EQ(test(kMixed, "tap"), (Result{1,
                                         R"(TAP version 13
# asked, where a case does not say: read, no process
ok 1 - cases.txt:1: /srv/a.o
not ok 2 - cases.txt:2: /data/\x23"1.o, write by <&>
  ---
  expected: "excluded, data sets 1,2"
  found: "excluded, data set 1"
  rules:
    - "data set 1 has rule 2, policy.xml:4: /data/"
  ...
not ok 3 - cases.txt:3: /data/\xFF\x1B.o
  ---
  expected: "excluded"
  found: "scan; asked: read, no process"
  ...
not ok 4 - cases.txt:4: ""
  ---
  expected: "scan, no data set"
  found: "scan, data set 3; asked: read, no process"
  ...
1..4
)",
                                         ""}));
}

TEST_F(Cases, TapBailsOutWhereACaseIsWrong) {
  EXPECT_EQ(test("excluded 1 /srv/a.o\nskip 1 /a#b\n", "tap"),
            (Result{2,
                    "TAP version 13\n"
                    "# asked, where a case does not say: read, no process\n"
                    "ok 1 - cases.txt:1: /srv/a.o\n"
                    "Bail out!  cases.txt:2: expected excluded or scan; found \"skip\"\n",
                    "qvlctl: cases.txt:2: expected excluded or scan; found \"skip\"\n"}));
}

TEST_F(Cases, JunitIsWhatBuildServersRead) {
  EXPECT_EQ(test(kMixed, "junit"), (Result{1,
                                           R"(<?xml version="1.0" encoding="UTF-8"?>
<testsuites>
  <testsuite name="policy.xml" tests="4" failures="3" errors="0" skipped="0">
    <properties>
      <property name="asked" value="read, no process"/>
    </properties>
    <testcase classname="cases.txt" name="line 1: /srv/a.o"/>
    <testcase classname="cases.txt" name="line 2: /data/#&quot;1.o, write by &lt;&amp;&gt;">
      <failure message="expected excluded, data sets 1,2; found excluded, data set 1">data set 1 has rule 2, policy.xml:4: /data/</failure>
    </testcase>
    <testcase classname="cases.txt" name="line 3: /data/\xFF\x1B.o">
      <failure message="expected excluded; found scan; asked: read, no process"></failure>
    </testcase>
    <testcase classname="cases.txt" name="line 4: &quot;&quot;">
      <failure message="expected scan, no data set; found scan, data set 3; asked: read, no process"></failure>
    </testcase>
  </testsuite>
</testsuites>
)",
                                           ""}));
}

const std::string kRead =
    R"({"process":"","access":"read","otherAccess":true,"alikeProcesses":[]})";

TEST_F(Cases, JsonIsALineForEachCaseAndASummary) {
  EXPECT_EQ(
      test(kMixed, "json"),
      (Result{1,
              R"({"result":"passed","file":"cases.txt","line":1,"path":"/srv/a.o",)"
              R"("expected":{"verdict":"excluded","matched":[1]},)"
              R"("found":{"verdict":"excluded","matched":[1]}})"
              "\n"
              R"({"result":"failed","file":"cases.txt","line":2,"path":"/data/#\"1.o",)"
              R"("access":"write","process":"<&>",)"
              R"("expected":{"verdict":"excluded","matched":[1,2]},)"
              R"("found":{"verdict":"excluded","matched":[1]},"failedFor":{"process":"<&>",)"
              R"("access":"write","otherAccess":false,"alikeProcesses":[]}})"
              "\n"
              R"({"result":"failed","file":"cases.txt","line":3,"path":"/data/\\xFF\u001b.o",)"
              R"("pathHex":"2f646174612fff1b2e6f","expected":{"verdict":"excluded"},)"
              R"("found":{"verdict":"scan","matched":[]},"failedFor":)" +
                  kRead +
                  "}"
                  "\n"
                  R"({"result":"failed","file":"cases.txt","line":4,"path":"",)"
                  R"("expected":{"verdict":"scan","matched":[]},)"
                  R"("found":{"verdict":"scan","matched":[3]},"failedFor":)" +
                  kRead +
                  "}"
                  "\n"
                  R"({"result":"summary","cases":4,"passed":1,"failed":3,"queries":[)" +
                  kRead +
                  "]}"
                  "\n",
              ""}));
}

TEST_F(Cases, WhatLookupPrintsPasses) {
  Circumstances circumstances;
  circumstances.input = "/srv/a.o\n/srv/a.exe\n/data/\xff\\ \t\xc3\xa9\n";
  const Result answers = run({"lookup", "-p", "policy.xml"}, circumstances);
  EXPECT_EQ(answers.status, 0);
  EXPECT_EQ(test(answers.out), (Result{0, "3 cases: 3 passed, 0 failed\n" + kAsked, ""}));
}

TEST_F(Cases, OptionsAreForTheCasesThatDoNotSay) {
  write("cases.txt",
        "excluded 1 /data/a.o\n"
        "scan - access=read /data/a.o\n"
        "excluded 2 /home/a.o\n"
        "scan - process=/bin/cat /home/a.o\n"
        "scan - process= /home/a.o\n");
  EXPECT_EQ(
      run({"test", "-p", "policy.xml", "--access", "write", "--process", "/bin/my tar",
           "cases.txt"}),
      (Result{
          0,
          "5 cases: 5 passed, 0 failed\nAsked, where a case does not say:\n  write, /bin/my tar\n",
          ""}));
}

// A file that is scanned when no process reads it may still go unscanned.
TEST_F(Cases, AreAskedForEveryProcessAndAccessThatMakesADifference) {
  const auto testAll = [&](const std::string& cases) {
    write("cases.txt", cases);
    return run({"test", "-p", "policy.xml", "cases.txt"});
  };
  const std::string asked =
      "Asked, where a case does not say:\n"
      "  read, no process (and 1 process alike)\n"
      "  write, no process\n"
      "  write, /bin/my tar\n";
  EXPECT_EQ(testAll("scan 3 /data/a.exe\n"
                    "excluded 1 /srv/a.o\n"
                    "scan - access=read /data/a.o\n"
                    "scan - access=write process= /home/a.o\n"),
            (Result{0, "4 cases: 4 passed, 0 failed\n" + asked, ""}));
  EXPECT_EQ(testAll("scan - /data/a.o\n"
                    "scan - /home/a.o\n"
                    "scan - access=write /home/a.o\n"
                    "scan - process=/bin/my\\x20tar /home/a.o\n"),
            (Result{1,
                    "cases.txt:1: /data/a.o: expected scan, no data set; found excluded, data set "
                    "1; asked: write, no process\n"
                    "  data set 1 has rule 2, policy.xml:4: /data/\n"
                    "cases.txt:2: /home/a.o: expected scan, no data set; found excluded, data set "
                    "2; asked: write, /bin/my tar\n"
                    "  data set 2 has rule 1, policy.xml:6: /bin/my tar\n"
                    "cases.txt:3: /home/a.o, write: expected scan, no data set; found excluded, "
                    "data set 2; asked: write, /bin/my tar\n"
                    "  data set 2 has rule 1, policy.xml:6: /bin/my tar\n"
                    "cases.txt:4: /home/a.o, by /bin/my tar: expected scan, no data set; found "
                    "excluded, data set 2; asked: write, /bin/my tar\n"
                    "  data set 2 has rule 1, policy.xml:6: /bin/my tar\n"
                    "4 cases: 0 passed, 4 failed\n" +
                        asked,
                    ""}));
}

TEST_F(Cases, ComeFromSeveralFilesAndStandardInput) {
  write("a.txt", "scan - /a.o\n");
  write("b.txt", "scan 1 /b.o\n");
  Circumstances circumstances;
  circumstances.input = "\nscan 1 /c.o\n";
  EXPECT_EQ(
      run({"test", "-p", "policy.xml", "--process", "", "--access", "read", "a.txt", "-", "b.txt"},
          circumstances),
      (Result{1,
              "standard input:2: /c.o: expected scan, data set 1; found scan, no data set; "
              "asked: read, no process\n"
              "b.txt:1: /b.o: expected scan, data set 1; found scan, no data set; "
              "asked: read, no process\n"
              "3 cases: 1 passed, 2 failed\n" +
                  kAsked,
              ""}));
}

TEST_F(Cases, MistakesAreTroubleAndToldWithTheirPlace) {
  const char* const kDataSets =
      "expected the numbers of the data sets that match, such as 1 or 1,3, or - for none, or * for "
      "any; found ";
  const struct {
    const char* line;
    std::string error;
  } rows[] = {
      {"yes 1 /a", "expected excluded or scan; found \"yes\""},
      {"Scan - /a", "expected excluded or scan; found \"Scan\""},
      {"scan", kDataSets + std::string("the end of the line")},
      {"scan /a", kDataSets + std::string("\"/a\"")},
      {"scan 1, /a", kDataSets + std::string("\"1,\"")},
      {"scan 4294967296 /a", kDataSets + std::string("\"4294967296\"")},
      {"scan 1", "expected a path, or \"\" for the empty one; found the end of the line"},
      {"scan 1 access=write",
       "expected a path, or \"\" for the empty one; found the end of the "
       "line"},
      {"scan 1 access=reed /a",
       "expected read, write, any or a whole number from 0 to 4294967295; found \"reed\""},
      {"scan 1 /a\\q",
       "expected \\\\, \\n, \\t, \\r or \\xNN with two hexadecimal digits; found "
       "\"\\\\q\""},
      {"scan 1 /a\\x4",
       "expected \\\\, \\n, \\t, \\r or \\xNN with two hexadecimal digits; found "
       "\"\\\\x4\""},
      {"scan 1 /a\\x4gb",
       "expected \\\\, \\n, \\t, \\r or \\xNN with two hexadecimal digits; "
       "found \"\\\\x4g\""},
      {"scan 1 /a\\",
       "expected \\\\, \\n, \\t, \\r or \\xNN with two hexadecimal digits; found "
       "\"\\\\\""},
  };
  for (const auto& row : rows) {
    EXPECT_EQ(test(std::string("\n") + row.line + '\n'),
              (Result{2, "", "qvlctl: cases.txt:2: " + row.error + '\n'}));
  }
  EXPECT_EQ(run({"test", "-p", "policy.xml", "none.txt"}),
            (Result{2, "", "qvlctl: cannot read none.txt: No such file or directory\n"}));
  EXPECT_EQ(run({"test", "-p", "policy.xml", "."}),
            (Result{2, "", "qvlctl: cannot read .: Is a directory\n"}));
}

}  // namespace
}  // namespace Test
}  // namespace QVL
