// Every short string as a business logic: it is either refused, or it answers as its reading says.

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <array>
#include <cstddef>
#include <map>
#include <optional>
#include <string>
#include <utility>
#include <vector>

#include "qvl/qvl.h"
#include "tests/lookup/Rig.h"
#include "tests/support/Outcome.h"

namespace QVL {
namespace Test {
namespace {

constexpr char kSigns[] = "12!&|() ";
constexpr std::size_t kLongest = 6;

// What a query brings to light; none where there is no answer.
struct Finding {
  bool present;
  Numbers asked;
  Numbers matched;

  bool operator==(const Finding& other) const {
    return present == other.present && asked == other.asked && matched == other.matched;
  }
};

std::ostream& operator<<(std::ostream& out, const Finding& finding) {
  out << (finding.present ? "present" : "absent") << ", asked";
  for (const unsigned int number : finding.asked) out << ' ' << number;
  out << ", matched";
  for (const unsigned int number : finding.matched) out << ' ' << number;
  return out;
}

// The answers of the data sets 1 and 2, asked at most once each; all others answer no.
class Answers {
 public:
  explicit Answers(unsigned int truths) : m_truths(truths) {}

  bool of(unsigned int number) {
    const auto known = m_known.find(number);
    if (known != m_known.end()) return known->second;
    const bool answer = number - 1 < 2 && (m_truths >> (number - 1) & 1) != 0;
    m_known[number] = answer;
    if (number - 1 < 2) asked.push_back(number);
    if (answer) matched.push_back(number);
    return answer;
  }

  Finding findingOf(bool present) const { return {present, asked, matched}; }

  Numbers asked;
  Numbers matched;

 private:
  const unsigned int m_truths;
  std::map<unsigned int, bool> m_known;
};

// A number whose truth nobody has needed yet, or a truth.
struct Value {
  unsigned int number;  // 0 for a truth
  bool truth;
};

bool truthOf(const Value& value, Answers& answers) {
  return value.number != 0 ? answers.of(value.number) : value.truth;
}

Value joined(char operation, const Value& left, const Value& right, Answers& answers) {
  const bool truth = operation == '&' ? truthOf(left, answers) && truthOf(right, answers)
                                      : truthOf(left, answers) || truthOf(right, answers);
  return {0, truth};
}

// --- Well-formed texts --------------------------------------------------------------------------
//   expression = term { ("&" | "|") term }      from left to right, no precedence between the two
//   term       = [ "!" ] ( number | "(" expression ")" )

class Grammar {
 public:
  Grammar(std::string text, Answers& answers) : m_text(std::move(text)), m_answers(answers) {}

  // None for a text that the grammar does not make.
  std::optional<bool> read() {
    const Value value = expression();
    skipBlanks();
    if (!m_wellFormed || m_next != m_text.size()) return std::nullopt;
    return truthOf(value, m_answers);
  }

 private:
  char look() {
    skipBlanks();
    return m_next < m_text.size() ? m_text[m_next] : '\0';
  }
  void skipBlanks() {
    while (m_next < m_text.size() && m_text[m_next] == ' ') ++m_next;
  }

  Value expression() {
    Value value = term();
    while (m_wellFormed && (look() == '&' || look() == '|')) {
      const char operation = m_text[m_next++];
      const Value right = term();
      if (m_wellFormed) value = joined(operation, value, right, m_answers);
    }
    return value;
  }

  Value term() {
    if (look() == '!') {
      ++m_next;
      const Value inner = primary();
      return m_wellFormed ? Value{0, !truthOf(inner, m_answers)} : Value{0, false};
    }
    return primary();
  }

  Value primary() {
    if (look() == '(') {
      ++m_next;
      const Value inner = expression();
      if (look() == ')') {
        ++m_next;
      } else {
        m_wellFormed = false;
      }
      return inner;
    }
    unsigned int number = 0;
    while (m_next < m_text.size() && (m_text[m_next] == '1' || m_text[m_next] == '2')) {
      number = number * 10 + static_cast<unsigned int>(m_text[m_next++] - '0');
    }
    if (number == 0) m_wellFormed = false;
    return {number, false};
  }

  const std::string m_text;
  Answers& m_answers;
  std::size_t m_next = 0;
  bool m_wellFormed = true;
};

// --- All other texts ----------------------------------------------------------------------------
// Two stacks, and no postfix: an operator is applied as soon as one comes that does not bind
// tighter. Says what the tolerated texts mean too: numbers side by side, of which the last counts,
// and parentheses that are never closed.

class TwoStacks {
 public:
  TwoStacks(const std::string& text, Answers& answers) : m_answers(answers) {
    for (std::size_t i = 0; i < text.size(); ++i) {
      const char c = text[i];
      if (c == '1' || c == '2') {
        const bool goesOn = i > 0 && (text[i - 1] == '1' || text[i - 1] == '2');
        if (!goesOn) m_values.push_back({0, false});
        m_values.back().number = m_values.back().number * 10 + static_cast<unsigned int>(c - '0');
      } else if (c == '(') {
        m_operators.push_back(c);
      } else if (c == ')') {
        while (!m_operators.empty() && m_operators.back() != '(') apply();
        if (m_operators.empty()) {
          m_refusedAtOnce = true;
          return;
        }
        m_operators.pop_back();
      } else if (c != ' ') {
        while (!m_operators.empty() && strength(m_operators.back()) >= strength(c)) apply();
        m_operators.push_back(c);
      }
    }
    while (!m_operators.empty()) apply();
    if (m_values.empty()) m_withoutAnswer = true;
    if (!m_withoutAnswer) present = truthOf(m_values.back(), m_answers);
  }

