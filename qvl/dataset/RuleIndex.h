// Finds the rules of a data set that can match a request. Private to the library.

#ifndef QVL_DATASET_RULE_INDEX_H
#define QVL_DATASET_RULE_INDEX_H

#include <array>
#include <cstddef>
#include <cstdint>
#include <map>
#include <memory>
#include <optional>
#include <set>
#include <string>

#include "qvl/avoidance/RuleView.h"
#include "qvl/core/IAvoidance.h"
#include "qvl/core/LookupData.h"
#include "qvl/match/PatternIndex.h"
#include "qvl/match/Text.h"

namespace QVL {

// Answers, for a whole data set, what the walk over its rules in key order would answer, and asks
// no more rules than it has to.
//
// A rule of the library's own classes whose answer is "the pattern matches, and the access type
// fits" stands in a PatternIndex. All others are asked: rules of a host's own classes, file age
// rules, and the few whose pattern only the expression engine can match.
//
// Invariants:
//   1. Rules that are asked, and so might throw, act or be watched, are asked in key order, up to
//   the
//      first rule in key order that matches. Comparing patterns has no effect that could be seen.
//   2. What a rule changes while it is asked (the request, rules of its data set) is seen by the
//   rules
//      behind it: from there on the walk answers.
//   3. A rule is in its place before insert returns, and anew before whoever recompiles it or gives
//   it
//      another access type goes on. A rule for which there was no memory then comes to its place
//      with the next change; until then the walk answers.
//   4. Key order is that of the data set's map at the time of the insertion; keys are not compared
//      again.
//
// Thread safety: any number of threads may ask at once, each with a scratch of its own, as long as
// none changes the index. The data set's lock sees to that.
class RuleIndex {
 public:
  // What a query writes to, and nothing else does. Keeps its storage from query to query.
  struct Scratch {
    std::array<TextScratch, kRuleInputs> ofTexts;
    std::array<std::optional<Text>, kRuleInputs> texts;  // of the query that is answered
    PatternIndex::Scratch patterns;
    LookupData before;  // the request as it was before a rule of the host's was asked
    // Where the walk has to go on when it is left to it: behind this key; null: from the start.
    const std::string* walkBehind = nullptr;
  };

  RuleIndex();
  ~RuleIndex();
  RuleIndex(const RuleIndex&) = delete;
  RuleIndex& operator=(const RuleIndex&) = delete;

  // Takes a rule in, between two rules that are there already (null: before the first, behind the
  // last), or forgets it. Rule and key outlive the stay; a rule is forgotten before it is
  // destroyed. Strong guarantee: std::bad_alloc changes nothing.
  void insert(const std::string& key, IAvoidance& rule, const IAvoidance* previous,
              const IAvoidance* next);
  void erase(const IAvoidance& rule) noexcept;

  // Does any rule match? `checkAccessType`: only with an access type that fits. Absent when the
  // walk has to answer, from where the scratch tells. What an asked rule throws passes through.
  // Writes to the scratch only.
  std::optional<bool> anyMatches(LookupData& request, bool checkAccessType, Scratch& scratch) const;

 private:
  class Rule;
  struct ByOrder {
    bool operator()(const Rule* a, const Rule* b) const;
  };
  // Where a rule stands in key order. So many bits that there is nearly always room between two.
  using Order = unsigned __int128;

  Rule* ruleOf(const IAvoidance& rule) const;
  void ruleChanged(Rule& rule) noexcept;
  void place(Rule& rule);
  void displace(Rule& rule) noexcept;
  void addUnplaced(Rule& rule) noexcept;
  void placeUnplaced() noexcept;
  Order orderBetween(const Rule* previous, const Rule* next);
  void spreadOrders();

  // Of the rules that are not asked, the first in key order that matches or throws: when it matches
  // and stands before all that are asked, it may be any such. False when the walk has to answer.
  struct First {
    const Rule* rule = nullptr;  // null: none matches or throws
    bool throws = false;         // it reads what is no character
  };
  template <typename Admits, typename Found>
  bool firstFewMatch(std::size_t input, Text& text, Admits admits, Found found) const;
  bool findFirst(const LookupData& request, bool checkAccessType, Scratch& scratch,
                 First& first) const;
  bool findThrowing(Scratch& scratch, First& first) const;
  std::optional<bool> ask(LookupData& request, bool checkAccessType, const First& first,
                          Scratch& scratch) const;

  std::array<std::unique_ptr<PatternIndex>, kRuleInputs> m_patterns;  // those that were ever used
  Rule* m_first = nullptr;                                            // of all rules, in key order
  std::map<const IAvoidance*, Rule*> m_withoutView;  // those that no observer can be given to
  std::set<Rule*, ByOrder> m_asked;
  Rule* m_unplaced = nullptr;      // head of the list of those there was no memory for
  const Rule* m_newest = nullptr;  // inserted last
  std::uint64_t m_changes = 0;     // of the rules that are here, counted
};

}  // namespace QVL

#endif  // QVL_DATASET_RULE_INDEX_H
