// Which rules match: the same as asking each of them.

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <qvl/qvl.h>
#include <qvlpolicy/Patterns.h>
#include <qvlpolicy/Policy.h>
#include <qvlpolicy/Writer.h>

#include <random>
#include <string>
#include <thread>
#include <vector>

#include "tests/qvlpolicy/DrawnPolicies.h"
#include "tests/qvlpolicy/Policies.h"

namespace qvlpolicy {
namespace {

using testing::ElementsAre;
using testing::IsEmpty;

TEST(RuleSearch, FindsTheRulesThatMatchWhenTheyAreAsked) {
  DrawnTexts made;
  std::size_t matches = 0;
  std::size_t left = 0;
  for (int round = 0; round < 150; ++round) {
    for (const Kind kind : {Kind::FilePath, Kind::Folder, Kind::Process, Kind::FileType}) {
      // What matches does so whatever the switches of its data set say.
      Description description = drawnDescription(made, kind);
      description.dataSets[0].enabled = made.coin();
      description.dataSets[0].matchAnything = made.coin();
      const Loaded loaded = Policy::parse(policyText(description), "p.xml");
      // A text may come twice with other attributes.
      if (!loaded.policy) continue;
      const DataSet& dataSet = loaded.policy->description().dataSets[0];
      left += rulesLeftToTheEngine(dataSet).size();
      for (int i = 0; i < 20; ++i) {
        const bool isAnything = made.upTo(9) == 0;
        std::string text = '/' + (isAnything ? made.ruleText(4) : made.plainText(4));
        if (made.upTo(19) == 0) text += '\xFF';
        const Question question = {text, text};
        std::vector<std::size_t> expected;
        for (std::size_t rule = 0; rule < dataSet.rules.size(); ++rule) {
          QVL::LookupData request;
          request.m_filePath = text;
          request.m_processName = text;
          bool doesMatch = false;
          try {
            doesMatch = makeRule(dataSet, dataSet.rules[rule])->canAvoid(request);
          } catch (const std::exception&) {
            // No match
          }
          // A rule that is there already is held once.
          bool isHeld = true;
          for (std::size_t j = 0; j < rule; ++j) {
            isHeld = isHeld && !haveSameKey(kind, dataSet.rules[j], dataSet.rules[rule]);
          }
          if (doesMatch && isHeld) expected.push_back(rule);
        }
        std::vector<std::size_t> found;
        for (const MatchingRule& match : loaded.policy->matchingRules(question, 0)) {
          found.push_back(match.rule);
        }
        ASSERT_EQ(found, expected) << text << '\n' << policyText(loaded.policy->description());
        matches += found.size();
      }
    }
  }
  EXPECT_GT(matches, 500u);
  EXPECT_GT(left, 500u);
}

TEST(RuleSearch, IsMadeOnceForAllThreads) {
  std::string rules;
  for (int i = 0; i < 2000; ++i) rules += "<rule>/srv/" + std::to_string(i) + "/**/x*</rule>\n";
  const Loaded loaded = Policy::parse(
      policy("<logic>1</logic><data-set number=\"1\" kind=\"file-path\">" + rules + "</data-set>"),
      "p.xml");
  ASSERT_TRUE(loaded.policy) << errorsOf(loaded);
  std::vector<std::thread> threads;
  std::vector<std::vector<MatchingRule>> found(4);
  for (std::size_t i = 0; i < found.size(); ++i) {
    threads.emplace_back([&, i] {
      found[i] = loaded.policy->matchingRules({"/srv/1999/a/xy", ""});
    });
  }
  for (std::thread& thread : threads) thread.join();
  for (const auto& one : found) {
    ASSERT_EQ(one.size(), 1u);
    EXPECT_EQ(one[0].rule, 1999u);
  }
}

TEST(RulesLeftToTheEngine, AreThoseThatNoProgramMatches) {
  DataSet dataSet;
  dataSet.kind = Kind::FilePath;
  dataSet.wildcards = false;
  for (const char* const text : {"/a/.*", "/(a)\\1", "/(a|b)*c", "/(?>a*)b", "/a(?=b).*",
                                 "/[a-f]{3}", "/(?i)a", "/(?<!a)b"}) {
    dataSet.rules.emplace_back();
    dataSet.rules.back().text = text;
  }
  EXPECT_THAT(rulesLeftToTheEngine(dataSet), ElementsAre(1, 3, 4, 7));
  dataSet.kind = Kind::FileAge;
  EXPECT_THAT(rulesLeftToTheEngine(dataSet), IsEmpty());
}

// They are not looked at one by one, unless there are keywords.
TEST(RulesLeftToTheEngine, AreNoneOfPlainPatterns) {
  std::mt19937 random(20261122);
  const std::string characters = "a/*?.bZ-%<>\"'&,;:!@#=~`_0";
  for (const Kind kind : {Kind::FilePath, Kind::Folder, Kind::Process}) {
    DataSet dataSet;
    dataSet.kind = kind;
    for (std::size_t i = 0; i < 600; ++i) {
      // Half of them are made of few characters, so that there are long runs of wildcards.
      const std::size_t kinds = i % 2 == 0 ? 1 + i / 2 % 5 : characters.size();
      std::string text = "/";
      while (text.size() < (i % 20 == 0 ? 4095 : 1 + i % 60)) {
        text += characters[random() % kinds];
      }
      dataSet.rules.emplace_back();
      dataSet.rules.back().text = text + (kind == Kind::Folder ? "/" : "a");
      dataSet.rules.back().includeSubfolders = i % 3 == 0;
    }
    for (const bool caseSensitive : {true, false}) {
      dataSet.caseSensitive = caseSensitive;
      dataSet.keywords.clear();
      EXPECT_THAT(rulesLeftToTheEngine(dataSet), IsEmpty());
      dataSet.keywords.push_back({"no rule has that", {"a"}, {}});
      EXPECT_THAT(rulesLeftToTheEngine(dataSet), IsEmpty());
    }
  }
}

}  // namespace
}  // namespace qvlpolicy