  bool refusedAtOnce() const { return m_refusedAtOnce; }
  bool withoutAnswer() const { return m_withoutAnswer; }
  bool present = false;

 private:
  static int strength(char c) { return c == '!' ? 2 : c == '(' ? 0 : 1; }

  void apply() {
    const char operation = m_operators.back();
    m_operators.pop_back();
    const std::size_t operands = operation == '(' ? 0 : operation == '!' ? 1 : 2;
    if (operands == 0 || m_withoutAnswer) return;
    if (m_values.size() < operands) {
      m_withoutAnswer = true;
      return;
    }
    const Value right = m_values.back();
    m_values.pop_back();
    if (operation == '!') {
      m_values.push_back({0, !truthOf(right, m_answers)});
    } else {
      const Value left = m_values.back();
      m_values.back() = joined(operation, left, right, m_answers);
    }
  }

  Answers& m_answers;
  std::vector<Value> m_values;
  std::vector<char> m_operators;
  bool m_refusedAtOnce = false;
  bool m_withoutAnswer = false;
};

// --- The library --------------------------------------------------------------------------------

// Every string over the signs up to the longest, shorter ones first.
template <typename Visit>
void forEveryString(Visit visit) {
  std::vector<std::string> before = {""};
  for (std::size_t length = 1; length <= kLongest; ++length) {
    std::vector<std::string> now;
    for (const std::string& text : before) {
      for (const char* sign = kSigns; *sign; ++sign) now.push_back(text + *sign);
    }
    for (const std::string& text : now) {
      visit(text);
      if (::testing::Test::HasFatalFailure()) return;
    }
    before = std::move(now);
  }
}

TEST(BusinessLogicExhaustively, EveryStringIsRefusedOrMeansWhatItsReadingSays) {
  Rig rig;
  unsigned int truths = 0;
  for (unsigned int number = 1; number <= 2; ++number) {
    rig.assign(number,
               [&truths, number](ILookupData&) { return (truths >> (number - 1) & 1) != 0; });
  }
  std::map<std::string, std::size_t> outcomes;
  std::size_t wellFormed = 0;

  forEveryString([&](const std::string& text) {
    rig.manager.defineBusinessLogic("1");
    const std::string refusal = thrownBy([&] { rig.manager.defineBusinessLogic(text); });
    ++outcomes[refusal];
    for (truths = 0; truths < 4; ++truths) {
      SCOPED_TRACE('"' + text + "\" with truths " + std::to_string(truths));
      Answers answers(truths);
      const TwoStacks read(text, answers);
      LookupData request;
      if (read.refusedAtOnce()) {
        ASSERT_EQ(refusal, "3: Business logic has unbalanced parentheses.");
        ASSERT_EQ(rig.manager.isPresent(request), (truths & 1) != 0) << "the logic before stays";
        rig.asked.clear();
        continue;
      }
      ASSERT_EQ(refusal, "nothing");

      bool present = false;
      const std::string failure = thrownBy([&] { present = rig.manager.isPresent(request); });
      const Finding found{present, rig.takeAsked(), request.m_matchIdentifiers};
      if (truths == 0) ++outcomes[failure == "nothing" ? "answered" : failure];
      if (read.withoutAnswer()) {
        ASSERT_THAT((std::array<std::string, 2>{"3: Business logic length is wrong.",
                                                "3: Business logic can't be empty."}),
                    testing::Contains(failure));
        continue;
      }
      ASSERT_EQ(failure, "nothing");
      ASSERT_EQ(found, answers.findingOf(read.present));

      Answers byGrammar(truths);
      if (const std::optional<bool> meaning = Grammar(text, byGrammar).read()) {
        ASSERT_EQ(found, byGrammar.findingOf(*meaning)) << "well formed";
        ++wellFormed;
      }
    }
  });

  // 8 + 8^2 + ... + 8^6 texts.
  EXPECT_EQ(outcomes["nothing"] + outcomes["3: Business logic has unbalanced parentheses."],
            299592U);
  EXPECT_EQ(outcomes.size(), 5U) << "no other outcome";
  for (const auto& [outcome, count] : outcomes) EXPECT_GT(count, 10U) << outcome;
  EXPECT_GT(wellFormed, 10000U);
  for (const auto& [outcome, count] : outcomes) {
    RecordProperty("texts: " + outcome, std::to_string(count));
  }
}

}  // namespace
}  // namespace Test
}  // namespace QVL
