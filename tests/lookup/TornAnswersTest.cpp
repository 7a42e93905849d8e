// Readers query one manager while data sets and logic are replaced: every answer belongs wholly to
// one state. Data sets of a host's own classes are asked in single file, those of the library's by
// several threads at once. For the thread sanitizer to watch, and checked by answers that no one
// state gives.

#include <gtest/gtest.h>

#include <algorithm>
#include <atomic>
#include <functional>
#include <memory>
#include <set>
#include <string>
#include <thread>
#include <tuple>
#include <vector>

#include "qvl/qvl.h"
#include "tests/lookup/Rig.h"
#include "tests/support/FileStatusDouble.h"
#include "tests/support/Requests.h"

namespace QVL {
namespace Test {
namespace {

constexpr int kReaders = 4;
constexpr int kRounds = 300;

// A data set that lets other threads run in the middle of a query.
class Yielding : public FilePathDataSet {
 public:
  explicit Yielding(const std::string& folder) {
    addToDataSet(std::make_unique<FilePathAvoidance>(folder + "/**", AnyAccess));
  }
  bool isPresentInDataSet(ILookupData& request) override {
    std::this_thread::yield();
    const bool present = FilePathDataSet::isPresentInDataSet(request);
    std::this_thread::yield();
    return present;
  }
};

// The same of the library's own classes only: the status of the file takes its time. Matches when
// the folder is "/in".
std::shared_ptr<IDataSet> yieldingAges(const std::string& folder) {
  auto dataSet = std::make_shared<FileAgeDataSet>();
  dataSet->addToDataSet(
      std::make_unique<FileAgeAvoidance>(folder == "/in" ? "1   1" : "x   1", AnyAccess));
  return dataSet;
}

struct Kind {
  const char* name;
  const char* path;  // that the data sets of "/in" match
  std::shared_ptr<IDataSet> (*make)(const std::string& folder);
};

class TornAnswers : public testing::TestWithParam<Kind> {
 protected:
  TornAnswers() {
    onFileStatus([](const char*) { std::this_thread::yield(); });
  }
  ~TornAnswers() override { onFileStatus(nullptr); }

