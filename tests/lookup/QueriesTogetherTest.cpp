// Queries of one manager and one data set run at the same time, and nobody can tell. A file status
// that takes as long as the test likes shows what runs beside a query, and what waits for it.

#include <gtest/gtest.h>

#include <atomic>
#include <chrono>
#include <condition_variable>
#include <functional>
#include <future>
#include <memory>
#include <mutex>
#include <string>
#include <thread>
#include <vector>

#include "qvl/qvl.h"
#include "tests/lookup/Rig.h"
#include "tests/support/FileStatusDouble.h"
#include "tests/support/Requests.h"
#include "tests/support/ScriptedDataSet.h"
#include "tests/support/TraceRecorder.h"

namespace QVL {
namespace Test {
namespace {

constexpr char kStalled[] = "/doubled/stalled";
constexpr char kAged[] = "/doubled/aged";

// Far longer than anything here takes: a test that has to wait so long fails instead of hanging.
constexpr std::chrono::seconds kForEver(300);

// A mount that does not answer until it is told to.
class Mount {
 public:
  Mount() {
    mount = this;
    onFileStatus([](const char* path) {
      if (std::string(path) == kStalled) mount->arrive();
    });
  }
  ~Mount() {
    answer();
    onFileStatus(nullptr);
  }
  Mount(const Mount&) = delete;
  Mount& operator=(const Mount&) = delete;

  // Waits until so many queries wait for the mount.
  bool hasStalled(int queries) {
    std::unique_lock<std::mutex> lock(m_mutex);
    return m_changed.wait_for(lock, kForEver, [&] { return m_stalled == queries; });
  }

  void answer() {
    const std::lock_guard<std::mutex> lock(m_mutex);
    m_answers = true;
    m_changed.notify_all();
  }

 private:
  void arrive() {
    std::unique_lock<std::mutex> lock(m_mutex);
    ++m_stalled;
    m_changed.notify_all();
    m_changed.wait(lock, [&] { return m_answers; });
    --m_stalled;
  }

  static Mount* mount;

  std::mutex m_mutex;
  std::condition_variable m_changed;
  int m_stalled = 0;
  bool m_answers = false;
};
Mount* Mount::mount = nullptr;

std::shared_ptr<FileAgeDataSet> ages() {
  auto dataSet = std::make_shared<FileAgeDataSet>();
  dataSet->addToDataSet(std::make_unique<FileAgeAvoidance>("1   30", AnyAccess));
  return dataSet;
}

std::shared_ptr<FilePathDataSet> paths(const std::string& text) {
  auto dataSet = std::make_shared<FilePathDataSet>();
  dataSet->addToDataSet(std::make_unique<FilePathAvoidance>(text, AnyAccess));
  return dataSet;
}

struct Verdict {
  bool present;
  Numbers matched;
  bool operator==(const Verdict& other) const {
    return present == other.present && matched == other.matched;
  }
};

std::ostream& operator<<(std::ostream& out, const Verdict& verdict) {
  out << (verdict.present ? "present" : "absent");
  for (const unsigned int number : verdict.matched) out << ' ' << number;
  return out;
}

// A manager that knows classes of the library only: 1 are the ages, 2 a path.
class QueriesTogether : public ::testing::Test {
 protected:
  QueriesTogether() {
    m_manager.assignDataSet(m_ages, 1, kKeep);
    m_manager.assignDataSet(m_paths, 2, kKeep);
    m_manager.defineBusinessLogic("1|2");
    // Single file ends with the first query, which nobody notices; here it is over.
    EXPECT_EQ(verdictOn("/in/file"), (Verdict{true, {2}}));
  }

  Verdict verdictOn(const std::string& path) {
    LookupData request = fileRequest(path, ReadAccess);
    const bool present = m_manager.isPresent(request);
    return {present, request.m_matchIdentifiers};
  }

  std::future<Verdict> inAnotherThread(const std::string& path) {
    return std::async(std::launch::async, [this, path] { return verdictOn(path); });
  }

