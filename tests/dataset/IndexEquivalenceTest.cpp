// A data set answers by its index what the plain walk over its rules, in key order, answers: the
// same answers, the same exceptions, and the same rules of a host's own asked in the same order.
// Here are the policies that are made to find a difference between the two. That either is right is
// for DataSetEquivalence, which knows the rules, and for the tests that run by both ways, which
// know the answers; that the walk of a trace is the same walk is for Metamorphic.

#include <gtest/gtest.h>

#include <algorithm>
#include <exception>
#include <functional>
#include <map>
#include <memory>
#include <optional>
#include <set>
#include <string>
#include <typeinfo>
#include <utility>
#include <vector>

#include "qvl/qvl.h"
#include "tests/support/Dice.h"
#include "tests/support/Outcome.h"
#include "tests/support/PlainWalk.h"
#include "tests/support/RandomRules.h"
#include "tests/support/Requests.h"
#include "tests/support/ScriptedRule.h"

namespace QVL {
namespace Test {
namespace {

// What a question brought to light.
struct Finding {
  std::string answer;  // or the exception
  std::vector<unsigned int> identifiers;
  Journal calls;  // of the host's own rules

  bool operator==(const Finding& other) const {
    return answer == other.answer && identifiers == other.identifiers && calls == other.calls;
  }
};

std::ostream& operator<<(std::ostream& out, const Finding& finding) {
  out << finding.answer << ", identifiers:";
  for (const unsigned int number : finding.identifiers) out << ' ' << number;
  out << ", asked:";
  for (const std::string& call : finding.calls) out << ' ' << shown(call);
  return out;
}

// A class that a host derives from one of ours, and that answers in its own way.
template <typename Base>
class Contrary : public Base {
 public:
  template <typename... Arguments>
  explicit Contrary(Journal& journal, Arguments&&... arguments)
      : Base(std::forward<Arguments>(arguments)...), m_journal(journal) {}

  bool canAvoid(ILookupData& request) override {
    m_journal.push_back("contrary canAvoid");
    return !Base::canAvoid(request);
  }
  bool canAvoidWithAccessType(ILookupData& request, bool flag) override {
    m_journal.push_back("contrary canAvoidWithAccessType");
    return !Base::canAvoidWithAccessType(request, flag);
  }

 private:
  Journal& m_journal;
};

// Data sets of random kinds with random rules, which are changed at random between questions.
class Policy {
 public:
  explicit Policy(Dice& dice) : m_dice(dice) {
    for (unsigned int number = 1; number <= 3; ++number) {
      const Kind kind = static_cast<Kind>(m_dice.below(kKinds));
      Member& member = m_members.emplace_back(kind);
      m_manager.assignDataSet(member.dataSet, number, 0);
      // Now and then so many rules that the tables grow.
      const std::size_t rules = m_dice.oneIn(10) ? 400 : m_dice.below(25);
      for (std::size_t i = 0; i < rules; ++i) add(member);
    }
    const std::vector<std::string> logics = {"1|2|3", "(1|2)&3", "!1&(2|3)", "1&!2|3", "3|2|1"};
    m_manager.defineBusinessLogic(m_dice.pick(logics));
  }

  void change() {
    Member& member = m_members[m_dice.below(m_members.size())];
    IDataSet& dataSet = *member.dataSet;
    switch (m_dice.below(16)) {
      case 0:
      case 1:
      case 2:
        return add(member);
      case 3:
      case 4:
        return remove(member);
      case 5:
      case 6:
      case 7:
        return recompile(member);
      case 8:
        dataSet.addOrUpdateKeyword(m_dice.oneIn(2) ? "%NAME%" : "%TOP%", m_dice.pick(kValues));
        return;
      case 9:
        dataSet.deleteKeyword(m_dice.oneIn(2) ? "%NAME%" : "%TOP%");
        return;
      case 10:
        return m_dice.oneIn(2) ? dataSet.enableCaseSensitiveSearch()
                               : dataSet.disableCaseSensitiveSearch();
      case 11:
        return m_dice.oneIn(3) ? dataSet.disableWildCardSearch() : dataSet.enableWildCardSearch();
      case 12:
        return m_dice.oneIn(2) ? dataSet.enableCheckingOfAccessType()
                               : dataSet.disableCheckingOfAccessType();
      case 13:
        return dataSet.checkAccessTypeAtDataSetLevelOnly(m_dice.oneIn(2) ? 1 : 0,
                                                         m_dice.pick(kAccess));
      case 14:
        return m_dice.oneIn(2) ? dataSet.enableMatchEmptyInput() : dataSet.disableMatchEmptyInput();
      default:
        if (m_dice.oneIn(8)) {
          dataSet.disableDataSet();
          dataSet.enableMatchAnything();
        } else {
          dataSet.enableDataSet();
          dataSet.disableMatchAnything();
        }
    }
  }

