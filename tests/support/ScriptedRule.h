// A rule of the test's own: does as it is told and writes down every call.

#ifndef QVL_TESTS_SUPPORT_SCRIPTED_RULE_H
#define QVL_TESTS_SUPPORT_SCRIPTED_RULE_H

#include <set>
#include <stdexcept>
#include <string>
#include <utility>
#include <vector>

#include "qvl/qvl.h"

namespace QVL {
namespace Test {

// The calls that scripted rules received, in order, each as "<key>.<operation>".
using Journal = std::vector<std::string>;

// What a scripted rule throws.
struct ScriptedFailure : std::runtime_error {
  using std::runtime_error::runtime_error;
};

class ScriptedRule : public IAvoidance {
 public:
  // The journal outlives the rule; its last line of a rule is "<key>.destroyed".
  ScriptedRule(std::string key, Journal& journal) : m_key(std::move(key)), m_journal(journal) {}
  ~ScriptedRule() override { note("destroyed"); }

  ScriptedRule(const ScriptedRule&) = delete;
  ScriptedRule& operator=(const ScriptedRule&) = delete;

  // The answers of the operations of the same names.
  bool avoids = false;
  bool avoidsWithAccessType = false;
  bool updates = true;

  // The operation that throws ScriptedFailure, after noting its call; empty for none.
  std::string throwingOperation;

  bool updateRegex() override {
    play("updateRegex");
    return updates;
  }
  bool canAvoid(ILookupData&) override {
    play("canAvoid");
    return avoids;
  }
  bool canAvoidWithAccessType(ILookupData&, bool flag) override {
    play("canAvoidWithAccessType", flag ? "(true)" : "(false)");
    return avoidsWithAccessType;
  }
  std::string getKey() const override {
    play("getKey");
    return m_key;
  }

  void enableCaseSensitiveSearch() override { play("enableCaseSensitiveSearch"); }
  void disableCaseSensitiveSearch() override { play("disableCaseSensitiveSearch"); }
  void setCaseSensitiveSearch(unsigned char value) override {
    play("setCaseSensitiveSearch", "(" + std::to_string(value) + ")");
  }
  void enableWildCardSearch() override { play("enableWildCardSearch"); }
  void disableWildCardSearch() override { play("disableWildCardSearch"); }
  void setWildCardSearch(unsigned char value) override {
    play("setWildCardSearch", "(" + std::to_string(value) + ")");
  }

  bool addOrUpdateKeyword(std::string keyword, std::set<std::string> values) override {
    std::string arguments = "(" + keyword;
    for (const std::string& value : values) arguments += "," + value;
    play("addOrUpdateKeyword", arguments + ")");
    return true;
  }
  bool deleteKeyword(std::string keyword) override {
    play("deleteKeyword", "(" + keyword + ")");
    return true;
  }

 private:
  void note(const std::string& call) const { m_journal.push_back(m_key + "." + call); }

  void play(const std::string& operation, const std::string& arguments = "") const {
    note(operation + arguments);
    if (operation == throwingOperation) throw ScriptedFailure(operation);
  }

  const std::string m_key;
  Journal& m_journal;
};

}  // namespace Test
}  // namespace QVL

#endif  // QVL_TESTS_SUPPORT_SCRIPTED_RULE_H
