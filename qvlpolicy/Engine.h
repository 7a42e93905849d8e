// The engine's objects, made from a description.

#ifndef QVLPOLICY_ENGINE_H
#define QVLPOLICY_ENGINE_H

#include <qvl/qvl.h>

#include <functional>
#include <memory>
#include <string>
#include <vector>

#include "qvlpolicy/Description.h"
#include "qvlpolicy/Explanation.h"
#include "qvlpolicy/Problem.h"

namespace qvlpolicy {

// A lookup manager that holds the data sets and the logic of a policy.
class Engine {
 public:
  // What the engine refuses goes to `errors`, with the engine's own words, and what an author
  // should know although it can be used to `warnings`. The description's logic is known to be
  // sound, unless there are errors already; the engine cannot be asked then. `timesAreGiven` is
  // that of LoadOptions.
  Engine(const Description& description, bool timesAreGiven, std::vector<Problem>& errors,
         std::vector<Problem>& warnings);

  QVL::LookupManager& manager() const { return m_manager; }

  // In the order of the description.
  const std::vector<std::shared_ptr<QVL::IDataSet>>& dataSets() const { return m_dataSets; }

  // The rules of a data set, which belong to it; null for one that it does not hold: one that was
  // dropped, or that is there already.
  const std::vector<QVL::IAvoidance*>& rules(std::size_t dataSet) const { return m_rules[dataSet]; }

 private:
  mutable QVL::LookupManager m_manager;  // changes nothing but its memory of one question
  std::vector<std::shared_ptr<QVL::IDataSet>> m_dataSets;
  std::vector<std::vector<QVL::IAvoidance*>> m_rules;
};

// A data set with its switches and keywords, without rules.
std::shared_ptr<QVL::IDataSet> makeDataSet(const DataSet& dataSet);

// Makes rules of a data set one after the other, each as makeRule does, but reads the keywords once
// for all of them.
//
// Thread safety: none.
class RuleMaker {
 public:
  // The data set outlives the maker.
  explicit RuleMaker(const DataSet& dataSet);

  // The rule, until the next one is made. Throws QVL::QVLException when the engine refuses it.
  QVL::IAvoidance& make(const Rule& rule);

 private:
  const DataSet& m_dataSet;
  const std::shared_ptr<QVL::IDataSet> m_target;  // holds the rule
  QVL::IAvoidance* m_made = nullptr;
};

// The order by which a data set of that kind finds the texts of rules that it holds already.
using KeyOrder = std::function<bool(const std::string&, const std::string&)>;
KeyOrder keyOrderOf(Kind kind);

}  // namespace qvlpolicy

#endif  // QVLPOLICY_ENGINE_H
