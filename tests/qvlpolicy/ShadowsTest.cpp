// Which rules another one covers, and at what cost.

#include "qvlpolicy/lint/Shadows.h"

#include <gtest/gtest.h>

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
  std::size_t mostForARule;
};

// Shapes that make many rules look alike.
std::vector<Shape> shapes(std::size_t count) {
  std::vector<Shape> result = {
      {"one folder", rulesOf(Kind::Folder, count, [](std::size_t) { return "/srv/a/"; }), 1},
      {"one name in many folders",
       rulesOf(Kind::FilePath, count,
               [](std::size_t i) { return "/srv/" + std::to_string(i) + "/cache/*.db"; }),
       4},
      {"nested folders",
       rulesOf(Kind::Folder, 1000,
               [](std::size_t i) {
                 std::string path = "/srv/";
                 for (std::size_t depth = 0; depth <= i; ++depth) path += "a/";
                 return path;
               }),
       200},
      {"two characters apart by stars",
       rulesOf(Kind::FilePath, count, [](std::size_t i) { return "/" + digits(i, "a*", "b*"); }),
       200},
      {"one name in many spellings",
       rulesOf(Kind::FilePath, count, [](std::size_t i) { return "/" + digits(i, "a", "A"); }),
       200},
  };
  result.back().dataSet.caseSensitive = false;
  return result;
}

// The bound of the header, on what would make every pair worth a look.
TEST(Shadows, ComparesFewPairs) {
  for (const std::size_t count : {1000u, 4000u}) {
    for (const Shape& shape : shapes(count)) {
      std::size_t compared = 0;
      rulesInShadow(shape.dataSet, &compared);
      EXPECT_LE(compared, shape.mostForARule * shape.dataSet.rules.size()) << shape.name;
    }
  }
}

TEST(Shadows, FindsTheWideRuleAmongThousands) {
  DataSet dataSet = rulesOf(Kind::FilePath, 4000, [](std::size_t i) {
    return "/srv/" + std::to_string(i) + "/cache/x.db";
  });
  dataSet.rules[1234].text = "/srv/**/cache/*";
  const std::vector<std::optional<std::size_t>> shadows = rulesInShadow(dataSet);
  for (std::size_t i = 0; i < shadows.size(); ++i) {
    EXPECT_EQ(shadows[i], i == 1234 ? std::nullopt : std::optional<std::size_t>(1234)) << i;
  }
}

TEST(Shadows, LeavesOutWhatHasTheKeyOfAnotherRule) {
  const DataSet types = rulesOf(Kind::FileType, 3, [](std::size_t i) {
    return i == 0 ? "tx?" : i == 1 ? "txt" : "TXT";
  });
  EXPECT_EQ(rulesInShadow(types),
            (std::vector<std::optional<std::size_t>>{std::nullopt, 0, std::nullopt}));
}

}  // namespace
}  // namespace qvlpolicy