  LookupData request() {
    LookupData request;
    request.m_filePath = input();
    request.m_processName = input();
    request.m_accessType = m_dice.pick(kAccess);
    return request;
  }

  // Asks the manager, and every data set by itself.
  std::vector<Finding> ask(const LookupData& request) {
    std::vector<Finding> findings;
    findings.push_back(find(request, [&](LookupData& lent) { return m_manager.isPresent(lent); }));
    for (Member& member : m_members) {
      findings.push_back(find(
          request, [&](LookupData& lent) { return member.dataSet->isPresentInDataSet(lent); }));
    }
    return findings;
  }

 private:
  using KeyOrder = std::function<bool(const std::string&, const std::string&)>;

  struct Member {
    explicit Member(Kind k)
        : kind(k),
          dataSet(dataSetOf(k)),
          rules(k == Type ? KeyOrder(FileTypeAvoidanceDuplicateKey())
                          : KeyOrder(std::less<std::string>())) {}
    Kind kind;
    std::shared_ptr<IDataSet> dataSet;
    std::map<std::string, IAvoidance*, KeyOrder> rules;  // that the data set holds, by key
  };

  std::unique_ptr<IAvoidance> rule(Kind usual) {
    const Kind kind = m_dice.oneIn(5) ? static_cast<Kind>(m_dice.below(kKinds)) : usual;
    const RandomRule drawn = randomRule(kind, m_dice);
    m_texts.push_back(drawn.text);
    if (m_dice.oneIn(12)) {
      auto scripted = std::make_unique<ScriptedRule>(drawn.text, m_calls);
      scripted->avoids = m_dice.oneIn(4);
      scripted->avoidsWithAccessType = m_dice.oneIn(4);
      if (m_dice.oneIn(6)) {
        scripted->throwingOperation = m_dice.oneIn(2) ? "canAvoid" : "canAvoidWithAccessType";
      }
      return scripted;
    }
    if (m_dice.oneIn(20)) {
      if (kind == Path) {
        return std::make_unique<Contrary<FilePathAvoidance>>(m_calls, drawn.text, drawn.access);
      }
      if (kind == Process) {
        return std::make_unique<Contrary<ProcessAvoidance>>(m_calls, drawn.text, drawn.access,
                                                            drawn.flag, "/a");
      }
    }
    return make(drawn);
  }

  void add(Member& member) {
    std::unique_ptr<IAvoidance> added;
    try {
      added = rule(member.kind);
    } catch (const QVLException&) {
      return;  // not a rule text
    }
    IAvoidance* const held = added.get();
    const std::string key = held->getKey();
    const bool isNew = member.dataSet->addToDataSet(std::move(added));
    ASSERT_EQ(isNew, member.rules.count(key) == 0);
    if (isNew) member.rules.emplace(key, held);
  }

  IAvoidance* anyRule(Member& member) {
    if (member.rules.empty()) return nullptr;
    auto chosen = member.rules.begin();
    std::advance(chosen, m_dice.below(member.rules.size()));
    return chosen->second;
  }

  // By the key that the rule has now, which need not be the one that it is held under.
  void remove(Member& member) {
    IAvoidance* const chosen = anyRule(member);
    if (!chosen) return;
    const std::string key = chosen->getKey();
    const bool isHeld = member.dataSet->removeFromDataSet(*chosen);
    ASSERT_EQ(isHeld, member.rules.erase(key) == 1);
  }

  // As a host does that kept a pointer: by any of the rule's operations, compiled or not.
  void recompile(Member& member) {
    IAvoidance* const chosen = anyRule(member);
    if (!chosen) return;
    switch (m_dice.below(5)) {
      case 0:
        chosen->setCaseSensitiveSearch(static_cast<unsigned char>(m_dice.below(2)));
        break;
      case 1:
        chosen->setWildCardSearch(static_cast<unsigned char>(m_dice.below(2)));
        break;
      case 2:
        chosen->addOrUpdateKeyword("a", m_dice.pick(kValues));
        break;
      case 3:
        chosen->deleteKeyword("a");
        break;
      default:
        if (auto* const ours = dynamic_cast<Avoidance*>(chosen)) {
          ours->validate(randomRule(Path, m_dice).text, m_dice.pick(kAccess));
        }
    }
    if (!m_dice.oneIn(4)) chosen->updateRegex();
  }

