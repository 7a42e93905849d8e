// Which keywords stand in rules, held to what the engine does: one keyword after the other.

#include "qvlpolicy/RulePatterns.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <map>
#include <memory>
#include <random>
#include <set>
#include <string>
#include <string_view>
#include <vector>

#include "qvlpolicy/KeywordNames.h"

namespace qvlpolicy {
namespace {

class Draw {
 public:
  explicit Draw(unsigned int seed) : m_engine(seed) {}

  std::size_t below(std::size_t bound) { return m_engine() % bound; }

  std::string text(std::string_view characters, std::size_t longest) {
    std::string text;
    for (std::size_t i = 1 + below(longest); i > 0; --i) {
      text += characters[below(characters.size())];
    }
    return text;
  }

 private:
  std::mt19937 m_engine;
};

TEST(KeywordNames, AreFoundAtTheStartOfATextAndNowhereElse) {
  Draw draw(1);
  for (int round = 0; round < 300; ++round) {
    std::vector<std::string> texts;
    for (std::size_t i = draw.below(40); i > 0; --i) texts.push_back(draw.text("ab\xff%", 5));
    texts.emplace_back();
    const KeywordNames names({texts.begin(), texts.end()});
    for (int i = 0; i < 50; ++i) {
      const std::string text = i == 0 ? "" : draw.text("ab\xff%", 8);
      std::vector<std::size_t> found;
      const std::size_t steps =
          names.eachAtStartOf(text, [&](std::size_t name) { found.push_back(name); });
      EXPECT_LE(steps, 5U);
      std::vector<std::size_t> expected;
      for (std::size_t name = 0; name < texts.size(); ++name) {
        const bool isThere =
            !texts[name].empty() && text.compare(0, texts[name].size(), texts[name]) == 0;
        if (isThere) expected.push_back(name);
      }
      EXPECT_TRUE(std::is_sorted(found.begin(), found.end(), [&](std::size_t a, std::size_t b) {
        return texts[a].size() < texts[b].size();
      }));
      std::sort(found.begin(), found.end());
      EXPECT_EQ(found, expected) << text;
    }
  }
}

TEST(RulePatterns, FindTheKeywordsThatTheEngineWouldPutIn) {
  Draw draw(2);
  std::size_t held = 0;
  for (int round = 0; round < 2000; ++round) {
    DataSet dataSet;
    dataSet.wildcards = draw.below(2) == 0;
    std::map<std::string, std::set<std::string>> keywords;
    // Names that stand in values, and across what is put in, too.
    const std::string characters = round % 2 == 0 ? "ab" : "ab%(|).*";
    for (std::size_t i = draw.below(5); i > 0; --i) {
      std::set<std::string>& values = keywords[draw.text(characters, 3)];
      values.clear();
      for (std::size_t k = 1 + draw.below(2); k > 0; --k) values.insert(draw.text("abc", 4));
    }
    for (const auto& [name, values] : keywords) {
      dataSet.keywords.push_back({name, {values.begin(), values.end()}, {}});
    }
    std::shuffle(dataSet.keywords.begin(), dataSet.keywords.end(), std::mt19937(1));
    RulePatterns patterns(dataSet);
    for (int i = 0; i < 5; ++i) {
      Rule rule;
      rule.text = "/" + draw.text("abc%*.", 8);
      QVL::ExpressionText expression(expressionBeforeKeywords(dataSet, rule));
      std::vector<std::string> expected;
      for (const auto& [name, values] : keywords) {
        const auto alternation = std::make_shared<const QVL::Alternation>(values);
        expression.substitute(name, alternation);
        const auto& places = expression.places();
        if (std::any_of(places.begin(), places.end(),
                        [&](const auto& place) { return place.alternation == alternation; })) {
          expected.push_back(name);
        }
      }
      std::vector<std::string> found;
      for (const Keyword* const keyword : patterns.keywordsIn(rule)) found.push_back(keyword->name);
      EXPECT_EQ(found, expected) << rule.text;
      held += expected.size();
    }
  }
  EXPECT_GT(held, 1000U);
}

// A thousand times the keywords cost a rule no more where no value can hold their names.
TEST(RulePatterns, LookForKeywordsThatTheRuleHoldsAlone) {
  const auto stepsAmong = [](std::size_t keywords) {
    DataSet dataSet;
    for (std::size_t i = 0; i < keywords; ++i) {
      dataSet.keywords.push_back({"%K" + std::to_string(i) + "%", {"value"}, {}});
    }
    Rule rule;
    rule.text = "/srv/%K0%/*.db";
    RulePatterns patterns(dataSet);
    EXPECT_EQ(patterns.keywordsIn(rule).size(), 1U);
    return patterns.steps();
  };
  EXPECT_EQ(stepsAmong(10'000), stepsAmong(10));
}

}  // namespace
}  // namespace qvlpolicy
