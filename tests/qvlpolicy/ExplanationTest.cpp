// The explanation says what the engine did.

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <qvlpolicy/Policy.h>

#include <string>
#include <vector>

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

}  // namespace
}  // namespace qvlpolicy
