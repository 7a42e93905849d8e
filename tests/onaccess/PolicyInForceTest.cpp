#include "PolicyInForce.h"

#include <unistd.h>

#include <atomic>
#include <cstdio>
#include <fstream>
#include <string>
#include <thread>
#include <vector>

#include "Trouble.h"
#include "gmock/gmock.h"
#include "gtest/gtest.h"

namespace onaccess {
namespace test {
namespace {

using ::testing::ElementsAre;
using ::testing::Eq;
using ::testing::HasSubstr;
using ::testing::Optional;

// Excludes /build/ by itself, or but for a program.
constexpr const char* kFolders =
    "<exclusion-policy version='1'><logic>1</logic>"
    "<data-set number='1' kind='folder'><rule>/FOLDER/</rule></data-set></exclusion-policy>";
constexpr const char* kFoldersButForAProgram =
    "<exclusion-policy version='1'><logic>1 &amp; !2</logic>"
    "<data-set number='1' kind='folder'><rule>/build/</rule></data-set>"
    "<data-set number='2' kind='process'><rule>/bin/mail</rule></data-set></exclusion-policy>";

class PolicyInForceTest : public ::testing::Test {
 protected:
  PolicyInForceTest() { write(foldersOf("build")); }
  ~PolicyInForceTest() override { std::remove(file.c_str()); }

  static std::string foldersOf(const std::string& folder) {
    std::string text = kFolders;
    return text.replace(text.find("FOLDER"), 6, folder);
  }
  void write(const std::string& text) const { std::ofstream(file) << text; }

  const std::string file = "policy-in-force." + std::to_string(::getpid()) + ".xml";
  std::vector<unsigned int> dataSets;
  std::string words;
};

TEST_F(PolicyInForceTest, AnswersForReading) {
  PolicyInForce policy(file, qvlpolicy::Counting::DataSets);
  EXPECT_FALSE(policy.readsProgram());
  EXPECT_THAT(policy.isExcluded("/build/a", "", dataSets), Optional(true));
  EXPECT_THAT(dataSets, ElementsAre(1u));
  EXPECT_THAT(policy.isExcluded("/src/a", "", dataSets), Optional(false));
}

TEST_F(PolicyInForceTest, GivesNoAnswerWithoutAProgramWhenThePolicyReadsIt) {
  write(kFoldersButForAProgram);
  PolicyInForce policy(file, qvlpolicy::Counting::DataSets);
  EXPECT_TRUE(policy.readsProgram());
  EXPECT_THAT(policy.isExcluded("/build/a", "", dataSets), Eq(std::nullopt));
  EXPECT_THAT(policy.isExcluded("/build/a", "/bin/mail", dataSets), Optional(false));
  EXPECT_THAT(policy.isExcluded("/build/a", "/bin/cat", dataSets), Optional(true));
}

TEST_F(PolicyInForceTest, AWrongPolicyIsRefusedWithItsErrors) {
  PolicyInForce policy(file, qvlpolicy::Counting::DataSets);
  write("<nonsense/>");
  EXPECT_FALSE(policy.reload(words));
  EXPECT_THAT(words, HasSubstr(file + ":1"));
  EXPECT_THAT(policy.isExcluded("/build/a", "", dataSets), Optional(true));
  EXPECT_THROW(PolicyInForce(file, qvlpolicy::Counting::DataSets), Trouble);
}

// Back and forth between one that reads programs and others: an answer without a program is none of
// the former, and never wrong between two of the latter.
TEST_F(PolicyInForceTest, NoAnswerIsThatOfAPolicyThatMissesTheProgram) {
  write(foldersOf("other"));
  PolicyInForce policy(file, qvlpolicy::Counting::Nothing);
  std::atomic<bool> isEnding{false};
  std::atomic<unsigned int> wrong{0};
  std::vector<std::thread> askers;
  for (int i = 0; i < 4; ++i) {
    askers.emplace_back([&] {
      std::vector<unsigned int> matched;
      while (!isEnding) {
        if (policy.isExcluded("/build/a", "", matched) == true) ++wrong;
      }
    });
  }
  for (int i = 0; i < 2000; ++i) {
    write(i % 2 == 0 ? kFoldersButForAProgram : foldersOf("other"));
    EXPECT_TRUE(policy.reload(words)) << words;
  }
  isEnding = true;
  for (std::thread& asker : askers) asker.join();
  EXPECT_EQ(wrong, 0u);
}

TEST_F(PolicyInForceTest, AnswersAlwaysWhenNoPolicyReadsPrograms) {
  PolicyInForce policy(file, qvlpolicy::Counting::Nothing);
  std::atomic<bool> isEnding{false};
  std::atomic<unsigned int> wrong{0};
  std::thread asker([&] {
    std::vector<unsigned int> matched;
    while (!isEnding) {
      if (policy.isExcluded("/build/a", "", matched) != true) ++wrong;
    }
  });
  for (int i = 0; i < 500; ++i) EXPECT_TRUE(policy.reload(words)) << words;
  isEnding = true;
  asker.join();
  EXPECT_EQ(wrong, 0u);
}

}  // namespace
}  // namespace test
}  // namespace onaccess
