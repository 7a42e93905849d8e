// Which rules another one covers, and at what cost.

#include "qvlpolicy/lint/Shadows.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <functional>
#include <string>
#include <vector>

namespace qvlpolicy {
namespace {

// So many rules of a kind, the one with index i being what `text` makes of it.
DataSet rulesOf(Kind kind, std::size_t count, const std::function<std::string(std::size_t)>& text) {
  DataSet dataSet;
  dataSet.kind = kind;
  for (std::size_t i = 0; i < count; ++i) {
    dataSet.rules.emplace_back();
    dataSet.rules.back().text = text(i);
  }
  return dataSet;
}

// The binary digits of a number, of the characters `zero` and `one`, least first.
std::string digits(std::size_t number, const std::string& zero, const std::string& one) {
  std::string text;
  for (int bit = 0; bit < 13; ++bit) text += (number >> bit & 1) != 0 ? one : zero;
  return text;
}

struct Shape {
  const char* name;
  DataSet dataSet;
};

std::size_t longestOf(const DataSet& dataSet) {
  std::size_t longest = 0;
  for (const Rule& rule : dataSet.rules) longest = std::max(longest, rule.text.size());
  return longest;
}

// What rules usually look like, and what makes many of them alike.
std::vector<Shape> shapes(std::size_t count) {
  using std::to_string;
  const auto filePaths = [&](const std::function<std::string(std::size_t)>& text) {
    return rulesOf(Kind::FilePath, count, text);
  };
  const auto nested = [](std::size_t folders) {
    std::string path = "/srv/";
    for (std::size_t depth = 0; depth < folders; ++depth) path += "a/";
    return path;
  };
  std::vector<Shape> result = {
      {"one folder", rulesOf(Kind::Folder, count, [](std::size_t) { return "/srv/a/"; })},
      {"one name in many folders",
       filePaths([](std::size_t i) { return "/srv/" + to_string(i) + "/cache/*.db"; })},
      {"names anywhere", filePaths([](std::size_t i) { return "**/name" + to_string(i) + "/**"; })},
      {"extensions anywhere", filePaths([](std::size_t i) { return "**/*.x" + to_string(i); })},
      {"nested folders",
       rulesOf(Kind::Folder, count,
               [&](std::size_t i) { return nested(i % 50) + to_string(i / 50) + "/"; })},
      {"folders in each other",
       rulesOf(Kind::Folder, count, [&](std::size_t i) { return nested(i % 1000 + i / 1000); })},
      {"folders with stars",
       rulesOf(Kind::Folder, count,
               [](std::size_t i) { return "/U/*/x/*/" + to_string(i) + "/"; })},
      {"stars around two letters",
       filePaths([](std::size_t i) { return "/" + digits(i, "a*", "b*"); })},
      {"double stars around two letters",
       filePaths([](std::size_t i) { return "/" + digits(i, "**a", "**b"); })},
      {"stars for folders",
       filePaths([](std::size_t i) { return digits(i, "/*", "/a") + "/" + to_string(i / 8192); })},
      {"question marks", filePaths([](std::size_t i) { return "/srv/" + digits(i, "?", "a"); })},
      {"no letter apart", filePaths([](std::size_t i) {
         return "/" + std::string(1 + i % 500, 'a') + "*" + std::string(i / 500, 'b');
       })},
      {"processes",
       rulesOf(Kind::Process, count, [](std::size_t i) { return "/opt/*/bin/p" + to_string(i); })},
      {"file types",
       rulesOf(Kind::FileType, count, [](std::size_t i) { return "x" + to_string(i); })},
      {"file types of one letter",
       rulesOf(Kind::FileType, count,
               [](std::size_t i) { return digits(i % 4096, "a", "?").substr(0, 12); })},
      {"expressions", filePaths([](std::size_t i) { return "/a[0-9]+" + to_string(i); })},
      {"keywords", filePaths([](std::size_t i) { return "/%A%/" + to_string(i) + "/%A%/**"; })},
      {"keywords between stars",
       filePaths([](std::size_t i) { return "/" + digits(i, "%A%*", "a*"); })},
      {"one name in many spellings",
       filePaths([](std::size_t i) { return "/" + digits(i, "a", "A"); })},
  };
  for (Shape& shape : result) {
    shape.dataSet.keywords.push_back({"%A%", {"git", "hg"}, {}});
  }
  result.back().dataSet.caseSensitive = false;
  return result;
}

// On what would make every pair worth a look; and four times the rules take little more than four
// times the work.
TEST(Shadows, TakeNoMoreForEachRuleWhenThereAreMore) {
  ShadowLimits limits;
  // The numbers of docs/lint.md.
  EXPECT_EQ(limits.pairs, 200U);
  EXPECT_EQ(limits.pairsInAll, 4'000'000U);
  EXPECT_EQ(limits.stepsInAll, 200'000'000U);
  limits.pairsInAll = limits.stepsInAll = 0;  // as for many rules
  std::vector<Shadows> few;
  for (const std::size_t count : {1000u, 4000u}) {
    std::size_t at = 0;
    for (const Shape& shape : shapes(count)) {
      const Shadows work = rulesInShadow(shape.dataSet, limits);
      EXPECT_LE(work.pairs, limits.pairs * count) << shape.name;
      EXPECT_LE(work.steps, (3 * limits.steps + 4 * longestOf(shape.dataSet)) * count)
          << shape.name;
      if (count == 1000) {
        few.push_back(work);
        continue;
      }
      EXPECT_LE(work.pairs, 8 * few[at].pairs + 1000) << shape.name;
      EXPECT_LE(work.steps, 8 * few[at].steps + 100'000) << shape.name;
      ++at;
    }
  }
}

TEST(Shadows, AreLookedForAmongAllOfFewRules) {
  const ShadowLimits limits;
  for (const std::size_t count : {500u, 4000u}) {
    for (const Shape& shape : shapes(count)) {
      const Shadows work = rulesInShadow(shape.dataSet);
      EXPECT_LE(work.pairs, limits.pairsInAll) << shape.name;
      EXPECT_LE(work.steps, 3 * limits.stepsInAll + 4 * longestOf(shape.dataSet) * count)
          << shape.name;
      if (count == 500) {
        EXPECT_EQ(work.cutShort, 0U) << shape.name;
      }
    }
  }
}

// What ends early is counted: in the second half of the rules each has one in whose shadow it is,
// behind more others than are compared.
TEST(Shadows, CountRulesThatWereNotComparedWithAll) {
  constexpr std::size_t kHalf = 1 << 12;
  const DataSet dataSet = rulesOf(Kind::FilePath, 2 * kHalf, [](std::size_t i) {
    return "/" + digits(i % kHalf, "a*", "b*") + (i < kHalf ? "" : "c*");
  });
  const Shadows shadows = rulesInShadow(dataSet);
  const auto found = std::count_if(shadows.byRule.begin(), shadows.byRule.end(),
                                   [](const auto& shadow) { return shadow.has_value(); });
  const std::size_t missing = kHalf - static_cast<std::size_t>(found);
  EXPECT_GT(missing, 0U);
  EXPECT_GE(shadows.cutShort, missing);

  DataSet few = dataSet;
  few.rules.resize(1000);
  EXPECT_EQ(rulesInShadow(few).cutShort, 0U);
}

TEST(Shadows, ReadNoMoreRulesWhereNamesOfKeywordsTakeTooLong) {
  DataSet dataSet =
      rulesOf(Kind::FilePath, 1000, [](std::size_t i) { return "/srv/%A%" + std::to_string(i); });
  dataSet.keywords.push_back({"%A%", {"a"}, {}});
  const std::size_t named = rulesInShadow(dataSet).named;
  EXPECT_EQ(named, 3 * 1000U);
  ShadowLimits limits;
  limits.named = named / 2 - 1;
  EXPECT_EQ(rulesInShadow(dataSet, limits).cutShort, 500U);
  limits.named = named;
  EXPECT_EQ(rulesInShadow(dataSet, limits).cutShort, 0U);
}

TEST(Shadows, FindsTheWideRuleAmongThousands) {
  DataSet dataSet = rulesOf(Kind::FilePath, 4000, [](std::size_t i) {
    return "/srv/" + std::to_string(i) + "/cache/x.db";
  });
  dataSet.rules[1234].text = "/srv/**/cache/*";
  const std::vector<std::optional<std::size_t>> shadows = rulesInShadow(dataSet).byRule;
  for (std::size_t i = 0; i < shadows.size(); ++i) {
    EXPECT_EQ(shadows[i], i == 1234 ? std::nullopt : std::optional<std::size_t>(1234)) << i;
  }
}

TEST(Shadows, LeavesOutWhatHasTheKeyOfAnotherRule) {
  const DataSet types = rulesOf(Kind::FileType, 3, [](std::size_t i) {
    return i == 0 ? "tx?" : i == 1 ? "txt" : "TXT";
  });
  EXPECT_EQ(rulesInShadow(types).byRule,
            (std::vector<std::optional<std::size_t>>{std::nullopt, 0, std::nullopt}));
}

}  // namespace
}  // namespace qvlpolicy
