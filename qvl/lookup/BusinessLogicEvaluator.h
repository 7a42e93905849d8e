// From a postfix text and the answers of data sets to a verdict. Private to the library.

#ifndef QVL_LOOKUP_BUSINESS_LOGIC_EVALUATOR_H
#define QVL_LOOKUP_BUSINESS_LOGIC_EVALUATOR_H

#include <array>
#include <cstddef>
#include <cstdint>
#include <string>
#include <vector>

#include "qvl/lookup/BusinessLogicParser.h"

namespace QVL {
namespace BusinessLogic {

// One operand or operator of a postfix text.
struct Token {
  char symbol;           // '!', '&', '|', or 0 for an operand
  std::uint32_t number;  // an operand's data-set number
};

// A postfix text, read once so that queries need not read it. The text ends at its first zero byte;
// the character after an operator is stepped over unread; anything that is neither operand nor
// operator is skipped.
class Postfix {
 public:
  Postfix() = default;  // as the empty text
  explicit Postfix(const std::string& text);

  bool empty() const { return m_length == 0; }

  // The number of operands and operators.
  std::size_t size() const { return m_tokens.size(); }

  // Throws QVLException "Business logic length is wrong." for a text that is empty or longer than
  // kMaxLength.
  const std::vector<Token>& tokens() const;

 private:
  std::size_t m_length = 0;
  std::vector<Token> m_tokens;  // empty while the length is wrong
};

// Throws QVLException "Business logic length is wrong.".
[[noreturn]] void throwWrongLength();

// One entry of the evaluation stack.
struct Evaluation {
  std::uint32_t m_operand;  // a data-set number, or the truth value once evaluated
  bool m_evaluated;
};

// A text of kMaxLength characters holds at most half as many operands.
constexpr std::size_t kMostOperands = kMaxLength / 2 + 1;

// The truth of a postfix expression. `ask(number)` answers for one data set. An operand stays a
// bare number until an operator needs its truth, and the right operand of `&` and `|` is asked only
// when the left one leaves the answer open. Throws QVLException "Business logic length is wrong."
// when an operator lacks an operand, before it asks, or when nothing is left at the end. The tokens
// are those of a Postfix.
template <typename Ask>
bool evaluate(const std::vector<Token>& postfix, Ask ask) {
  // The entries are written before they are read, so they start without values.
  std::array<Evaluation, kMostOperands> stack;
  std::size_t size = 0;

  const auto pop = [&] {
    if (size == 0) throwWrongLength();
    return stack[--size];
  };
  const auto push = [&](bool truth) { stack[size++] = {truth ? 1u : 0u, true}; };
  const auto truthOf = [&](const Evaluation& entry) {
    return entry.m_evaluated ? entry.m_operand != 0 : ask(entry.m_operand);
  };

  for (const Token& token : postfix) {
    if (token.symbol == 0) {
      stack[size++] = {token.number, false};
    } else if (token.symbol == '!') {
      const Evaluation operand = pop();
      push(!truthOf(operand));
    } else {
      const Evaluation right = pop();
      const Evaluation left = pop();
      const bool leftTruth = truthOf(left);
      // What decides the answer alone: false for AND, true for OR.
      const bool decisive = token.symbol == '|';
      push(leftTruth == decisive ? decisive : truthOf(right));
    }
  }
  return truthOf(pop());
}

}  // namespace BusinessLogic
}  // namespace QVL

#endif  // QVL_LOOKUP_BUSINESS_LOGIC_EVALUATOR_H
