// What must not change the answers of a policy, tried on random ones: nobody has to know the
// answers, only that two ways to ask lead to the same. Threads and the trace are here; the index
// and the plain walk are compared by IndexEquivalence.

#include <gtest/gtest.h>

#include <algorithm>
#include <atomic>
#include <exception>
#include <functional>
#include <memory>
#include <set>
#include <string>
#include <thread>
#include <utility>
#include <vector>

#include "qvl/qvl.h"
#include "tests/support/Dice.h"
#include "tests/support/Outcome.h"
#include "tests/support/RandomRules.h"
#include "tests/support/Requests.h"
#include "tests/support/TracedWalk.h"

namespace QVL {
namespace Test {
namespace {

// What a data set is made from.
struct DataSetPlan {
  Kind kind = Path;
  bool caseSensitive = true;
  bool wildCards = true;
  bool matchEmptyInput = false;
  bool checkAccessType = true;
  unsigned char atDataSetLevel = 0;
  AccessTypes access = AnyAccess;
  std::set<std::string> names;  // the values of a keyword; empty for no keyword
  std::vector<RandomRule> rules;

  // With its settings, without its rules.
  std::shared_ptr<IDataSet> makeEmpty() const {
    auto dataSet = dataSetOf(kind);
    caseSensitive ? dataSet->enableCaseSensitiveSearch() : dataSet->disableCaseSensitiveSearch();
    wildCards ? dataSet->enableWildCardSearch() : dataSet->disableWildCardSearch();
    if (matchEmptyInput) dataSet->enableMatchEmptyInput();
    if (!checkAccessType) dataSet->disableCheckingOfAccessType();
    dataSet->checkAccessTypeAtDataSetLevelOnly(atDataSetLevel, access);
    if (!names.empty()) dataSet->addOrUpdateKeyword("%NAME%", names);
    return dataSet;
  }
};

DataSetPlan randomDataSet(Dice& dice) {
  DataSetPlan plan;
  plan.kind = static_cast<Kind>(dice.below(kKinds));
  plan.caseSensitive = !dice.oneIn(3);
  plan.wildCards = !dice.oneIn(4);
  plan.matchEmptyInput = dice.oneIn(3);
  plan.checkAccessType = !dice.oneIn(3);
  plan.atDataSetLevel = dice.oneIn(4) ? 1 : 0;
  plan.access = dice.pick(kAccess);
  if (dice.oneIn(2)) plan.names = dice.pick(kValues);
  // Those that a data set takes: texts of rules, and no key twice.
  const auto taker = plan.makeEmpty();
  for (std::size_t count = dice.below(dice.oneIn(8) ? 120 : 16); count > 0; --count) {
    const RandomRule rule = randomRule(plan.kind, dice);
    try {
      if (taker->addToDataSet(make(rule))) plan.rules.push_back(rule);
    } catch (const QVLException&) {
    }
  }
  return plan;
}

struct Policy {
  explicit Policy(const std::vector<DataSetPlan>& plans, const std::string& logic) {
    for (const DataSetPlan& plan : plans) {
      dataSets.push_back(plan.makeEmpty());
      for (const RandomRule& rule : plan.rules) dataSets.back()->addToDataSet(make(rule));
      manager.assignDataSet(dataSets.back(), static_cast<unsigned int>(dataSets.size()), 0);
    }
    manager.defineBusinessLogic(logic);
  }

  LookupManager manager;
  std::vector<std::shared_ptr<IDataSet>> dataSets;
};

// The manager's verdict with its identifiers, then what each data set answers or throws.
using Answers = std::vector<std::string>;

Answers answersOf(Policy& policy, const LookupData& request) {
  const auto put = [&](const std::function<bool(LookupData&)>& question) {
    LookupData lent = request;
    std::string answer;
    try {
      answer = question(lent) ? "present" : "absent";
    } catch (const std::exception& exception) {
      answer = exception.what();
    }
    for (const unsigned int number : lent.m_matchIdentifiers)
      answer += ' ' + std::to_string(number);
    return answer;
  };
  Answers answers = {put([&](LookupData& lent) { return policy.manager.isPresent(lent); })};
  for (const auto& dataSet : policy.dataSets) {
    answers.push_back(put([&](LookupData& lent) { return dataSet->isPresentInDataSet(lent); }));
  }
  return answers;
}

bool isExcluded(const Answers& answers) {
  return answers.front().rfind("present", 0) == 0;
}

std::string described(const LookupData& request) {
  return "path " + shown(request.m_filePath) + ", process " + shown(request.m_processName) +
         ", access " + std::to_string(static_cast<std::uint32_t>(request.m_accessType));
}

const std::vector<std::string> kLogicsWithoutNot = {"1|2|3", "(1|2)&3", "1&2|3", "3|2|1", "1"};
const std::vector<std::string> kLogics = {"1|2|3", "(1|2)&3", "!1&(2|3)", "1&!2|3", "!(1|!2)"};

enum class Inputs { Any, Utf8Only };

// Random policies with requests that suit them.
class Metamorphic : public ::testing::Test {
 protected:
  // For every policy: `check(plans, logic, requests)`.
  template <typename Check>
  void forRandomPolicies(const std::vector<std::string>& logics, Inputs inputs, Check check) {
    const TracedWalk log;  // has the log started, and gives its level back
    ScanAvoidanceFlowvalue = 0;
    SCOPED_TRACE(dice.origin());
    for (std::size_t round = 0; round < Dice::cases(120); ++round) {
      SCOPED_TRACE("policy " + std::to_string(round));
      const std::vector<DataSetPlan> plans = {randomDataSet(dice), randomDataSet(dice),
                                              randomDataSet(dice)};
      check(plans, dice.pick(logics), randomRequests(plans, inputs));
      if (HasFailure()) return;
    }
  }

