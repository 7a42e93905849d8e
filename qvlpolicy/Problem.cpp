#include "qvlpolicy/Problem.h"

#include "fmt/format.h"
#include "qvlpolicy/Text.h"

namespace qvlpolicy {

std::string reasonOf(const Problem& problem) {
  std::string text = problem.what;
  const auto add = [&](const char* word, const std::string& part) {
    if (part.empty()) return;
    if (!text.empty()) text += text.back() == ':' ? " " : "; ";
    text += fmt::format("{} {}", word, part);
  };
  add("expected", problem.expected);
  add("found", problem.came);
  return text;
}

std::string inWords(const Problem& problem) {
  std::string text = escaped(problem.file);
  if (problem.line > 0) text += fmt::format(":{}", problem.line);
  if (problem.line > 0 && problem.column > 0) text += fmt::format(":{}", problem.column);
  if (!problem.element.empty()) text += fmt::format(": {}", problem.element);
  return fmt::format("{}: {}", text, reasonOf(problem));
}

}  // namespace qvlpolicy
