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
//   4. A rule that was recompiled or has another access type, by whomever, is filed anew before the
//      next answer.
//   5. A text that is not UTF-8 is not answered here: the walk is.
//
// Thread safety: none; the data set's lock guards it.
class RuleIndex final : public PatternObserver {
 public:
  // Orders keys as the data set does.
  using KeyOrder = bool (*)(const std::string& a, const std::string& b);

  explicit RuleIndex(KeyOrder keyOrder);
  ~RuleIndex();
  RuleIndex(const RuleIndex&) = delete;
  RuleIndex& operator=(const RuleIndex&) = delete;

  // Takes note of a rule, or forgets it. Rule and key outlive the note; a rule is forgotten before
  // it is destroyed. Strong guarantee: std::bad_alloc changes nothing.
  void insert(const std::string& key, IAvoidance& rule);
  void erase(const IAvoidance& rule) noexcept;

  // Does any rule match? `checkAccessType`: only with an access type that fits. Absent when the
  // walk has to answer. What an asked rule throws passes through.
  std::optional<bool> anyMatches(LookupData& request, bool checkAccessType);

  void ruleChanged(const IAvoidance& rule) noexcept override;

 private:
  struct Rule;
  struct Entry;
  class Filing;

  void markChanged(Rule& rule) noexcept;
  void unfile(Rule& rule) noexcept;
  void file(Rule& rule);
  void makeRoom(std::size_t candidates, std::size_t asked);
  void askAlways(Rule& rule);
  bool fileChanged() noexcept;
  bool askInOrder(LookupData& request, bool checkAccessType, const std::string* firstMatch);

  const KeyOrder m_keyOrder;
  std::unordered_map<const IAvoidance*, std::unique_ptr<Rule>> m_rules;
  Rule* m_changed = nullptr;   // head of the list of rules that are to be filed
  std::vector<Rule*> m_asked;  // every time, in key order
  std::array<std::unique_ptr<Filing>, kRuleInputs> m_filings;  // those that were ever used
  std::size_t m_engineEntries = 0;

  // Scratch of a query, with room for all there can be.
  std::vector<Rule*> m_candidates;  // rules that need the engine
  std::vector<Rule*> m_ordered;     // all that are asked in this query, in key order
  std::string m_foldBuffer;
};

}  // namespace QVL

#endif  // QVL_DATASET_RULE_INDEX_H
