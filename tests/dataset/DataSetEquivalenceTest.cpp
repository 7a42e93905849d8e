// Whatever means a data set uses to be fast: it answers, throws and traces as its rules do when
// they are asked one by one in key order. Here the rules stand beside the data set, and are asked
// by the test: neither the index nor the walk is trusted.

#include <gtest/gtest.h>

#include <map>
#include <memory>
#include <random>
#include <set>
#include <stdexcept>
#include <string>
#include <type_traits>
#include <utility>
#include <vector>

#include "qvl/qvl.h"
#include "tests/dataset/DataSetKinds.h"
#include "tests/support/Outcome.h"
#include "tests/support/Requests.h"
#include "tests/support/TraceRecorder.h"

namespace QVL {
namespace Test {
namespace {

using Parts = std::vector<std::string>;

// A host's rule that answers the opposite of what its class would.
template <typename Rule>
struct Contrary : Rule {
  using Rule::Rule;
  bool canAvoid(ILookupData& request) override { return !Rule::canAvoid(request); }
  bool canAvoidWithAccessType(ILookupData& request, bool flag) override {
    return !Rule::canAvoidWithAccessType(request, flag);
  }
};

// A data set, and beside it rules that are told the same and asked one by one.
template <typename Set>
class Twin {
 public:
  using Rule = typename Set::Kind::Rule;

  explicit Twin(unsigned int seed) : m_random(seed) {
    m_dataSet.checkAccessTypeAtDataSetLevelOnly(0, AccessTypes());
  }

  void change() {
    switch (pick(12)) {
      case 0:
        return setCase(pick(2) == 0);
      case 1:
        return setWildCards(pick(3) != 0);
      case 2:
        return setKeyword();
      case 3:
        return deleteKeyword();
      case 4:
        return setAccessCheck();
      case 5:
        return remove();
      case 6:
      case 7:
        return changeHeldRule();
      default:
        return add();
    }
  }

  void query(bool withTrace) {
    LookupData request = Set::Kind::request(join(inputParts(), 0, 6), accessType(pick(3)));
    if (!withTrace) {
      const std::string expected = outcomeOf([&] { return oneByOne(request); });
      ASSERT_EQ(outcomeOf([&] { return m_dataSet.isPresentInDataSet(request); }), expected)
          << description(request);
      ++outcomes[expected];
      return;
    }
    TraceRecorder trace;
    const std::string answer = outcomeOf([&] { return m_dataSet.isPresentInDataSet(request); });
    const std::string lines = trace.take();
    ASSERT_EQ(answer, outcomeOf([&] { return oneByOne(request); })) << description(request);
    ASSERT_EQ(lines, traced({std::string(Set::kClass) + "::isPresentInDataSet\n"}) + trace.take())
        << description(request);
  }

  std::map<std::string, int> outcomes;

 private:
  struct Order {
    bool operator()(const std::string& a, const std::string& b) const {
      return std::is_same<Set, FileTypeSet>::value ? FileTypeAvoidanceDuplicateKey()(a, b) : a < b;
    }
  };

  template <typename Match>
  static std::string outcomeOf(Match&& match) {
    try {
      return match() ? "present" : "not present";
    } catch (const std::exception&) {
      return "throws";
    }
  }

  unsigned int pick(unsigned int count) { return static_cast<unsigned int>(m_random() % count); }

  std::string join(const Parts& parts, unsigned int least, unsigned int most) {
    std::string text;
    for (unsigned int count = least + pick(most - least + 1); count > 0; --count) {
      text += parts[pick(static_cast<unsigned int>(parts.size()))];
    }
    return text;
  }

  static const Parts& textParts() {
    static const Parts paths = {"/a", "/b",  "/A",    "a",      "b",        "/",
                                "*",  "**",  "/**/",  "?",      ".log",     ".c",
                                "é",  "%K%", "(a|b)", "DOUBLE", "/usr/lib", "/a/b/"};
    static const Parts types = {"a", "b", "A", "log", "c", "?", "*", "é", ".", "a|b", "%K%"};
    return std::is_same<Set, FileTypeSet>::value ? types : paths;
  }
  static const Parts& inputParts() {
    static const Parts paths = {"/a", "/b", "/A", "a",        "b",     "/", ".log",
                                ".c", "é",  "x",  "/usr/lib", "/a/b/", "k", "\n",
                                "/a", "/b", "a",  "\xff",     "\x80"};
    static const Parts types = {"a", "b", "A", "log", "c", "*", "é", "/", "k", "\xc3", "."};
    return std::is_same<Set, FileTypeSet>::value ? types : paths;
  }

