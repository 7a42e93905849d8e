// The logic taken apart.

#include "policy/Logic.h"

#include <gtest/gtest.h>
#include <qvl/qvl.h>

#include <string>
#include <vector>

namespace qvlctl {
namespace {

PostfixReading readInfix(const std::string& infix) {
  QVL::LookupManager manager;
  return readPostfix(manager.parseLogic(infix));
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
      {"!7", {"!7", "7"}},
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
    const PostfixReading reading = readInfix(row.infix);
    ASSERT_EQ(reading.values.size(), 1u) << row.infix;
    EXPECT_FALSE(reading.isLeftOpen) << row.infix;
    std::vector<std::string> parts;
    list(reading.values.front(), parts);
    EXPECT_EQ(parts, row.parts) << row.infix;
  }
}

// The postfix form of a part is the engine's own for the part's text.
void expectThatTextAndPostfixAgree(const LogicPart& part) {
  QVL::LookupManager manager;
  EXPECT_EQ(manager.parseLogic(part.text), part.postfix) << part.text;
  for (const LogicPart& inner : part.parts) expectThatTextAndPostfixAgree(inner);
}

TEST(Logic, EachPartCanBeAskedByItself) {
  for (const char* const infix : {"(1|2)&!3", "1|2&3|(4&!(5|6))", "!(!(!1))", "1&(2|(3&4))"}) {
    expectThatTextAndPostfixAgree(readInfix(infix).values.front());
  }
}

TEST(Logic, TellsWhatTheEngineWouldSilentlyDrop) {
  EXPECT_TRUE(readInfix("(1").isLeftOpen);
  EXPECT_EQ(readInfix("1 2").values.size(), 2u);
}

TEST(Logic, NamesEachDataSetOnce) {
  EXPECT_EQ(dataSetsIn(readInfix("(9|2)&!(2|10)").values.front()),
            (std::vector<unsigned int>{2, 9, 10}));
}

}  // namespace
}  // namespace qvlctl
