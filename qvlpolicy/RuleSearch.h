// Which rules of a data set match?

#ifndef QVLPOLICY_RULE_SEARCH_H
#define QVLPOLICY_RULE_SEARCH_H

#include <qvl/qvl.h>

#include <cstddef>
#include <memory>
#include <vector>

#include "qvl/match/PatternIndex.h"
#include "qvl/match/Program.h"
#include "qvlpolicy/Description.h"

namespace qvlpolicy {

// Finds every rule of a data set that matches a request by itself, which the engine does not tell:
// it stops at the first. Holds the patterns in an index of their own, of the engine's kind, so that
// a search costs about what a lookup does, and more only for what it finds. Rules without a
// program, which are those by age and those that are left to the expression engine, are asked one
// by one.
//
// Thread safety: immutable; any number of threads may search at once.
class RuleSearch {
 public:
  // The rules of `rules` outlive the search; they are those of the data set, null for what it does
  // not hold.
  RuleSearch(const DataSet& dataSet, const std::vector<QVL::IAvoidance*>& rules);

  // Puts the indices of the rules whose text, or age, matches, whatever their access types, into
  // `found`, ascending, in place of what it holds. A rule that cannot read the text, or gives up,
  // does not match. Those that give up are added to `gaveUp`, unless it is null.
  void find(const QVL::LookupData& request, std::vector<std::size_t>& found,
            std::vector<std::size_t>* gaveUp = nullptr) const;

  // Are there rules that are asked one by one, and may give up?
  bool asksRules() const { return !m_asked.empty(); }

 private:
  struct Pattern {
    std::unique_ptr<const QVL::Program> program;
    QVL::PatternIndex::Place place;
  };

  const Kind m_kind;
  const std::vector<QVL::IAvoidance*>& m_rules;
  std::unique_ptr<Pattern[]> m_patterns;  // by rule
  QVL::PatternIndex m_index;              // of m_patterns
  std::vector<std::size_t> m_asked;       // rules without a program
};

}  // namespace qvlpolicy

#endif  // QVLPOLICY_RULE_SEARCH_H