  // Two equal rules; none when the text makes no rule.
  std::pair<std::unique_ptr<Rule>, std::unique_ptr<Rule>> twins() {
    std::string text = join(textParts(), 1, 4);
    if (std::is_same<Set, FolderSet>::value) text += "/";
    const AccessTypes access = accessType(pick(4));
    const bool contrary = pick(20) == 0;
    const auto argument = static_cast<unsigned char>(pick(2));
    std::pair<std::unique_ptr<Rule>, std::unique_ptr<Rule>> rules;
    const std::string thrown = thrownBy([&] {
      rules.first = make(text, access, argument, contrary);
      rules.second = make(text, access, argument, contrary);
    });
    if (thrown != "nothing") return {};
    return rules;
  }

  static std::unique_ptr<Rule> make(const std::string& text, AccessTypes access,
                                    unsigned char argument, bool contrary) {
    if constexpr (std::is_same<Set, FolderSet>::value) {
      if (contrary) return std::make_unique<Contrary<Rule>>(text, access, argument);
      return std::make_unique<Rule>(text, access, argument);
    } else if constexpr (std::is_same<Set, ProcessSet>::value) {
      if (contrary) return std::make_unique<Contrary<Rule>>(text, access, argument, "/usr/lib");
      return std::make_unique<Rule>(text, access, argument, "/usr/lib");
    } else {
      if (contrary) return std::make_unique<Contrary<Rule>>(text, access);
      return std::make_unique<Rule>(text, access);
    }
  }

  void add() {
    auto rules = twins();
    if (!rules.first) return;
    Rule* const held = rules.first.get();
    const std::string key = held->getKey();
    for (const auto& [keyword, values] : m_keywords) {
      rules.second->addOrUpdateKeyword(keyword, values);
    }
    rules.second->setCaseSensitiveSearch(m_caseSensitive ? 1 : 0);
    rules.second->setWildCardSearch(m_wildCards ? 1 : 0);
    rules.second->updateRegex();
    const bool added = m_rules.count(key) == 0;
    ASSERT_EQ(m_dataSet.addToDataSet(std::move(rules.first)), added) << key;
    if (!added) return;
    m_rules[key] = std::move(rules.second);
    m_held[key] = held;
  }

  void remove() {
    if (m_rules.size() < 4) return;
    const std::string key = anyKey();
    ASSERT_TRUE(m_dataSet.removeFromDataSet(*m_held[key])) << key;
    m_rules.erase(key);
    m_held.erase(key);
  }

  std::string anyKey() {
    auto rule = m_rules.begin();
    std::advance(rule, pick(static_cast<unsigned int>(m_rules.size())));
    return rule->first;
  }

  // Through the pointer that the rule's creator kept. A rule with another text would have another
  // key than the one under which it is held, so the text is put back; its expression may stay.
  void changeHeldRule() {
    if (m_rules.empty()) return;
    const std::string key = anyKey();
    Rule* const rules[] = {m_held[key], m_rules[key].get()};
    const unsigned int what = pick(4);
    const auto byte = static_cast<unsigned char>(pick(2));
    const bool update = pick(4) != 0;
    const std::string text = std::is_same<Set, FolderSet>::value     ? "/b/"
                             : std::is_same<Set, FileTypeSet>::value ? "b"
                                                                     : "/b*";
    for (Rule* const rule : rules) {
      if (what == 0) rule->setCaseSensitiveSearch(byte);
      if (what == 1) rule->setWildCardSearch(byte);
      if (what == 2) rule->addOrUpdateKeyword("a", {"k", "b"});
      if (what == 3) rule->validate(text, accessType(byte));
      if (update) rule->updateRegex();
      if (what == 3) rule->validate(key, AnyAccess);
    }
  }

