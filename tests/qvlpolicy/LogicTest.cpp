// The logic of a policy: taken apart as the engine groups it, and refused where it means nothing.

#include "qvlpolicy/Logic.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <qvl/qvl.h>

#include <string>
#include <vector>

#include "qvlpolicy/Patterns.h"
#include "tests/support/Dice.h"

namespace qvlpolicy {
namespace {

using QVL::Test::Dice;
using testing::ElementsAre;
using testing::IsEmpty;

LogicPart sound(const std::string& infix) {
  ReadLogic read = readLogic(infix);
  EXPECT_THAT(read.errors, IsEmpty()) << infix;
  return std::move(read.logic);
}

// Every part of a logic, each before what it combines.
void list(const LogicPart& part, std::vector<std::string>& texts) {
  texts.push_back(part.text);
  for (const LogicPart& inner : part.parts) list(inner, texts);
}

TEST(Logic, PartsAreWrittenAsTheEngineGroupsThem) {
  const struct {
    const char* infix;
    std::vector<std::string> parts;
  } rows[] = {
      {"7", {"7"}},
      {" 7\n", {"7"}},
      {"!7", {"!7", "7"}},
      {"(7)", {"7"}},
      {"1|2|3", {"1 | 2 | 3", "1 | 2", "1", "2", "3"}},
      {"1|2&3", {"(1 | 2) & 3", "1 | 2", "1", "2", "3"}},
      {"1|(2&3)", {"1 | (2 & 3)", "1", "2 & 3", "2", "3"}},
      {"1&(2&3)", {"1 & (2 & 3)", "1", "2 & 3", "2", "3"}},
      {"(1|2)&!3", {"(1 | 2) & !3", "1 | 2", "1", "2", "!3", "3"}},
      {"!(1|2)", {"!(1 | 2)", "1 | 2", "1", "2"}},
      {"!(!1)", {"!(!1)", "!1", "1"}},
      {"!1|2", {"!1 | 2", "!1", "1", "2"}},
      {"12 & 4294967295", {"12 & 4294967295", "12", "4294967295"}},
  };
  for (const auto& row : rows) {
    std::vector<std::string> parts;
    list(sound(row.infix), parts);
    EXPECT_EQ(parts, row.parts) << row.infix;
  }
}

TEST(Logic, WhatCannotBeEvaluatedIsAnErrorAtItsPlace) {
  const struct {
    const char* infix;
    std::size_t offset;
    const char* reason;
  } rows[] = {
      {"", 0, "numbers of data sets combined by !, &, | and parentheses, such as (1|2)&!3"},
      {" ", 1, "numbers of data sets combined by !, &, | and parentheses, such as (1|2)&!3"},
      {"1|", 2, "the number of a data set, ! or ("},
      {"|1", 0, "the number of a data set, ! or ("},
      {"1 && 2", 3, "the number of a data set, ! or ("},
      {"1|()", 3, "the number of a data set, ! or ("},
      {"1 2", 2, "& or | between two operands"},
      {"1(2)", 1, "& or | between two operands"},
      {"(1 2)", 3, "& or | between two operands, or )"},
      {"(1", 2, ")"},
      {"1!", 1, "& or | between two operands"},
      {"!!1", 1, "the number of a data set or (, as in !(!1)"},
      {"1|x", 2, "the number of a data set, ! or ("},
      {"1|-2", 2, "the number of a data set, ! or ("},
      {"1|4294967296", 2, "a number from 0 to 4294967295"},
      {"1)", 1, ""},
  };
  for (const auto& row : rows) {
    const ReadLogic read = readLogic(row.infix);
    ASSERT_EQ(read.errors.size(), 1u) << row.infix;
    EXPECT_EQ(read.errors[0].offset, row.offset) << row.infix;
    EXPECT_EQ(read.errors[0].expected, row.reason) << row.infix;
    EXPECT_FALSE(parseLogic(row.infix)) << row.infix;
  }
}

TEST(Logic, IsAtMostAsLongAsTheEngineReads) {
  EXPECT_THAT(readLogic(std::string(2047, ' ') + '1').errors, IsEmpty());
  EXPECT_EQ(readLogic(std::string(2048, ' ') + '1').errors.at(0).what, "it is too long");
  EXPECT_EQ(readLogic(std::string(2049, ' ')).errors.at(0).what, "it is too long");
}

// The engine would take a longer one, and throw when it is asked.
TEST(Logic, IsAtMostAsLongAsTheEngineEvaluates) {
  for (const std::size_t operands : {512u, 513u}) {
    std::string logic = "1";
    for (std::size_t i = 1; i < operands; ++i) logic += "|1";
    const ReadLogic read = readLogic(logic);
    QVL::LookupManager manager;
    manager.defineBusinessLogic(logic);
    QVL::LookupData request;
    if (operands == 512) {
      EXPECT_THAT(read.errors, IsEmpty());
      EXPECT_FALSE(manager.isPresent(request));
    } else {
      EXPECT_EQ(read.errors.at(0).what, "it has too many numbers and operators");
      EXPECT_THROW(manager.isPresent(request), QVL::QVLException);
    }
  }
}

// What is taken here, the engine takes and evaluates in the same order.
TEST(Logic, AgreesWithTheEngineOnWhateverItTakes) {
  Dice dice;
  SCOPED_TRACE(dice.origin());
  QVL::LookupManager manager;
  std::size_t taken = 0;
  for (int round = 0; round < static_cast<int>(Dice::cases(20000)); ++round) {
    std::string infix;
    static const char* const kPieces[] = {"1", "2", "13", "!", "&", "|", "(", ")", " ", "&", "|"};
    for (std::size_t length = 1 + dice.below(9); length > 0; --length) {
      infix += kPieces[dice.below(std::size(kPieces))];
    }
    const ReadLogic read = readLogic(infix);
    if (!read.errors.empty()) continue;
    ++taken;
    EXPECT_EQ(manager.parseLogic(infix), read.logic.postfix) << infix;
    EXPECT_EQ(manager.parseLogic(read.logic.text), read.logic.postfix) << infix;
    QVL::LookupData request;
    EXPECT_NO_THROW(manager.executeLogic(read.logic.postfix, request)) << infix;
  }
  EXPECT_GT(taken, 300u);
}

TEST(Logic, NamesEachDataSetOnce) {
  EXPECT_THAT(dataSetsIn(sound("(9|2)&!(2|10)")), ElementsAre(2, 9, 10));
}

}  // namespace
}  // namespace qvlpolicy
