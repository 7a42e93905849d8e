#include "qvl/match/CompiledPattern.h"

#include <optional>
#include <utility>

#include "qvl/match/Expression.h"

namespace QVL {

CompiledPattern::CompiledPattern(ExpressionText expression, bool caseSensitive)
    : m_expression(std::move(expression)), m_caseSensitive(caseSensitive) {
  const std::optional<Reading> reading = readExpression(m_expression, caseSensitive);
  const auto engine = [&] {
    return std::make_unique<const Engine>(m_expression.whole(), caseSensitive);
  };
  std::unique_ptr<const Engine> judge;
  if (!reading || !reading->isCertain) judge = engine();
  if (reading) m_program = Program::of(reading->steps, reading->caseSensitive);
  if (m_program) return;
  m_engine = judge ? std::move(judge) : engine();
}

CompiledPattern::~CompiledPattern() = default;

bool CompiledPattern::matches(Text& text) const {
  if (m_engine) {
    const bool matches = m_engine->matches(text.plain());
    // The engine takes some bytes for characters that are none.
    if (matches && !text.isUtf8()) throwNotUtf8();
    return matches;
  }
  if (text.isUtf8()) return m_program->matches(text);
  // The engine throws when it comes to the character that is none, and before it starts on a text
  // that is cut off. A host that looks at the exception is to see the same one.
  if (text.isCutOff() || m_program->readsOn(text)) throwNotUtf8();
  return false;
}

}  // namespace QVL
