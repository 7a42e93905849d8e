#include <gtest/gtest.h>

#include <map>
#include <ostream>
#include <string>
#include <vector>

#include "qvl/qvl.h"
#include "tests/lookup/Rig.h"
#include "tests/support/Outcome.h"
#include "tests/support/Requests.h"

namespace QVL {
namespace Test {
namespace {

constexpr const char* kWrongLength = "3: Business logic length is wrong.";

// Answers of the data sets 0 to 9 in most of the tests below: odd numbers are present, and number
// 9 has no data set.
void assignOddPresent(Rig& rig) {
  for (unsigned int number = 0; number < 9; ++number) rig.assignAlways(number, number % 2 == 1);
}

struct Row {
  const char* logic;
  Numbers asked;
  bool result;
  Numbers matched;
};

TEST(BusinessLogicEvaluation, AsksOnlyWhatItNeedsFromLeftToRight) {
  // Data set 1 answers true, 2 false, 3 true, 4 false; 9 does not exist.
  const Row rows[] = {
      {"1|2", {1}, true, {1}},
      {"2|3", {2, 3}, true, {3}},
      {"2&3", {2}, false, {}},
      {"1&!2", {2, 1}, true, {1}},
      {"(1|2)&3", {1, 3}, true, {1, 3}},
      {"1|(2&3)", {2, 1}, true, {1}},
      {"3&3", {3}, true, {3}},

      {"5", {5}, true, {5}},
      {"4", {4}, false, {}},
      {"!1", {1}, false, {1}},
      {"!2", {2}, true, {}},
      {"!(!1)", {1}, true, {1}},
      {"1&3", {1, 3}, true, {1, 3}},
      {"1&2", {1, 2}, false, {1}},
      {"2|4", {2, 4}, false, {}},
      {"2|9", {2}, false, {}},
      {"9|2", {2}, false, {}},
      {"!9", {}, true, {}},
      {"9&1", {}, false, {}},
      {"9|1", {1}, true, {1}},
      {"1 2", {2}, false, {}},
      {"2 1", {1}, true, {1}},
      {"1&2 3", {2}, false, {}},
      {"(1&2", {1, 2}, false, {1}},
      {"(1|2", {1}, true, {1}},
      {"2&2", {2}, false, {}},
      {"2|2", {2}, false, {}},
      {"1|1", {1}, true, {1}},
      {"1&1&1", {1}, true, {1}},
      {"!1|1", {1}, true, {1}},
      {"!2&!2", {2}, true, {}},
      {"(1&3)|5", {1, 3}, true, {1, 3}},
      {"(1&2)|5", {1, 2, 5}, true, {1, 5}},
      {"(2|4)&5", {2, 4}, false, {}},
      {"5|(1&3)", {1, 3, 5}, true, {1, 3, 5}},
      {"4|(1&3)", {1, 3, 4}, true, {1, 3}},
      {"4&(1&3)", {1, 3, 4}, false, {1, 3}},
      {"(1|2)&(3|4)", {1, 3}, true, {1, 3}},
      {"(2&1)|(4&3)", {2, 4}, false, {}},
      {"01|2", {1}, true, {1}},
      {"0|1", {0, 1}, true, {1}},
  };
  for (const Row& row : rows) {
    Rig rig;
    assignOddPresent(rig);
    LookupData request;
    rig.manager.defineBusinessLogic(row.logic);
    EXPECT_EQ(rig.manager.isPresent(request), row.result) << row.logic;
    EXPECT_EQ(rig.asked, row.asked) << row.logic;
    EXPECT_EQ(request.m_matchIdentifiers, row.matched) << row.logic;
  }
}

// --- Texts that no definition produces -----------------------------------------------------------

TEST(BusinessLogicEvaluation, ReadsHandWrittenPostfix) {
  using namespace std::string_literals;
  const struct {
    std::string postfix;
    Numbers asked;
    bool result;
  } rows[] = {
      {"1", {1}, true},  // no blank after the last token
      {"5 ", {5}, true},
      {"01 ", {1}, true},
      {"1 2", {2}, false},  // the top entry alone counts
      {"2 1", {1}, true},
      {"1 3 5 ", {5}, true},
      {"2 4 |", {2, 4}, false},
      {"2 1|", {2, 1}, true},  // operands end where the digits end
      {"  2   1   |  ", {2, 1}, true},
      {"\t2\t1\t|\t", {2, 1}, true},
      {"-1 ", {1}, true},  // any other character is skipped
      {"( 2 1 | ( ", {2, 1}, true},
      {"x2y1z|", {2, 1}, true},
      {"1.3&", {1, 3}, true},
      {"\xff"
       "1 ",
       {1},
       true},
      {")1 ", {1}, true},
      // What follows an operator is stepped over, whatever it is.
      {"1!!", {1}, false},
      {"1! !", {1}, true},
      {"1 !! ! ", {1}, true},
      {"1 3&5", {1, 3}, true},
      {"1 3&!2 ", {1, 3, 2}, false},
      // A zero byte ends the text.
      {"1 \0!"s, {1}, true},
      {"2 1 \0| "s, {1}, true},
  };
  for (const auto& row : rows) {
    Rig rig;
    assignOddPresent(rig);
    LookupData request;
    bool result = !row.result;
    EXPECT_EQ(thrownBy([&] { result = rig.manager.executeLogic(row.postfix, request); }), "nothing")
        << shown(row.postfix);
    EXPECT_EQ(result, row.result) << shown(row.postfix);
    EXPECT_EQ(rig.asked, row.asked) << shown(row.postfix);
  }
}

TEST(BusinessLogicEvaluation, ThrowsWhenAnOperatorLacksOperandsOrNothingIsLeft) {
  using namespace std::string_literals;
  const std::string rows[] = {
      "",       " ",        "\t",       "(",      "( ( ", "x",      "\0"s,      "\0 1"s,
      "! ",     "& ",       "| ",       "1 & ",   "1 | ", "! 1 ! ", "1 & 2 & ", "1 ! & ",
      "1 ! | ", "1 2 & | ", "1 2 | & ", "2 1|1&", "1!2|", "& 1 2 ", "1!&! & ",
  };
  for (const std::string& postfix : rows) {
    Rig rig;
    assignOddPresent(rig);
    LookupData request;
    EXPECT_EQ(thrownBy([&] { rig.manager.executeLogic(postfix, request); }), kWrongLength)
        << shown(postfix);
  }
}

TEST(BusinessLogicEvaluation, AcceptsOneTo2048Characters) {
  const auto result = [](const std::string& postfix) -> std::string {
    Rig rig;
    assignOddPresent(rig);
    LookupData request;
    bool present = false;
    const std::string failure =
        thrownBy([&] { present = rig.manager.executeLogic(postfix, request); });
    if (failure != "nothing") return failure + (rig.asked.empty() ? "" : " after asking");
    return present ? "true" : "false";
  };
  EXPECT_EQ(result(""), kWrongLength);
  EXPECT_EQ(result("1"), "true");
  EXPECT_EQ(result("1" + std::string(2047, ' ')), "true");
  EXPECT_EQ(result("1" + std::string(2048, ' ')), kWrongLength);
  EXPECT_EQ(result(std::string(2047, ' ') + "1"), "true");
  EXPECT_EQ(result(std::string(2048, ' ') + "1"), kWrongLength);
  // An operator at the very end, with nothing to step over.
  EXPECT_EQ(result("1" + std::string(2046, ' ') + "!"), "false");
  EXPECT_EQ(result(std::string(2047, '0') + "1"), "true");
}

TEST(BusinessLogicEvaluation, HoldsAsManyOperandsAsALogicCanHave) {
  std::string operands;
  for (int i = 0; i < 1024; ++i) operands += std::to_string(i % 10) + " ";
  // All of them wait at once, and the last one is the answer.
  Rig rig;
  assignOddPresent(rig);
  LookupData request;
  EXPECT_TRUE(rig.manager.executeLogic(operands, request));
  EXPECT_EQ(rig.takeAsked(), Numbers{3});
  // As many as leave room for an operator that has to reach the one below.
  operands.replace(2 * 1022, 4, "0 & ");
  EXPECT_FALSE(rig.manager.executeLogic(operands, request));
  EXPECT_EQ(rig.asked, (Numbers{1, 0}));
}

TEST(BusinessLogicEvaluation, TheMemoIsEmptyAfterEveryEvaluation) {
  const struct {
    const char* postfix;
    const char* thrown;
  } rows[] = {
      {"1 ", "nothing"},        {"1 1 & ", "nothing"},    {"1 ! ", "nothing"},
      {"1 ! & ", kWrongLength}, {"1 ! | ", kWrongLength}, {"1 ! ! ! | ", kWrongLength},
  };
  for (const auto& row : rows) {
    Rig rig;
    bool answer = true;
    rig.assign(1, [&answer](ILookupData&) { return answer; });
    LookupData request;
    EXPECT_EQ(thrownBy([&] { rig.manager.executeLogic(row.postfix, request); }), row.thrown);
    EXPECT_EQ(rig.takeAsked(), Numbers{1}) << row.postfix;
    answer = false;
    EXPECT_FALSE(rig.manager.doLookup(1, request)) << row.postfix;
    EXPECT_EQ(rig.asked, Numbers{1}) << "asked afresh after " << row.postfix;
  }
}

TEST(BusinessLogicEvaluation, AWrongLengthLeavesTheMemoAsItIs) {
  for (const std::string& postfix :
       {std::string(), std::string(2049, ' '), std::string(4096, '1')}) {
    Rig rig;
    bool answer = true;
    rig.assign(1, [&answer](ILookupData&) { return answer; });
    LookupData request;
    EXPECT_TRUE(rig.manager.doLookup(1, request));
    answer = false;
    EXPECT_EQ(thrownBy([&] { rig.manager.executeLogic(postfix, request); }), kWrongLength);
    EXPECT_TRUE(rig.manager.doLookup(1, request)) << "remembered after " << shown(postfix);
    EXPECT_EQ(rig.asked, Numbers{1});
  }
}

TEST(BusinessLogicEvaluation, ARequestOfAnotherTypeMakesEveryOperandFalse) {
  Rig rig;
  assignOddPresent(rig);
  ForeignRequest foreign;
  EXPECT_FALSE(rig.manager.executeLogic("1 ", foreign));
  EXPECT_TRUE(rig.manager.executeLogic("1 ! ", foreign));
  EXPECT_TRUE(rig.asked.empty());
}

TEST(BusinessLogicEvaluation, ReadsNumbersUpToTheLargestOf32Bits) {
  for (const unsigned int number : {0U, 2147483647U, 2147483648U, 4294967295U}) {
    Rig rig;
    rig.assignAlways(number, true);
    LookupData request;
    EXPECT_TRUE(rig.manager.executeLogic(std::to_string(number) + " ", request)) << number;
    EXPECT_EQ(rig.asked, Numbers{number});
  }
}

// --- Every small expression ----------------------------------------------------------------------

// One expression, as infix with no more parentheses than needed, as postfix, and as a tree.
struct Expression {
  std::string infix;
  std::string postfix;
  char token;  // '1' to '3', or the operator
  std::size_t left;
  std::size_t right;
};

class Expressions {
 public:
  // Every expression over the data sets 1 to 3 with up to `operators` operators.
  explicit Expressions(std::size_t operators) {
    for (const char digit : {'1', '2', '3'}) {
      add({std::string(1, digit), std::string(1, digit) + " ", digit, 0, 0});
    }
    m_end.push_back(all.size());
    for (std::size_t count = 1; count <= operators; ++count) {
      for (std::size_t operand = begin(count - 1); operand < m_end[count - 1]; ++operand) {
        addNot(operand);
      }
      for (std::size_t leftCount = 0; leftCount < count; ++leftCount) {
        const std::size_t rightCount = count - 1 - leftCount;
        for (std::size_t left = begin(leftCount); left < m_end[leftCount]; ++left) {
          for (std::size_t right = begin(rightCount); right < m_end[rightCount]; ++right) {
            addBinary('&', left, right);
            addBinary('|', left, right);
          }
        }
      }
      m_end.push_back(all.size());
    }
  }

