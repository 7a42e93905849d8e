// A policy and a text to ask it about, told in one line, so that a case that a search came upon can
// be asked again by hand:
//
//   path=1000:/**/foo/*_{i}.log unit=/foo length=4096
//
// Fields stand between blanks, in any order:
//
//   path= folder= tree= process= type= regex=   COUNT:TEXT, so many rules: file paths, folders,
//                         folders with their subfolders, processes, file types, and file paths that
//                         are regular expressions. "path-i" and so on ignore case. A policy has
//                         file paths and expressions, or folders, or processes, or types.
//   keyword=              NAME:COUNT:TEXT, a keyword of so many values
//   head= unit= tail=     the text: `head`, the units in turn, again and again, up to `length` less
//   length=               the tail, `tail`
//   insert=               PLACE:TEXT, puts bytes into the text, PLACE in thousandths of its length
//
// In a TEXT, {i} stands for the number of the rule, of the value, or of the repetition of a unit;
// {i/10} and {i%10} for what division leaves of it; {20:text} for twenty times `text`. \xHH stands
// for a byte.

#ifndef QVL_BENCHMARKS_WORST_SHAPE_H
#define QVL_BENCHMARKS_WORST_SHAPE_H

#include <cstddef>
#include <set>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

namespace QVL {
namespace Bench {

enum class RuleKind { Path, Folder, Tree, Process, Type, Regex };

struct RuleShape {
  RuleKind kind = RuleKind::Path;
  bool caseSensitive = true;
  std::size_t count = 1;
  std::string text;
};

struct KeywordShape {
  std::string name;
  std::size_t count = 1;
  std::string text;
};

struct PolicyShape {
  std::vector<RuleShape> rules;
  std::vector<KeywordShape> keywords;

  std::size_t size() const;
};

struct TextShape {
  std::string head;
  std::vector<std::string> units;
  std::string tail;
  std::size_t length = 0;
  std::vector<std::pair<std::size_t, std::string>> inserts;

  std::string expanded() const;
};

struct Shape {
  PolicyShape policy;
  TextShape text;
};

// The line for a case, and the other way round. Throws std::invalid_argument.
std::string lineOf(const Shape& shape);
Shape shapeOf(const std::string& line);

// A TEXT with its numbers and repetitions.
std::string expanded(std::string_view text, std::size_t number);

// The values of a keyword.
std::set<std::string> valuesOf(const KeywordShape& keyword);

// A TEXT in its parts: wildcards, keywords, what stands in braces, and the runs of bytes between
// these and slashes.
std::vector<std::string> partsOf(std::string_view text);

// Is a part of partsOf a piece of a literal?
bool isLiteral(const std::string& part);

}  // namespace Bench
}  // namespace QVL

#endif  // QVL_BENCHMARKS_WORST_SHAPE_H
