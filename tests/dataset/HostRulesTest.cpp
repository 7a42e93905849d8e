// Rules of a host's own that act while they are asked or destroyed. What they do is seen by the
// rules behind them in key order, and by no other.

#include <gtest/gtest.h>

#include <algorithm>
#include <functional>
#include <memory>
#include <optional>
#include <random>
#include <set>
#include <string>
#include <utility>
#include <vector>

#include "qvl/qvl.h"
#include "tests/support/FoldingLocale.h"
#include "tests/support/Requests.h"
#include "tests/support/ScriptedRule.h"

namespace QVL {
namespace Test {
namespace {

using Action = std::function<void(LookupData& request)>;

// Acts when it is asked, and answers false.
class ActingRule : public ScriptedRule {
 public:
  ActingRule(const std::string& key, Journal& journal, Action action)
      : ScriptedRule(key, journal), m_action(std::move(action)) {}

  bool canAvoid(ILookupData& request) override {
    m_action(dynamic_cast<LookupData&>(request));
    return ScriptedRule::canAvoid(request);
  }
  bool canAvoidWithAccessType(ILookupData& request, bool flag) override {
    m_action(dynamic_cast<LookupData&>(request));
    return ScriptedRule::canAvoidWithAccessType(request, flag);
  }

 private:
  const Action m_action;
};

// A data set that holds "/a" for reading, four rules that make the index worth its while, and a
// host's rule before or behind them.
class HostRule : public ::testing::Test {
 protected:
  static constexpr char kBefore[] = "!";
  static constexpr char kBehind[] = "~";

  // Is "/a" read, or what else is asked for, present while the host's rule does that?
  bool isPresent(const char* key, Action action, LookupData request = reading("/a")) {
    FilePathDataSet dataSet;
    auto ours = std::make_unique<FilePathAvoidance>("/a", ReadAccess);
    m_ours = ours.get();
    EXPECT_TRUE(dataSet.addToDataSet(std::move(ours)));
    for (const char* const text : {"/m/one", "/m/two", "/m/three", "/m/four"}) {
      EXPECT_TRUE(dataSet.addToDataSet(std::make_unique<FilePathAvoidance>(text, AnyAccess)));
    }
    EXPECT_TRUE(
        dataSet.addToDataSet(std::make_unique<ActingRule>(key, m_journal, std::move(action))));
    if (!m_byRule) dataSet.disableCheckingOfAccessType();
    return dataSet.isPresentInDataSet(request);
  }

  static LookupData reading(const std::string& path) { return fileRequest(path, ReadAccess); }

