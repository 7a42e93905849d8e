#include "qvl/lookup/BusinessLogicParser.h"

#include <algorithm>
#include <cstdint>
#include <cstring>
#include <limits>

#include "qvl/core/QVLException.h"

namespace QVL {
namespace BusinessLogic {
namespace {

bool isBlank(char c) {
  return c == ' ' || c == '\t';
}
bool isDigit(char c) {
  return c >= '0' && c <= '9';
}
bool isLetter(char c) {
  return (c >= 'A' && c <= 'Z') || (c >= 'a' && c <= 'z');
}
bool isOperator(char c) {
  return c == '!' || c == '&' || c == '|';
}

int precedence(char c) {
  return c == '!' ? 2 : c == '&' || c == '|' ? 1 : 0;
}

[[noreturn]] void refuse(const char* message) {
  throw QVLException(QVLException::kCode, message);
}

// An operator-precedence conversion. The stack holds operators and opening parentheses, whose
// precedence of 0 keeps every operator from popping them.
class Conversion {
 public:
  explicit Conversion(const std::string& infix) : m_next(infix.c_str()) {}

  std::string run() {
    for (; *m_next; ++m_next) {
      const char c = *m_next;
      if (isBlank(c)) continue;
      if (isDigit(c)) {
        operand();
      } else if (c == '(') {
        m_stack += c;
      } else if (c == ')') {
        closeParenthesis();
      } else if (isOperator(c)) {
        // An equal precedence pops too: AND and OR group from the left, and a NOT right after a NOT
        // gives a text that cannot be evaluated.
        while (!m_stack.empty() && precedence(m_stack.back()) >= precedence(c)) write(pop());
        m_stack += c;
      } else {
        refuse("Business logic has an invalid character.");
      }
    }
    // A parenthesis that was never closed is written as well; the evaluation skips it.
    while (!m_stack.empty()) write(pop());
    return m_postfix;
  }

 private:
  // Leaves the cursor on the last digit of the run.
  void operand() {
    std::uint64_t number = 0;
    for (;; ++m_next) {
      number = number * 10 + static_cast<std::uint64_t>(*m_next - '0');
      if (number > std::numeric_limits<std::uint32_t>::max()) {
        refuse("Business logic has a data set number that is too large.");
      }
      m_postfix += *m_next;
      if (!isDigit(m_next[1])) break;
    }
    m_postfix += ' ';
  }

  void closeParenthesis() {
    for (;;) {
      if (m_stack.empty()) refuse("Business logic has unbalanced parentheses.");
      const char top = pop();
      if (top == '(') return;
      write(top);
    }
  }

  char pop() {
    const char top = m_stack.back();
    m_stack.pop_back();
    return top;
  }

  void write(char token) {
    m_postfix += token;
    m_postfix += ' ';
  }

  const char* m_next;
  std::string m_stack;
  std::string m_postfix;
};

}  // namespace

std::string toPostfix(const std::string& infix) {
  if (infix.empty() || infix.size() > kMaxLength) {
    refuse("Business logic length is wrong or more than max length.");
  }
  // A letter anywhere decides the message, whatever else is wrong before it.
  const char* const text = infix.c_str();
  if (std::any_of(text, text + std::strlen(text), isLetter)) {
    refuse("Business logic should not have alphabetic character.");
  }
  return Conversion(infix).run();
}

}  // namespace BusinessLogic
}  // namespace QVL
