// Which rules of a policy do something?

#ifndef QVLCTL_AUDIT_RULE_HITS_H
#define QVLCTL_AUDIT_RULE_HITS_H

#include <qvl/qvl.h>

#include <cstddef>
#include <map>
#include <optional>
#include <set>
#include <tuple>
#include <utility>
#include <vector>

#include "audit/Tally.h"
#include "policy/Engine.h"
#include "policy/Policy.h"
#include "queries/Queries.h"

namespace qvlctl {

// The files that a rule matched where its data set was asked and matched.
struct RuleHit {
  Tally skipped;
  Tally scanned;           // in spite of the rule, because of other data sets
  bool isLeftOut = false;  // only a process or an access type that was not asked for can hit it
  bool isDropped = false;  // it or its data set has expired, and the policy drops what has
};

// Counts the hits of every rule. The engine tells which data sets matched but not which of their
// rules did, so the rules of those are asked once more, and only those.
class RuleHits {
 public:
  // All of them have to outlive this.
  RuleHits(const Engine& engine, const std::vector<Query>& queries);

  // Notes a request that has been answered, by the index of its query.
  void note(std::size_t query, QVL::LookupData& request, bool isSkipped);

  // Counts the file that the requests noted since the last call were about. A rule that hit in
  // several of them counts once, and as skipped if it was in one.
  void count(const Tally& tally);

  // By the indices of the data set and of the rule in it.
  const RuleHit& of(std::size_t dataSet, std::size_t rule) const { return m_hits[dataSet][rule]; }

 private:
  // The indices of a data set and of a rule in it.
  using RulePlace = std::pair<std::size_t, std::size_t>;

  // A rule that hit the file: its data set, the rule, and not whether the file was skipped, so that
  // a skip comes first in order.
  using Note = std::tuple<std::size_t, std::size_t, bool>;

  const std::vector<std::size_t>& rulesThatMatch(std::size_t dataSet, std::size_t query,
                                                 QVL::LookupData& request);
  const std::vector<std::size_t>& rulesOfProcesses(std::size_t dataSet, std::size_t query);
  void findLeftOutRules(const LogicPart& logic);
  std::set<RulePlace> rulesWithinReach(const LogicPart& logic, std::optional<std::size_t> query);
  std::vector<std::size_t> rulesWithinReach(std::size_t dataSet, std::optional<std::size_t> query);

  const Engine& m_engine;
  const Policy& m_policy;
  const std::vector<Query>& m_queries;
  std::map<unsigned int, std::size_t> m_indices;  // of data sets, by their numbers
  std::vector<std::vector<RuleHit>> m_hits;
  // By data set: what matches the current file.
  std::vector<std::optional<std::vector<std::size_t>>> m_ofFile;
  // By data set and query: what matches one of the query's processes.
  std::vector<std::vector<std::optional<std::vector<std::size_t>>>> m_ofProcesses;
  std::vector<Note> m_notes;
};

}  // namespace qvlctl

#endif  // QVLCTL_AUDIT_RULE_HITS_H