  // Some queries, which do not need the mount, from threads of their own and from this one.
  void expectOthersGoOn() {
    for (int thread = 0; thread < 8; ++thread) {
      std::future<Verdict> verdict = inAnotherThread(thread % 2 == 0 ? kAged : "/in/file");
      ASSERT_EQ(verdict.wait_for(kForEver), std::future_status::ready);
      EXPECT_EQ(verdict.get(), (Verdict{true, {thread % 2 == 0 ? 1U : 2U}}));
    }
    std::future<void> here = std::async(std::launch::async, [&] {
      for (int i = 0; i < 500; ++i) {
        EXPECT_EQ(verdictOn("/in/file"), (Verdict{true, {2}}));
        EXPECT_EQ(verdictOn("/out/file"), (Verdict{false, {}}));
        EXPECT_EQ(verdictOn(kAged), (Verdict{true, {1}}));
      }
    });
    ASSERT_EQ(here.wait_for(kForEver), std::future_status::ready);
  }

  const std::shared_ptr<FileAgeDataSet> m_ages = ages();
  const std::shared_ptr<FilePathDataSet> m_paths = paths("/in/**");
  LookupManager m_manager;
};

TEST_F(QueriesTogether, AreInOneDataSetAtTheSameTime) {
  Mount mount;
  std::vector<std::future<Verdict>> stalled;
  for (int i = 0; i < 3; ++i) stalled.push_back(inAnotherThread(kStalled));
  EXPECT_TRUE(mount.hasStalled(3)) << "they take turns";
  mount.answer();
  for (auto& verdict : stalled) EXPECT_EQ(verdict.get(), (Verdict{true, {1}}));
}

TEST_F(QueriesTogether, DoNotWaitForOneThatHangs) {
  Mount mount;
  std::future<Verdict> stalled = inAnotherThread(kStalled);
  ASSERT_TRUE(mount.hasStalled(1));
  expectOthersGoOn();
  mount.answer();
  EXPECT_EQ(stalled.get(), (Verdict{true, {1}}));
}

TEST_F(QueriesTogether, DoNotWaitForManyThatHang) {
  constexpr int kMany = 40;
  Mount mount;
  std::vector<std::future<Verdict>> stalled;
  for (int i = 0; i < kMany; ++i) stalled.push_back(inAnotherThread(kStalled));
  ASSERT_TRUE(mount.hasStalled(kMany));
  expectOthersGoOn();
  mount.answer();
  for (auto& verdict : stalled) EXPECT_EQ(verdict.get(), (Verdict{true, {1}}));
}

// The first thread that ever asked has a slot like all others.
TEST_F(QueriesTogether, DoNotWaitForTheFirstThreadWhenThatHangs) {
  Mount mount;
  std::future<void> others = std::async(std::launch::async, [&] {
    EXPECT_TRUE(mount.hasStalled(1));
    for (int i = 0; i < 100; ++i) EXPECT_EQ(verdictOn("/in/file"), (Verdict{true, {2}}));
    mount.answer();
  });
  EXPECT_EQ(verdictOn(kStalled), (Verdict{true, {1}}));
  others.get();
}

struct Change {
  const char* name;
  std::function<void(LookupManager&, FileAgeDataSet&)> make;
};

class ChangeDuringAQuery : public QueriesTogether, public testing::WithParamInterface<Change> {};

// The change waits for the query that hangs; everybody else goes on, and sees the old state.
TEST_P(ChangeDuringAQuery, WaitsForItAloneAndComesAfterIt) {
  Mount mount;
  std::future<Verdict> stalled = inAnotherThread(kStalled);
  ASSERT_TRUE(mount.hasStalled(1));
  std::atomic<bool> changed{false};
  std::future<void> change = std::async(std::launch::async, [&] {
    GetParam().make(m_manager, *m_ages);
    changed = true;
  });
  for (int i = 0; i < 5; ++i) expectOthersGoOn();
  EXPECT_FALSE(changed) << "it came into a query";
  mount.answer();
  EXPECT_EQ(stalled.get(), (Verdict{true, {1}})) << "the query saw the change";
  ASSERT_EQ(change.wait_for(kForEver), std::future_status::ready);
  EXPECT_EQ(verdictOn(kAged).present, false) << "the change was made";
}

INSTANTIATE_TEST_SUITE_P(
    Of, ChangeDuringAQuery,
    testing::ValuesIn(std::vector<Change>{
        {"TheLogic",
         [](LookupManager& manager, FileAgeDataSet&) { manager.defineBusinessLogic("2"); }},
        {"ADataSet", [](LookupManager& manager,
                        FileAgeDataSet&) { manager.assignDataSet(paths("/other"), 1, kReplace); }},
        {"ARule",
         [](LookupManager&, FileAgeDataSet& dataSet) {
           FileAgeAvoidance same("1   30", AnyAccess);
           dataSet.removeFromDataSet(same);
         }},
    }),
    [](const auto& each) { return std::string(each.param.name); });

TEST_F(QueriesTogether, SeeARuleThatWasAddedMeanwhileWhenItIsThere) {
  Mount mount;
  std::future<Verdict> stalled = inAnotherThread(kStalled);
  ASSERT_TRUE(mount.hasStalled(1));
  // Another data set than that of the query that hangs: nothing to wait for.
  m_paths->addToDataSet(std::make_unique<FilePathAvoidance>("/new", AnyAccess));
  EXPECT_EQ(verdictOn("/new"), (Verdict{true, {2}}));
  mount.answer();
  stalled.get();
}

// --- What only looks as if it were shared --------------------------------------------------------

std::atomic<int> statusCalls{0};

// Each evaluation asks a data set once, whatever others have asked meanwhile.
TEST_F(QueriesTogether, HaveAMemoEach) {
  m_manager.defineBusinessLogic("(1&1)|1|(!1&1)");
  statusCalls = 0;
  onFileStatus([](const char*) {
    ++statusCalls;
    std::this_thread::yield();
  });
  constexpr int kThreads = 4;
  constexpr int kQueries = 300;
  std::atomic<int> wrong{0};
  std::vector<std::thread> threads;
  for (int i = 0; i < kThreads; ++i) {
    threads.emplace_back([&] {
      for (int query = 0; query < kQueries; ++query) {
        wrong += !(verdictOn(kAged) == Verdict{true, {1}});
        wrong += !(verdictOn("/no/such/file") == Verdict{false, {}});
      }
    });
  }
  for (std::thread& thread : threads) thread.join();
  onFileStatus(nullptr);
  EXPECT_EQ(wrong, 0);
  EXPECT_EQ(statusCalls, kThreads * kQueries);
}

TEST_F(QueriesTogether, UseWhatADirectStepLeftInTheMemoOnceOnly) {
  LookupData request = fileRequest("/in/file");
  EXPECT_TRUE(m_manager.doLookup(2, request));
  EXPECT_EQ(request.m_matchIdentifiers, Numbers{2});
  EXPECT_EQ(verdictOn("/out/file"), (Verdict{true, {}})) << "remembered, so not asked or recorded";
  EXPECT_EQ(verdictOn("/out/file"), (Verdict{false, {}})) << "asked afresh";
}

// --- A host's own classes ------------------------------------------------------------------------

// Notes when two threads are in code of the host's at once, and in what order evaluations came.
class Watch {
 public:
  void enter() {
    if (++m_inside != 1) ++m_overlaps;
    std::this_thread::yield();
    m_visitors.push_back(std::this_thread::get_id());  // a data race, where two are inside
    --m_inside;
  }
  int overlaps() const { return m_overlaps; }