  std::string input() {
    std::string text = randomInput(m_texts, m_dice);
    if (m_dice.oneIn(10)) text.insert(m_dice.below(text.size() + 1), m_dice.pick(kNotUtf8));
    // Longer than paths are: such texts are looked up in another way.
    if (m_dice.oneIn(8)) text.insert(m_dice.below(text.size() + 1), std::string(1100, 'a'));
    return text;
  }

  template <typename Question>
  Finding find(const LookupData& request, Question question) {
    LookupData lent = request;
    Finding finding;
    m_calls.clear();
    try {
      finding.answer = question(lent) ? "present" : "absent";
    } catch (const std::exception& exception) {
      finding.answer = std::string(typeid(exception).name()) + ": " + exception.what();
    }
    finding.identifiers = lent.m_matchIdentifiers;
    finding.calls = m_calls;
    return finding;
  }

  Dice& m_dice;
  Journal m_calls;
  std::vector<std::string> m_texts;  // of all rules there ever were
  LookupManager m_manager;
  std::vector<Member> m_members;
};

TEST(IndexEquivalence, OfRandomPoliciesThatChange) {
  const auto ask = [](Policy& policy, const LookupData& request, bool walked) {
    std::optional<PlainWalk> walk;
    if (walked) walk.emplace();
    return policy.ask(request);
  };

  Dice dice;
  SCOPED_TRACE(dice.origin());
  std::size_t asked = 0;
  std::size_t present = 0;
  std::size_t thrown = 0;
  std::size_t hostsOwn = 0;
  for (std::size_t round = 0; round < Dice::cases(150); ++round) {
    Policy policy(dice);
    for (int step = 0; step < 60; ++step) {
      SCOPED_TRACE("policy " + std::to_string(round) + ", step " + std::to_string(step));
      policy.change();
      for (int i = 0; i < 4; ++i) {
        const LookupData request = policy.request();
        const bool walkFirst = dice.oneIn(2);
        const auto first = ask(policy, request, walkFirst);
        const auto second = ask(policy, request, !walkFirst);
        ASSERT_EQ(walkFirst ? second : first, walkFirst ? first : second)
            << "path " << shown(request.m_filePath) << ", process " << shown(request.m_processName)
            << ", access type " << static_cast<std::uint32_t>(request.m_accessType);
        for (const Finding& finding : first) {
          ++asked;
          present += finding.answer == "present";
          thrown += finding.answer != "present" && finding.answer != "absent";
          hostsOwn += !finding.calls.empty();
        }
      }
      if (HasFatalFailure()) return;
    }
  }
  // All sorts of findings were among those compared.
  EXPECT_GT(present, asked / 20);
  EXPECT_LT(present, asked / 2);
  EXPECT_GT(thrown, asked / 100);
  EXPECT_GT(hostsOwn, asked / 20);
}

// What the data set answers or throws, by its index and by the walk.
std::vector<std::string> bothWays(IDataSet& dataSet, const LookupData& request) {
  std::vector<std::string> answers;
  for (const bool walked : {false, true}) {
    std::optional<PlainWalk> walk;
    if (walked) walk.emplace();
    LookupData lent = request;
    try {
      answers.push_back(dataSet.isPresentInDataSet(lent) ? "present" : "absent");
    } catch (const std::exception& exception) {
      answers.push_back(exception.what());
    }
  }
  return answers;
}

TEST(IndexEquivalence, OfInputsOfWhichOneIsNotUtf8) {
  FilePathDataSet dataSet;
  dataSet.addToDataSet(std::make_unique<ProcessAvoidance>("/a", AnyAccess, 0, ""));
  dataSet.addToDataSet(std::make_unique<FilePathAvoidance>("/b", AnyAccess));
  LookupData request = fileRequest("/b");
  request.m_processName = "\xff";
  const std::string failure =
      "Invalid UTF-8 sequence encountered while trying to encode UTF-32 character";
  EXPECT_EQ(bothWays(dataSet, request), std::vector<std::string>({failure, failure}));
}

// A rule of a host's own that recompiles another while it is asked.
class Meddler : public ScriptedRule {
 public:
  Meddler(const std::string& key, Journal& journal, IAvoidance& other)
      : ScriptedRule(key, journal), m_other(other) {}

