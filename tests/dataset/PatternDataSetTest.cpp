// Data sets of pattern rules at work: keywords, settings and switches as seen in the answers.

#include <gtest/gtest.h>

#include <memory>
#include <string>
#include <vector>

#include "qvl/qvl.h"
#include "tests/support/Outcome.h"
#include "tests/support/Requests.h"

namespace QVL {
namespace Test {
namespace {

std::unique_ptr<FilePathAvoidance> path(const std::string& text, AccessTypes access = AnyAccess) {
  return std::make_unique<FilePathAvoidance>(text, access);
}

std::unique_ptr<ProcessAvoidance> process(const std::string& text, AccessTypes access = AnyAccess) {
  return std::make_unique<ProcessAvoidance>(text, access, static_cast<unsigned char>(0), "");
}

bool present(IDataSet& dataSet, const std::string& file, AccessTypes access = AccessTypes()) {
  LookupData request = fileRequest(file, access);
  return dataSet.isPresentInDataSet(request);
}

bool presentProcess(IDataSet& dataSet, const std::string& name,
                    AccessTypes access = AccessTypes()) {
  LookupData request = processRequest(name, access);
  return dataSet.isPresentInDataSet(request);
}

TEST(FilePathDataSet, IsPresentWhenAnyRuleMatches) {
  FilePathDataSet dataSet;
  dataSet.addToDataSet(path("/a/*"));
  dataSet.addToDataSet(path("/b/**", ReadAccess));
  dataSet.addToDataSet(path("*.log", WriteAccess));
  const struct {
    const char* file;
    AccessTypes access;
    bool expected;
  } rows[] = {
      {"/a/x", accessType(9), true},  {"/a/x/y", ReadAccess, false}, {"/b/x/y", ReadAccess, true},
      {"/b/x/y", WriteAccess, false}, {"x.log", WriteAccess, true},  {"x.log", ReadAccess, false},
      {"/c", ReadAccess, false},      {"", ReadAccess, false},
  };
  for (const auto& row : rows) {
    EXPECT_EQ(present(dataSet, row.file, row.access), row.expected)
        << row.file << " access " << row.access;
  }
}

TEST(FilePathDataSet, MatchesEmptyInputWhileItIsToldTo) {
  FilePathDataSet dataSet;
  dataSet.addToDataSet(path("/a"));
  EXPECT_FALSE(present(dataSet, ""));
  dataSet.enableMatchEmptyInput();
  EXPECT_TRUE(present(dataSet, ""));
  EXPECT_FALSE(present(dataSet, "/b"));
  dataSet.disableMatchEmptyInput();
  EXPECT_FALSE(present(dataSet, ""));
  dataSet.addToDataSet(path("*"));
  EXPECT_TRUE(present(dataSet, "")) << "offered to the rules";
}

TEST(FilePathDataSet, OverrulesTheSettingsOfItsRules) {
  FilePathDataSet dataSet;
  auto rule = path("/Tmp/x.y");
  rule->disableCaseSensitiveSearch();
  rule->disableWildCardSearch();
  ASSERT_TRUE(rule->updateRegex());
  EXPECT_TRUE(dataSet.addToDataSet(std::move(rule)));
  EXPECT_FALSE(present(dataSet, "/tmp/x.y"));
  EXPECT_FALSE(present(dataSet, "/Tmp/xzy"));
  EXPECT_TRUE(present(dataSet, "/Tmp/x.y"));
  dataSet.disableCaseSensitiveSearch();
  EXPECT_TRUE(present(dataSet, "/tmp/x.y"));
  EXPECT_FALSE(present(dataSet, "/tmp/xzy"));
  dataSet.disableWildCardSearch();
  EXPECT_TRUE(present(dataSet, "/tmp/xzy"));
  dataSet.enableCaseSensitiveSearch();
  EXPECT_FALSE(present(dataSet, "/tmp/xzy"));
  EXPECT_TRUE(present(dataSet, "/Tmp/xzy"));
  dataSet.enableWildCardSearch();
  EXPECT_FALSE(present(dataSet, "/Tmp/xzy"));
}

TEST(FilePathDataSet, KeywordsReachRulesHeldAndRulesAddedLater) {
  FilePathDataSet dataSet;
  dataSet.addToDataSet(path("/%K%/1"));
  EXPECT_FALSE(present(dataSet, "/a/1"));
  EXPECT_TRUE(dataSet.addOrUpdateKeyword("%K%", {"a", "b"}));
  dataSet.addToDataSet(path("/%K%/2"));
  EXPECT_TRUE(present(dataSet, "/a/1"));
  EXPECT_TRUE(present(dataSet, "/b/2"));
  EXPECT_TRUE(dataSet.addOrUpdateKeyword("%K%", {"c"}));
  EXPECT_FALSE(present(dataSet, "/a/1"));
  EXPECT_TRUE(present(dataSet, "/c/1"));
  EXPECT_TRUE(present(dataSet, "/c/2"));
  EXPECT_TRUE(dataSet.deleteKeyword("%K%"));
  EXPECT_FALSE(present(dataSet, "/c/1"));
  EXPECT_TRUE(present(dataSet, "/%K%/2"));
}

TEST(FilePathDataSet, KeywordsComeOnTopOfTheRulesOwn) {
  FilePathDataSet dataSet;
  dataSet.addOrUpdateKeyword("%SET%", {"s"});
  dataSet.addOrUpdateKeyword("%BOTH%", {"set"});
  auto rule = path("/%SET%/%OWN%/%BOTH%");
  rule->addOrUpdateKeyword("%OWN%", {"o"});
  rule->addOrUpdateKeyword("%BOTH%", {"own"});
  dataSet.addToDataSet(std::move(rule));
  EXPECT_TRUE(present(dataSet, "/s/o/set"));
  EXPECT_FALSE(present(dataSet, "/s/o/own"));
}

TEST(FilePathDataSet, AnInvalidKeywordValueLeavesTheRulesAsTheyWere) {
  FilePathDataSet dataSet;
  dataSet.addToDataSet(path("/%K%"));
  dataSet.addOrUpdateKeyword("%K%", {"a"});
  EXPECT_TRUE(dataSet.addOrUpdateKeyword("%K%", {"("}));
  EXPECT_TRUE(present(dataSet, "/a"));
  // A rule added now keeps what its constructor compiled, and is added.
  EXPECT_TRUE(dataSet.addToDataSet(path("/x/%K%")));
  EXPECT_TRUE(present(dataSet, "/x/%K%"));
}

TEST(FilePathDataSet, SeesARuleRecompiledThroughAPointerKept) {
  FilePathDataSet dataSet;
  auto owned = path("/Tmp/a");
  FilePathAvoidance* const rule = owned.get();
  dataSet.addToDataSet(std::move(owned));
  dataSet.addToDataSet(path("/other"));
  EXPECT_FALSE(present(dataSet, "/tmp/a"));

  rule->disableCaseSensitiveSearch();
  EXPECT_FALSE(present(dataSet, "/tmp/a")) << "not before it is recompiled";
  ASSERT_TRUE(rule->updateRegex());
  EXPECT_TRUE(present(dataSet, "/tmp/a"));

  ASSERT_TRUE(rule->addOrUpdateKeyword("Tmp", {"var"}));
  ASSERT_TRUE(rule->updateRegex());
  EXPECT_FALSE(present(dataSet, "/tmp/a"));
  EXPECT_TRUE(present(dataSet, "/var/a"));

  // A new text changes what matches, and not the key under which the rule is held.
  ASSERT_TRUE(rule->validate("/b/*", ReadAccess));
  EXPECT_TRUE(present(dataSet, "/var/a", ReadAccess));
  ASSERT_TRUE(rule->updateRegex());
  EXPECT_TRUE(present(dataSet, "/b/x", ReadAccess));
  EXPECT_FALSE(present(dataSet, "/b/x", WriteAccess));
  EXPECT_FALSE(present(dataSet, "/var/a", ReadAccess));
  FilePathAvoidance old("/Tmp/a", AnyAccess);
  EXPECT_TRUE(dataSet.removeFromDataSet(old));
  EXPECT_FALSE(present(dataSet, "/b/x", ReadAccess));
}

TEST(FolderDataSet, SeesARuleRecompiledThroughAPointerKept) {
  FolderDataSet dataSet;
  auto owned = std::make_unique<FolderAvoidance>("/Tmp/", AnyAccess, static_cast<unsigned char>(1));
  FolderAvoidance* const rule = owned.get();
  dataSet.addToDataSet(std::move(owned));
  EXPECT_TRUE(present(dataSet, "/Tmp/x/y"));
  EXPECT_FALSE(present(dataSet, "/tmp/x/y"));
  rule->disableCaseSensitiveSearch();
  ASSERT_TRUE(rule->updateRegex());
  EXPECT_TRUE(present(dataSet, "/tmp/x/y"));
  ASSERT_TRUE(rule->validate("/b/", AnyAccess));
  ASSERT_TRUE(rule->updateRegex());
  EXPECT_FALSE(present(dataSet, "/tmp/x/y"));
  EXPECT_TRUE(present(dataSet, "/b/x/y"));
}

TEST(FilePathDataSet, APathThatIsNotUtf8Throws) {
  FilePathDataSet dataSet;
  dataSet.addToDataSet(path("/a/**"));
  EXPECT_THROW(present(dataSet, "/a/\xff/x"), std::exception);
  EXPECT_THROW(present(dataSet, "\x80"), std::exception);
  EXPECT_THROW(present(dataSet, "/b/\xc3"), std::exception);
  EXPECT_FALSE(present(dataSet, "/b/\xff/long enough")) << "not read that far";
  EXPECT_TRUE(present(dataSet, "/a/x")) << "the mutex is free";

  // A match in an earlier rule, or a switch, comes first.
  dataSet.addToDataSet(path("/**"));
  EXPECT_THROW(present(dataSet, "/a/\xff/x"), std::exception);
  dataSet.enableMatchAnything();
  EXPECT_TRUE(present(dataSet, "/a/\xff/x"));
}

TEST(FilePathDataSet, ThrowsForAPathThatIsNotUtf8BeforeALaterRuleCouldMatch) {
  FilePathDataSet dataSet;
  dataSet.addToDataSet(path("/a/**"));
  dataSet.addToDataSet(path("/b"));
  EXPECT_TRUE(present(dataSet, "/b"));
  LookupData bad = fileRequest("/a/\xff/x");
  EXPECT_THROW(dataSet.isPresentInDataSet(bad), std::exception);
}

TEST(FilePathDataSet, ThrowsForAPathThatIsNotUtf8WhateverTheAccessType) {
  FilePathDataSet dataSet;
  dataSet.addToDataSet(std::make_unique<FilePathAvoidance>("/a/**", WriteAccess));
  LookupData good = fileRequest("/a/x", ReadAccess);
  EXPECT_FALSE(dataSet.isPresentInDataSet(good));
  LookupData bad = fileRequest("/a/\xff/x", ReadAccess);
  EXPECT_THROW(dataSet.isPresentInDataSet(bad), std::exception);
  // At its own level the data set looks at the access type before it asks a rule.
  dataSet.checkAccessTypeAtDataSetLevelOnly(1, WriteAccess);
  EXPECT_FALSE(dataSet.isPresentInDataSet(bad));
  dataSet.checkAccessTypeAtDataSetLevelOnly(1, ReadAccess);
  EXPECT_THROW(dataSet.isPresentInDataSet(bad), std::exception);
}

// Whatever means a data set uses to be fast, it answers as its rules do one by one.
TEST(FilePathDataSet, AnswersAsItsRulesDoOneByOne) {
  const std::vector<std::string> texts = {
      "/a",
      "/a/b",
      "/a/*",
      "/a/**",
      "/a/**/b",
      "*",
      "**",
      "?",
      "*.log",
      "**.log",
      "/**/x",
      "/a*",
      "/A",
      "/a.b",
      "/a?b",
      "/x/DOUBLE",
      "(a|b)",
      "a+",
      "/é",
      "/É*",
      "**/b",
      "/a/b/*.tar.gz",
      "/Users/*/Library/**",
      "**/node_modules/**",
      "/a/[bc]",
      "\\d+",
      "",
      "k",
      "/a b",
      "**b",
  };
  const std::vector<std::string> files = {
      "",
      "/",
      "/a",
      "/A",
      "/a/",
      "/a/b",
      "/a/b/b",
      "/a/x/y/b",
      "/ab",
      "/a.b",
      "/axb",
      "a",
      "b",
      "aaa",
      "x.log",
      "/x.log",
      "/y/x.log",
      "/x",
      "/y/x",
      "/é",
      "/É",
      "/éa",
      "/a/b/c.tar.gz",
      "/a/b/ctar.gz",
      "/Users/ann/Library/x/y",
      "/p/node_modules/q",
      "/a/c",
      "12",
      "1a",
      "k",
      "\u212a",
      "/a b",
      "/a\nb",
      "/x/y/z",
  };
  for (const bool caseSensitive : {true, false}) {
    for (const bool wildCards : {true, false}) {
      const auto setUp = [&](FilePathDataSet& dataSet) {
        caseSensitive ? dataSet.enableCaseSensitiveSearch() : dataSet.disableCaseSensitiveSearch();
        wildCards ? dataSet.enableWildCardSearch() : dataSet.disableWildCardSearch();
      };
      FilePathDataSet together;
      setUp(together);
      std::vector<std::unique_ptr<FilePathDataSet>> alone;
      for (const std::string& text : texts) {
        if (text.empty()) continue;
        alone.push_back(std::make_unique<FilePathDataSet>());
        setUp(*alone.back());
        ASSERT_TRUE(alone.back()->addToDataSet(path(text))) << text;
        // All but the patterns that match everything, so that the answer is not always true.
        if (text != "*" && text != "**" && text != "**b") {
          ASSERT_TRUE(together.addToDataSet(path(text))) << text;
        }
      }
      for (const std::string& file : files) {
        bool expected = false;
        std::size_t index = 0;
        for (const std::string& text : texts) {
          if (text.empty()) continue;
          auto rule = path(text);
          rule->setCaseSensitiveSearch(caseSensitive ? 1 : 0);
          rule->setWildCardSearch(wildCards ? 1 : 0);
          rule->updateRegex();
          LookupData request = fileRequest(file);
          const bool avoided = rule->canAvoid(request);
          EXPECT_EQ(present(*alone[index], file), avoided) << text << " on " << shown(file);
          if (text != "*" && text != "**" && text != "**b") expected = expected || avoided;
          ++index;
        }
        EXPECT_EQ(present(together, file), expected) << shown(file);
      }
    }
  }
}

// --- Processes -----------------------------------------------------------------------------------

TEST(ProcessDataSet, StartsWithAccessTypeZeroAtDataSetLevelAndWithoutWildcards) {
  ProcessDataSet dataSet;
  EXPECT_TRUE(dataSet.addToDataSet(process("agent.")));
  EXPECT_TRUE(presentProcess(dataSet, "agent1", accessType(0))) << "the dot is an expression's";
  EXPECT_FALSE(presentProcess(dataSet, "agent1", ReadAccess));
  EXPECT_FALSE(presentProcess(dataSet, "agent1", AnyAccess));

  dataSet.enableMatchAnything();
  dataSet.enableMatchEmptyInput();
  EXPECT_FALSE(presentProcess(dataSet, "agent1", ReadAccess)) << "ahead of every switch";
  EXPECT_FALSE(presentProcess(dataSet, "", ReadAccess));
  dataSet.disableMatchAnything();
  dataSet.disableMatchEmptyInput();

  dataSet.checkAccessTypeAtDataSetLevelOnly(1, ReadAccess);
  EXPECT_TRUE(presentProcess(dataSet, "agent1", ReadAccess));
  EXPECT_FALSE(presentProcess(dataSet, "agent1", accessType(0)));
  dataSet.checkAccessTypeAtDataSetLevelOnly(1, AnyAccess);
  EXPECT_TRUE(presentProcess(dataSet, "agent1", WriteAccess));
  dataSet.checkAccessTypeAtDataSetLevelOnly(0, accessType(0));
  EXPECT_TRUE(presentProcess(dataSet, "agent1", WriteAccess));
}

TEST(ProcessDataSet, WithoutCheckingEveryAccessTypeIsAdmitted) {
  ProcessDataSet dataSet;
  dataSet.disableCheckingOfAccessType();
  dataSet.addToDataSet(process("agent", ReadAccess));
  EXPECT_TRUE(presentProcess(dataSet, "agent", ReadAccess));
  EXPECT_TRUE(presentProcess(dataSet, "agent", WriteAccess));
}

TEST(ProcessDataSet, MatchesWildcardsOnceSwitchedOn) {
  ProcessDataSet dataSet;
  EXPECT_TRUE(dataSet.addToDataSet(process("/usr/*/agent")));
  EXPECT_FALSE(presentProcess(dataSet, "/usr/bin/agent"));
  dataSet.enableWildCardSearch();
  EXPECT_TRUE(presentProcess(dataSet, "/usr/bin/agent"));
  EXPECT_FALSE(presentProcess(dataSet, "/usr/local/bin/agent"));
}

TEST(ProcessDataSet, ReadsTheProcessNameOnly) {
  ProcessDataSet dataSet;
  dataSet.addToDataSet(process("agent"));
  LookupData request = fileRequest("agent");
  EXPECT_FALSE(dataSet.isPresentInDataSet(request));
  dataSet.enableMatchEmptyInput();
  EXPECT_TRUE(dataSet.isPresentInDataSet(request)) << "its name is empty, whatever its path";
  request.m_processName = "other";
  request.m_filePath.clear();
  EXPECT_FALSE(dataSet.isPresentInDataSet(request));
}

// --- Under a manager -----------------------------------------------------------------------------

TEST(DataSetsUnderAManager, APathThatIsNotUtf8CountsAsNotPresent) {
  LookupManager manager;
  auto paths = std::make_shared<FilePathDataSet>();
  paths->addToDataSet(path("/a/**"));
  manager.assignDataSet(paths, 1, 0);
  LookupData bad = fileRequest("/a/\xff/x");
  manager.defineBusinessLogic("1");
  EXPECT_FALSE(manager.isPresent(bad));
  manager.defineBusinessLogic("!1");
  EXPECT_TRUE(manager.isPresent(bad));
  EXPECT_TRUE(bad.m_matchIdentifiers.empty());
  LookupData good = fileRequest("/a/x");
  EXPECT_FALSE(manager.isPresent(good));
}

TEST(DataSetsUnderAManager, AnExclusionPolicyOfAllKindsDecides) {
  LookupManager manager;
  auto paths = std::make_shared<FilePathDataSet>();
  auto folders = std::make_shared<FolderDataSet>();
  auto processes = std::make_shared<ProcessDataSet>();
  auto types = std::make_shared<FileTypeDataSet>();
  paths->addToDataSet(path("/srv/**/*.vmdk"));
  folders->addToDataSet(
      std::make_unique<FolderAvoidance>("/build/", AnyAccess, static_cast<unsigned char>(1)));
  processes->disableCheckingOfAccessType();
  processes->addToDataSet(process("/usr/bin/backup"));
  types->addToDataSet(std::make_unique<FileTypeAvoidance>("exe", AnyAccess));
  manager.assignDataSet(paths, 1, 0);
  manager.assignDataSet(folders, 2, 0);
  manager.assignDataSet(processes, 3, 0);
  manager.assignDataSet(types, 4, 0);
  manager.defineBusinessLogic("(1|2|3)&!4");
  const struct {
    const char* file;
    const char* process;
    bool expected;
    std::vector<unsigned int> matched;
  } rows[] = {
      {"/srv/vm/a.vmdk", "", true, {1}},         {"/build/x/y.o", "", true, {2}},
      {"/home/a", "/usr/bin/backup", true, {3}}, {"/build/setup.EXE", "", false, {2, 4}},
      {"/home/a", "/usr/bin/other", false, {}},
  };
  for (const auto& row : rows) {
    LookupData request = fileRequest(row.file);
    request.m_processName = row.process;
    EXPECT_EQ(manager.isPresent(request), row.expected) << row.file << " " << row.process;
    EXPECT_EQ(request.m_matchIdentifiers, row.matched) << row.file << " " << row.process;
  }
}

}  // namespace
}  // namespace Test
}  // namespace QVL