  // Did each thread come `visits` times in a row?
  bool cameInRowsOf(std::size_t visits) const {
    if (m_visitors.size() % visits != 0) return false;
    for (std::size_t i = 0; i < m_visitors.size(); ++i) {
      if (m_visitors[i] != m_visitors[i / visits * visits]) return false;
    }
    return true;
  }

 private:
  std::atomic<int> m_inside{0};
  std::atomic<int> m_overlaps{0};
  std::vector<std::thread::id> m_visitors;
};

// A rule of the library's kind, in which the host has a hand.
class WatchedRule : public FilePathAvoidance {
 public:
  WatchedRule(const std::string& text, Watch& watch)
      : FilePathAvoidance(text, AnyAccess), m_watch(watch) {}
  bool canAvoidWithAccessType(ILookupData& request, bool flag) override {
    m_watch.enter();
    return FilePathAvoidance::canAvoidWithAccessType(request, flag);
  }

 private:
  Watch& m_watch;
};

class WatchedDataSet : public FilePathDataSet {
 public:
  explicit WatchedDataSet(Watch& watch) : m_watch(watch) {}

  bool isPresentInDataSet(ILookupData& request) override {
    m_watch.enter();
    return FilePathDataSet::isPresentInDataSet(request);
  }

 private:
  Watch& m_watch;
};

void fromManyThreads(const std::function<void()>& query) {
  constexpr int kThreads = 4;
  constexpr int kQueries = 200;
  std::vector<std::thread> threads;
  for (int i = 0; i < kThreads; ++i) {
    threads.emplace_back([&] {
      for (int round = 0; round < kQueries; ++round) query();
    });
  }
  for (std::thread& thread : threads) thread.join();
}

TEST_F(QueriesTogether, ComeOneByOneToRulesOfAHost) {
  Watch watch;
  const std::shared_ptr<FilePathDataSet> others = paths("/out/**");
  ASSERT_TRUE(m_paths->addToDataSet(std::make_unique<WatchedRule>("/never", watch)));
  ASSERT_TRUE(others->addToDataSet(std::make_unique<WatchedRule>("/never", watch)));
  m_manager.assignDataSet(others, 3, kKeep);
  m_manager.defineBusinessLogic("2|1|3");
  fromManyThreads([&] { verdictOn("/elsewhere"); });
  EXPECT_EQ(watch.overlaps(), 0);
  EXPECT_TRUE(watch.cameInRowsOf(2)) << "an evaluation came into another one";
}

TEST_F(QueriesTogether, ComeOneByOneToDataSetsOfAHost) {
  Watch watch;
  m_manager.assignDataSet(std::make_shared<WatchedDataSet>(watch), 3, kKeep);
  m_manager.assignDataSet(std::make_shared<ScriptedDataSet>([&](ILookupData&) {
                            watch.enter();
                            return false;
                          }),
                          4, kKeep);
  m_manager.defineBusinessLogic("3|1|2|4");
  fromManyThreads([&] { verdictOn("/elsewhere"); });
  EXPECT_EQ(watch.overlaps(), 0);
  EXPECT_TRUE(watch.cameInRowsOf(2)) << "an evaluation came into another one";
}

TEST_F(QueriesTogether, ComeOneByOneToRulesOfAHostInADataSetAskedDirectly) {
  Watch watch;
  FilePathDataSet holding;
  ASSERT_TRUE(holding.addToDataSet(std::make_unique<WatchedRule>("/never", watch)));
  fromManyThreads([&] {
    LookupData request = fileRequest("/elsewhere");
    holding.isPresentInDataSet(request);
  });
  EXPECT_EQ(watch.overlaps(), 0);
}

// Rules of a host come and go in two data sets while queries run, so that evaluations begin among
// others and have to go on alone.
TEST_F(QueriesTogether, ComeOneByOneToRulesOfAHostThatComeAndGo) {
  Watch watch;
  const std::shared_ptr<FilePathDataSet> others = paths("/in/**");
  m_manager.assignDataSet(others, 3, kKeep);
  m_manager.defineBusinessLogic("1|(2&3)");
  std::atomic<bool> done{false};
  std::atomic<int> wrong{0};
  std::vector<std::thread> threads;
  for (int i = 0; i < 3; ++i) {
    threads.emplace_back([&] {
      do {
        wrong += !(verdictOn("/in/file") == Verdict{true, {2, 3}});
        wrong += !(verdictOn("/elsewhere") == Verdict{false, {}});
        wrong += !(verdictOn(kAged) == Verdict{true, {1}});
      } while (!done);
    });
  }
  for (int round = 0; round < 200; ++round) {
    for (const auto& dataSet : {m_paths, others}) {
      auto rule = std::make_unique<WatchedRule>("/never", watch);
      wrong += !dataSet->addToDataSet(std::move(rule));
      std::this_thread::yield();
    }
    for (const auto& dataSet : {m_paths, others}) {
      FilePathAvoidance same("/never", AnyAccess);
      wrong += !dataSet->removeFromDataSet(same);
      std::this_thread::yield();
    }
  }
  done = true;
  for (std::thread& thread : threads) thread.join();
  EXPECT_EQ(wrong, 0);
  EXPECT_EQ(watch.overlaps(), 0);
}

// A rule of a host's own that recompiles others while it is asked, in its own data set and in
// another one.
class Recompiler : public FilePathAvoidance {
 public:
  explicit Recompiler(std::vector<FilePathAvoidance*> others)
      : FilePathAvoidance("/never", AnyAccess), m_others(std::move(others)) {}
  bool canAvoidWithAccessType(ILookupData&, bool) override {
    ++m_calls;
    for (FilePathAvoidance* const other : m_others) {
      other->setCaseSensitiveSearch(m_calls % 2);
      other->updateRegex();
    }
    return false;
  }

