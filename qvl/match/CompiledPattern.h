// A rule's expression, ready to match. Private to the library.

#ifndef QVL_MATCH_COMPILED_PATTERN_H
#define QVL_MATCH_COMPILED_PATTERN_H

#include <memory>
#include <string>

#include "qvl/match/Engine.h"
#include "qvl/match/Keywords.h"
#include "qvl/match/Program.h"
#include "qvl/match/Text.h"

namespace QVL {

// One compiled expression. The regular expression engine says which expressions are valid and what
// they mean; what is read of them without doubt is matched by a Program, in a time linear in the
// text, and only the rest by the engine: back references, conditions, recursion, parts that look
// around or are never given back, and what readExpression() names beside these. Both give the same
// answers and throw for the same texts, except that the engine gives up on a text that takes it too
// long.
//
// Immutable: a rule that is recompiled gets a new one.
//
// Thread safety: any number of threads may match at once, each with a text of its own.
class CompiledPattern {
 public:
  // Throws what the engine throws when the expression is not valid or not UTF-8.
  CompiledPattern(ExpressionText expression, bool caseSensitive);
  ~CompiledPattern();
  CompiledPattern(const CompiledPattern&) = delete;
  CompiledPattern& operator=(const CompiledPattern&) = delete;

  const ExpressionText& expression() const { return m_expression; }
  bool caseSensitive() const { return m_caseSensitive; }

  // Does the expression match the whole text? Throws std::out_of_range for a text that is not
  // UTF-8, as far as it is read, and std::runtime_error where the engine gives up.
  bool matches(Text& text) const;

  // Null when the engine matches.
  const Program* program() const { return m_program.get(); }

 private:
  const ExpressionText m_expression;
  const bool m_caseSensitive;
  std::unique_ptr<const Program> m_program;
  std::unique_ptr<const Engine> m_engine;
};

}  // namespace QVL

#endif  // QVL_MATCH_COMPILED_PATTERN_H