  void expectSame(Policy& one, Policy& other, const std::vector<LookupData>& requests) {
    for (const LookupData& request : requests) {
      const Answers expected = answersOf(one, request);
      ASSERT_EQ(answersOf(other, request), expected) << described(request);
      count(expected);
    }
  }

  void expectSame(Policy& policy, const std::vector<LookupData>& requests,
                  const std::vector<Answers>& before) {
    for (std::size_t i = 0; i < requests.size(); ++i) {
      ASSERT_EQ(answersOf(policy, requests[i]), before[i]) << described(requests[i]);
      count(before[i]);
    }
  }

  static std::vector<Answers> allAnswers(Policy& policy, const std::vector<LookupData>& requests) {
    std::vector<Answers> all;
    for (const LookupData& request : requests) all.push_back(answersOf(policy, request));
    return all;
  }

  void count(const Answers& answers) {
    ++m_compared;
    m_excluded += isExcluded(answers);
  }

  void TearDown() override {
    EXPECT_GT(m_excluded, m_compared / 20) << "hardly anything was excluded";
    EXPECT_LT(m_excluded, m_compared - m_compared / 20) << "hardly anything was not";
    RecordProperty("compared", std::to_string(m_compared));
  }

  Dice dice;

 private:
  std::vector<LookupData> randomRequests(const std::vector<DataSetPlan>& plans, Inputs inputs) {
    std::vector<std::string> texts;
    for (const DataSetPlan& plan : plans) {
      for (const RandomRule& rule : plan.rules) texts.push_back(rule.text);
    }
    std::vector<LookupData> requests;
    for (int i = 0; i < 40; ++i) {
      LookupData& request = requests.emplace_back();
      for (std::string* const input : {&request.m_filePath, &request.m_processName}) {
        *input = randomInput(texts, dice);
        if (inputs == Inputs::Any && dice.oneIn(10)) {
          input->insert(dice.below(input->size() + 1), dice.pick(kNotUtf8));
        }
      }
      request.m_accessType = dice.pick(kAccess);
    }
    return requests;
  }