  std::vector<Expression> all;

 private:
  std::size_t begin(std::size_t count) const { return count == 0 ? 0 : m_end[count - 1]; }

  void add(Expression expression) { all.push_back(std::move(expression)); }

  static std::string enclosed(const Expression& expression, bool needed) {
    return needed ? "(" + expression.infix + ")" : expression.infix;
  }

  void addNot(std::size_t operand) {
    const Expression& inner = all[operand];
    add({"!" + enclosed(inner, inner.postfix.size() > 2), inner.postfix + "! ", '!', operand, 0});
  }

  void addBinary(char token, std::size_t leftIndex, std::size_t rightIndex) {
    const Expression& left = all[leftIndex];
    const Expression& right = all[rightIndex];
    const bool rightIsBinary = right.token == '&' || right.token == '|';
    add({left.infix + token + enclosed(right, rightIsBinary),
         left.postfix + right.postfix + token + ' ', token, leftIndex, rightIndex});
  }

  std::vector<std::size_t> m_end;  // one past the last expression with that many operators
};

// Evaluation as one would do it by hand on the tree: operands are numbers until their truth is
// needed, and asked at most once.
class ByHand {
 public:
  ByHand(const Expressions& expressions, unsigned int truths)
      : m_expressions(expressions), m_truths(truths) {}