  Journal m_journal;
  FilePathAvoidance* m_ours = nullptr;
  bool m_byRule = true;
};

TEST_F(HostRule, ThatDoesNothingChangesNothing) {
  const Action nothing = [](LookupData&) {};
  for (const char* const key : {kBefore, kBehind}) {
    EXPECT_TRUE(isPresent(key, nothing));
    EXPECT_FALSE(isPresent(key, nothing, reading("/b")));
  }
}

TEST_F(HostRule, ThatChangesThePathDoesItForRulesBehindIt) {
  const Action leadAway = [](LookupData& request) { request.m_filePath = "/b"; };
  const Action leadThere = [](LookupData& request) { request.m_filePath = "/a"; };
  for (const bool byRule : {true, false}) {
    m_byRule = byRule;
    EXPECT_FALSE(isPresent(kBefore, leadAway));
    EXPECT_TRUE(isPresent(kBehind, leadAway));
    EXPECT_TRUE(isPresent(kBefore, leadThere, reading("/b")));
    EXPECT_FALSE(isPresent(kBehind, leadThere, reading("/b")));
  }
}

TEST_F(HostRule, ThatChangesTheAccessTypeDoesItForRulesBehindIt) {
  const Action write = [](LookupData& request) { request.m_accessType = WriteAccess; };
  const Action read = [](LookupData& request) { request.m_accessType = ReadAccess; };
  EXPECT_FALSE(isPresent(kBefore, write));
  EXPECT_TRUE(isPresent(kBehind, write));
  EXPECT_TRUE(isPresent(kBefore, read, fileRequest("/a", WriteAccess)));
  EXPECT_FALSE(isPresent(kBehind, read, fileRequest("/a", WriteAccess)));
}

TEST_F(HostRule, ThatChangesTheProcessDoesItForRulesBehindIt) {
  for (const char* const key : {kBefore, kBehind}) {
    for (const char* const process : {"/bin/a", "/bin/b"}) {
      ProcessDataSet dataSet;
      dataSet.disableCheckingOfAccessType();
      for (const char* const text : {"/bin/a", "/bin/m", "/bin/n", "/bin/o", "/bin/p"}) {
        dataSet.addToDataSet(std::make_unique<ProcessAvoidance>(text, AnyAccess, 0, ""));
      }
      dataSet.addToDataSet(std::make_unique<ActingRule>(key, m_journal, [](LookupData& request) {
        request.m_processName = request.m_processName == "/bin/a" ? "/bin/b" : "/bin/a";
      }));
      LookupData request = processRequest(process);
      const bool isFirst = std::string(process) == "/bin/a";
      EXPECT_EQ(dataSet.isPresentInDataSet(request), (key == kBehind) == isFirst)
          << key << ' ' << process;
    }
  }
}

TEST_F(HostRule, ThatRecompilesAnotherDoesItForTheQueryItIsAskedIn) {
  const Action ignoreCase = [&](LookupData&) {
    m_ours->disableCaseSensitiveSearch();
    m_ours->updateRegex();
  };
  EXPECT_TRUE(isPresent(kBefore, ignoreCase, reading("/A")));
  EXPECT_FALSE(isPresent(kBehind, ignoreCase, reading("/A")));
  const Action rewrite = [&](LookupData&) {
    m_ours->validate("/z", ReadAccess);
    m_ours->updateRegex();
  };
  EXPECT_FALSE(isPresent(kBefore, rewrite));
  EXPECT_TRUE(isPresent(kBehind, rewrite));
  EXPECT_TRUE(isPresent(kBefore, rewrite, reading("/z")));
}

TEST_F(HostRule, ThatGivesAnotherAnAccessTypeDoesItForTheQueryItIsAskedIn) {
  const Action forWriting = [&](LookupData&) { m_ours->validate("/a", WriteAccess); };
  EXPECT_FALSE(isPresent(kBefore, forWriting));
  EXPECT_TRUE(isPresent(kBehind, forWriting));
  EXPECT_TRUE(isPresent(kBefore, forWriting, fileRequest("/a", WriteAccess)));
}

// Keys in the order in which their rules come.
std::vector<std::string> arrivals(const std::string& order, std::size_t count) {
  std::vector<std::string> keys;
  std::string path = "/";
  for (std::size_t i = 0; i < count; ++i) {
    // Each between the two before it, which leaves less and less room.
    keys.push_back(path + "1");
    path += i % 2 == 0 ? '0' : '1';
  }
  if (order == "ascending") std::sort(keys.begin(), keys.end());
  if (order == "descending") std::sort(keys.rbegin(), keys.rend());
  if (order == "shuffled") std::shuffle(keys.begin(), keys.end(), std::mt19937(1));
  return keys;
}

TEST_F(HostRule, IsAskedInKeyOrderUpToTheFirstMatchWhereverRulesCome) {
  constexpr std::size_t kRules = 300;
  for (const char* const order : {"between", "ascending", "descending", "shuffled"}) {
    SCOPED_TRACE(order);
    const std::vector<std::string> keys = arrivals(order, kRules);
    FilePathDataSet dataSet;
    std::set<std::string> hosts;
    std::vector<std::string> paths;
    for (std::size_t i = 0; i < kRules; ++i) {
      if (i % 10 == 7) {
        ASSERT_TRUE(dataSet.addToDataSet(std::make_unique<FilePathAvoidance>(keys[i], AnyAccess)));
        paths.push_back(keys[i]);
      } else {
        ASSERT_TRUE(dataSet.addToDataSet(std::make_unique<ScriptedRule>(keys[i], m_journal)));
        hosts.insert(keys[i]);
      }
    }
    paths.push_back("/~ behind all");
    for (const bool thinned : {false, true}) {
      for (const std::string& path : paths) {
        LookupData request = reading(path);
        m_journal.clear();
        EXPECT_EQ(dataSet.isPresentInDataSet(request), path != paths.back());
        Journal expected;
        for (auto key = hosts.begin(); key != hosts.lower_bound(path); ++key) {
          expected.push_back(*key + ".canAvoidWithAccessType(false)");
        }
        ASSERT_EQ(m_journal, expected) << path << (thinned ? ", thinned" : "");
      }
      for (std::size_t i = 0; i < kRules && !thinned; i += 3) {
        ScriptedRule same(keys[i], m_journal);
        if (hosts.erase(keys[i]) == 0) continue;
        ASSERT_TRUE(dataSet.removeFromDataSet(same));
      }
    }
  }
}

// Two keys whose order depends on the locale: by bytes as they are, and folded.
TEST_F(HostRule, IsAskedInTheOrderThatItWasFiledInWhateverTheLocaleIsNow) {
  const std::string upper = "\xC9z";
  const std::string lower = "\xE0z";
  const auto askedIn = [&](bool foldsWhileAdded) {
    m_journal.clear();
    FileTypeDataSet dataSet;
    {
      std::optional<FoldingLocale> locale;
      if (foldsWhileAdded) locale.emplace();
      dataSet.addToDataSet(std::make_unique<ScriptedRule>(upper, m_journal));
      dataSet.addToDataSet(std::make_unique<ScriptedRule>(lower, m_journal));
    }
    m_journal.clear();
    std::optional<FoldingLocale> locale;
    if (!foldsWhileAdded) locale.emplace();
    LookupData request = reading("/x.doc");
    EXPECT_FALSE(dataSet.isPresentInDataSet(request));
    return m_journal;
  };
  const std::string asked = ".canAvoidWithAccessType(false)";
  EXPECT_EQ(askedIn(false), Journal({upper + asked, lower + asked}));
  EXPECT_EQ(askedIn(true), Journal({lower + asked, upper + asked}));
}

TEST_F(HostRule, ThatIsADuplicateIsDestroyedInsideTheCall) {
  FilePathDataSet dataSet;
  ASSERT_TRUE(dataSet.addToDataSet(std::make_unique<ScriptedRule>("key", m_journal)));
  m_journal.clear();
  const auto isDestroyed = [&] {
    return !m_journal.empty() && m_journal.back() == "key.destroyed";
  };
  // In one expression: a parameter may live until its end.
  EXPECT_TRUE(!dataSet.addToDataSet(std::make_unique<ScriptedRule>("key", m_journal)) &&
              isDestroyed());
}

TEST_F(HostRule, ThatIsDestroyedWithItsDataSetMayTouchThoseBeforeIt) {
  class Farewell : public ScriptedRule {
   public:
    Farewell(Journal& journal, IAvoidance& other, bool& isUpdated)
        : ScriptedRule(kBehind, journal), m_other(other), m_isUpdated(isUpdated) {}
    ~Farewell() override {
      m_other.disableCaseSensitiveSearch();
      m_isUpdated = m_other.updateRegex();
    }

   private:
    IAvoidance& m_other;
    bool& m_isUpdated;
  };
  bool isUpdated = false;
  {
    FilePathDataSet dataSet;
    auto ours = std::make_unique<FilePathAvoidance>("/a", ReadAccess);
    FilePathAvoidance& held = *ours;
    dataSet.addToDataSet(std::move(ours));
    dataSet.addToDataSet(std::make_unique<Farewell>(m_journal, held, isUpdated));
  }
  EXPECT_TRUE(isUpdated);
}

// Rules of paths and of processes stand in one order, however long the path is.
TEST(HostRuleBehindAnotherInput, IsNotAskedWhereThatMatches) {
  for (const std::size_t length : {10u, 2000u}) {
    Journal journal;
    FilePathDataSet dataSet;
    dataSet.addToDataSet(std::make_unique<ProcessAvoidance>("/bin/p", AnyAccess, 0, ""));
    dataSet.addToDataSet(std::make_unique<ScriptedRule>("/c", journal));
    for (char c = 'a'; c <= 'z'; ++c) {
      const std::string text = std::string("/d/") + c + "*";
      dataSet.addToDataSet(std::make_unique<FilePathAvoidance>(text, AnyAccess));
    }
    for (const char* const process : {"/bin/p", "/bin/q"}) {
      journal.clear();
      LookupData request = fileRequest("/d/a" + std::string(length, 'x'), ReadAccess);
      request.m_processName = process;
      EXPECT_TRUE(dataSet.isPresentInDataSet(request));
      EXPECT_EQ(journal.empty(), process == std::string("/bin/p")) << length;
    }
  }
}

// A data set of a host's own that asks its manager when it is destroyed.
class AskingDataSet : public FilePathDataSet {
 public:
  explicit AskingDataSet(std::function<void()> ask) : m_ask(std::move(ask)) {}
  ~AskingDataSet() override { m_ask(); }

 private:
  const std::function<void()> m_ask;
};

TEST(ReplacedDataSet, IsDestroyedInsideTheCallAndOutsideTheLock) {
  LookupManager manager;
  manager.defineBusinessLogic("1");
  int asked = 0;
  const auto ask = [&] {
    LookupData request = fileRequest("/a");
    manager.isPresent(request);  // would wait for ever if the lock were held
    ++asked;
  };
  manager.assignDataSet(std::make_shared<AskingDataSet>(ask), 1, 0);
  EXPECT_EQ(asked, 0);
  EXPECT_TRUE(!manager.assignDataSet(std::make_shared<FilePathDataSet>(), 1, 1) && asked == 1);
  // One that is refused, too.
  EXPECT_TRUE(!manager.assignDataSet(std::make_shared<AskingDataSet>(ask), 1, 0) && asked == 2);
}

}  // namespace
}  // namespace Test
}  // namespace QVL
