#include "qvl/avoidance/CompiledPattern.h"

namespace QVL {

namespace {

boost::u32regex compile(const std::string& expression, bool caseSensitive) {
  boost::regex_constants::syntax_option_type options = boost::regex_constants::perl;
  if (!caseSensitive) options |= boost::regex_constants::icase;
  return boost::make_u32regex(expression, options);
}

}  // namespace

CompiledPattern::CompiledPattern(const std::string& expression, bool caseSensitive)
    : m_regex(compile(expression, caseSensitive)) {}

bool CompiledPattern::matches(std::string_view text) const {
  return boost::u32regex_match(text.data(), text.data() + text.size(), m_regex);
}

}  // namespace QVL