  bool result(std::size_t index) { return truth(value(index)); }

  Numbers asked;
  Numbers matched;

 private:
  struct Value {
    unsigned int number;  // 0 for a truth value
    bool truth;
  };

  Value value(std::size_t index) {
    const Expression& expression = m_expressions.all[index];
    if (expression.token == '!') return {0, !truth(value(expression.left))};
    if (expression.token != '&' && expression.token != '|') {
      return {static_cast<unsigned int>(expression.token - '0'), false};
    }
    const Value left = value(expression.left);
    const Value right = value(expression.right);
    if (expression.token == '&') return {0, truth(left) && truth(right)};
    return {0, truth(left) || truth(right)};
  }

  bool truth(const Value& value) {
    if (value.number == 0) return value.truth;
    const auto known = m_memo.find(value.number);
    if (known != m_memo.end()) return known->second;
    const bool answer = (m_truths >> (value.number - 1) & 1) != 0;
    asked.push_back(value.number);
    if (answer) matched.push_back(value.number);
    m_memo[value.number] = answer;
    return answer;
  }

  const Expressions& m_expressions;
  const unsigned int m_truths;
  std::map<unsigned int, bool> m_memo;
};

TEST(BusinessLogicExhaustively, EveryExpressionOfUpToFourOperatorsConverts) {
  const Expressions expressions(4);
  ASSERT_EQ(expressions.all.size(), 85263U);
  LookupManager manager;
  for (const Expression& expression : expressions.all) {
    ASSERT_EQ(manager.parseLogic(expression.infix), expression.postfix) << expression.infix;
  }
}

TEST(BusinessLogicExhaustively, EveryExpressionOfUpToFourOperatorsEvaluates) {
  const Expressions expressions(4);
  Rig rig;
  unsigned int truths = 0;
  for (unsigned int number = 1; number <= 3; ++number) {
    rig.assign(number,
               [&truths, number](ILookupData&) { return (truths >> (number - 1) & 1) != 0; });
  }
  for (std::size_t index = 0; index < expressions.all.size(); ++index) {
    rig.manager.defineBusinessLogic(expressions.all[index].infix);
    for (truths = 0; truths < 8; ++truths) {
      ByHand byHand(expressions, truths);
      const bool expected = byHand.result(index);
      LookupData request;
      ASSERT_EQ(rig.manager.isPresent(request), expected)
          << expressions.all[index].infix << " with truths " << truths;
      ASSERT_EQ(rig.takeAsked(), byHand.asked)
          << expressions.all[index].infix << " with truths " << truths;
      ASSERT_EQ(request.m_matchIdentifiers, byHand.matched)
          << expressions.all[index].infix << " with truths " << truths;
    }
  }
}

}  // namespace
}  // namespace Test
}  // namespace QVL