  std::size_t m_compared = 0;
  std::size_t m_excluded = 0;
};

TEST_F(Metamorphic, OrderInWhichRulesAreAddedDoesNotMatter) {
  forRandomPolicies(kLogics, Inputs::Any, [&](auto plans, const auto& logic, const auto& requests) {
    Policy policy(plans, logic);
    for (DataSetPlan& plan : plans) {
      std::shuffle(plan.rules.begin(), plan.rules.end(), dice.engine());
    }
    Policy shuffled(plans, logic);
    expectSame(policy, shuffled, requests);
  });
}

// Inputs in UTF-8 only: on others a rule may throw, and a data set that throws counts as absent.
// Of an empty extension a file type data set asks its first rule alone, so that one is left out.
TEST_F(Metamorphic, AnotherRuleNeverTakesAnExclusionAway) {
  std::size_t added = 0;
  std::size_t won = 0;
  forRandomPolicies(
      kLogicsWithoutNot, Inputs::Utf8Only,
      [&](auto plans, const auto& logic, const auto& requests) {
        // Some of the rules are held back and come one by one.
        std::vector<std::pair<std::size_t, RandomRule>> later;
        for (std::size_t i = 0; i < plans.size(); ++i) {
          if (plans[i].kind == Type) plans[i].matchEmptyInput = false;
          std::vector<RandomRule>& rules = plans[i].rules;
          std::shuffle(rules.begin(), rules.end(), dice.engine());
          for (std::size_t count = std::min<std::size_t>(6, rules.size()); count > 0; --count) {
            later.push_back({i, rules.back()});
            rules.pop_back();
          }
        }
        std::shuffle(later.begin(), later.end(), dice.engine());
        Policy policy(plans, logic);
        std::vector<Answers> before = allAnswers(policy, requests);
        for (const auto& [dataSet, rule] : later) {
          ASSERT_TRUE(policy.dataSets[dataSet]->addToDataSet(make(rule))) << rule.text;
          ++added;
          for (std::size_t i = 0; i < requests.size(); ++i) {
            Answers now = answersOf(policy, requests[i]);
            if (isExcluded(before[i])) {
              ASSERT_TRUE(isExcluded(now))
                  << "after " << rule.text << ", " << described(requests[i]);
            }
            won += isExcluded(now) && !isExcluded(before[i]);
            count(now);
            before[i] = std::move(now);
          }
        }
      });
  EXPECT_GT(added, Dice::cases(500));
  EXPECT_GT(won, Dice::cases(100)) << "the new rules hardly ever exclude anything";
}

TEST_F(Metamorphic, DuplicateRuleChangesNothing) {
  std::size_t refused = 0;
  forRandomPolicies(
      kLogics, Inputs::Any, [&](const auto& plans, const auto& logic, const auto& requests) {
        Policy policy(plans, logic);
        const std::vector<Answers> before = allAnswers(policy, requests);
        for (std::size_t i = 0; i < plans.size(); ++i) {
          for (RandomRule duplicate : plans[i].rules) {
            duplicate.access = dice.pick(kAccess);
            duplicate.flag ^= static_cast<unsigned char>(dice.below(2));
            ASSERT_FALSE(policy.dataSets[i]->addToDataSet(make(duplicate))) << duplicate.text;
            ++refused;
          }
        }
        expectSame(policy, requests, before);
      });
  EXPECT_GT(refused, Dice::cases(500));
}

TEST_F(Metamorphic, RemovingWhatWasAddedRestoresEveryAnswer) {
  std::size_t changed = 0;
  forRandomPolicies(
      kLogics, Inputs::Any, [&](const auto& plans, const auto& logic, const auto& requests) {
        Policy policy(plans, logic);
        const std::vector<Answers> before = allAnswers(policy, requests);
        std::vector<std::pair<std::size_t, RandomRule>> added;
        for (int i = 0; i < 30; ++i) {
          const std::size_t chosen = dice.below(plans.size());
          const RandomRule rule = randomRule(plans[chosen].kind, dice);
          try {
            if (policy.dataSets[chosen]->addToDataSet(make(rule))) added.push_back({chosen, rule});
          } catch (const QVLException&) {
          }
          if (i % 10 == 0) changed += allAnswers(policy, requests) != before;
        }
        changed += allAnswers(policy, requests) != before;
        std::shuffle(added.begin(), added.end(), dice.engine());
        for (const auto& [dataSet, rule] : added) {
          ASSERT_TRUE(policy.dataSets[dataSet]->removeFromDataSet(*make(rule))) << rule.text;
        }
        expectSame(policy, requests, before);
      });
  EXPECT_GT(changed, Dice::cases(100)) << "what was added hardly ever mattered";
}

TEST_F(Metamorphic, ManyThreadsAgreeWithOne) {
  forRandomPolicies(
      kLogics, Inputs::Any, [&](const auto& plans, const auto& logic, const auto& requests) {
        Policy policy(plans, logic);
        const std::vector<Answers> alone = allAnswers(policy, requests);
        Policy fresh(plans, logic);  // so that its first queries come from all threads
        std::atomic<int> different{0};
        std::vector<std::thread> threads;
        for (std::size_t thread = 0; thread < 4; ++thread) {
          threads.emplace_back([&, thread] {
            for (std::size_t i = 0; i < 2 * requests.size(); ++i) {
              const std::size_t at = (i + thread * requests.size() / 4) % requests.size();
              if (answersOf(fresh, requests[at]) != alone[at]) ++different;
            }
          });
        }
        for (std::thread& thread : threads) thread.join();
        ASSERT_EQ(different, 0);
        expectSame(fresh, requests, alone);
      });
}

TEST_F(Metamorphic, TracingChangesNoAnswer) {
  forRandomPolicies(kLogics, Inputs::Any,
                    [&](const auto& plans, const auto& logic, const auto& requests) {
                      Policy policy(plans, logic);
                      const std::vector<Answers> untraced = allAnswers(policy, requests);
                      ScanAvoidanceFlowvalue = 5;
                      expectSame(policy, requests, untraced);
                      ScanAvoidanceFlowvalue = 0;
                    });
}

}  // namespace
}  // namespace Test
}  // namespace QVL
