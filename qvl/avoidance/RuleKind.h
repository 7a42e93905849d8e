// What differs from one rule class to the other. Private to the library.

#ifndef QVL_AVOIDANCE_RULE_KIND_H
#define QVL_AVOIDANCE_RULE_KIND_H

#include <memory>
#include <string>
#include <string_view>

#include "qvl/core/LookupData.h"

namespace QVL {

class Avoidance;
class ExpressionText;

// What one constructor says.
struct ConstructorTexts {
  const char* call;      // completes its trace line after "<class>::"
  const char* refused;   // thrown when the rule text is refused
  const char* notBuilt;  // thrown when it cannot be compiled
};

// A row for each class, which lives as long as its rules. It holds functions where virtual
// operations would do: a host's class with a member of the same name would override those without
// knowing.
struct RuleKind {
  const char* className;  // in the trace
  ConstructorTexts narrow;
  ConstructorTexts wide;
  // Is this a rule text of the kind?
  bool (*acceptsText)(const std::string& text);
  // Puts the expression for the text of a rule of the kind into `expression`; false when there is
  // none.
  bool (*buildExpression)(const Avoidance& rule, const std::string& text, bool wildCards,
                          ExpressionText& expression);
  // The part of a request that the expression is matched against.
  std::string_view (*inputOf)(const LookupData& request);
};

// What a pattern rule has around its translated text.
struct PatternFrame {
  // In front of a name that is no path and names no keyword; null: nothing.
  std::shared_ptr<const std::string> defaultFolder = {};
  const char* behind = "";  // completes the expression after keywords were substituted
};

// Of pattern rules: RuleKind::buildExpression, and of most of them RuleKind::inputOf.
bool buildPatternExpression(const Avoidance& rule, const std::string& text, bool wildCards,
                            ExpressionText& expression);

inline std::string_view filePathOf(const LookupData& request) {
  return request.m_filePath;
}

}  // namespace QVL

#endif  // QVL_AVOIDANCE_RULE_KIND_H
