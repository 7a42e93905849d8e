// Settings and keyword operations of a data set: what they leave when a rule throws, and whom they
// wait for.

#include <gtest/gtest.h>

#include <atomic>
#include <chrono>
#include <future>
#include <memory>
#include <thread>

#include "tests/dataset/DataSetKinds.h"
#include "tests/support/ScriptedRule.h"

namespace QVL {
namespace Test {
namespace {

class InterruptedSetting : public testing::Test {
 protected:
  // The rules a, b and c, of which b throws in this operation.
  void addRules(const std::string& throwing) {
    for (const char* key : {"a", "b", "c"}) {
      auto rule = std::make_unique<ScriptedRule>(key, m_journal);
      ScriptedRule* const added = rule.get();
      ASSERT_TRUE(m_dataSet.addToDataSet(std::move(rule)));
      if (added && std::string(key) == "b") added->throwingOperation = throwing;
    }
    m_journal.clear();
  }

  // What a rule is told that is added now.
  Journal settingsOfANewRule() {
    m_journal.clear();
    EXPECT_TRUE(m_dataSet.addToDataSet(std::make_unique<ScriptedRule>("d", m_journal)));
    return m_journal;
  }

  Journal m_journal;
  FilePathDataSet m_dataSet;
};

TEST_F(InterruptedSetting, OfCaseIsKeptAndHasReachedTheRulesBefore) {
  addRules("updateRegex");
  EXPECT_THROW(m_dataSet.disableCaseSensitiveSearch(), ScriptedFailure);
  EXPECT_EQ(m_journal, (Journal{"a.disableCaseSensitiveSearch", "a.updateRegex",
                                "b.disableCaseSensitiveSearch", "b.updateRegex"}));
  EXPECT_EQ(settingsOfANewRule(), (Journal{"d.setCaseSensitiveSearch(0)", "d.setWildCardSearch(1)",
                                           "d.updateRegex", "d.getKey"}));
}

TEST_F(InterruptedSetting, OfWildcardsIsKeptAndHasReachedTheRulesBefore) {
  addRules("disableWildCardSearch");
  EXPECT_THROW(m_dataSet.disableWildCardSearch(), ScriptedFailure);
  EXPECT_EQ(m_journal,
            (Journal{"a.disableWildCardSearch", "a.updateRegex", "b.disableWildCardSearch"}));
  EXPECT_EQ(settingsOfANewRule(), (Journal{"d.setCaseSensitiveSearch(1)", "d.setWildCardSearch(0)",
                                           "d.updateRegex", "d.getKey"}));
}

TEST_F(InterruptedSetting, OfAKeywordIsKeptAndHasReachedTheRulesBefore) {
  addRules("updateRegex");
  EXPECT_THROW(m_dataSet.addOrUpdateKeyword("%K%", {"v"}), ScriptedFailure);
  EXPECT_EQ(m_journal, (Journal{"a.addOrUpdateKeyword(%K%,v)", "a.updateRegex",
                                "b.addOrUpdateKeyword(%K%,v)", "b.updateRegex"}));
  EXPECT_EQ(settingsOfANewRule().front(), "d.addOrUpdateKeyword(%K%,v)");
}

TEST_F(InterruptedSetting, OfAKeywordThatGoesIsGoneAndHasReachedTheRulesBefore) {
  ASSERT_TRUE(m_dataSet.addOrUpdateKeyword("%K%", {"v"}));
  addRules("updateRegex");
  EXPECT_THROW(m_dataSet.deleteKeyword("%K%"), ScriptedFailure);
  EXPECT_EQ(m_journal, (Journal{"a.deleteKeyword(%K%)", "a.updateRegex", "b.deleteKeyword(%K%)",
                                "b.updateRegex"}));
  EXPECT_FALSE(m_dataSet.deleteKeyword("%K%"));
  EXPECT_EQ(settingsOfANewRule().front(), "d.setCaseSensitiveSearch(1)");
}

// A rule of the host's own that is asked until it is let go.
class WaitingRule : public ScriptedRule {
 public:
  using ScriptedRule::ScriptedRule;
  bool canAvoidWithAccessType(ILookupData&, bool) override {
    m_asked.set_value();
    m_letGo.get_future().wait();
    return true;
  }
  std::promise<void> m_asked;
  std::promise<void> m_letGo;
};

TEST(Settings, WaitForNoLookup) {
  Journal journal;
  FilePathDataSet dataSet;
  auto owned = std::make_unique<WaitingRule>("a", journal);
  WaitingRule* const rule = owned.get();
  ASSERT_TRUE(dataSet.addToDataSet(std::move(owned)));
  std::thread query([&] {
    LookupData request;
    EXPECT_TRUE(dataSet.isPresentInDataSet(request));
  });
  rule->m_asked.get_future().wait();
  std::promise<void> done;
  std::thread host([&] {
    dataSet.enableCaseSensitiveSearch();
    dataSet.disableCaseSensitiveSearch();
    dataSet.enableWildCardSearch();
    dataSet.disableWildCardSearch();
    dataSet.addOrUpdateKeyword("%K%", {"v"});
    dataSet.deleteKeyword("%K%");
    dataSet.disableDataSet();
    dataSet.enableDataSet();
    dataSet.disableMatchAnything();
    dataSet.enableMatchAnything();
    dataSet.enableMatchEmptyInput();
    dataSet.disableMatchEmptyInput();
    dataSet.disableCheckingOfAccessType();
    dataSet.enableCheckingOfAccessType();
    dataSet.checkAccessTypeAtDataSetLevelOnly(0, AnyAccess);
    done.set_value();
  });
  EXPECT_EQ(done.get_future().wait_for(std::chrono::seconds(60)), std::future_status::ready);
  rule->m_letGo.set_value();
  query.join();
  host.join();
}

// Its mutex is held while a rule of the host's own is asked: neither another lookup nor a change
// gets in.
TEST(Settings, LookupsAndChangesOfRulesTakeTurnsWhileAHostsRuleIsAsked) {
  Journal journal;
  FilePathDataSet dataSet;
  auto owned = std::make_unique<WaitingRule>("a", journal);
  WaitingRule* const rule = owned.get();
  ASSERT_TRUE(dataSet.addToDataSet(std::move(owned)));
  std::atomic<bool> letGo{false};
  std::thread query([&] {
    LookupData request;
    EXPECT_TRUE(dataSet.isPresentInDataSet(request));
  });
  rule->m_asked.get_future().wait();
  std::thread addition([&] {
    dataSet.addToDataSet(std::make_unique<FilePathAvoidance>("/b", AnyAccess));
    EXPECT_TRUE(letGo);
  });
  std::thread removal([&] {
    FilePathAvoidance other("/c", AnyAccess);
    EXPECT_FALSE(dataSet.removeFromDataSet(other));
    EXPECT_TRUE(letGo);
  });
  std::thread lookup([&] {
    ForeignRequest foreign;
    EXPECT_FALSE(dataSet.isPresentInDataSet(foreign));
    EXPECT_TRUE(letGo);
  });
  // Time for one that does not wait.
  std::this_thread::sleep_for(std::chrono::milliseconds(50));
  letGo = true;
  rule->m_letGo.set_value();
  for (std::thread* thread : {&query, &addition, &removal, &lookup}) thread->join();
}

}  // namespace
}  // namespace Test
}  // namespace QVL