  void setCase(bool sensitive) {
    m_caseSensitive = sensitive;
    sensitive ? m_dataSet.enableCaseSensitiveSearch() : m_dataSet.disableCaseSensitiveSearch();
    for (auto& [key, rule] : m_rules) {
      sensitive ? rule->enableCaseSensitiveSearch() : rule->disableCaseSensitiveSearch();
      rule->updateRegex();
    }
  }

  void setWildCards(bool on) {
    m_wildCards = on;
    on ? m_dataSet.enableWildCardSearch() : m_dataSet.disableWildCardSearch();
    for (auto& [key, rule] : m_rules) {
      on ? rule->enableWildCardSearch() : rule->disableWildCardSearch();
      rule->updateRegex();
    }
  }

  void setKeyword() {
    const std::set<std::string> choices[] = {{"a", "b"}, {"x"}, {"a.*"}, {"("}, {"é", "/a"}};
    const std::set<std::string>& values = choices[pick(5)];
    ASSERT_EQ(m_dataSet.addOrUpdateKeyword("%K%", values), Set::kHasKeywords);
    if (!Set::kHasKeywords) return;
    m_keywords["%K%"] = values;
    for (auto& [key, rule] : m_rules) {
      rule->addOrUpdateKeyword("%K%", values);
      rule->updateRegex();
    }
  }

  void deleteKeyword() {
    const bool held = m_keywords.erase("%K%") == 1;
    ASSERT_EQ(m_dataSet.deleteKeyword("%K%"), held);
    if (!held) return;
    for (auto& [key, rule] : m_rules) {
      rule->deleteKeyword("%K%");
      rule->updateRegex();
    }
  }

  void setAccessCheck() {
    m_byRule = pick(2) == 0;
    m_byRule ? m_dataSet.enableCheckingOfAccessType() : m_dataSet.disableCheckingOfAccessType();
  }

  bool oneByOne(LookupData& request) {
    for (auto& [key, rule] : m_rules) {
      if (m_byRule ? rule->canAvoidWithAccessType(request, false) : rule->canAvoid(request)) {
        return true;
      }
    }
    return false;
  }

  std::string description(const LookupData& request) const {
    std::string text = "path " + shown(request.m_filePath) + ", process " +
                       shown(request.m_processName) + ", access " +
                       std::to_string(request.m_accessType) + ", rules:";
    for (const auto& [key, rule] : m_rules) text += "\n  " + shown(key);
    return text;
  }

  std::mt19937 m_random;
  typename Set::DataSet m_dataSet;
  std::map<std::string, std::unique_ptr<Rule>, Order> m_rules;
  std::map<std::string, Rule*, Order> m_held;  // the data set's rules
  std::map<std::string, std::set<std::string>> m_keywords;
  bool m_caseSensitive = Set::kCaseSensitive;
  bool m_wildCards = Set::kWildCards;
  bool m_byRule = true;
};

template <typename Set>
class DataSetEquivalence : public ::testing::Test {};
using MatchingSets = ::testing::Types<FilePathSet, FolderSet, ProcessSet, FileTypeSet>;
TYPED_TEST_SUITE(DataSetEquivalence, MatchingSets, KindName);

TYPED_TEST(DataSetEquivalence, HoldsWhileRulesAndSettingsChange) {
  std::map<std::string, int> outcomes;
  for (unsigned int seed = 1; seed <= 12; ++seed) {
    Twin<TypeParam> twin(seed);
    for (int round = 0; round < 250; ++round) {
      twin.change();
      for (int i = 0; i < 8; ++i) twin.query(false);
      twin.query(true);
      if (::testing::Test::HasFailure()) {
        FAIL() << "seed " << seed << ", round " << round;
      }
    }
    for (const auto& [outcome, count] : twin.outcomes) outcomes[outcome] += count;
  }
  for (const char* outcome : {"present", "not present", "throws"}) {
    EXPECT_GT(outcomes[outcome], 1000) << outcome;
  }
}

}  // namespace
}  // namespace Test
}  // namespace QVL
