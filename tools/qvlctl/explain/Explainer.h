// Why a request is answered as it is.

#ifndef QVLCTL_EXPLAIN_EXPLAINER_H
#define QVLCTL_EXPLAIN_EXPLAINER_H

#include <qvl/qvl.h>

#include <cstddef>
#include <map>
#include <memory>
#include <set>
#include <vector>

#include "explain/NearRules.h"
#include "policy/Engine.h"
#include "policy/Policy.h"
#include "policy/RuleMatcher.h"

namespace qvlctl {

// The value of a part of the logic.
struct PartAnswer {
  const LogicPart* part;
  std::size_t depth;  // 0 is the whole logic
  bool wasAsked;      // false for what the evaluation did not come to
  bool value;         // what it is, or would be
};

// What settles a data set's answer; the first that applies.
enum class Decider { SwitchedOff, AccessType, MatchAnything, EmptyInput, Rules };

// The attribute of the data set that is meant, or "rules": the name in output.
const char* deciderName(Decider decider);

struct MatchingRule {
  std::size_t rule;
  bool fitsAccess;  // false: matches but for the kind of access
};

struct DataSetAnswer {
  bool isInLogic;
  bool wasAsked;
  bool matches;
  Decider decider;
  std::vector<MatchingRule> rules;  // all that match by themselves, whatever decided
};

struct Explanation {
  bool isExcluded;
  std::vector<unsigned int> matched;    // as the engine records them
  std::vector<PartAnswer> parts;        // each before what it combines
  std::vector<DataSetAnswer> dataSets;  // in the order of the file
};

class Explainer {
 public:
  // Both are to outlive the explainer.
  Explainer(const Policy& policy, const Engine& engine);
  ~Explainer();

  // Asks about the file itself where the policy has rules by age.
  Explanation explain(const QVL::LookupData& request);

  // When no data set matched: the rules that miss the request by least, best first.
  std::vector<NearRule> nearest(const QVL::LookupData& request, const Explanation& explanation);

 private:
  class WatchedDataSet;

  // Appends the answers of a part and of what it combines; true when anything of it was asked.
  bool evaluate(const LogicPart& part, std::size_t depth,
                const std::set<unsigned int>& askedNumbers, const QVL::LookupData& request,
                std::vector<PartAnswer>& answers);
  DataSetAnswer answerOf(std::size_t index, const QVL::LookupData& request) const;

  const Policy& m_policy;
  const Engine& m_engine;
  QVL::LookupManager m_manager;
  std::map<unsigned int, std::shared_ptr<WatchedDataSet>> m_watched;  // all that the logic names
  std::vector<RuleMatcher> m_matchers;                                // in the order of the file
  NearRules m_nearRules;
};

}  // namespace qvlctl

#endif  // QVLCTL_EXPLAIN_EXPLAINER_H
