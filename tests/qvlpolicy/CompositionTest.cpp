// Policies of several files, keyword tables, metadata and expiry.

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <qvlpolicy/Policy.h>
#include <sys/stat.h>

#include <filesystem>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "tests/qvlpolicy/Policies.h"

namespace qvlpolicy {
namespace {

using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;
using testing::SizeIs;

class Composition : public FolderOfPolicies {};

TEST_F(Composition, TakesTheDataSetsOfIncludedFilesWhereTheyAreIncluded) {
  write("main.xml", policy("<logic>1|2|3</logic>\n" + folderSet(1, "/a/") +
                           "<include file=\"parts/two.xml\"/>\n" + folderSet(3, "/c/")));
  write("parts/two.xml", policy("<include file=\"four.xml\"/>" + folderSet(2, "/b/")));
  write("parts/four.xml", policy(folderSet(4, "/d/")));
  const Loaded loaded = load("main.xml");
  ASSERT_TRUE(loaded.policy) << errorsOf(loaded);
  const Description& description = loaded.policy->description();
  std::vector<unsigned int> numbers;
  for (const DataSet& dataSet : description.dataSets) numbers.push_back(dataSet.number);
  EXPECT_THAT(numbers, ElementsAre(1, 4, 2, 3));
  EXPECT_THAT(description.files,
              ElementsAre(path("main.xml"), path("parts/two.xml"), path("parts/four.xml")));
  EXPECT_EQ(description.dataSets[1].place.file, 2u);
  EXPECT_TRUE(loaded.policy->isExcluded({"/b/x", ""}));
}

TEST_F(Composition, HandsOverWhatItReadsOfIncludedFiles) {
  const std::string two = policy("<include file=\"three.xml\"/>" + folderSet(2, "/b/"));
  const std::string three = policy(folderSet(3, "/c/"));
  write("main.xml", policy("<logic>1</logic>\n" + folderSet(1, "/a/") +
                           "<include file=\"two.xml\"/><include file=\"no.xml\"/>"));
  write("two.xml", two);
  write("three.xml", three);
  std::vector<std::pair<std::string, std::string>> files;
  LoadOptions options;
  options.onIncluded = [&](const std::string& file, std::string_view content) {
    files.emplace_back(file, content);
  };
  EXPECT_FALSE(load("main.xml", options).policy);
  EXPECT_THAT(files,
              ElementsAre(std::pair(path("two.xml"), two), std::pair(path("three.xml"), three)));
  options.onIncluded = [](const std::string&, std::string_view) { throw 7; };
  EXPECT_THROW(load("main.xml", options), int);
}

TEST_F(Composition, RefusesWhatIncludesItself) {
  write("main.xml",
        policy("<logic>1</logic>\n<include file=\"other.xml\"/>" + folderSet(1, "/a/")));
  write("other.xml", policy("\n<include file=\"./main.xml\"/>"));
  EXPECT_EQ(errorsOf(load("main.xml")),
            path("other.xml") +
                ":3:10: include: a policy cannot include itself, also not by way of "
                "others; found \"./main.xml\"\n");
}

TEST_F(Composition, NamesBothPlacesOfANumber) {
  write("main.xml",
        policy("<logic>1</logic>\n" + folderSet(1, "/a/") + "<include file=\"b.xml\"/>"));
  write("b.xml", policy(folderSet(1, "/b/")));
  EXPECT_EQ(errorsOf(load("main.xml")),
            path("b.xml") + ":2:11: data set 1: the number 1 belongs to the data set at " +
                path("main.xml") + ":3:1 already; expected a number of its own\n");
}

TEST_F(Composition, TellsWhatCannotBeReadWhereItIsIncluded) {
  write("main.xml", policy("<logic>1</logic>\n" + folderSet(1, "/a/") +
                           "<include file=\"no.xml\"/>\n<include file=\"\"/>"));
  EXPECT_EQ(errorsOf(load("main.xml")),
            path("main.xml") + ":4:10: include: cannot read " + path("no.xml") +
                ": No such file or directory\n" + path("main.xml") +
                ":5:10: include: the attribute file is empty; expected a text\n");
}

// A pipe that nobody writes to would be waited for, and a device may have no end.
TEST_F(Composition, IncludesRegularFilesOnly) {
  write("main.xml", policy("<logic>1</logic><include file='pipe'/><include file='/dev/zero'/>"
                           "<include file='folder'/>"));
  ASSERT_EQ(::mkfifo(path("pipe").c_str(), 0600), 0);
  std::filesystem::create_directory(path("folder"));
  const std::string errors = errorsOf(load("main.xml"));
  EXPECT_THAT(errors, HasSubstr(path("pipe") + ": it is no regular file\n"));
  EXPECT_THAT(errors, HasSubstr("cannot read /dev/zero: it is no regular file\n"));
  EXPECT_THAT(errors, HasSubstr(path("folder") + ": Is a directory\n"));
}

TEST_F(Composition, ReadsNoFileByTheBeginningOfAName) {
  write("main.xml", policy("<logic>1</logic>" + folderSet(1, "/a/")));
  EXPECT_TRUE(load("main.xml").policy);
  EXPECT_THAT(errorsOf(load(std::string("main.xml\0.xml", 13))), HasSubstr("cannot read it"));
}

TEST_F(Composition, SeesACircleBehindLinks) {
  std::filesystem::create_directory(path("folder"));
  std::filesystem::create_directory_symlink(".", path("folder/again"));
  std::filesystem::create_symlink("../main.xml", path("folder/link.xml"));
  write("main.xml", policy("<logic>1</logic><include file='folder/again/again/link.xml'/>"));
  EXPECT_THAT(errorsOf(load("main.xml")), HasSubstr("a policy cannot include itself"));
}

// Each of which doubles what is to be read.
TEST_F(Composition, EndsWithFilesThatIncludeOthersTwice) {
  write("main.xml", policy("<logic>1</logic><include file='0.xml'/>"));
  for (int i = 0; i < 40; ++i) {
    const std::string next = "<include file='" + std::to_string(i + 1) + ".xml'/>";
    write(std::to_string(i) + ".xml", policy(next + next));
  }
  const std::string errors = errorsOf(load("main.xml"));
  EXPECT_THAT(errors, HasSubstr("expected at most 32 files within each other"));
  EXPECT_THAT(errors, HasSubstr("expected at most 4,096 files in all"));
}

TEST_F(Composition, KeepsTheLogicToTheIncludingFile) {
  write("main.xml", policy("<logic>1</logic>\n<include file=\"b.xml\"/>" + folderSet(1, "/a/")));
  write("b.xml", policy("<logic>1</logic>"));
  EXPECT_THAT(errorsOf(load("main.xml")), HasSubstr("b.xml:2:1: logic: the logic is that of"));
}

TEST_F(Composition, SharesKeywordsBetweenDataSets) {
  write("main.xml",
        policy("<logic>1|2</logic>\n"
               "<data-set number=\"1\" kind=\"folder\" keywords=\"tools more\">"
               "<rule>/opt/%T%/%M%/</rule></data-set>\n"
               "<data-set number=\"2\" kind=\"file-path\" keywords=\"tools\">"
               "<rule>/etc/%T%.conf</rule></data-set>\n"
               "<keywords name=\"tools\"><keyword name=\"%T%\"><value>a</value><value>b</value>"
               "</keyword></keywords><include file=\"more.xml\"/>"));
  write("more.xml",
        policy("<keywords name=\"more\"><keyword name=\"%M%\"><value>m</value></keyword>"
               "</keywords>"));
  const Loaded loaded = load("main.xml");
  ASSERT_TRUE(loaded.policy) << errorsOf(loaded);
  EXPECT_TRUE(loaded.policy->isExcluded({"/opt/b/m/x", ""}));
  EXPECT_FALSE(loaded.policy->isExcluded({"/opt/c/m/x", ""}));
  EXPECT_TRUE(loaded.policy->isExcluded({"/etc/a.conf", ""}));
}

// Comparing each with each other one would take minutes.
TEST_F(Composition, SharesTablesOfManyKeywords) {
  std::string table;
  for (int i = 0; i < 100'000; ++i) {
    table += "<keyword name=\"%K" + std::to_string(i) + "%\"><value>v</value></keyword>";
  }
  write("table.xml", policy("<keywords name=\"many\">" + table + "</keywords>"));
  write("main.xml", policy("<logic>1</logic><include file=\"table.xml\"/>"
                           "<data-set number=\"1\" kind=\"folder\" keywords=\"many\">"
                           "<rule>/srv/%K99999%/</rule></data-set>"));
  const Loaded loaded = load("main.xml");
  ASSERT_TRUE(loaded.policy) << errorsOf(loaded);
  EXPECT_TRUE(loaded.policy->isExcluded({"/srv/v/x", ""}));
  EXPECT_EQ(loaded.description->dataSets[0].keywords.size(), 100'000U);
}

TEST_F(Composition, RefusesKeywordsThatAreNotThereOrThereTwice) {
  write(
      "main.xml",
      policy("<logic>1</logic>\n"
             "<data-set number=\"1\" kind=\"folder\" keywords=\"tools other\">\n"
             "<keyword name=\"%T%\"><value>x</value></keyword><rule>/a/</rule></data-set>\n"
             "<keywords name=\"tools\"><keyword name=\"%T%\"><value>a</value></keyword></keywords>"
             "\n<keywords name=\"tools\"/>"));
  EXPECT_EQ(errorsOf(load("main.xml")),
            path("main.xml") + ":3:36: data set 1: the keyword %T% is defined twice, at " +
                path("main.xml") + ":4:1 and at " + path("main.xml") + ":5:24\n" +
                path("main.xml") +
                ":3:36: data set 1: there are no keywords of the name \"other\"; "
                "expected <keywords name=\"other\"> in the policy or in what it "
                "includes\n" +
                path("main.xml") +
                ":6:11: keywords \"tools\": there are keywords of the name "
                "\"tools\" already, at " +
                path("main.xml") + ":5:1\n");
}

TEST_F(Composition, KeepsMetadata) {
  write("main.xml", policy("<logic>1</logic>\n"
                           "<data-set number=\"1\" kind=\"folder\" owner=\"ops\" ticket=\"T-1\">"
                           "<rule reason=\"slow\" comment=\"see wiki\" added=\"2024-02-29\" "
                           "expires=\"2026-12-31\">/a/</rule><rule>/b/</rule></data-set>"));
  const Loaded loaded = load("main.xml");
  ASSERT_TRUE(loaded.policy) << errorsOf(loaded);
  const DataSet& dataSet = loaded.policy->description().dataSets[0];
  ASSERT_TRUE(dataSet.metadata);
  EXPECT_EQ(dataSet.metadata->owner, "ops");
  EXPECT_EQ(dataSet.metadata->ticket, "T-1");
  ASSERT_TRUE(dataSet.rules[0].metadata);
  EXPECT_EQ(dataSet.rules[0].metadata->reason, "slow");
  EXPECT_EQ(dataSet.rules[0].metadata->comment, "see wiki");
  EXPECT_EQ(dataSet.rules[0].metadata->added, "2024-02-29");
  EXPECT_EQ(dataSet.rules[0].metadata->expires, "2026-12-31");
  EXPECT_FALSE(dataSet.rules[1].metadata);
}

TEST_F(Composition, RefusesWhatIsNoDate) {
  for (const char* const date : {"2026-02-29", "2026-13-01", "2026-1-01", "26-01-01", "tomorrow",
                                 "2026-04-31", "2026-01-00", "2026/01/01"}) {
    write("main.xml", policy(std::string("<logic>1</logic>\n<data-set number=\"1\" kind=\"folder\" "
                                         "expires=\"") +
                             date + "\"><rule>/a/</rule></data-set>"));
    EXPECT_THAT(errorsOf(load("main.xml")),
                HasSubstr(std::string("expires: expected a date such as 2026-12-31; found \"") +
                          date + "\""));
  }
}

TEST_F(Composition, KeepsWhatHasExpiredUnlessThePolicyDropsIt) {
  const auto answers = [&](const std::string& expired, const char* today) {
    write("main.xml",
          "<exclusion-policy version=\"1\"" + expired +
              "><logic>1|2</logic>"
              "<data-set number=\"1\" kind=\"folder\"><rule expires=\"2026-06-30\">/a/</rule>"
              "<rule>/b/</rule></data-set>"
              "<data-set number=\"2\" kind=\"folder\" expires=\"2026-06-30\"><rule>/c/</rule>"
              "</data-set></exclusion-policy>");
    const Loaded loaded = load("main.xml", {today});
    EXPECT_TRUE(loaded.policy) << errorsOf(loaded);
    std::string text;
    for (const char* const path : {"/a/x", "/b/x", "/c/x"}) {
      text += loaded.policy->isExcluded({path, ""}) ? 'x' : '-';
    }
    return text;
  };
  EXPECT_EQ(answers("", "2026-07-01"), "xxx");
  EXPECT_EQ(answers(" expired=\"keep\"", "2026-07-01"), "xxx");
  EXPECT_EQ(answers(" expired=\"drop\"", "2026-06-30"), "xxx");
  EXPECT_EQ(answers(" expired=\"drop\"", "2026-07-01"), "-x-");
}

TEST_F(Composition, ExplainsWithoutWhatWasDropped) {
  write("main.xml",
        "<exclusion-policy version=\"1\" expired=\"drop\"><logic>1</logic>"
        "<data-set number=\"1\" kind=\"folder\"><rule expires=\"2020-01-01\">/a/</rule>"
        "<rule>/a/b/</rule></data-set></exclusion-policy>");
  const Loaded loaded = load("main.xml");
  ASSERT_TRUE(loaded.policy) << errorsOf(loaded);
  const std::vector<MatchingRule> rules = loaded.policy->matchingRules({"/a/b/c", ""});
  ASSERT_THAT(rules, SizeIs(1));
  EXPECT_EQ(rules[0].rule, 1u);
}

}  // namespace
}  // namespace qvlpolicy