  bool canAvoidWithAccessType(ILookupData& request, bool flag) override {
    m_other.setCaseSensitiveSearch(m_caseSensitive ^= 1);
    m_other.updateRegex();
    return ScriptedRule::canAvoidWithAccessType(request, flag);
  }

 private:
  IAvoidance& m_other;
  unsigned char m_caseSensitive = 1;
};

// What the engine reads as plain text, or as one character more, hides an alternative.
TEST(IndexEquivalence, OfAlternativesInUnusualPlaces) {
  const std::vector<std::pair<std::string, std::string>> rulesAndPaths = {
      {"/a{b|c}/foo", "/a{b"},          {"/a{b|c}/foo", "c}/foo"},
      {"/tmp/{x|y}/foo/**", "/tmp/{x"}, {"/bar/[\\c]/foo|x]", "/bar/x"},
      {"/bar/[\\]]/foo|x]", "x]"},      {"/bar/[]|x]/foo|y", "y"},
  };
  for (const auto& [rule, path] : rulesAndPaths) {
    FilePathDataSet dataSet;
    dataSet.addToDataSet(std::make_unique<FilePathAvoidance>(rule, AnyAccess));
    EXPECT_EQ(bothWays(dataSet, fileRequest(path)),
              std::vector<std::string>({"present", "present"}))
        << rule << " on " << path;
  }
}

// Rules with keys of every kind, a name of their own among them.
std::unique_ptr<FilePathAvoidance> numberedRule(int number) {
  const std::string name = std::to_string(number);
  return std::make_unique<FilePathAvoidance>(
      "/data/volume/folder/of" + name + "/many/**/parts" + name + "/*.log", AnyAccess);
}

LookupData requestOfNumberedRule(int number) {
  const std::string name = std::to_string(number);
  return fileRequest("/data/volume/folder/of" + name + "/many/a/parts" + name + "/b.log");
}

const std::vector<std::string> kPresent = {"present", "present"};
const std::vector<std::string> kAbsent = {"absent", "absent"};

// More than the index makes room for at first, to count the rules of a key.
TEST(IndexEquivalence, OfManyThousandRules) {
  constexpr int kRules = 20000;
  FilePathDataSet dataSet;
  for (int i = 0; i < kRules; ++i) ASSERT_TRUE(dataSet.addToDataSet(numberedRule(i)));
  for (int i = 0; i < kRules; i += 997) {
    EXPECT_EQ(bothWays(dataSet, requestOfNumberedRule(i)), kPresent) << i;
    EXPECT_EQ(bothWays(dataSet, requestOfNumberedRule(i + kRules)), kAbsent) << i;
  }
}

// Few at a time, but in the end more than the index makes room for.
TEST(IndexEquivalence, OfRulesThatKeepComingAndGoing) {
  constexpr int kRules = 500;
  FilePathDataSet dataSet;
  for (int first = 0; first < 40 * kRules; first += kRules) {
    for (int i = first; i < first + kRules; ++i) dataSet.addToDataSet(numberedRule(i));
    EXPECT_EQ(bothWays(dataSet, requestOfNumberedRule(first)), kPresent) << first;
    for (int i = first; i < first + kRules; ++i) dataSet.removeFromDataSet(*numberedRule(i));
    EXPECT_EQ(bothWays(dataSet, requestOfNumberedRule(first)), kAbsent) << first;
  }
}

TEST(IndexEquivalence, OfRulesThatRecompileOthersWhileTheyAreAsked) {
  for (const char* const text : {"/a", "(?i)a", "a+b", "[ab]"}) {
    for (const char* const key : {"#", "~"}) {
      Journal calls;
      FilePathDataSet dataSet;
      auto rule = std::make_unique<FilePathAvoidance>(text, AnyAccess);
      IAvoidance& meddled = *rule;
      dataSet.addToDataSet(std::move(rule));
      dataSet.addToDataSet(std::make_unique<Meddler>(key, calls, meddled));
      for (int i = 0; i < 3; ++i) {
        EXPECT_EQ(bothWays(dataSet, fileRequest("/aab")),
                  std::vector<std::string>({"absent", "absent"}))
            << text;
      }
      EXPECT_EQ(std::count(calls.begin(), calls.end(),
                           key + std::string(".canAvoidWithAccessType(false)")),
                6);
    }
  }
}

}  // namespace
}  // namespace Test
}  // namespace QVL
