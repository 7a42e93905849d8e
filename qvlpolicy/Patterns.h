// What the rules of a policy mean, one by one: for tools that examine policies.

#ifndef QVLPOLICY_PATTERNS_H
#define QVLPOLICY_PATTERNS_H

#include <cstddef>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "qvl/core/IAvoidance.h"
#include "qvlpolicy/Description.h"
#include "qvlpolicy/Explanation.h"
#include "qvlpolicy/Export.h"

namespace qvlpolicy {

// A rule by itself, with the switches and keywords of its data set, as the engine makes it. Throws
// QVL::QVLException when the engine refuses it.
QVLPOLICY_EXPORT std::unique_ptr<QVL::IAvoidance> makeRule(const DataSet& dataSet,
                                                           const Rule& rule);

// Would a data set of that kind refuse the second of two rules because it holds the first?
QVLPOLICY_EXPORT bool haveSameKey(Kind kind, const Rule& a, const Rule& b);

// Would it lose nothing by that?
QVLPOLICY_EXPORT bool haveTheSameEffect(const DataSet& dataSet, const Rule& a, const Rule& b);

// Does the kind of access that is asked for fit the rule, as its data set compares them?
QVLPOLICY_EXPORT bool fitsAccess(const DataSet& dataSet, const Rule& rule, QVL::AccessTypes access);

// The expression that the engine compiles a rule to, with the switches and keywords of its data
// set; a rule matches what the whole expression matches. Empty for file-age rules, which match no
// text.
QVLPOLICY_EXPORT std::string expressionOf(const DataSet& dataSet, const Rule& rule);

// The rules, by index, whose expressions are left to the regular expression engine, which may take
// a time that grows much faster than the text: those with back references, conditions, recursion,
// parts that look around or are never given back, those that repeat several times what reads
// nothing at some places only, and those that are too large. All others are matched in a time
// linear in the text. Rules that the engine refuses count, too; age rules do not.
QVLPOLICY_EXPORT std::vector<std::size_t> rulesLeftToTheEngine(const DataSet& dataSet);

// The keywords of the data set that stand in the rule, in the order in which they are put in.
QVLPOLICY_EXPORT std::vector<const Keyword*> keywordsIn(const DataSet& dataSet, const Rule& rule);

// An age rule's text taken apart.
struct Age {
  const char* of;                  // "creation" or "modification"
  std::vector<unsigned int> days;  // numbers of days; the smallest counts
};

// Takes the text of an age rule apart.
QVLPOLICY_EXPORT Age ageOf(const Rule& rule);

// The text of a rule of that kind, printable; an age in words.
QVLPOLICY_EXPORT std::string ruleText(Kind kind, const Rule& rule);

// Today in UTC, "2026-12-31", against which expiry is held.
QVLPOLICY_EXPORT std::string todayText();

// The logic taken apart; nothing when it cannot be evaluated.
QVLPOLICY_EXPORT std::optional<LogicPart> parseLogic(std::string_view text);

// The numbers in a part of the logic, each once, ascending.
QVLPOLICY_EXPORT std::vector<unsigned int> dataSetsIn(const LogicPart& part);

}  // namespace qvlpolicy

#endif  // QVLPOLICY_PATTERNS_H
