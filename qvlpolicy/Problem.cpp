#include "qvlpolicy/Problem.h"

#include "fmt/format.h"
#include "qvlpolicy/Description.h"

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
  const Position position = {problem.file, problem.line, problem.column, problem.element};
  return fmt::format("{}: {}", inWords(position), reasonOf(problem));
}

}  // namespace qvlpolicy