  static std::shared_ptr<IDataSet> dataSet(const std::string& folder) {
    return GetParam().make(folder);
  }
};

INSTANTIATE_TEST_SUITE_P(
    Of, TornAnswers,
    testing::Values(Kind{"AHost", "/in/file",
                         [](const std::string& folder) -> std::shared_ptr<IDataSet> {
                           return std::make_shared<Yielding>(folder);
                         }},
                    Kind{"TheLibrary", "/doubled/file", yieldingAges}),
    [](const auto& each) { return std::string(each.param.name); });

struct Answer {
  bool present;
  Numbers matched;
  bool operator<(const Answer& other) const {
    return std::tie(present, matched) < std::tie(other.present, other.matched);
  }
  bool operator==(const Answer& other) const {
    return present == other.present && matched == other.matched;
  }
};

std::ostream& operator<<(std::ostream& out, const Answer& answer) {
  out << (answer.present ? "present" : "absent");
  for (const unsigned int number : answer.matched) out << ' ' << number;
  return out;
}

// Switches between states while readers ask for one path, until each of the expected answers came
// at least once and all rounds are over. Answers all answers that came.
std::set<Answer> answersWhile(LookupManager& manager, const std::string& path,
                              const std::set<Answer>& expected,
                              const std::function<void(int round)>& change) {
  std::atomic<bool> done{false};
  std::atomic<std::size_t> seenByAll{0};
  std::vector<std::set<Answer>> seen(kReaders);
  std::vector<std::thread> readers;
  for (int reader = 0; reader < kReaders; ++reader) {
    readers.emplace_back([&, reader] {
      std::set<Answer>& mine = seen[static_cast<std::size_t>(reader)];
      bool counted = false;
      while (!done) {
        LookupData request = fileRequest(path, ReadAccess);
        const bool present = manager.isPresent(request);
        mine.insert({present, request.m_matchIdentifiers});
        if (!counted && std::includes(mine.begin(), mine.end(), expected.begin(), expected.end())) {
          counted = true;
          ++seenByAll;
        }
      }
    });
  }
  // A wrong answer would end it, too, but not before the rounds are over.
  for (int round = 0; round < kRounds || seenByAll < kReaders; ++round) {
    change(round);
    std::this_thread::yield();
  }
  done = true;
  for (std::thread& reader : readers) reader.join();
  std::set<Answer> all;
  for (const std::set<Answer>& some : seen) all.insert(some.begin(), some.end());
  return all;
}

// The old logic asks 1, 2 and 3, the new one 4, 5 and 6, and all of them match. A logic that was
// read half old and half new would record numbers from both rows, or not all of one.
TEST_P(TornAnswers, LogicIsOldOrNewAsAWhole) {
  LookupManager manager;
  for (unsigned int number = 1; number <= 6; ++number) {
    manager.assignDataSet(dataSet("/in"), number, kKeep);
  }
  manager.defineBusinessLogic("1&2&3");
  const std::set<Answer> expected = {{true, {1, 2, 3}}, {true, {4, 5, 6}}};
  EXPECT_EQ(answersWhile(manager, GetParam().path, expected,
                         [&](int round) {
                           manager.defineBusinessLogic(round % 2 == 0 ? "4&5&6" : "1&2&3");
                         }),
            expected);
}

// Under number 1 stands a data set that matches the path, or one that does not, and the logic looks
// at it twice: either it is true or its NOT is, so one data set always gives "present". An
// evaluation that saw the matching one for the NOT and the other one for the OR would record 1 and
// answer "absent".
TEST_P(TornAnswers, DataSetIsOldOrNewForAWholeQuery) {
  LookupManager manager;
  manager.assignDataSet(dataSet("/in"), 1, kKeep);
  manager.assignDataSet(dataSet("/in"), 2, kKeep);
  manager.defineBusinessLogic("(2&!1)|1");
  const std::set<Answer> expected = {
      {true, {1, 2}},  // it matches: found for the NOT, and again for the OR
      {true, {2}},     // it does not
  };
  EXPECT_EQ(answersWhile(manager, GetParam().path, expected,
                         [&](int round) {
                           manager.assignDataSet(dataSet(round % 2 == 0 ? "/out" : "/in"), 1,
                                                 kReplace);
                         }),
            expected);
}

// Logic and data set change in turn, so four states follow each other, and each has an answer of
// its own. Whatever else a reader got would have come from two of them.
TEST_P(TornAnswers, StatesOfLogicAndDataSetDoNotMix) {
  LookupManager manager;
  manager.assignDataSet(dataSet("/in"), 1, kKeep);
  manager.assignDataSet(dataSet("/in"), 2, kKeep);
  manager.assignDataSet(dataSet("/in"), 3, kKeep);
  manager.defineBusinessLogic("2&1");
  const std::set<Answer> expected = {
      {true, {2, 1}},  // 2&1, data set 1 matches
      {false, {2}},    // 2&1, it does not
      {true, {3, 1}},  // 3&1, it matches
      {false, {3}},    // 3&1, it does not
  };
  EXPECT_EQ(answersWhile(manager, GetParam().path, expected,
                         [&](int round) {
                           switch (round % 4) {
                             case 0:
                               manager.assignDataSet(dataSet("/out"), 1, kReplace);
                               break;
                             case 1:
                               manager.defineBusinessLogic("3&1");
                               break;
                             case 2:
                               manager.assignDataSet(dataSet("/in"), 1, kReplace);
                               break;
                             default:
                               manager.defineBusinessLogic("2&1");
                           }
                         }),
            expected);
}

}  // namespace
}  // namespace Test
}  // namespace QVL
