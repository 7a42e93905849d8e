#include "qvl/match/CompiledPattern.h"

#include <algorithm>
#include <boost/regex/icu.hpp>
#include <boost/throw_exception.hpp>
#include <optional>
#include <stdexcept>
#include <vector>

#include "qvl/match/Expression.h"

namespace QVL {
namespace {

// A zero stands behind the expression: at the end of one that leaves a range of characters open, as
// "[a-b" does, the engine looks at what comes next.
boost::u32regex engineOf(const std::string& expression,
                         boost::regex_constants::syntax_option_type options) {
  using Characters = boost::u8_to_u32_iterator<std::string::const_iterator, UChar32>;
  const auto begin = expression.begin();
  const auto end = expression.end();
  std::vector<UChar32> characters(Characters(begin, begin, end), Characters(end, begin, end));
  const std::size_t length = characters.size();
  characters.push_back(0);
  return boost::u32regex(characters.data(), length, options);
}

// ICU sets itself up when it is first used, once for the process. Without memory for that it
// crashes, waits for itself for ever or stays of no use, so it is done while the library is loaded.
[[maybe_unused]] const bool engineIsSetUp = [] {
  try {
    const boost::u32regex regex =
        engineOf("(\xC3\xA9|[[:alpha:]\xC3\xA9-\xC3\xAA])", boost::regex_constants::icase);
    const std::string_view text = "\xC3\x89";
    return boost::u32regex_match(text.data(), text.data() + text.size(), regex);
  } catch (...) {
    return false;
  }
}();

}  // namespace

struct CompiledPattern::Engine {
  boost::u32regex regex;
};

CompiledPattern::CompiledPattern(const std::string& expression, bool caseSensitive)
    : m_expression(expression), m_caseSensitive(caseSensitive) {
  const auto alternatives = alternativesOf(expression, caseSensitive);
  if (alternatives && std::all_of(alternatives->begin(), alternatives->end(), Glob::canMatch)) {
    m_globs.reserve(alternatives->size());
    for (const GlobSteps& steps : *alternatives) m_globs.push_back(Glob::of(steps));
    return;
  }
  boost::regex_constants::syntax_option_type options = boost::regex_constants::perl;
  if (!caseSensitive) options |= boost::regex_constants::icase;
  m_engine.reset(new Engine{engineOf(expression, options)});
}

CompiledPattern::~CompiledPattern() = default;

bool CompiledPattern::matches(Subject& subject) const {
  if (m_engine) {
    const std::string_view text = subject.text();
    return boost::u32regex_match(text.data(), text.data() + text.size(), m_engine->regex);
  }
  // Folding, too, stops at the first character that cannot be read.
  const std::string_view readable =
      m_caseSensitive ? subject.text().substr(0, subject.validPrefix()) : subject.folded();
  if (subject.isUtf8()) {
    return std::any_of(m_globs.begin(), m_globs.end(), [&](const auto& glob) {
      return glob->matches(readable, subject.isAscii());
    });
  }
  // The engine throws when it comes to that character, and before it starts on a text that is cut
  // off. A host that looks at the exception is to see the same one.
  if (subject.isCutOff() || std::any_of(m_globs.begin(), m_globs.end(), [&](const auto& glob) {
        return glob->wantsMoreAfter(readable);
      })) {
    boost::throw_exception(std::out_of_range(
        "Invalid UTF-8 sequence encountered while trying to encode UTF-32 character"));
  }
  return false;
}

}  // namespace QVL
