// Every way in which a policy can be wrong, and all that is told about it.

#include <gtest/gtest.h>
#include <qvlpolicy/Lint.h>
#include <qvlpolicy/Policy.h>
#include <sys/mman.h>

#include <cstddef>
#include <random>
#include <string>
#include <string_view>
#include <vector>

#include "tests/qvlpolicy/Policies.h"

namespace qvlpolicy {
namespace {

struct Case {
  std::string policy;
  std::string errors;
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

void check(const std::vector<Case>& cases) {
  for (const Case& row : cases) {
    const Loaded loaded = Policy::parse(row.policy, "p.xml");
    EXPECT_EQ(errorsOf(loaded), row.errors) << row.policy.substr(0, 400);
    EXPECT_FALSE(loaded.policy) << row.policy.substr(0, 400);
  }
}

// Of 4 GiB and a policy the parser would see the policy and nothing else.
TEST(PolicyErrors, TextsTooLarge) {
  constexpr std::size_t kMost = std::size_t{512} << 20;
  const std::size_t room = 8 * kMost + 4096;
  void* const memory = ::mmap(nullptr, room, PROT_READ | PROT_WRITE,
                              MAP_PRIVATE | MAP_ANONYMOUS | MAP_NORESERVE, -1, 0);
  ASSERT_NE(memory, MAP_FAILED);
  const std::string policy = withLogic("");
  policy.copy(static_cast<char*>(memory), policy.size());
  for (const std::size_t size : {kMost + 1, 8 * kMost + policy.size()}) {
    const std::string_view text(static_cast<const char*>(memory), size);
    EXPECT_EQ(errorsOf(Policy::parse(text, "p.xml")),
              "p.xml: expected at most 536,870,912 bytes; found more\n");
  }
  ::munmap(memory, room);
}

TEST(PolicyErrors, EndsReadingADeviceWithoutEnd) {
  EXPECT_EQ(errorsOf(Policy::load("/dev/zero")),
            "/dev/zero: expected at most 536,870,912 bytes; found more\n");
}

TEST(PolicyErrors, ElementsTooDeep) {
  std::string deep;
  for (int i = 0; i < 100'000; ++i) deep += "<a>";
  const std::string errors = errorsOf(Policy::parse(withLogic(deep), "p.xml"));
  EXPECT_NE(errors.find("p.xml:3:766: expected at most 256 elements within each other; found <a>"),
            std::string::npos)
      << errors.substr(0, 2000);
}

// Whatever the bytes are, there is a policy or there are errors, and nothing is thrown; lint has
// something to say of either.
TEST(PolicyErrors, OfAnyBytesAreInTheResult) {
  const std::string sound =
      "<?xml version=\"1.0\" encoding=\"UTF-8\"?>\n" +
      withLogic(
          "<data-set number=\"1\" kind=\"folder\" keywords=\"t\" expires=\"2040-01-01\">"
          "<rule reason=\"r\">/srv/%K%/</rule><allow finding=\"expired\" reason=\"r\"/>"
          "</data-set><data-set number=\"2\" kind=\"file-age\"><rule of=\"creation\" "
          "days=\"3,4\"/></data-set><keywords name=\"t\"><keyword name=\"%K%\">"
          "<value>[a-z]+</value></keyword></keywords>",
          "1|!2");
  const std::vector<std::string> pieces = {"<",
                                           ">",
                                           "&",
                                           "\"",
                                           std::string(1, '\0'),
                                           "\xFF",
                                           "\xC3",
                                           "]]>",
                                           "<!--",
                                           "<![CDATA[",
                                           "&#x41;",
                                           "&#0;",
                                           "<?x?>",
                                           "(",
                                           "{9999}",
                                           "number=\"1\"",
                                           "<rule>",
                                           "</rule>",
                                           "<!DOCTYPE a>",
                                           "\xEF\xBB\xBF",
                                           "%K%",
                                           "**",
                                           "xmlns=\"u\"",
                                           "<include file=\"none\"/>"};
  std::mt19937 random(20261122);
  const auto below = [&](std::size_t bound) { return random() % bound; };
  std::size_t policies = 0;
  for (int round = 0; round < 4000; ++round) {
    std::string text = sound;
    for (std::size_t change = below(5); change > 0; --change) {
      const std::size_t at = below(text.size());
      switch (below(4)) {
        case 0:
          text.insert(at, pieces[below(pieces.size())]);
          break;
        case 1:
          text.erase(at, 1 + below(30));
          break;
        case 2:
          text[at] = static_cast<char>(below(256));
          break;
        default:
          text.insert(at, text.substr(below(text.size()), 1 + below(100)));
      }
      if (text.empty()) text = "<";
    }
    Loaded loaded;
    ASSERT_NO_THROW(loaded = Policy::parse(text, "p.xml")) << text;
    ASSERT_EQ(loaded.policy == nullptr, !loaded.errors.empty()) << text;
    ASSERT_NO_THROW(lint(loaded)) << text;
    policies += loaded.policy ? 1 : 0;
  }
  EXPECT_GT(policies, 500U);
  EXPECT_LT(policies, 3500U);
}

TEST(PolicyErrors, FilesThatCannotBeRead) {
  const auto said = [](const std::string& file) {
    const Loaded loaded = Policy::load(file);
    EXPECT_FALSE(loaded.policy);
    return loaded.errors.size() == 1 ? loaded.errors[0].what : errorsOf(loaded);
  };
  EXPECT_EQ(said(""), "cannot read it: No such file or directory");
  EXPECT_EQ(said("/no/such/file"), "cannot read it: No such file or directory");
  EXPECT_EQ(said("/"), "cannot read it: Is a directory");
  EXPECT_EQ(said("/dev/null/x"), "cannot read it: Not a directory");
  EXPECT_EQ(said(std::string("/dev/null\0x", 11)), "cannot read it: No such file or directory");
  EXPECT_EQ(said('/' + std::string(5000, 'x')), "cannot read it: File name too long");
}

TEST(PolicyErrors, NotXml) {
  check({
      {"", "p.xml:1:1: it is not well-formed XML: Document is empty\n"},
      {"# a list\n/tmp/\n",
       "p.xml:1:1: it is not well-formed XML: Start tag expected, '<' not found\n"},
      {"<exclusion-policy version=\"1\">",
       "p.xml:1:31: it is not well-formed XML: Premature end of data in tag"
       " exclusion-policy line 1\n"},
      {withLogic("", "1&2"), "p.xml:2:10: it is not well-formed XML: xmlParseEntityRef: no name\n"},
      {withLogic("", "1 < 2"),
       "p.xml:2:11: it is not well-formed XML: StartTag: invalid element name\n"},
      // Nothing is said about a rule that has not ended.
      {withLogic("<data-set number=\"1\" kind=\"folder\"><rule>/a&b/</rule></data-set>"),
       "p.xml:3:46: it is not well-formed XML: EntityRef: expecting ';'\n"},
      {withLogic("<data-set number=\"1\" kind=\"folder\"><rule>/a/</rul></data-set>"),
       "p.xml:3:51: it is not well-formed XML: Opening and ending tag mismatch: rule line 3 and "
       "rul\n"},
      {withLogic("<data-set number=\"1\" kind=\"folder\"><rule>/a/\xff</rule></data-set>"),
       "p.xml:3:45: the byte \\xFF belongs to no UTF-8 character; expected a text in the encoding "
       "that it "
       "says to be in\n"},
      {withLogic("") + "<second-root/>",
       "p.xml:5:1: it is not well-formed XML: Extra content at the end of the"
       " document\n"},
      {std::string("<exclusion-policy version=\"1\">\n<logic>1") + '\0' + "</logic>",
       "p.xml:2:9: a zero byte is no character of XML; expected a text in the"
       " encoding that it says to be in\n"},
      {withLogic("") + std::string(1, '\0'),
       "p.xml:5:1: a zero byte is no character of XML; expected a text in the"
       " encoding that it says to be in\n"},
  });
}

TEST(PolicyErrors, AnotherDocument) {
  check({
      {"<policy/>",
       "p.xml:1:1: expected a policy, whose root element is <exclusion-policy>"
       " without a namespace; found <policy>\n"},
      {"<exclusion-policy xmlns=\"urn:x\" version=\"1\"/>",
       "p.xml:1:1: expected a policy, whose root element is <exclusion-policy>"
       " without a namespace; found <exclusion-policy> in a namespace\n"},
      {"<exclusion-policy/>", "p.xml:1:1: <exclusion-policy> needs the attribute version\n"},
      {"<exclusion-policy version=\"2\"><logic>1</logic></exclusion-policy>",
       "p.xml:1:19: version: expected 1; found \"2\"\n"},
      {"<?xml version=\"1.0\"?>\n<!-- <!DOCTYPE no> -->\n<!DOCTYPE exclusion-policy [<!ENTITY r "
       "\"/x/\">]>\n<exclusion-policy version=\"1\"><logic>1</logic></exclusion-policy>",
       "p.xml:3:1: a policy has no document type declaration; found <!DOCTYPE\n"},
  });
}

TEST(PolicyErrors, WhatHasNoPlace) {
  check({
      {"<exclusion-policy version=\"1\" vesion=\"1\"/>",
       "p.xml:1:31: unknown attribute vesion; expected in <exclusion-policy>: version"
       " or expired\n"},
      {withLogic("<dataset/>"),
       "p.xml:3:1: unknown element <dataset>; expected in <exclusion-policy>:"
       " <include>, <logic>, <keywords>, <data-set> or <allow>\n"},
      {withLogic("stray"),
       "p.xml:1:1: unexpected text; expected in <exclusion-policy>: <include>,"
       " <logic>, <keywords>, <data-set> or <allow>; found \"stray\"\n"},
      {withLogic("", "<b/>1"),
       "p.xml:2:8: logic: unknown element <b>; expected in <logic>: none\n"},
      {withLogic("<data-set number=\"1\" kind=\"folder\" numer=\"2\"/>"),
       "p.xml:3:36: data set 1: unknown attribute numer; expected in <data-set> of"
       " kind folder: number, kind, name, enabled, match-anything, match-empty-input,"
       " case-sensitive, wildcards, check-access, keywords, comment, owner, reason,"
       " ticket, added or expires\n"},
      {folderSet("<!--\n\n--><rul>/x/</rul>"),
       "p.xml:6:4: data set 1: unknown element <rul>; expected in <data-set> of kind"
       " folder: <keyword>, <rule> or <allow>\n"},
      {folderSet("<p:rule xmlns:p=\"urn:x\">/x/</p:rule>"),
       "p.xml:4:1: data set 1: unknown element <p:rule>; expected in <data-set> of"
       " kind folder: <keyword>, <rule> or <allow>\n"},
      {folderSet("<r\xc3\xbcle>/x/</r\xc3\xbcle>"),
       "p.xml:4:1: data set 1: unknown element <rüle>; expected in <data-set> of kind"
       " folder: <keyword>, <rule> or <allow>\n"},
      {folderSet("/x/"),
       "p.xml:3:1: data set 1: unexpected text; expected in <data-set> of kind"
       " folder: <keyword>, <rule> or <allow>; found \"/x/\"\n"},
      {folderSet("<rule acess=\"read\">/x/</rule>"),
       "p.xml:4:7: data set 1, rule 1: unknown attribute acess; expected in <rule> in"
       " a data set of kind folder: access, subfolders, comment, owner, reason,"
       " ticket, added or expires\n"},
      {folderSet("<rule>/a/</rule><rule><b>/x/</b></rule>"),
       "p.xml:4:23: data set 1, rule 2: unknown element <b>; expected in <rule> in a"
       " data set of kind folder: none\n"},
      {folderSet("<keyword name=\"K\"><value>v</value><vlaue>w</vlaue></keyword>"),
       "p.xml:4:35: data set 1, keyword 1: unknown element <vlaue>; expected in"
       " <keyword>: <value>\n"},
      {folderSet("<keyword name=\"K\"><value>v</value><value x=\"y\">w</value></keyword>"),
       "p.xml:4:42: data set 1, keyword 1, value 2: unknown attribute x; expected in"
       " <value>: none\n"},
  });
}

TEST(PolicyErrors, WhatHasNoPlaceInThisKind) {
  check({
      {withDataSet("kind=\"file-path\"", "<rule subfolders=\"no\">/x</rule>"),
       "p.xml:4:7: data set 1, rule 1: unknown attribute subfolders; expected in"
       " <rule> in a data set of kind file-path: access, comment, owner, reason,"
       " ticket, added or expires\n"},
      {folderSet("<rule default-folder=\"/x\">/x/</rule>"),
       "p.xml:4:7: data set 1, rule 1: unknown attribute default-folder; expected in"
       " <rule> in a data set of kind folder: access, subfolders, comment, owner,"
       " reason, ticket, added or expires\n"},
      {withDataSet("kind=\"file-type\"", "<keyword name=\"K\"><value>v</value></keyword>"),
       "p.xml:4:1: data set 1: unknown element <keyword>; expected in <data-set> of"
       " kind file-type: <rule> or <allow>\n"},
      {ageSet("<keyword name=\"K\"><value>v</value></keyword>"),
       "p.xml:4:1: data set 1: unknown element <keyword>; expected in <data-set> of"
       " kind file-age: <rule> or <allow>\n"},
      {withDataSet("kind=\"file-age\" wildcards=\"no\"", ""),
       "p.xml:3:38: data set 1: unknown attribute wildcards; expected in <data-set>"
       " of kind file-age: number, kind, name, enabled, match-anything, check-access,"
       " comment, owner, reason, ticket, added or expires\n"},
      {ageSet("<rule of=\"creation\" days=\"1\">30</rule>"),
       "p.xml:4:1: data set 1, rule 1: unexpected text; expected in <rule> in a data"
       " set of kind file-age: attributes only; found \"30\"\n"},
  });
}

TEST(PolicyErrors, WhatIsMissing) {
  check({
      {"<exclusion-policy version=\"1\"/>",
       "p.xml: expected one <logic>, which says how the data sets combine, such as"
       " <logic>1|2</logic>; found none\n"},
      {withLogic("<logic>2</logic>"),
       "p.xml:3:1: logic: expected one <logic>; found another one\n"},
      {withLogic("<data-set/>"),
       "p.xml:3:1: the data set at place 1: <data-set> needs the attribute"
       " number\np.xml:3:1: the data set at place 1: <data-set> needs the attribute"
       " kind\n"},
      {withLogic("<data-set number=\"5\"/>"),
       "p.xml:3:1: data set 5: <data-set> needs the attribute kind\n"},
      {withLogic("<data-set number=\"\" kind=\"folder\"/>"),
       "p.xml:3:11: the data set at place 1: the attribute number is empty; expected"
       " a whole number from 0 to 4294967295\n"},
      {folderSet("<rule access=\"\">/x/</rule>"),
       "p.xml:4:7: data set 1, rule 1: the attribute access is empty; expected read,"
       " write, any or a whole number from 0 to 4294967295\n"},
      {folderSet("<keyword><value>v</value></keyword>"),
       "p.xml:4:1: data set 1, keyword 1: <keyword> needs the attribute name\n"},
      {folderSet("<keyword name=\"K\"/>"),
       "p.xml:4:1: data set 1, keyword 1: the keyword K needs at least one <value>\n"},
      {ageSet("<rule days=\"3\"/>"),
       "p.xml:4:1: data set 1, rule 1: <rule> in a data set of kind file-age needs"
       " the attribute of\n"},
      {ageSet("<rule of=\"creation\"/>"),
       "p.xml:4:1: data set 1, rule 1: <rule> in a data set of kind file-age needs"
       " the attribute days\n"},
  });
}

TEST(PolicyErrors, Values) {
  check({
      {withLogic("<data-set number=\"-1\" kind=\"folder\"/>"),
       "p.xml:3:11: the data set at place 1: number: expected a whole number from 0"
       " to 4294967295; found \"-1\"\n"},
      {withLogic("<data-set number=\"1x\" kind=\"folder\"/>"),
       "p.xml:3:11: the data set at place 1: number: expected a whole number from 0"
       " to 4294967295; found \"1x\"\n"},
      {withLogic("<data-set number=\" 1\" kind=\"folder\"/>"),
       "p.xml:3:11: the data set at place 1: number: expected a whole number from 0"
       " to 4294967295; found \" 1\"\n"},
      {withLogic("<data-set number=\"4294967296\" kind=\"folder\"/>"),
       "p.xml:3:11: the data set at place 1: number: expected a whole number from 0"
       " to 4294967295; found \"4294967296\"\n"},
      {withLogic("<data-set number=\"1\" kind=\"dir\"/>"),
       "p.xml:3:22: data set 1: kind: expected file-path, folder, process, file-type"
       " or file-age; found \"dir\"\n"},
      // Nothing is said of its rules, which may be right for the kind that was meant.
      {withDataSet("kind=\"foldr\"", "<rule>/srv/a/</rule><rule></rule>"),
       "p.xml:3:22: data set 1: kind: expected file-path, folder, process, file-type"
       " or file-age; found \"foldr\"\n"},
      {withLogic("<data-set number=\"1\" kind=\"folder\"/>\n<data-set number=\"7\" "
                 "kind=\"folder\"/>\n<data-set number=\"01\" kind=\"process\"/>"),
       "p.xml:5:11: data set 1: the number 1 belongs to the data set at p.xml:3:1"
       " already; expected a number of its own\n"},
      {withDataSet("kind=\"folder\" enabled=\"true\"", ""),
       "p.xml:3:36: data set 1: enabled: expected yes or no; found \"true\"\n"},
      {withDataSet("kind=\"folder\" check-access=\"all\"", ""),
       "p.xml:3:36: data set 1: check-access: expected by-rule, never, or one access"
       " type for the whole data set (read, write, any or a whole number from 0 to"
       " 4294967295); found \"all\"\n"},
      {withDataSet("kind=\"folder\" check-access=\"never\"", "<rule access=\"read\">/x/</rule>"),
       "p.xml:4:7: data set 1, rule 1: access: the data set's check-access keeps"
       " rules from comparing access types; expected no access here or"
       " check-access=\"by-rule\" there; found \"read\"\n"},
      {folderSet("<rule access=\"reed\">/x/</rule>"),
       "p.xml:4:7: data set 1, rule 1: access: expected read, write, any or a whole"
       " number from 0 to 4294967295; found \"reed\"\n"},
      {folderSet("<rule subfolders=\"maybe\">/x/</rule>"),
       "p.xml:4:7: data set 1, rule 1: subfolders: expected yes or no; found"
       " \"maybe\"\n"},
      {folderSet("<keyword name=\"K\"><value>v</value></keyword>\n<keyword "
                 "name=\"K\"><value>w</value></keyword>"),
       "p.xml:5:1: data set 1, keyword 2: the keyword K is defined twice, first at"
       " p.xml:4:1\n"},
      {ageSet("<rule of=\"birth\" days=\"3\"/>"),
       "p.xml:4:7: data set 1, rule 1: of: expected creation or modification; found"
       " \"birth\"\n"},
      {ageSet("<rule of=\"creation\" days=\"x\"/>"),
       "p.xml:4:21: data set 1, rule 1: days: expected whole numbers of days from 0"
       " to 24855, separated by commas, such as 30 or 30,90, at most 23 characters in"
       " all; found \"x\"\n"},
      {ageSet("<rule of=\"creation\" days=\"-1\"/>"),
       "p.xml:4:21: data set 1, rule 1: days: expected whole numbers of days from 0"
       " to 24855, separated by commas, such as 30 or 30,90, at most 23 characters in"
       " all; found \"-1\"\n"},
      {ageSet("<rule of=\"creation\" days=\"1,,2\"/>"),
       "p.xml:4:21: data set 1, rule 1: days: expected whole numbers of days from 0"
       " to 24855, separated by commas, such as 30 or 30,90, at most 23 characters in"
       " all; found \"1,,2\"\n"},
      {ageSet("<rule of=\"creation\" days=\"24856\"/>"),
       "p.xml:4:21: data set 1, rule 1: days: expected whole numbers of days from 0"
       " to 24855, separated by commas, such as 30 or 30,90, at most 23 characters in"
       " all; found \"24856\"\n"},
      {ageSet("<rule of=\"creation\" days=\"10000,10000,10000,100000\"/>"),
       "p.xml:4:21: data set 1, rule 1: days: expected whole numbers of days from 0"
       " to 24855, separated by commas, such as 30 or 30,90, at most 23 characters in"
       " all; found \"10000,10000,10000,100000\"\n"},
      {ageSet("<rule of=\"creation\" days=\"10000,10000,10000,1000,1\"/>"),
       "p.xml:4:21: data set 1, rule 1: days: expected whole numbers of days from 0"
       " to 24855, separated by commas, such as 30 or 30,90, at most 23 characters in"
       " all; found \"10000,10000,10000,1000,1\"\n"},
  });
}

TEST(PolicyErrors, RulesThatTheLibraryRefuses) {
  check({
      {folderSet("<rule>/x</rule>"),
       "p.xml:4:1: data set 1, rule 1: the rule does not end in a slash (Failed to"
       " create folder avoidance as validation of folder failed.); expected a folder"
       " pattern of 1 to 4096 bytes that ends in \"/\"; found \"/x\"\n"},
      {folderSet("<rule>/a/</rule>\n<rule>/(x/</rule>"),
       "p.xml:5:1: data set 1, rule 2: the rule is no valid regular expression once wildcards and "
       "keywords are replaced (Failed to create folder avoidance as regex could not be build.); "
       "expected brackets and parentheses in pairs, and a backslash before each of + ( ) [ ] { } | "
       "^ $ \\ that is meant as it stands; found \"/(x/\"\n"},
      {withDataSet("kind=\"file-path\"", "<rule>/x/</rule>"),
       "p.xml:4:1: data set 1, rule 1: the rule ends in a slash (Failed to create"
       " path avoidance as validation of path failed.); expected a file path pattern"
       " of 1 to 4096 bytes that does not end in \"/\"; found \"/x/\"\n"},
      {withDataSet("kind=\"file-path\"", "<rule>/" + std::string(4096, 'x') + "</rule>"),
       "p.xml:4:1: data set 1, rule 1: the rule is too long, at 4,097 bytes (Failed"
       " to create path avoidance as validation of path failed.); expected a file"
       " path pattern of 1 to 4096 bytes that does not end in \"/\"; found \"/" +
           std::string(199, 'x') + "...\" (4,097 bytes)\n"},
      {withDataSet("kind=\"process\"", "<rule/>"),
       "p.xml:4:1: data set 1, rule 1: the rule is empty (Failed to create process"
       " avoidance as validation of process failed.); expected a process pattern that"
       " is not empty and does not end in \"/\"; found \"\"\n"},
      {withDataSet("kind=\"file-type\"", "<rule>thirteen-long</rule>"),
       "p.xml:4:1: data set 1, rule 1: the rule is too long, at 13 bytes (Failed to"
       " create file type avoidance as validation of file type failed.); expected an"
       " extension of 1 to 12 bytes, without its dot; found \"thirteen-long\"\n"},
      {folderSet("<keyword name=\"K\"><value>(</value></keyword><rule>/K/</rule>"),
       "p.xml:4:45: data set 1, rule 1: the rule is no valid regular expression once wildcards and "
       "keywords are replaced (The rule cannot be compiled with the switches and keywords of its "
       "data set.); expected brackets and parentheses in pairs, and a backslash before each of + ( "
       ") [ ] { } | ^ $ \\ that is meant as it stands; found \"/K/\"\n"},
      {withDataSet("kind=\"folder\" wildcards=\"no\"", "<rule>*/</rule>"),
       "p.xml:4:1: data set 1, rule 1: the rule is no valid regular expression once wildcards and "
       "keywords are replaced (The rule cannot be compiled with the switches and keywords of its "
       "data set.); expected brackets and parentheses in pairs, and a backslash before each of + ( "
       ") [ ] { } | ^ $ \\ that is meant as it stands; found \"*/\"\n"},
  });
}

TEST(PolicyErrors, RulesThatADataSetWouldDrop) {
  check({
      {folderSet("<rule access=\"read\">/x/</rule>\n<rule access=\"write\">/x/</rule>"),
       "p.xml:5:1: data set 1, rule 2: a data set keeps one rule for each text, and"
       " rule 1 has this one with other attributes; expected this rule in a data set"
       " of its own; found \"/x/\"\n"},
      {folderSet("<rule>/x/</rule>\n<rule subfolders=\"no\">/x/</rule>"),
       "p.xml:5:1: data set 1, rule 2: a data set keeps one rule for each text, and"
       " rule 1 has this one with other attributes; expected this rule in a data set"
       " of its own; found \"/x/\"\n"},
      {withDataSet("kind=\"process\"", "<rule>x</rule>\n<rule default-folder=\"/x\">x</rule>"),
       "p.xml:5:1: data set 1, rule 2: a data set keeps one rule for each text, and"
       " rule 1 has this one with other attributes; expected this rule in a data set"
       " of its own; found \"x\"\n"},
      {withDataSet("kind=\"file-type\" case-sensitive=\"yes\"",
                   "<rule>txt</rule>\n<rule>TXT</rule>"),
       "p.xml:5:1: data set 1, rule 2: a data set keeps one rule for each text, and"
       " rule 1 has this one with other attributes; expected this rule in a data set"
       " of its own; found \"TXT\"\n"},
  });
}

TEST(PolicyErrors, Logic) {
  check({
      {withLogic("", ""),
       "p.xml:2:8: logic: expected numbers of data sets combined by !, &, | and"
       " parentheses, such as (1|2)&!3; found the end\n"},
      {withLogic("", std::string(2049, '1')),
       "p.xml:2:2056: logic: it is too long; expected at most 2048 characters; found"
       " 2,049\n"},
      {withLogic("", "1 or 2"),
       "p.xml:2:10: logic: an operator is missing; expected & or | between two"
       " operands; found \"o\"\n"},
      {withLogic("", "1,2"),
       "p.xml:2:9: logic: an operator is missing; expected & or | between two"
       " operands; found \",\"\n"},
      {withLogic("", "1)"), "p.xml:2:9: logic: there is no ( for this parenthesis; found \")\"\n"},
      {withLogic("", "4294967296"),
       "p.xml:2:8: logic: expected a number from 0 to 4294967295; found"
       " \"4294967296\"\n"},
      {withLogic("", "!!1"),
       "p.xml:2:9: logic: a double negation needs parentheses; expected the number of"
       " a data set or (, as in !(!1); found \"!\"\n"},
      {withLogic("", "1&amp;&amp;2"),
       "p.xml:2:14: logic: expected the number of a data set, ! or (; found \"&\"\n"},
      {withLogic("", " \n "),
       "p.xml:3:2: logic: expected numbers of data sets combined by !, &, | and"
       " parentheses, such as (1|2)&!3; found the end\n"},
      {withLogic("", "()"),
       "p.xml:2:9: logic: expected the number of a data set, ! or (; found \")\"\n"},
      {withLogic("", "(1|2"),
       "p.xml:2:12: logic: a parenthesis is not closed; expected ); found the end\n"},
      {withLogic("", "1 2"),
       "p.xml:2:10: logic: an operator is missing; expected & or | between two"
       " operands; found \"2\"\n"},
      {withLogic("", "(1)(2)&amp;3"),
       "p.xml:2:11: logic: an operator is missing; expected & or | between two"
       " operands; found \"(\"\n"},
  });
}

}  // namespace
}  // namespace qvlpolicy
