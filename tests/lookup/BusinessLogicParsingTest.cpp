#include <gtest/gtest.h>

#include <cctype>
#include <string>

#include "qvl/qvl.h"
#include "tests/support/Outcome.h"

namespace QVL {
namespace Test {
namespace {

constexpr const char* kWrongLength = "3: Business logic length is wrong or more than max length.";
constexpr const char* kLetter = "3: Business logic should not have alphabetic character.";
constexpr const char* kInvalid = "3: Business logic has an invalid character.";
constexpr const char* kUnbalanced = "3: Business logic has unbalanced parentheses.";
constexpr const char* kTooLarge = "3: Business logic has a data set number that is too large.";

// The postfix form, or what parseLogic throws.
std::string parsed(const std::string& infix) {
  LookupManager manager;
  std::string postfix;
  const std::string failure = thrownBy([&] { postfix = manager.parseLogic(infix); });
  return failure == "nothing" ? postfix : failure;
}

struct Row {
  const char* infix;
  const char* expected;
};

template <std::size_t n>
void expectParsed(const Row (&rows)[n]) {
  for (const Row& row : rows) EXPECT_EQ(parsed(row.infix), row.expected) << shown(row.infix);
}

TEST(BusinessLogicParsing, WritesOperandsAndOperatorsInOrderOfEvaluation) {
  expectParsed({
      {"1", "1 "},
      {"12", "12 "},
      {"0", "0 "},
      {"007", "007 "},
      {"!1", "1 ! "},
      {"1&2", "1 2 & "},
      {"1|2", "1 2 | "},
      {"12|345", "12 345 | "},
      {"1&2|3", "1 2 & 3 | "},
      {"(1|2)&!3", "1 2 | 3 ! & "},
      {"1 2", "1 2 "},
  });
}

TEST(BusinessLogicParsing, GroupsAndAndOrFromTheLeftWithoutPrecedenceBetweenThem) {
  expectParsed({
      {"1&2|3", "1 2 & 3 | "},
      {"1|2&3", "1 2 | 3 & "},
      {"1|2|3", "1 2 | 3 | "},
      {"1&2&3", "1 2 & 3 & "},
      {"1|2&3|4", "1 2 | 3 & 4 | "},
      {"1|(2&3)", "1 2 3 & | "},
      {"1&(2|3)", "1 2 3 | & "},
      {"(1&2)|(3&4)", "1 2 & 3 4 & | "},
  });
}

TEST(BusinessLogicParsing, NotBindsTightest) {
  expectParsed({
      {"!1&2", "1 ! 2 & "},
      {"1&!2", "1 2 ! & "},
      {"!1|!2", "1 ! 2 ! | "},
      {"!(1&2)", "1 2 & ! "},
      {"!(!1)", "1 ! ! "},
      {"!(!(!1))", "1 ! ! ! "},
      {"1|!(2&!3)", "1 2 3 ! & ! | "},
  });
}

TEST(BusinessLogicParsing, AnOperatorPopsItsEqualEvenWhereThatCannotBeEvaluated) {
  expectParsed({
      {"!!1", "! 1 ! "},
      {"1&&2", "1 & 2 & "},
      {"1||2", "1 | 2 | "},
      {"1&|2", "1 & 2 | "},
      {"!&", "! & "},
      {"&!", "! & "},
      {"&", "& "},
      {"|", "| "},
      {"!", "! "},
  });
}

TEST(BusinessLogicParsing, BlanksAndTabsSeparateAndMeanNothingElse) {
  expectParsed({
      {" 1", "1 "},
      {"\t1", "1 "},
      {"1 ", "1 "},
      {"1\t", "1 "},
      {" \t 1 \t & \t 2 \t ", "1 2 & "},
      {"( 1 | 2 ) & ! 3", "1 2 | 3 ! & "},
      {"(\t1\t|\t2\t)\t&\t!\t3", "1 2 | 3 ! & "},
      {"1 & 2", "1 2 & "},
      {"1\t2", "1 2 "},
      {"1 2 &", "1 2 & "},
      {" ", ""},
      {"\t", ""},
      {"  \t ", ""},
  });
}

TEST(BusinessLogicParsing, ParenthesesGroupAndLeaveNoTrace) {
  expectParsed({
      {"()", ""},
      {"(())", ""},
      {"( )", ""},
      {"()()", ""},
      {"(1)", "1 "},
      {"((1))", "1 "},
      {"()1", "1 "},
      {"1()", "1 "},
      {"1(2)", "1 2 "},
      {"(1)(2)", "1 2 "},
      {"!()", "! "},
      {"(!)1", "! 1 "},
  });
}

TEST(BusinessLogicParsing, AnUnclosedParenthesisIsWrittenAtTheEnd) {
  expectParsed({
      {"(", "( "},
      {"((", "( ( "},
      {"(1&2", "1 2 & ( "},
      {"1&(2", "1 2 ( & "},
      {"((1)", "1 ( "},
      {"1(", "1 ( "},
      {"!(1", "1 ( ! "},
  });
}

TEST(BusinessLogicParsing, RefusesAClosingParenthesisWithoutItsOpening) {
  expectParsed({
      {")", kUnbalanced},
      {"1)", kUnbalanced},
      {"(1))", kUnbalanced},
      {"())", kUnbalanced},
      {")(", kUnbalanced},
      {"1&2)", kUnbalanced},
      {"!)", kUnbalanced},
      {" )", kUnbalanced},
  });
}

TEST(BusinessLogicParsing, RefusesLetters) {
  expectParsed({
      {"a", kLetter},
      {"1&a", kLetter},
      {"1a", kLetter},
      {"1 and 2", kLetter},
      {"\tz", kLetter},
      {"(Q)", kLetter},
  });
}

TEST(BusinessLogicParsing, ReportsALetterAnywhereAndOtherwiseTheFirstFault) {
  expectParsed({
      {"a+", kLetter},
      {"+a", kLetter},
      {")a", kLetter},
      {"a)", kLetter},
      {"4294967296a", kLetter},
      {"a4294967296", kLetter},
      {"99999999999 and 1", kLetter},
      {")+", kUnbalanced},
      {"+)", kInvalid},
      {"4294967296)", kTooLarge},
  });
}

TEST(BusinessLogicParsing, EveryCharacterHasOneMeaning) {
  for (int value = 1; value < 256; ++value) {
    const char c = static_cast<char>(value);
    const std::string text(1, c);
    std::string expected;
    if (value >= '0' && value <= '9') {
      expected = text + " ";
    } else if (c == '!' || c == '&' || c == '|' || c == '(') {
      expected = text + " ";
    } else if (c == ')') {
      expected = kUnbalanced;
    } else if (c == ' ' || c == '\t') {
      expected = "";
    } else if ((value >= 'A' && value <= 'Z') || (value >= 'a' && value <= 'z')) {
      expected = kLetter;
    } else {
      expected = kInvalid;
    }
    EXPECT_EQ(parsed(text), expected) << "character " << value;

    // And after an operand.
    const std::string after = parsed("7" + text);
    if (value >= '0' && value <= '9') {
      EXPECT_EQ(after, "7" + text + " ") << "character " << value;
    } else if (expected == kUnbalanced || expected == kLetter || expected == kInvalid) {
      EXPECT_EQ(after, expected) << "character " << value << " after an operand";
    } else {
      EXPECT_EQ(after, "7 " + expected) << "character " << value << " after an operand";
    }
  }
}

TEST(BusinessLogicParsing, ReadsUpToTheFirstZeroByte) {
  using namespace std::string_literals;
  EXPECT_EQ(parsed("1\0&2"s), "1 ");
  EXPECT_EQ(parsed("1\0a"s), "1 ") << "what follows is not examined";
  EXPECT_EQ(parsed("\0"s + "1"), "");
  EXPECT_EQ(parsed("(1|\0"s), "1 | ( ");
  EXPECT_EQ(parsed("1"s + std::string(2047, '\0')), "1 ");
  EXPECT_EQ(parsed("1"s + std::string(2048, '\0')), kWrongLength) << "all bytes count";
}

TEST(BusinessLogicParsing, AcceptsOneTo2048Characters) {
  EXPECT_EQ(parsed(""), kWrongLength);
  EXPECT_EQ(parsed("1"), "1 ");
  EXPECT_EQ(parsed("1" + std::string(2047, ' ')), "1 ");
  EXPECT_EQ(parsed(std::string(2047, ' ') + "1"), "1 ");
  EXPECT_EQ(parsed("1" + std::string(2048, ' ')), kWrongLength);
  EXPECT_EQ(parsed(std::string(2048, ' ') + "1"), kWrongLength);
  EXPECT_EQ(parsed(std::string(2048, '\t')), "");
  EXPECT_EQ(parsed(std::string(2049, '\t')), kWrongLength);
  EXPECT_EQ(parsed(std::string(2049, 'a')), kWrongLength) << "the length is tested first";
  EXPECT_EQ(parsed(std::string(100000, '1')), kWrongLength);
}

TEST(BusinessLogicParsing, HoldsTheOutputWholeWhateverItsLength) {
  std::string operators;
  std::string closing;
  for (int i = 0; i < 2048; ++i) operators += "& ";
  EXPECT_EQ(parsed(std::string(2048, '&')), operators);

  std::string unclosed;
  for (int i = 0; i < 2048; ++i) unclosed += "( ";
  EXPECT_EQ(parsed(std::string(2048, '(')), unclosed);

  EXPECT_EQ(parsed(std::string(1024, '(') + std::string(1024, ')')), "");
  EXPECT_EQ(parsed(std::string(1023, '(') + "12" + std::string(1023, ')')), "12 ");
  EXPECT_EQ(parsed(std::string(2048, '0')), std::string(2048, '0') + " ");
}

TEST(BusinessLogicParsing, AcceptsNumbersOf32BitsOnly) {
  expectParsed({
      {"2147483647", "2147483647 "},
      {"2147483648", "2147483648 "},
      {"4294967295", "4294967295 "},
      {"4294967296", kTooLarge},
      {"4294967300", kTooLarge},
      {"5000000000", kTooLarge},
      {"9999999999", kTooLarge},
      {"18446744073709551616", kTooLarge},
      {"18446744073709551617", kTooLarge},
      {"99999999999999999999999999", kTooLarge},
      {"1|4294967296", kTooLarge},
      {"04294967295", "04294967295 "},
      {"00000000000000000000000000000007", "00000000000000000000000000000007 "},
      {"04294967296", kTooLarge},
  });
  EXPECT_EQ(parsed(std::string(2048, '9')), kTooLarge);
}

TEST(BusinessLogicParsing, DoesNotAskWhetherANumberHasADataSet) {
  LookupManager manager;
  EXPECT_EQ(manager.parseLogic("5&6"), "5 6 & ");
}

TEST(BusinessLogicParsing, KeepsNothingBetweenCalls) {
  LookupManager manager;
  EXPECT_EQ(manager.parseLogic("(1&"), "1 & ( ");
  EXPECT_EQ(thrownBy([&] { manager.parseLogic("2|x"); }), kLetter);
  EXPECT_EQ(manager.parseLogic("3"), "3 ");
}

}  // namespace
}  // namespace Test
}  // namespace QVL
