// The explanation says what the engine did.

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <qvlpolicy/Policy.h>
#include <qvlpolicy/Writer.h>

#include <string>
#include <vector>

#include "tests/qvlpolicy/DrawnPolicies.h"
#include "tests/qvlpolicy/Policies.h"

namespace qvlpolicy {
namespace {

// Every logic over the data sets 1, 2 and 3 with that many operators and, where it may stand, ! or
// none before each operand.
std::vector<std::string> logicsWith(int operators) {
  if (operators == 0) return {"1", "2", "3", "!1", "!2", "!3"};
  std::vector<std::string> logics;
  for (int left = 0; left < operators; ++left) {
    for (const std::string& a : logicsWith(left)) {
      for (const std::string& b : logicsWith(operators - 1 - left)) {
        for (const char* const operation : {"&amp;", "|"}) {
          const std::string both = '(' + a + operation + b + ')';
          logics.push_back(both);
          logics.push_back('!' + both);
        }
      }
    }
  }
  return logics;
}

// A path that data set n matches where its nth character is a 1.
std::string matchingPath(unsigned int dataSets) {
  std::string path = "/000";
  for (unsigned int i = 0; i < 3; ++i) {
    if ((dataSets >> i & 1u) != 0) path[i + 1] = '1';
  }
  return path;
}

TEST(Explanation, TellsOfEveryLogicWhatTheEngineAsked) {
  const auto filePaths = [](int number, const std::string& rule) {
    return "<data-set number=\"" + std::to_string(number) + "\" kind=\"file-path\"><rule>" + rule +
           "</rule></data-set>\n";
  };
  const std::string dataSets = filePaths(1, "/1??") + filePaths(2, "/?1?") + filePaths(3, "/??1");
  std::size_t questions = 0;
  for (const int operators : {0, 1, 2}) {
    for (const std::string& logic : logicsWith(operators)) {
      const Loaded loaded =
          Policy::parse(policy("<logic>" + logic + "</logic>" + dataSets), "p.xml");
      ASSERT_TRUE(loaded.policy) << errorsOf(loaded);
      for (unsigned int matching = 0; matching < 8; ++matching) {
        const std::string path = matchingPath(matching);
        const Answer answer = loaded.policy->ask({path, ""});
        const Explanation explanation = loaded.policy->explain({path, ""});
        ASSERT_EQ(explanation.isExcluded, answer.isExcluded) << logic << ' ' << path;
        ASSERT_EQ(explanation.matched, answer.dataSets) << logic << ' ' << path;
        ++questions;
      }
    }
  }
  EXPECT_EQ(questions, 8u * (6 + 144 + 2 * 6 * 144 * 4));
}

// What a data set answers is found out from the rules that match, not by asking the engine again.
TEST(Explanation, AnswersAsTheEngineDoes) {
  using Check = DataSet::AccessCheck;
  DrawnTexts drawn;
  std::size_t excluded = 0;
  std::size_t refused = 0;
  for (int round = 0; round < 400; ++round) {
    for (const Kind kind : {Kind::FilePath, Kind::Folder, Kind::Process, Kind::FileType}) {
      Description description = drawnDescription(drawn, kind);
      DataSet& dataSet = description.dataSets[0];
      dataSet.enabled = drawn.upTo(9) != 0;
      dataSet.matchAnything = drawn.upTo(19) == 0;
      dataSet.matchEmptyInput = drawn.coin();
      constexpr Check kChecks[] = {Check::ByRule, Check::AtDataSet, Check::Never};
      dataSet.accessCheck = kChecks[drawn.upTo(2)];
      const auto access = [&] { return static_cast<QVL::AccessTypes>(drawn.upTo(2)); };
      if (dataSet.accessCheck == Check::AtDataSet) dataSet.access = access();
      for (Rule& rule : dataSet.rules) {
        if (dataSet.accessCheck == Check::ByRule && drawn.coin()) rule.access = access();
      }
      const Loaded loaded = Policy::parse(policyText(description), "p.xml");
      // A text may come twice with other attributes.
      if (!loaded.policy) continue;
      for (int i = 0; i < 20; ++i) {
        std::string text = '/' + drawn.plainText(4);
        if (drawn.upTo(19) == 0) text += '\xFF';
        if (drawn.upTo(9) == 0) text.clear();
        const Question question = {text, text, access()};
        const Answer answer = loaded.policy->ask(question);
        const Explanation explanation = loaded.policy->explain(question);
        ASSERT_EQ(explanation.isExcluded, answer.isExcluded)
            << text << '\n'
            << policyText(loaded.policy->description());
        ASSERT_EQ(explanation.matched, answer.dataSets);
        excluded += answer.isExcluded ? 1 : 0;
        for (const MatchingRule& match : explanation.dataSets[0].rules) {
          refused += match.fitsAccess ? 0 : 1;
        }
      }
    }
  }
  EXPECT_GT(excluded, 1000u);
  EXPECT_GT(refused, 500u);
}

// The engine asks such rules in its order, and one that gives up decides before those behind it.
TEST(Explanation, AsksTheEngineWhereARuleGivesUp) {
  const std::string path = '/' + std::string(60, 'a');
  for (const bool comesFirst : {true, false}) {
    const std::string ordinary = comesFirst ? "/a*" : "/((a))*";
    const Loaded loaded = Policy::parse(
        policy("<logic>1</logic><data-set number=\"1\" kind=\"file-path\" wildcards=\"no\">"
               "<rule>/(?=((a+)+)+b)a*</rule><rule>" +
               ordinary + "</rule></data-set>"),
        "p.xml");
    ASSERT_TRUE(loaded.policy) << errorsOf(loaded);
    const Explanation explanation = loaded.policy->explain({path, ""});
    EXPECT_EQ(explanation.isExcluded, loaded.policy->isExcluded({path, ""}));
    EXPECT_EQ(explanation.isExcluded, !comesFirst);
    ASSERT_EQ(explanation.dataSets[0].rules.size(), 1u);
    EXPECT_EQ(explanation.dataSets[0].gaveUp, std::vector<std::size_t>{0});
  }
}

}  // namespace
}  // namespace qvlpolicy
