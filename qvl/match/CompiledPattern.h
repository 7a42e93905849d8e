// A rule's expression, ready to match. Private to the library.

#ifndef QVL_MATCH_COMPILED_PATTERN_H
#define QVL_MATCH_COMPILED_PATTERN_H

#include <memory>
#include <string>
#include <vector>

#include "qvl/match/Glob.h"
#include "qvl/match/Subject.h"

namespace QVL {

// One compiled expression. Most expressions are made of literals, wildcards and alternatives of
// these, and are matched as globs, in bounded time; all others by the regular expression engine.
// Both give the same answers and throw for the same texts, except that the engine gives up on a
// text that takes it too long.
//
// Immutable: a rule that is recompiled gets a new one.
//
// Thread safety: any number of threads may match at once.
class CompiledPattern {
 public:
  // Throws what the engine throws when the expression is not valid or not UTF-8.
  CompiledPattern(const std::string& expression, bool caseSensitive);
  ~CompiledPattern();
  CompiledPattern(const CompiledPattern&) = delete;
  CompiledPattern& operator=(const CompiledPattern&) = delete;

  const std::string& expression() const { return m_expression; }
  bool caseSensitive() const { return m_caseSensitive; }

  // Does the expression match the whole text? Throws std::out_of_range for a text that is not
  // UTF-8, as far as it is read, and what the engine throws for one that takes it too long.
  bool matches(Subject& subject) const;

  // The globs, a text that is UTF-8 matching when it matches any of them; none when the expression
  // needs the engine. Their literals are case folded when case does not matter.
  const std::vector<std::unique_ptr<const Glob>>& globs() const { return m_globs; }

 private:
  struct Engine;

  const std::string m_expression;
  const bool m_caseSensitive;
  std::vector<std::unique_ptr<const Glob>> m_globs;
  std::unique_ptr<const Engine> m_engine;
};

}  // namespace QVL

#endif  // QVL_MATCH_COMPILED_PATTERN_H
