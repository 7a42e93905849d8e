// What a rule of the library tells an index about itself. Private to the library.

#ifndef QVL_AVOIDANCE_RULE_VIEW_H
#define QVL_AVOIDANCE_RULE_VIEW_H

#include <string_view>

#include "qvl/avoidance/Avoidance.h"
#include "qvl/core/IAvoidance.h"
#include "qvl/core/LookupData.h"

namespace QVL {

class CompiledPattern;
class KeywordTable;

// The part of a request that a rule's expression is matched against.
enum class RuleInput { FilePath, ProcessName, Extension };
constexpr std::size_t kRuleInputs = 3;

std::string_view inputOf(const LookupData& request, RuleInput input);

// Told when a rule has a new compiled pattern, or another access type. The pattern that it had is
// still there meanwhile.
class PatternObserver {
 public:
  virtual void ruleChanged(const IAvoidance& rule) = 0;

 protected:
  ~PatternObserver() = default;
};

// A rule whose answer is known to be "its pattern matches this input, and its access type fits".
class RuleView {
 public:
  // Is the rule of one of the library's five classes, and not of one derived from them? Then it
  // changes nothing while it is asked, and nobody can tell whether one thread asks it or several.
  static bool isOfTheLibrary(const IAvoidance& rule);

  // Null for every rule of which that cannot be said: those of a host's own class, those of a class
  // derived from ours, which may answer as it likes, and file age rules.
  static const Avoidance* of(const IAvoidance& rule);

  static RuleInput inputOf(const Avoidance& rule);
  static const CompiledPattern& patternOf(const Avoidance& rule);
  static AccessTypes accessTypeOf(const Avoidance& rule);

  // The keywords of a rule of the library's own classes, which nobody can tell from handing them to
  // it one by one: the trace line of that operation is written. Null for every other rule.
  static KeywordTable* keywordsFor(IAvoidance& rule, const char* operation);

  // From now on `observer` is told; null ends that. A rule has one observer, its data set.
  static void observe(const Avoidance& rule, PatternObserver* observer);
  static PatternObserver* observerOf(const Avoidance& rule);
};

}  // namespace QVL

#endif  // QVL_AVOIDANCE_RULE_VIEW_H
