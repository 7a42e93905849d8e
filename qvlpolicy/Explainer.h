// Finds out why a question is answered as it is.

#ifndef QVLPOLICY_EXPLAINER_H
#define QVLPOLICY_EXPLAINER_H

#include <qvl/qvl.h>

#include <cstddef>
#include <deque>
#include <map>
#include <mutex>
#include <vector>

#include "qvlpolicy/Description.h"
#include "qvlpolicy/Engine.h"
#include "qvlpolicy/Explanation.h"
#include "qvlpolicy/RuleSearch.h"

namespace qvlpolicy {

// Evaluates the logic as the engine does, left before right and no further than needed, and then
// the parts that it did not come to. Each data set is searched once: what it answers follows from
// what is found (test Explanation.AnswersAsTheEngineDoes).
//
// Searches for rules need an index of their own, which is made by the first one or by
// prepareSearches: most policies are never asked for rules.
//
// Thread safety: any number of threads may ask at once; while the index is made the others wait.
class Explainer {
 public:
  // All are to outlive the explainer.
  Explainer(const Description& description, const Engine& engine, const LogicPart& logic);

  void prepareSearches() const { searches(); }

  // Leaves the request as it is.
  Explanation explain(QVL::LookupData& request) const;

  // Rules that give up are added to `gaveUp`, unless it is null.
  std::vector<MatchingRule> matchingRules(std::size_t dataSet, const QVL::LookupData& request,
                                          std::vector<std::size_t>* gaveUp = nullptr) const;

 private:
  class Evaluation;

  const std::deque<RuleSearch>& searches() const;
  bool answerOf(std::size_t dataSet, Decider decider, const std::vector<MatchingRule>& matching,
                QVL::LookupData& request) const;

  const Description& m_description;
  const Engine& m_engine;
  const LogicPart& m_logic;
  const std::size_t m_parts;  // of the logic
  // Of the data sets in the description and, behind them, of numbers in the logic without one,
  // which do not match.
  std::map<unsigned int, std::size_t> m_indices;
  std::vector<bool> m_isInLogic;  // by index in the description
  mutable std::once_flag m_searchesAreMade;
  mutable std::deque<RuleSearch> m_searches;  // in the order of the description
};

}  // namespace qvlpolicy

#endif  // QVLPOLICY_EXPLAINER_H
