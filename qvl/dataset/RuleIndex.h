// Finds the rules of a data set that can match a request. Private to the library.

#ifndef QVL_DATASET_RULE_INDEX_H
#define QVL_DATASET_RULE_INDEX_H

#include <array>
#include <cstddef>
#include <cstdint>
#include <memory>
#include <optional>
#include <string>
#include <unordered_map>
#include <vector>

#include "qvl/avoidance/RuleView.h"
#include "qvl/core/IAvoidance.h"
#include "qvl/core/LookupData.h"
#include "qvl/match/KeyTable.h"
#include "qvl/match/PathKeys.h"

namespace QVL {

// Answers, for a whole data set, what the walk over its rules in key order would answer, in a time
// that hardly depends on their number.
//
// A rule of the library's own classes is filed, for each alternative of its expression, under the
// one of its keys (see PathKeys) that is least crowded. A request's text is cut into its components
// once; the rules filed under the text's keys are the only ones that can match it, and are compared
// with it.
//
// Invariants:
//   1. A rule whose answer is more than "the pattern matches" (see RuleView) is asked every time.
//   2. So is a rule without any key; one that needs the regular expression engine is asked whenever
//      a key of it is found, or always.
//   3. Rules that are asked, and so might throw or be watched, are asked in key order, up to the
//      first rule in key order that matches. Comparing globs has no effect that could be seen.
//   4. A rule is filed before insert returns, and anew before whoever recompiles it or gives it
//      another access type goes on. A rule for which there was no memory then is filed with the
//      next change; until then the walk answers.
//   5. A text that is not UTF-8 is not answered here: the walk is.
//
// Thread safety: any number of threads may ask at once, each with a scratch of its own, as long as
// none changes the index. The data set's lock sees to that.
class RuleIndex final : public PatternObserver {
 private:
  struct Rule;

 public:
  // What a query writes to, and nothing else does. Keeps its storage from query to query.
  struct Scratch {
    std::vector<Rule*> candidates;  // rules that need the engine
    std::vector<Rule*> ordered;     // all that are asked in this query, in key order
    std::string foldBuffer;
    PathKeys::Text text;
  };

  // Orders keys as the data set does.
  using KeyOrder = bool (*)(const std::string& a, const std::string& b);

  explicit RuleIndex(KeyOrder keyOrder);
  ~RuleIndex();
  RuleIndex(const RuleIndex&) = delete;
  RuleIndex& operator=(const RuleIndex&) = delete;

  // Files a rule, or forgets it. Rule and key outlive the entry; a rule is forgotten before it is
  // destroyed. Strong guarantee: std::bad_alloc changes nothing.
  void insert(const std::string& key, IAvoidance& rule);
  void erase(const IAvoidance& rule) noexcept;

  // Does any rule match? `checkAccessType`: only with an access type that fits. Absent when the
  // walk has to answer. What an asked rule throws passes through. Writes to the scratch only.
  std::optional<bool> anyMatches(LookupData& request, bool checkAccessType, Scratch& scratch) const;

  void ruleChanged(const IAvoidance& rule) noexcept override;

 private:
  struct Entry;
  class Filing;

  void markChanged(Rule& rule) noexcept;
  void unfile(Rule& rule) noexcept;
  void file(Rule& rule);
  void askAlways(Rule& rule);
  void fileChanged() noexcept;
  bool makeRoom(Scratch& scratch) const;
  bool askInOrder(LookupData& request, bool checkAccessType, const std::string* firstMatch,
                  Scratch& scratch) const;

  const KeyOrder m_keyOrder;
  std::unordered_map<const IAvoidance*, std::unique_ptr<Rule>> m_rules;
  Rule* m_changed = nullptr;   // head of the list of rules that could not be filed yet
  std::vector<Rule*> m_asked;  // every time, in key order
  std::array<std::unique_ptr<Filing>, kRuleInputs> m_filings;  // those that were ever used
  std::size_t m_engineEntries = 0;
};

}  // namespace QVL

#endif  // QVL_DATASET_RULE_INDEX_H
