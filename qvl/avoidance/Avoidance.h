// What all rules of the library have in common.

#ifndef QVL_AVOIDANCE_AVOIDANCE_H
#define QVL_AVOIDANCE_AVOIDANCE_H

#include <memory>
#include <string>
#include <string_view>

#include "qvl/core/AccessTypes.h"
#include "qvl/core/Export.h"
#include "qvl/core/IAvoidance.h"

namespace QVL {

class CompiledPattern;
class PatternObserver;
struct ConstructorTexts;
struct RuleKind;

// A rule with a text, an access type and a compiled expression. The five classes differ in which
// texts they accept, how a text becomes an expression and which part of a request the expression is
// matched against; everything else is told here once. What is virtual is what IAvoidance lists, and
// nothing else.
//
// Invariant after construction: the text is one that the class accepts, and the compiled expression
// is the last one that could be built.
//
// Thread safety: as IAvoidance.
class QVL_EXPORT Avoidance : public IAvoidance {
 public:
  ~Avoidance() override;
  Avoidance(const Avoidance&) = delete;
  Avoidance& operator=(const Avoidance&) = delete;

  // Stores the text and the access type if the rule kind accepts the text; false, changing nothing,
  // if not. Does not recompile.
  bool validate(std::string text, AccessTypes accessType);

  bool updateRegex() override;
  bool canAvoid(ILookupData& request) override;
  bool canAvoidWithAccessType(ILookupData& request, bool flag) override;
  std::string getKey() const override;

  void enableCaseSensitiveSearch() override;
  void disableCaseSensitiveSearch() override;
  void setCaseSensitiveSearch(unsigned char caseSensitive) override;
  void enableWildCardSearch() override;
  void disableWildCardSearch() override;
  void setWildCardSearch(unsigned char wildCards) override;

 protected:
  // For the rules of the library, which call create; `kind` outlives the rule.
  QVL_HIDDEN Avoidance(const RuleKind& kind, AccessTypes accessType);

  // The body of a derived class's constructors: trace line, validation, first compilation. Throws
  // QVLException with the class's message when the text is refused or cannot be compiled. A wide
  // text is read up to its first NUL; characters that are no code points are left out.
  void create(std::string text);
  void create(const std::wstring& text);

  // Does the compiled expression match the whole text? Throws what the regular expression engine
  // throws, for a text that is not UTF-8 among others.
  bool matches(std::string_view text) const;

  // Does the rule's access type admit the request's?
  bool fitsAccessTypeOf(const LookupData& request) const;

  // Writes the trace line "<class>::<operation>\n".
  void trace(const char* operation) const;

  // What the rule was made of.
  const std::string& text() const;

 private:
  friend class RuleView;

  const CompiledPattern& pattern() const;
  AccessTypes accessType() const;
  void observe(PatternObserver* observer) const;
  QVL_HIDDEN PatternObserver* observer() const;

  void createFrom(std::string text, const ConstructorTexts& texts);

  struct State;  // text, access type, flags and compiled expression
  std::unique_ptr<State> m_state;
};

}  // namespace QVL

#endif  // QVL_AVOIDANCE_AVOIDANCE_H
