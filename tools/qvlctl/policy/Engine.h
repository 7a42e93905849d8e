// The engine's objects, made from a policy.

#ifndef QVLCTL_POLICY_ENGINE_H
#define QVLCTL_POLICY_ENGINE_H

#include <qvl/qvl.h>

#include <memory>
#include <string>
#include <vector>

#include "policy/Logic.h"
#include "policy/Policy.h"

namespace qvlctl {

// Something about a policy that its author should know although it can be used.
struct Warning {
  Position position;
  std::string message;
};

// A lookup manager that holds a policy's data sets and logic.
class Engine {
 public:
  // Throws Trouble, whose message names the place and holds the engine's own words, when the engine
  // refuses the logic, a keyword or a rule, or would not do with them what the policy says.
  explicit Engine(const Policy& policy);

  // What was found while building, in the order of the file.
  const std::vector<Warning>& warnings() const { return m_warnings; }

  // The logic, in parts.
  const LogicPart& logic() const { return m_logic; }

  // The data sets with their rules, in the order of the file.
  const std::vector<std::shared_ptr<QVL::IDataSet>>& dataSets() const { return m_dataSets; }

  // Is the access excluded from scanning? The numbers of the data sets that were asked and matched
  // replace those in the request. Throws Trouble when the logic cannot be evaluated.
  bool isExcluded(QVL::LookupData& request);

 private:
  void checkLogic(const Policy& policy, const std::string& logic);
  void addDataSet(const Policy& policy, std::size_t index);
  void addRule(const Policy& policy, std::size_t dataSet, std::size_t rule, QVL::IDataSet& target);

  QVL::LookupManager m_manager;
  LogicPart m_logic;
  std::vector<std::shared_ptr<QVL::IDataSet>> m_dataSets;
  std::vector<Warning> m_warnings;
};

// "excluded" or "scan".
const char* verdictName(bool isExcluded);

// Which texts a kind of rule takes, in words.
const char* expectedText(Kind kind);

// Would a data set of that kind refuse the second of two rules because it holds the first?
bool haveSameKey(Kind kind, const Rule& a, const Rule& b);

// Would it lose nothing by that?
bool excludeTheSame(const DataSet& dataSet, const Rule& a, const Rule& b);

// The logic as the engine reads it: line breaks count as blanks in a policy file.
std::string logicForEngine(const Policy& policy);

// A data set with its switches and keywords, without rules.
std::shared_ptr<QVL::IDataSet> makeDataSet(const DataSet& dataSet);

// A rule by itself, with the switches and keywords of its data set. Throws QVLException when the
// engine refuses it.
std::unique_ptr<QVL::IAvoidance> makeRule(const DataSet& dataSet, const Rule& rule);

}  // namespace qvlctl

#endif  // QVLCTL_POLICY_ENGINE_H
