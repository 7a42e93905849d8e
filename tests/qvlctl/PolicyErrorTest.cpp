// Every way in which a policy can be wrong: the message, exit status 2, and no answer.

#include <string>
#include <vector>

#include "Program.h"

namespace QVL {
namespace Test {
namespace {

using PolicyError = ProgramTest;

struct Case {
  std::string policy;
  std::string message;  // behind "qvlctl: policy.xml"
};

// A policy with `inner` beside its logic, from line 3 on.
std::string withLogic(const std::string& inner, const std::string& logic = "1") {
  return "<exclusion-policy version=\"1\">\n<logic>" + logic + "</logic>\n" + inner +
         "\n</exclusion-policy>\n";
}

// A policy with one data set, its content from line 4 on.
std::string withDataSet(const std::string& attributes, const std::string& content) {
  return withLogic("<data-set number=\"1\" " + attributes + ">\n" + content + "\n</data-set>");
}

std::string folderSet(const std::string& content) {
  return withDataSet("kind=\"folder\"", content);
}
std::string ageSet(const std::string& content) {
  return withDataSet("kind=\"file-age\"", content);
}

class PolicyErrorTable : public ProgramTest {
 protected:
  void check(const std::vector<Case>& cases) const {
    for (const Case& row : cases) {
      SCOPED_TRACE(row.policy.substr(0, 400));
      write("policy.xml", row.policy);
      EXPECT_EQ(run({"lookup", "--policy", "policy.xml", "/x/file"}),
                (Result{2, "", "qvlctl: policy.xml" + row.message + "\n"}));
    }
  }
};

TEST_F(PolicyErrorTable, NotXml) {
  const std::string notXml =
      ": not well-formed XML. A literal & is written &amp; and a literal < is written &lt;; "
      "`xmllint --noout policy.xml` names the line";
  check({{"", ": expected XML, found nothing"},
         {"# a list\n/tmp/\n", notXml},
         {"<exclusion-policy version=\"1\">", notXml},
         {withLogic("", "1&2"), notXml},
         {withLogic("", "1 < 2"), notXml},
         {withLogic("") + "<second-root/>", notXml},
         {std::string("<exclusion-policy version=\"1\">\n<logic>1") + '\0' + "</logic>",
          ":2: expected XML in UTF-8, found a zero byte"},
         {withLogic("") + std::string(1, '\0'), ":5: expected XML in UTF-8, found a zero byte"}});
}

TEST_F(PolicyErrorTable, AnotherDocument) {
  const std::string expected =
      ":1: expected a policy, whose root element is <exclusion-policy> without a namespace; found ";
  check({{"<policy/>", expected + "<policy>"},
         {"<exclusion-policy xmlns=\"urn:x\" version=\"1\"/>",
          expected + "<exclusion-policy> in a namespace"},
         {"<exclusion-policy/>", ":1: <exclusion-policy> needs the attribute version"},
         {"<exclusion-policy version=\"2\"><logic>1</logic></exclusion-policy>",
          ":1: version: expected 1; found \"2\""},
         {"<?xml version=\"1.0\"?>\n<!-- <!DOCTYPE no> -->\n<!DOCTYPE exclusion-policy [<!ENTITY r "
          "\"/x/\">]>\n<exclusion-policy version=\"1\"><logic>1</logic></exclusion-policy>",
          ":3: a policy has no document type declaration; found <!DOCTYPE"}});
}

TEST_F(PolicyErrorTable, WhatHasNoPlace) {
  check({
      {"<exclusion-policy version=\"1\" vesion=\"1\"/>",
       ":1: unknown attribute vesion; expected in <exclusion-policy>: version"},
      {withLogic("<dataset/>"),
       ":3: unknown element <dataset>; expected in <exclusion-policy>: <logic> or <data-set>"},
      {withLogic("stray"),
       ":1: unexpected text; expected in <exclusion-policy>: <logic> or <data-set>"},
      {withLogic("", "<b/>1"), ":2: logic: unknown element <b>; expected in <logic>: none"},
      {withLogic("<data-set number=\"1\" kind=\"folder\" numer=\"2\"/>"),
       ":3: data set 1 (number 1): unknown attribute numer; expected in <data-set>: number, kind, "
       "name, enabled, match-anything, match-empty-input, case-sensitive, wildcards or "
       "check-access"},
      {folderSet("<!--\n\n--><rul>/x/</rul>"),
       ":6: data set 1 (number 1): unknown element <rul>; expected in <data-set>: <keyword> or "
       "<rule>"},
      {folderSet("<p:rule xmlns:p=\"urn:x\">/x/</p:rule>"),
       ":4: data set 1 (number 1): unknown element <p:rule>; expected in <data-set>: <keyword> or "
       "<rule>"},
      {folderSet("<r\xc3\xbcle>/x/</r\xc3\xbcle>"),
       ":4: data set 1 (number 1): unknown element <r?le>; expected in <data-set>: <keyword> or "
       "<rule>"},
      {folderSet("/x/"),
       ":3: data set 1 (number 1): unexpected text; expected in <data-set>: <keyword> or <rule>"},
      {folderSet("<rule acess=\"read\">/x/</rule>"),
       ":4: data set 1 (number 1), rule 1: unknown attribute acess; expected in <rule> in a data "
       "set of kind folder: access or subfolders"},
      {folderSet("<rule>/a/</rule><rule><b>/x/</b></rule>"),
       ":4: data set 1 (number 1), rule 2: unknown element <b>; expected in <rule> in a data set "
       "of "
       "kind folder: none"},
      {folderSet("<keyword name=\"K\"><value>v</value><vlaue>w</vlaue></keyword>"),
       ":4: data set 1 (number 1), keyword 1: unknown element <vlaue>; expected in <keyword>: "
       "<value>"},
      {folderSet("<keyword name=\"K\"><value>v</value><value x=\"y\">w</value></keyword>"),
       ":4: data set 1 (number 1), keyword 1, value 2: unknown attribute x; expected in <value>: "
       "none"},
  });
}

TEST_F(PolicyErrorTable, WhatHasNoPlaceInThisKind) {
  check({
      {withDataSet("kind=\"file-path\"", "<rule subfolders=\"no\">/x</rule>"),
       ":4: data set 1 (number 1), rule 1: unknown attribute subfolders; expected in <rule> in a "
       "data set of kind file-path: access"},
      {folderSet("<rule default-folder=\"/x\">/x/</rule>"),
       ":4: data set 1 (number 1), rule 1: unknown attribute default-folder; expected in <rule> in "
       "a data set of kind folder: access or subfolders"},
      {withDataSet("kind=\"file-type\"", "<keyword name=\"K\"><value>v</value></keyword>"),
       ":4: data set 1 (number 1), keyword 1: unknown element <keyword>; expected in <data-set> of "
       "kind file-type: <rule>"},
      {ageSet("<keyword name=\"K\"><value>v</value></keyword>"),
       ":4: data set 1 (number 1), keyword 1: unknown element <keyword>; expected in <data-set> of "
       "kind file-age: <rule>"},
      {withDataSet("kind=\"file-age\" wildcards=\"no\"", ""),
       ":3: data set 1 (number 1): unknown attribute wildcards; expected in <data-set> of kind "
       "file-age: number, kind, name, enabled, match-anything or check-access"},
      {ageSet("<rule of=\"creation\" days=\"1\">30</rule>"),
       ":4: data set 1 (number 1), rule 1: unexpected text; expected in <rule> in a data set of "
       "kind file-age: attributes only"},
  });
}

TEST_F(PolicyErrorTable, WhatIsMissing) {
  check({
      {"<exclusion-policy version=\"1\"/>",
       ": expected one <logic>, which says how the data sets combine, such as <logic>1|2</logic>; "
       "found none"},
      {withLogic("<logic>2</logic>"), ":3: logic: expected one <logic>; found 2"},
      {withLogic("<data-set/>"), ":3: data set 1: <data-set> needs the attribute number"},
      {withLogic("<data-set number=\"5\"/>"),
       ":3: data set 1 (number 5): <data-set> needs the attribute kind"},
      {withLogic("<data-set number=\"\" kind=\"folder\"/>"),
       ":3: data set 1: the attribute number is empty"},
      {folderSet("<rule access=\"\">/x/</rule>"),
       ":4: data set 1 (number 1), rule 1: the attribute access is empty"},
      {folderSet("<keyword><value>v</value></keyword>"),
       ":4: data set 1 (number 1), keyword 1: <keyword> needs the attribute name"},
      {folderSet("<keyword name=\"K\"/>"),
       ":4: data set 1 (number 1), keyword 1: the keyword K needs at least one <value>"},
      {ageSet("<rule days=\"3\"/>"),
       ":4: data set 1 (number 1), rule 1: <rule> in a data set of kind file-age needs the "
       "attribute of"},
      {ageSet("<rule of=\"creation\"/>"),
       ":4: data set 1 (number 1), rule 1: <rule> in a data set of kind file-age needs the "
       "attribute days"},
  });
}

TEST_F(PolicyErrorTable, Values) {
  const std::string number =
      ":3: data set 1: number: expected a whole number from 0 to 4294967295; found ";
  const std::string days =
      ":4: data set 1 (number 1), rule 1: days: expected whole numbers of days from 0 to 24855, "
      "separated by commas, such as 30 or 30,90; found ";
  check({
      {withLogic("<data-set number=\"-1\" kind=\"folder\"/>"), number + "\"-1\""},
      {withLogic("<data-set number=\"1x\" kind=\"folder\"/>"), number + "\"1x\""},
      {withLogic("<data-set number=\" 1\" kind=\"folder\"/>"), number + "\" 1\""},
      {withLogic("<data-set number=\"4294967296\" kind=\"folder\"/>"), number + "\"4294967296\""},
      {withLogic("<data-set number=\"1\" kind=\"dir\"/>"),
       ":3: data set 1 (number 1): unknown kind \"dir\"; expected file-path, folder, process, "
       "file-type or file-age"},
      {withLogic("<data-set number=\"1\" kind=\"folder\"/>\n<data-set number=\"7\" "
                 "kind=\"folder\"/>\n<data-set number=\"01\" kind=\"process\"/>"),
       ":5: data set 3 (number 01): the number 1 belongs to data set 1 already"},
      {withDataSet("kind=\"folder\" enabled=\"true\"", ""),
       ":3: data set 1 (number 1): enabled: expected yes or no; found \"true\""},
      {withDataSet("kind=\"folder\" check-access=\"all\"", ""),
       ":3: data set 1 (number 1): check-access: expected by-rule, never, or one access type for "
       "the whole data set (read, write, any or a whole number from 0 to 4294967295); found "
       "\"all\""},
      {withDataSet("kind=\"folder\" check-access=\"never\"", "<rule access=\"read\">/x/</rule>"),
       ":4: data set 1 (number 1), rule 1: access: the data set's check-access keeps rules from "
       "comparing access types; expected no access here or check-access=\"by-rule\" there"},
      {folderSet("<rule access=\"reed\">/x/</rule>"),
       ":4: data set 1 (number 1), rule 1: access: expected read, write, any or a whole number "
       "from "
       "0 to 4294967295; found \"reed\""},
      {folderSet("<rule subfolders=\"maybe\">/x/</rule>"),
       ":4: data set 1 (number 1), rule 1: subfolders: expected yes or no; found \"maybe\""},
      {folderSet("<keyword name=\"K\"><value>v</value></keyword>\n<keyword "
                 "name=\"K\"><value>w</value></keyword>"),
       ":5: data set 1 (number 1), keyword 2: the keyword K is defined twice"},
      {ageSet("<rule of=\"birth\" days=\"3\"/>"),
       ":4: data set 1 (number 1), rule 1: of: expected creation or modification; found \"birth\""},
      {ageSet("<rule of=\"creation\" days=\"x\"/>"), days + "\"x\""},
      {ageSet("<rule of=\"creation\" days=\"-1\"/>"), days + "\"-1\""},
      {ageSet("<rule of=\"creation\" days=\"1,,2\"/>"), days + "\"1,,2\""},
      {ageSet("<rule of=\"creation\" days=\"24856\"/>"), days + "\"24856\""},
      {ageSet("<rule of=\"creation\" days=\"10000,10000,10000,100000\"/>"),
       days + "\"10000,10000,10000,100000\""},
      {ageSet("<rule of=\"creation\" days=\"10000,10000,10000,1000,1\"/>"),
       ":4: data set 1 (number 1), rule 1: days: expected at most 23 characters in all, because no "
       "more are read; found \"10000,10000,10000,1000,1\""},
  });
}

TEST_F(PolicyErrorTable, RulesThatTheLibraryRefuses) {
  const std::string first = ":4: data set 1 (number 1), rule 1: ";
  const std::string notBuilt =
      "The rule cannot be compiled with the switches and keywords of its data set. Expected a "
      "folder pattern of 1 to 4096 bytes that ends in \"/\", valid as a regular expression once "
      "wildcards and keywords are replaced; found ";
  check({
      {folderSet("<rule>/x</rule>"),
       first +
           "Failed to create folder avoidance as validation of folder failed. Expected a folder "
           "pattern of 1 to 4096 bytes that ends in \"/\", valid as a regular expression once "
           "wildcards and keywords are replaced; found \"/x\""},
      {folderSet("<rule>/a/</rule>\n<rule>/(x/</rule>"),
       ":5: data set 1 (number 1), rule 2: Failed to create folder avoidance as regex could not be "
       "build. Expected a folder pattern of 1 to 4096 bytes that ends in \"/\", valid as a regular "
       "expression once wildcards and keywords are replaced; found \"/(x/\""},
      {withDataSet("kind=\"file-path\"", "<rule>/x/</rule>"),
       first +
           "Failed to create path avoidance as validation of path failed. Expected a file path "
           "pattern of 1 to 4096 bytes that does not end in \"/\", valid as a regular expression "
           "once wildcards and keywords are replaced; found \"/x/\""},
      {withDataSet("kind=\"file-path\"", "<rule>/" + std::string(4096, 'x') + "</rule>"),
       first +
           "Failed to create path avoidance as validation of path failed. Expected a file path "
           "pattern of 1 to 4096 bytes that does not end in \"/\", valid as a regular expression "
           "once wildcards and keywords are replaced; found \"/" +
           std::string(199, 'x') + "...\" (4,097 bytes)"},
      {withDataSet("kind=\"process\"", "<rule/>"),
       first +
           "Failed to create process avoidance as validation of process failed. Expected a process "
           "pattern that is not empty and does not end in \"/\", valid as a regular expression "
           "once "
           "wildcards and keywords are replaced; found \"\""},
      {withDataSet("kind=\"file-type\"", "<rule>thirteen-long</rule>"),
       first +
           "Failed to create file type avoidance as validation of file type failed. Expected an "
           "extension of 1 to 12 bytes, without its dot, valid as a regular expression once "
           "wildcards and keywords are replaced; found \"thirteen-long\""},
      // The rule by itself is fine, and would keep the expression that it has by itself.
      {folderSet("<keyword name=\"K\"><value>(</value></keyword><rule>/K/</rule>"),
       first + notBuilt + "\"/K/\""},
      {withDataSet("kind=\"folder\" wildcards=\"no\"", "<rule>*/</rule>"),
       first + notBuilt + "\"*/\""},
  });
}

TEST_F(PolicyErrorTable, RulesThatADataSetWouldDrop) {
  const std::string second =
      ":5: data set 1 (number 1), rule 2: a data set keeps one rule for each text, and rule 1 has "
      "this one with other attributes; expected this rule in a data set of its own; found ";
  check({
      {folderSet("<rule access=\"read\">/x/</rule>\n<rule access=\"write\">/x/</rule>"),
       second + "\"/x/\""},
      {folderSet("<rule>/x/</rule>\n<rule subfolders=\"no\">/x/</rule>"), second + "\"/x/\""},
      {withDataSet("kind=\"process\"", "<rule>x</rule>\n<rule default-folder=\"/x\">x</rule>"),
       second + "\"x\""},
      {withDataSet("kind=\"file-type\" case-sensitive=\"yes\"",
                   "<rule>txt</rule>\n<rule>TXT</rule>"),
       second + "\"TXT\""},
  });
}

TEST_F(PolicyErrorTable, Logic) {
  const auto message = [](const std::string& reason, const std::string& found) {
    return ":2: logic: " + reason +
           " Expected numbers of data sets combined by !, &, | and parentheses, such as (1|2)&!3, "
           "or !(!1) for a double negation; found " +
           found;
  };
  check({
      {withLogic("", ""),
       message("Business logic length is wrong or more than max length.", "\"\"")},
      {withLogic("", std::string(2049, '1')),
       message("Business logic length is wrong or more than max length.",
               '"' + std::string(200, '1') + "...\" (2,049 bytes)")},
      {withLogic("", "1 or 2"),
       message("Business logic should not have alphabetic character.", "\"1 or 2\"")},
      {withLogic("", "1,2"), message("Business logic has an invalid character.", "\"1,2\"")},
      {withLogic("", "1)"), message("Business logic has unbalanced parentheses.", "\"1)\"")},
      {withLogic("", "4294967296"),
       message("Business logic has a data set number that is too large.", "\"4294967296\"")},
      {withLogic("", "!!1"), message("Business logic length is wrong.", "\"!!1\"")},
      {withLogic("", "1&amp;&amp;2"), message("Business logic length is wrong.", "\"1&&2\"")},
      {withLogic("", " \n "), message("Business logic length is wrong.", "\" \\n \"")},
      {withLogic("", "()"), message("Business logic length is wrong.", "\"()\"")},
      {withLogic("", "(1|2"), message("A parenthesis is not closed.", "\"(1|2\"")},
      {withLogic("", "1 2"), message("An operator is missing between two operands.", "\"1 2\"")},
      {withLogic("", "(1)(2)&amp;3"),
       message("An operator is missing between two operands.", "\"(1)(2)&3\"")},
  });
}

TEST_F(PolicyError, NamesAFileThatCannotBeRead) {
  EXPECT_EQ(run({"lookup", "--policy", "none.xml", "/x"}),
            (Result{2, "", "qvlctl: cannot read none.xml: No such file or directory\n"}));
  EXPECT_EQ(run({"lookup", "--policy", folder(), "/x"}),
            (Result{2, "", "qvlctl: cannot read " + folder() + ": Is a directory\n"}));
}

TEST_F(PolicyError, ShowsUnprintableNamesEscaped) {
  EXPECT_EQ(run({"lookup", "--policy", "a\n\xff.xml", "/x"}),
            (Result{2, "", "qvlctl: cannot read a\\n\\xFF.xml: No such file or directory\n"}));
}

TEST_F(PolicyError, KeepsAnAuditFromAnswering) {
  write("policy.xml", withLogic("<data-set/>"));
  EXPECT_EQ(
      run({"audit", "--policy", "policy.xml", "."}),
      (Result{2, "", "qvlctl: policy.xml:3: data set 1: <data-set> needs the attribute number\n"}));
}

}  // namespace
}  // namespace Test
}  // namespace QVL
