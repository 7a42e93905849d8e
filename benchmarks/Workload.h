// Rules and accesses to measure with: made up, the same in every run, and the same for every
// engine.

#ifndef QVL_BENCHMARKS_WORKLOAD_H
#define QVL_BENCHMARKS_WORKLOAD_H

#include <cstddef>
#include <cstdint>
#include <functional>
#include <map>
#include <random>
#include <set>
#include <string>
#include <string_view>
#include <vector>

#include "qvl/qvl.h"

namespace QVL {
namespace Bench {

// Numbers and words from a seed, alike on every platform.
class Random {
 public:
  explicit Random(std::uint64_t seed) : m_engine(seed) {}

  std::size_t below(std::size_t bound) { return static_cast<std::size_t>(m_engine() % bound); }
  bool oneIn(std::size_t count) { return below(count) == 0; }

  // One of a few hundred thousand pronounceable words; a frequent one is one of a few hundred.
  std::string word(std::size_t syllables = 3);
  std::string frequentWord();

  template <typename List>
  const auto& pick(const List& list) {
    return list[below(std::size(list))];
  }

 private:
  std::mt19937_64 m_engine;
};

// What the rules of a workload are about.
enum class Kind {
  Mixed,    // file paths: every sort of pattern, some with keywords, some ignoring case
  Regex,    // the same, a twentieth of them with a keyword that stands for a regular expression
  Folder,   // folder trees
  Process,  // programs
  Type,     // file types, ignoring case
};

// A rule in the product's language, and what it means as a regular expression that has to match the
// whole of a text, in the dialect that all engines share.
struct Rule {
  struct Part {
    enum Sort { Literal, Star, DoubleStar, Folders, Question, Keyword } sort;
    std::string text;  // of a Literal; the name of a Keyword
  };

  void add(Part::Sort sort, std::string text = {});

  std::vector<Part> parts;
  std::string text;
  std::string expression;
  bool caseSensitive = true;
};

using Keywords = std::map<std::string, std::set<std::string>>;

// One access, and the part of it that the rules are about, in the shape that each engine reads
// fastest.
struct Access {
  LookupData request;
  std::string_view subject;
};
using Accesses = std::vector<Access>;

struct Workload {
  // Tells whether any of the rules matches a text.
  using Arbiter = std::function<bool(std::string_view)>;

  static constexpr std::size_t kAccesses = 1024;  // of each sort
  static constexpr std::size_t kHitPercent = 15;  // of the mixed accesses

  // The first `count` rules of one endless row, so that a larger workload contains the smaller one.
  Workload(Kind kind, std::size_t count);

  // Makes the accesses. What is to be a miss must not match by chance, so it takes an arbiter.
  void makeAccesses(const Arbiter& matches);

  // A text of 60 to 120 bytes that the rule matches; empty where luck had none.
  std::string example(const Rule& rule, Random& random) const;

  const Kind kind;
  Keywords keywords;
  std::vector<Rule> rules;

  Accesses hits;
  Accesses misses;
  Accesses mixed;

 private:
  Rule makeRule(std::size_t index, Random& random) const;
  Rule makePathRule(std::size_t index, Random& random) const;
  std::string someText(Random& random) const;
  std::string nearMiss(Random& random) const;
  void append(Accesses& accesses, const std::string& text) const;
};

}  // namespace Bench
}  // namespace QVL

#endif  // QVL_BENCHMARKS_WORKLOAD_H
