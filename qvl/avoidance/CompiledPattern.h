// A rule's expression, ready to match. Private to the library.

#ifndef QVL_AVOIDANCE_COMPILED_PATTERN_H
#define QVL_AVOIDANCE_COMPILED_PATTERN_H

#include <boost/regex/icu.hpp>
#include <string>
#include <string_view>

namespace QVL {

// One compiled expression. Immutable: a rule that is recompiled gets a new one.
//
// Thread safety: any number of threads may match at once.
class CompiledPattern {
 public:
  // Throws what the regular expression engine throws when the expression is not valid or not UTF-8.
  CompiledPattern(const std::string& expression, bool caseSensitive);

  // Does the expression match the whole text? Throws what the engine throws: for a text that is not
  // UTF-8, as far as the engine reads it, and for one that takes it too long.
  bool matches(std::string_view text) const;

 private:
  boost::u32regex m_regex;
};

}  // namespace QVL

#endif  // QVL_AVOIDANCE_COMPILED_PATTERN_H