 private:
  const std::vector<FilePathAvoidance*> m_others;
  unsigned m_calls = 0;
};

TEST_F(QueriesTogether, StayRightWhileARuleOfAHostRecompilesOthers) {
  const std::shared_ptr<FilePathDataSet> others = paths("/others");
  std::vector<FilePathAvoidance*> rules;
  for (const auto& dataSet : {m_paths, others}) {
    auto rule = std::make_unique<FilePathAvoidance>("/lower/CASE", AnyAccess);
    rules.push_back(rule.get());
    ASSERT_TRUE(dataSet->addToDataSet(std::move(rule)));
  }
  ASSERT_TRUE(m_paths->addToDataSet(std::make_unique<Recompiler>(rules)));
  m_manager.assignDataSet(others, 3, kKeep);
  m_manager.defineBusinessLogic("3|2");
  std::atomic<int> wrong{0};
  fromManyThreads([&] {
    wrong += !verdictOn("/lower/CASE").present;
    wrong += verdictOn("/elsewhere").present;
    wrong += !(verdictOn("/others") == Verdict{true, {3}});
  });
  EXPECT_EQ(wrong, 0);
}

// --- The trace -----------------------------------------------------------------------------------

TEST_F(QueriesTogether, TraceOneByOne) {
  TraceRecorder recorder;
  fromManyThreads([&] { verdictOn("/elsewhere"); });
  std::string text = recorder.take();
  // The line before the manager's lock is written by whoever comes.
  const std::string outside = "LookupManager::isPresent\n\n";
  const std::string first = "LookupManager::executeLogic\n\n";
  for (std::size_t at; (at = text.find(outside)) != std::string::npos;) {
    text.erase(at, outside.size());
  }
  ASSERT_EQ(text.find(first), 0U);
  const std::size_t length = text.find(first, 1);
  ASSERT_NE(length, std::string::npos);
  const std::string block = text.substr(0, length);
  EXPECT_NE(block.find("FilePathAvoidance::canAvoidWithAccessType"), std::string::npos);
  std::string expected;
  for (std::size_t i = 0; i < text.size() / length; ++i) expected += block;
  EXPECT_EQ(text.size() % length, 0U);
  EXPECT_TRUE(text == expected) << "the lines of two evaluations are mixed";
}

TEST_F(QueriesTogether, TraceOneByOneInADataSetAskedDirectly) {
  TraceRecorder recorder;
  fromManyThreads([&] {
    LookupData request = fileRequest("/no/such/file");
    m_ages->isPresentInDataSet(request);
  });
  std::string text = recorder.take();
  const std::string outside = "FileAgeDataSet::isPresentInDataSet\n\n";
  for (std::size_t at; (at = text.find(outside)) != std::string::npos;) {
    text.erase(at, outside.size());
  }
  const std::string first = "FileAgeDataSet::isPresentInDataSet, m_checkAccessType is enabled.\n\n";
  ASSERT_EQ(text.find(first), 0U);
  const std::size_t length = text.find(first, 1);
  ASSERT_NE(length, std::string::npos);
  std::string expected;
  for (std::size_t i = 0; i < text.size() / length; ++i) expected += text.substr(0, length);
  EXPECT_TRUE(text == expected) << "the lines of two queries are mixed";
}

// --- Without a query -----------------------------------------------------------------------------

TEST_F(QueriesTogether, SeeARuleThatWasRecompiledByItsHost) {
  auto added = std::make_unique<FilePathAvoidance>("/Upper", AnyAccess);
  FilePathAvoidance& rule = *added;
  ASSERT_TRUE(m_paths->addToDataSet(std::move(added)));
  for (int round = 0; round < 50; ++round) {
    const bool caseMatters = round % 2 == 0;
    rule.setCaseSensitiveSearch(caseMatters);
    ASSERT_TRUE(rule.updateRegex());
    EXPECT_EQ(inAnotherThread("/upper").get().present, !caseMatters);
    EXPECT_TRUE(inAnotherThread("/Upper").get().present);
  }
}

}  // namespace
}  // namespace Test
}  // namespace QVL
