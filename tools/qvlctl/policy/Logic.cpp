#include "policy/Logic.h"

#include <set>
#include <utility>

#include "fmt/format.h"
#include "policy/Policy.h"

namespace qvlctl {
namespace {

bool combinesTwo(const LogicPart& part) {
  return part.parts.size() == 2;
}

std::string inParentheses(const LogicPart& part, bool needed) {
  return needed ? '(' + part.text + ')' : part.text;
}

LogicPart negation(LogicPart part) {
  LogicPart result;
  result.text = '!' + inParentheses(part, !part.parts.empty());
  result.postfix = part.postfix + "! ";
  result.parts.push_back(std::move(part));
  return result;
}

LogicPart combination(LogicPart left, char operation, LogicPart right) {
  // Operators bind alike and group from the left, which few readers expect of & and |.
  const bool leftMixes = combinesTwo(left) && left.postfix[left.postfix.size() - 2] != operation;
  LogicPart result;
  result.text = fmt::format("{} {} {}", inParentheses(left, leftMixes), operation,
                            inParentheses(right, combinesTwo(right)));
  result.postfix = fmt::format("{}{}{} ", left.postfix, right.postfix, operation);
  result.parts.push_back(std::move(left));
  result.parts.push_back(std::move(right));
  return result;
}

void collect(const LogicPart& part, std::set<unsigned int>& numbers) {
  if (part.dataSet) numbers.insert(*part.dataSet);
  for (const LogicPart& inner : part.parts) collect(inner, numbers);
}

}  // namespace

PostfixReading readPostfix(const std::string& postfix) {
  PostfixReading reading;
  std::vector<LogicPart>& values = reading.values;
  const auto take = [&values] {
    LogicPart part = std::move(values.back());
    values.pop_back();
    return part;
  };
  for (std::size_t start = 0; start < postfix.size();) {
    const std::size_t end = postfix.find(' ', start);
    const std::string token = postfix.substr(start, end - start);
    start = end + 1;
    if (token == "(") {
      reading.isLeftOpen = true;
    } else if (token == "!" || token == "&" || token == "|") {
      LogicPart right = take();
      values.push_back(token == "!" ? negation(std::move(right))
                                    : combination(take(), token[0], std::move(right)));
    } else {
      LogicPart operand;
      operand.text = token;
      operand.postfix = token + ' ';
      operand.dataSet = parseNumber(token);
      values.push_back(std::move(operand));
    }
  }
  return reading;
}

std::vector<unsigned int> dataSetsIn(const LogicPart& part) {
  std::set<unsigned int> numbers;
  collect(part, numbers);
  return {numbers.begin(), numbers.end()};
}

}  // namespace qvlctl
