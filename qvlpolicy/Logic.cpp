#include "qvlpolicy/Logic.h"

#include <algorithm>
#include <set>
#include <utility>

#include "fmt/format.h"
#include "qvlpolicy/Description.h"
#include "qvlpolicy/Patterns.h"
#include "qvlpolicy/Text.h"
#include "qvlpolicy/Values.h"

namespace qvlpolicy {
namespace {

// The engine's own bounds.
constexpr std::size_t kMaxLength = 2048;

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

constexpr const char* kOperand = "the number of a data set, ! or (";
constexpr const char* kOperator = "& or | between two operands";

class LogicReader {
 public:
  explicit LogicReader(std::string_view text) : m_text(text) {}

  ReadLogic read() {
    ReadLogic result;
    if (m_text.size() > kMaxLength) {
      result.errors.push_back({kMaxLength, "it is too long",
                               fmt::format("at most {} characters", kMaxLength),
                               grouped(m_text.size())});
      return result;
    }
    try {
      result.logic = expression();
      if (peek() == ')') fail("there is no ( for this parenthesis", {});
      if (!isAtEnd()) fail("an operator is missing", kOperator);
      // The engine takes a longer one and cannot evaluate it.
      const std::size_t length = result.logic.postfix.size();
      if (length > kMaxLength) {
        throw LogicError{m_text.size(), "it has too many numbers and operators",
                         fmt::format("at most {} characters, counting one behind each", kMaxLength),
                         grouped(length)};
      }
    } catch (LogicError& error) {
      result.errors.push_back(std::move(error));
    }
    return result;
  }

 private:
  [[noreturn]] void fail(std::string what, std::string expected) {
    skipBlanks();
    LogicError error = {m_at, std::move(what), std::move(expected), "the end"};
    if (!isAtEnd()) {
      std::size_t length = 1;
      while (m_at + length < m_text.size() &&
             (static_cast<unsigned char>(m_text[m_at + length]) & 0xc0) == 0x80) {
        ++length;
      }
      error.came = inQuotes(m_text.substr(m_at, length));
    }
    throw error;
  }

  // Operators group from the left. The depth of nesting is bounded by the length of the text.
  LogicPart expression() {
    LogicPart left = operand();
    for (char c = peek(); c == '&' || c == '|'; c = peek()) {
      ++m_at;
      left = combination(std::move(left), c, operand());
    }
    return left;
  }

  LogicPart operand() {
    const char c = peek();
    if (c == '!') {
      ++m_at;
      if (peek() == '!') {
        fail("a double negation needs parentheses", "the number of a data set or (, as in !(!1)");
      }
      return negation(operand());
    }
    if (c == '(') {
      ++m_at;
      LogicPart inner = expression();
      if (peek() != ')') {
        fail(isAtEnd() ? "a parenthesis is not closed" : "an operator is missing",
             isAtEnd() ? ")" : fmt::format("{}, or )", kOperator));
      }
      ++m_at;
      return inner;
    }
    if (c >= '0' && c <= '9') return number();
    fail("", m_text.find_first_not_of(" \t\r\n") == std::string_view::npos
                 ? "numbers of data sets combined by !, &, | and parentheses, such as (1|2)&!3"
                 : kOperand);
  }

  LogicPart number() {
    const std::size_t end = std::min(m_text.find_first_not_of("0123456789", m_at), m_text.size());
    const std::string_view digits = m_text.substr(m_at, end - m_at);
    const std::optional<unsigned int> number = parseNumber(digits);
    if (!number) {
      throw LogicError{m_at, "", "a number from 0 to 4294967295", inQuotes(digits)};
    }
    m_at = end;
    LogicPart operand;
    operand.text = std::to_string(*number);
    operand.postfix = operand.text + ' ';
    operand.dataSet = number;
    return operand;
  }

  void skipBlanks() { m_at = std::min(m_text.find_first_not_of(" \t\r\n", m_at), m_text.size()); }

  // The next character that is no blank; 0 at the end.
  char peek() {
    skipBlanks();
    return isAtEnd() ? '\0' : m_text[m_at];
  }

  bool isAtEnd() const { return m_at == m_text.size(); }

  const std::string_view m_text;
  std::size_t m_at = 0;
};

}  // namespace

ReadLogic readLogic(std::string_view text) {
  return LogicReader(text).read();
}

std::string logicForEngine(std::string logic) {
  std::replace_if(
      logic.begin(), logic.end(), [](char c) { return c == '\n' || c == '\r'; }, ' ');
  return logic;
}

std::optional<LogicPart> parseLogic(std::string_view text) {
  ReadLogic read = readLogic(text);
  if (!read.errors.empty()) return std::nullopt;
  return std::move(read.logic);
}

std::vector<unsigned int> dataSetsIn(const LogicPart& part) {
  std::set<unsigned int> numbers;
  collect(part, numbers);
  return {numbers.begin(), numbers.end()};
}

}  // namespace qvlpolicy
