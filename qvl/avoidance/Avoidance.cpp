#include "qvl/avoidance/Avoidance.h"

#include <boost/locale/encoding_utf.hpp>
#include <utility>

#include "qvl/avoidance/RuleKind.h"
#include "qvl/avoidance/RuleView.h"
#include "qvl/core/QVLException.h"
#include "qvl/core/RequestCast.h"
#include "qvl/match/CompiledPattern.h"
#include "qvl/trace/TraceCall.h"

namespace QVL {

struct Avoidance::State {
  const RuleKind& kind;
  std::string m_key;
  AccessTypes m_accessType;
  std::unique_ptr<const CompiledPattern> m_regex;
  unsigned char m_wildCardSearch = 1;
  unsigned char m_caseSensitiveSearch = 1;
  PatternObserver* observer = nullptr;

  // Is this what is compiled already?
  bool holds(const ExpressionText& expression, bool caseSensitive) const {
    return m_regex && m_regex->caseSensitive() == caseSensitive &&
           m_regex->expression() == expression;
  }
};

Avoidance::Avoidance(const RuleKind& kind, AccessTypes accessType)
    : m_state(new State{kind, {}, accessType, nullptr}) {}

Avoidance::~Avoidance() = default;

void Avoidance::create(std::string text) {
  trace(m_state->kind.narrow.call);
  createFrom(std::move(text), m_state->kind.narrow);
}

void Avoidance::create(const std::wstring& text) {
  trace(m_state->kind.wide.call);
  // As a C string: a wide text ends at its first NUL.
  createFrom(boost::locale::conv::utf_to_utf<char>(text.c_str()), m_state->kind.wide);
}

void Avoidance::createFrom(std::string text, const ConstructorTexts& texts) {
  if (!validate(std::move(text), m_state->m_accessType)) {
    throw QVLException(QVLException::kCode, texts.refused);
  }
  if (!updateRegex()) throw QVLException(QVLException::kCode, texts.notBuilt);
}

bool Avoidance::validate(std::string text, AccessTypes accessType) {
  trace("validate");
  if (!m_state->kind.acceptsText(text)) return false;
  m_state->m_key = std::move(text);
  if (m_state->m_accessType != accessType) {
    m_state->m_accessType = accessType;
    if (m_state->observer) m_state->observer->ruleChanged(*this);
  }
  return true;
}

bool Avoidance::updateRegex() {
  trace("updateRegex");
  try {
    ExpressionText expression;
    if (!m_state->kind.buildExpression(*this, m_state->m_key, m_state->m_wildCardSearch != 0,
                                       expression))
      return false;
    const bool caseSensitive = m_state->m_caseSensitiveSearch != 0;
    if (!m_state->holds(expression, caseSensitive)) {
      auto pattern = std::make_unique<const CompiledPattern>(std::move(expression), caseSensitive);
      m_state->m_regex.swap(pattern);
      if (m_state->observer) m_state->observer->ruleChanged(*this);
    }
    return true;
  } catch (...) {
    return false;
  }
}

bool Avoidance::canAvoid(ILookupData& request) {
  trace("canAvoid");
  const LookupData* const lookupData = asLookupData(request);
  return lookupData && matches(m_state->kind.inputOf(*lookupData));
}

bool Avoidance::canAvoidWithAccessType(ILookupData& request, bool /*flag*/) {
  trace("canAvoidWithAccessType");
  const LookupData* const lookupData = asLookupData(request);
  return lookupData && matches(m_state->kind.inputOf(*lookupData)) && fitsAccessTypeOf(*lookupData);
}

std::string Avoidance::getKey() const {
  trace("getKey");
  return m_state->m_key;
}

void Avoidance::enableCaseSensitiveSearch() {
  m_state->m_caseSensitiveSearch = 1;
}
void Avoidance::disableCaseSensitiveSearch() {
  m_state->m_caseSensitiveSearch = 0;
}
void Avoidance::setCaseSensitiveSearch(unsigned char caseSensitive) {
  m_state->m_caseSensitiveSearch = caseSensitive;
}

void Avoidance::enableWildCardSearch() {
  m_state->m_wildCardSearch = 1;
}
void Avoidance::disableWildCardSearch() {
  m_state->m_wildCardSearch = 0;
}
void Avoidance::setWildCardSearch(unsigned char wildCards) {
  m_state->m_wildCardSearch = wildCards;
}

bool Avoidance::matches(std::string_view text) const {
  TextScratch scratch;
  Text subject(text, scratch);
  return m_state->m_regex->matches(subject);
}

bool Avoidance::fitsAccessTypeOf(const LookupData& request) const {
  return accessTypeFits(m_state->m_accessType, request.m_accessType);
}

void Avoidance::trace(const char* operation) const {
  traceCall(m_state->kind.className, operation);
}

const std::string& Avoidance::text() const {
  return m_state->m_key;
}

const CompiledPattern& Avoidance::pattern() const {
  return *m_state->m_regex;
}

AccessTypes Avoidance::accessType() const {
  return m_state->m_accessType;
}

void Avoidance::observe(PatternObserver* observer) const {
  m_state->observer = observer;
}

PatternObserver* Avoidance::observer() const {
  return m_state->observer;
}

}  // namespace QVL
