// The policy in force: swaps under load, refused files, counters.

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <qvlpolicy/LivePolicy.h>

#include <atomic>
#include <string>
#include <thread>
#include <vector>

#include "tests/qvlpolicy/Policies.h"

namespace qvlpolicy {
namespace {

using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;

class Live : public FolderOfPolicies {
 protected:
  std::shared_ptr<const Policy> loaded(const std::string& name) const {
    const Loaded result = load(name);
    EXPECT_TRUE(result.policy) << errorsOf(result);
    return result.policy;
  }
};

// Exactly one of the two policies excludes each path, and each names its own data set: an answer
// made of both would show.
TEST_F(Live, GivesNoWrongAnswerWhilePoliciesAreSwapped) {
  write("a.xml", policy("<logic>1</logic>" + folderSet(1, "/a/")));
  write("b.xml", policy("<logic>2</logic>" + folderSet(2, "/b/")));
  const std::shared_ptr<const Policy> a = loaded("a.xml");
  const std::shared_ptr<const Policy> b = loaded("b.xml");
  write("live.xml", policy("<logic>1</logic>" + folderSet(1, "/a/")));
  LivePolicy live(loaded("live.xml"), Counting::Rules);

  std::atomic<bool> isOver{false};
  std::atomic<std::uint64_t> wrong{0};
  std::atomic<std::uint64_t> asked{0};
  std::vector<std::thread> threads;
  for (int i = 0; i < 4; ++i) {
    threads.emplace_back([&] {
      Answer answer;
      while (!isOver) {
        for (const char* const path : {"/a/x", "/b/x", "/c/x"}) {
          live.ask({path, ""}, answer);
          const char folder = path[1];
          const bool isOfA = answer.isExcluded && answer.dataSets == std::vector<unsigned int>{1};
          const bool isOfB = answer.isExcluded && answer.dataSets == std::vector<unsigned int>{2};
          const bool isOfNone = !answer.isExcluded && answer.dataSets.empty();
          const bool isRight = isOfNone || (isOfA && folder == 'a') || (isOfB && folder == 'b');
          if (!isRight) ++wrong;
          ++asked;
        }
      }
    });
  }
  for (int i = 0; i < 300; ++i) {
    live.replace(i % 2 == 0 ? b : a);
    // What is asked after a swap is answered by the new policy.
    EXPECT_EQ(live.isExcluded({"/b/x", ""}), i % 2 == 0);
    if (i % 10 == 0) {
      EXPECT_THAT(live.reload().errors, IsEmpty());
    }
    std::this_thread::yield();
  }
  isOver = true;
  for (std::thread& thread : threads) thread.join();
  EXPECT_EQ(wrong, 0u);
  const Counters counters = live.counters();
  EXPECT_EQ(counters.questions, asked + 300);
  EXPECT_EQ(counters.reloads, 330u);
  EXPECT_EQ(counters.refused, 0u);
}

TEST_F(Live, KeepsThePolicyInForceWhenAFileIsRefused) {
  write("p.xml", policy("<logic>1</logic>" + folderSet(1, "/a/")));
  LivePolicy live(loaded("p.xml"));
  write("p.xml", policy("<logic>1|</logic>" + folderSet(1, "/b/")));
  const Loaded refused = live.reload();
  EXPECT_FALSE(refused.policy);
  EXPECT_THAT(errorsOf(refused), HasSubstr("p.xml:2:10: logic: expected"));
  EXPECT_TRUE(live.isExcluded({"/a/x", ""}));
  EXPECT_EQ(live.counters().refused, 1u);
  std::filesystem::remove(path("p.xml"));
  EXPECT_THAT(errorsOf(live.reload()), HasSubstr("p.xml: cannot read it: "));
  EXPECT_TRUE(live.isExcluded({"/a/x", ""}));

  write("p.xml", policy("<logic>1</logic>" + folderSet(1, "/b/")));
  EXPECT_TRUE(live.reload().policy);
  EXPECT_FALSE(live.isExcluded({"/a/x", ""}));
  EXPECT_TRUE(live.isExcluded({"/b/x", ""}));
}

TEST_F(Live, CountsWhatIsAskedFor) {
  write("p.xml", policy("<logic>7&amp;!8</logic>"
                        "<data-set number=\"7\" kind=\"folder\"><rule>/a/</rule>"
                        "<rule access=\"write\">/a/b/</rule><rule>/a/b/c/</rule></data-set>"
                        "<data-set number=\"8\" kind=\"file-type\"><rule>exe</rule></data-set>"));
  const auto counts = [](const std::vector<Hits>& hits) {
    std::vector<std::uint64_t> numbers;
    for (const Hits& one : hits) {
      numbers.push_back(one.count);
      EXPECT_EQ(one.last != 0, one.count != 0);
    }
    return numbers;
  };
  for (const Counting counting : {Counting::Nothing, Counting::DataSets, Counting::Rules}) {
    LivePolicy live(loaded("p.xml"), counting);
    for (const char* const path : {"/a/b/c/x", "/a/x", "/a/x.exe", "/z"}) live.ask({path, ""});
    const Counters counters = live.counters();
    const bool counts1 = counting != Counting::Nothing;
    EXPECT_EQ(counters.questions, counts1 ? 4u : 0u);
    EXPECT_EQ(counters.excluded, counts1 ? 2u : 0u);
    if (counts1) {
      EXPECT_THAT(counts(counters.dataSets), ElementsAre(3, 1));
    } else {
      EXPECT_THAT(counters.dataSets, IsEmpty());
    }
    if (counting == Counting::Rules) {
      ASSERT_EQ(counters.rules.size(), 2u);
      EXPECT_THAT(counts(counters.rules[0]), ElementsAre(2, 0, 1));
      EXPECT_THAT(counts(counters.rules[1]), ElementsAre(0));
    } else {
      EXPECT_THAT(counters.rules, IsEmpty());
    }
  }
}

TEST_F(Live, LetsAPolicyGoWhenItsLastQuestionHasEnded) {
  write("p.xml", policy("<logic>1</logic>" + folderSet(1, "/a/")));
  std::shared_ptr<const Policy> first = loaded("p.xml");
  const std::weak_ptr<const Policy> watched = first;
  LivePolicy live(std::move(first));
  EXPECT_FALSE(watched.expired());
  live.replace(loaded("p.xml"));
  EXPECT_TRUE(watched.expired());
}

}  // namespace
}  // namespace qvlpolicy
