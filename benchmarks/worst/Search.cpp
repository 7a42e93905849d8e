// Searches for slow queries: draws policies and texts, keeps those that come nearest to a limit and
// varies them. See Shape.h for how a case is told, and Limits.h for the limits.
//
//   qvl_worst_search                   searches for PROVE_SECONDS (600) from PROVE_SEED (the clock)
//   qvl_worst_search 'CASE'...         asks these again
//
// Prints every failure with the command that asks it again, and at the end the worst of each
// category. Exit status 1 when there was a failure.

#include <algorithm>
#include <array>
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <ctime>
#include <exception>
#include <iterator>
#include <map>
#include <string>
#include <vector>

#include "benchmarks/worst/Drawing.h"
#include "benchmarks/worst/Limits.h"
#include "benchmarks/worst/Measurement.h"
#include "benchmarks/worst/Shape.h"

namespace QVL {
namespace Bench {
namespace {

// Where every search begins: what was once slow, or wrong.
constexpr const char* kFirstGeneration[] = {
    "path=10000:/**/foo/**tok{i}** unit=/foo length=4000",
    "path=1000:**/a/*n{i}* unit=/a/aa/n1 length=4096",
    "path=1000:/**/foo/*_{i}.log unit=/foo length=4000",
    "path=1:/**/a/**z** unit=/a length=4000",
    R"(path=10000:/srv/app{i}/cache/** head=/home/ann/Musik/Bj\xF6rk/track.mp3 length=31)",
    R"(path=10000:/srv/app{i}/cache/** head=/home/ann/Musik/Bj\xF6rk/ unit=track length=4096)",
    "path=1000:/srv/%K%/app{i}/** keyword=%K%:64:v{i} head=/srv/v7/app7/x length=14",
    "path=1000:/srv/%K%/app{i}/** keyword=%K%:65:v{i} head=/srv/v7/app7/x length=14",
    "path=1000:/srv/%K%/app{i}/** keyword=%K%:500:v{i} head=/srv/v7/app7/x length=14",
    "path=100:/srv/%K%/app{i}/** keyword=%K%:5000:v{i} head=/srv/v7/other/x length=15",
    "path=1000:/srv/%K%/%L%/app{i}/** keyword=%K%:30:v{i} keyword=%L%:30:w{i} "
    "head=/srv/v7/w7/other/x length=18",
    "path=1:/Users/*a*a*a*a%K% keyword=%K%:100:b{i} head=/Users/ unit=a length=207",
    R"(path=1:/**{2000:?}*Q*c head=/ unit=a tail=c length=4094 insert=500:\xC3\xA9)",
    "path=1:/**{1000:?/}?*Q*c head=/ unit=a/ tail=c length=4096",
    "regex=1:(a+)+[0-9] unit=a length=30",
    "regex=1:[a-z]*[a-z]*[a-z]*[0-9] unit=a length=4096",
    "regex=1:(x+x+)+y unit=x length=60",
    "path=1:/**/(a+)+[0-9]/zz path=1:/tmp/* head=/tmp/ unit=a length=45",
    R"(path=1:/i/* regex=1:/i/[^/]+ head=/i/\xF9\x90\x90\x80 length=7)",
};

struct Candidate {
  double excess = 0;
  Charge charge;
  Shape shape;
  Measurement measured;
};

class Search {
 public:
  explicit Search(std::uint64_t seed) : m_random(seed) {}

  bool failed() const { return m_failures > 0; }

  void firstGeneration() {
    for (const char* const line : kFirstGeneration) ask(shapeOf(line));
  }

  // Asks one case, with all that is known about it.
  void ask(const Shape& shape) {
    const std::vector<TextShape> texts = {shape.text};
    judge(shape.policy, texts, measure(shape.policy, texts, thorough()));
  }

  // Spends as much time on policies of one size as on those of another.
  void step() {
    const auto start = std::chrono::steady_clock::now();
    const auto size = static_cast<std::size_t>(
        std::distance(m_spent.begin(), std::min_element(m_spent.begin(), m_spent.end())));
    PolicyShape policy;
    std::vector<TextShape> texts;
    const std::size_t count = kSizes[size] < kManyRules ? kTexts : kTextsOfManyRules;
    const Shape* const parent = m_random.oneIn(3) ? nullptr : parentOf(size);
    if (!parent) {
      policy = drawPolicy(kSizes[size], m_random);
      while (texts.size() < count) texts.push_back(drawText(policy, m_random));
    } else {
      policy = parent->policy;
      if (m_random.oneIn(2)) {
        for (std::size_t left = 1 + m_random.below(3); left > 0; --left) {
          policy = vary(std::move(policy), m_random);
        }
        texts.push_back(parent->text);
      }
      while (texts.size() < count) {
        if (m_random.oneIn(4)) {
          texts.push_back(drawText(policy, m_random));
          continue;
        }
        TextShape text = parent->text;
        for (std::size_t left = 1 + m_random.below(3); left > 0; --left) {
          text = vary(std::move(text), policy, m_random);
        }
        texts.push_back(std::move(text));
      }
    }
    for (TextShape& text : texts) fitToPath(text);
    Effort effort;
    effort.runs = 3;
    effort.patience = kPatience;
    effort.re2 = policy.size() <= kFewRules && policy.keywords.empty();
    const std::vector<Measurement> measured = measure(policy, texts, effort);
    judge(policy, texts, measured);
    m_spent[std::max(size, sizeOf(policy))] +=
        std::chrono::duration<double>(std::chrono::steady_clock::now() - start).count();
  }

  void report() const {
    std::printf("\n%zu queries asked, %zu not: refused, or too slow to set up; %zu failures\n",
                m_asked, m_unasked, m_failures);
    std::printf("\nThe worst of each category, as a multiple of what is allowed:\n");
    for (const auto& [category, candidates] : m_best) tell(candidates.front());
  }

 private:
  static constexpr std::size_t kTexts = 8;  // asked of one policy
  static constexpr std::size_t kTextsOfManyRules = 32;
  static constexpr std::size_t kManyRules = 1000;  // which take long to set up
  static constexpr std::size_t kFewRules = 100;
  static constexpr std::size_t kKept = 6;   // of each category
  static constexpr std::size_t kTold = 10;  // failures of one category; then only worse ones
  static constexpr double kWorse = 1.25;
  static constexpr double kByFar = 10;            // more than noise makes of it
  static constexpr double kHopeless = 100;        // not worth varying
  static constexpr double kLongSetUp = 1;         // seconds: likewise
  static constexpr int kTimes = 2;                // that a failure has to come out again
  static constexpr double kSlowToSimplify = 0.1;  // seconds
  static constexpr int kMostAttempts = 100;
  static constexpr double kPatience = 2;  // seconds

  static Effort thorough() {
    Effort effort;
    effort.runs = 9;
    effort.re2 = true;
    effort.patience = kPatience;
    return effort;
  }

  // The index in kSizes.
  static std::size_t sizeOf(const PolicyShape& policy) {
    const auto* const size = std::lower_bound(std::begin(kSizes), std::end(kSizes), policy.size());
    return std::min(static_cast<std::size_t>(std::distance(std::begin(kSizes), size)),
                    std::size(kSizes) - 1);
  }

  // One of the worst of this size, each category having the same chance; null when there is none.
  const Shape* parentOf(std::size_t size) {
    std::vector<std::vector<const Candidate*>> choices;
    for (const auto& [category, candidates] : m_best) {
      std::vector<const Candidate*> found;
      for (const Candidate& one : candidates) {
        if (one.excess < kHopeless && one.measured.setUp < kLongSetUp &&
            sizeOf(one.shape.policy) == size) {
          found.push_back(&one);
        }
      }
      if (!found.empty()) choices.push_back(std::move(found));
    }
    return choices.empty() ? nullptr : &m_random.pick(m_random.pick(choices))->shape;
  }

  // What is put in does not make a path longer than a path can be.
  static void fitToPath(TextShape& text) {
    std::size_t more = 0;
    for (const auto& insert : text.inserts) more += insert.second.size();
    text.length = std::min(text.length, kLongestPath - std::min(more, kLongestPath));
  }

  // Of the texts of one policy, the worst of each category counts.
  void judge(const PolicyShape& policy, const std::vector<TextShape>& texts,
             const std::vector<Measurement>& measured) {
    std::map<std::string, Candidate> worst;
    for (std::size_t i = 0; i < texts.size(); ++i) {
      const bool asked = measured[i].failure.empty() || measured[i].failedInQuery;
      ++(asked ? m_asked : m_unasked);
      const Shape shape{policy, texts[i]};
      for (const Charge& charge : chargesOf(shape, measured[i])) {
        Candidate& one = worst[charge.category];
        if (charge.excess > one.excess) one = {charge.excess, charge, shape, measured[i]};
      }
    }
    for (auto& [category, candidate] : worst) consider(std::move(candidate));
  }

  void consider(Candidate candidate) {
    std::vector<Candidate>& best = m_best[candidate.charge.category];
    std::size_t& told = m_told[candidate.charge.category];
    if (best.size() == kKept && candidate.excess <= best.back().excess) return;
    const bool record = best.empty() || candidate.excess > best.front().excess;
    // Whatever else the processor did may have made it slow: it has to come out again.
    if ((record || candidate.excess > 1) && !comesOutAgain(candidate)) return;
    if (candidate.excess > 1) {
      ++m_failures;
      if (told < kTold || candidate.excess > kWorse * best.front().excess) {
        ++told;
        simplify(candidate);
        std::printf("FAILED ");
        tell(candidate);
      }
    }
    keep(best, std::move(candidate));
  }

  // Takes the least that is measured.
  bool comesOutAgain(Candidate& candidate) {
    const std::vector<TextShape> texts = {candidate.shape.text};
    Effort effort = thorough();
    for (int time = 0; time < kTimes; ++time) {
      Measurement measured = measure(candidate.shape.policy, texts, effort).front();
      const std::vector<Charge> charges = chargesOf(candidate.shape, measured);
      const auto again = std::find_if(charges.begin(), charges.end(), [&](const Charge& charge) {
        return charge.category == candidate.charge.category;
      });
      if (again == charges.end()) return false;
      if (!effort.re2) measured.re2 = candidate.measured.re2;
      effort.re2 = false;  // once is enough
      if (again->excess <= candidate.excess) {
        candidate.excess = again->excess;
        candidate.charge = *again;
        candidate.measured = measured;
      } else {
        candidate.measured.re2 = measured.re2;
      }
      if (candidate.excess > kByFar) break;
    }
    return true;
  }

  // Leaves out what the failure does not need, as long as that is quickly found out.
  static void simplify(Candidate& candidate) {
    const double start = candidate.excess;
    int attempts = 0;
    for (bool simpler = true; simpler;) {
      simpler = false;
      for (const Shape& shape : Bench::simpler(candidate.shape)) {
        const double once = candidate.measured.setUp +
                            candidate.measured.index.seconds.value_or(1) +
                            candidate.measured.walk.seconds.value_or(1);
        if (once > kSlowToSimplify || ++attempts > kMostAttempts) return;
        Candidate less{0, {}, shape, measure(shape.policy, {shape.text}, thorough()).front()};
        for (const Charge& charge : chargesOf(shape, less.measured)) {
          if (charge.category == candidate.charge.category) less.charge = charge;
        }
        less.excess = less.charge.excess;
        if (less.excess < std::max(1.0, start / 2)) continue;
        candidate = std::move(less);
        simpler = true;
        break;
      }
    }
  }

  static void keep(std::vector<Candidate>& best, Candidate candidate) {
    const std::string line = lineOf({candidate.shape.policy, {}});
    const auto same = std::find_if(best.begin(), best.end(), [&](const Candidate& one) {
      return lineOf({one.shape.policy, {}}) == line;
    });
    if (same != best.end()) {
      if (same->excess >= candidate.excess) return;
      best.erase(same);
    }
    best.insert(std::find_if(best.begin(), best.end(),
                             [&](const Candidate& one) { return one.excess < candidate.excess; }),
                std::move(candidate));
    if (best.size() > kKept) best.pop_back();
  }

  static void tell(const Candidate& candidate) {
    std::printf("%.3g  %s: %s\n", candidate.excess, candidate.charge.category.c_str(),
                candidate.charge.told.c_str());
    std::printf("    index %s; rules one by one %s; RE2::Set %s\n",
                inWords(candidate.measured.index).c_str(), inWords(candidate.measured.walk).c_str(),
                inWords(candidate.measured.re2).c_str());
    std::printf("    qvl_worst_search '%s'\n", lineOf(candidate.shape).c_str());
    std::fflush(stdout);
  }

  Random m_random;
  std::map<std::string, std::vector<Candidate>> m_best;  // by category, worst first
  std::map<std::string, std::size_t> m_told;
  std::array<double, std::size(kSizes)> m_spent{};  // seconds, by size
  std::size_t m_asked = 0;
  std::size_t m_unasked = 0;
  std::size_t m_failures = 0;
};

std::uint64_t fromEnvironment(const char* name, std::uint64_t otherwise) {
  const char* const text = std::getenv(name);
  return text ? std::strtoull(text, nullptr, 10) : otherwise;
}

int search() {
  const std::uint64_t seconds = fromEnvironment("PROVE_SECONDS", 600);
  const std::uint64_t seed =
      fromEnvironment("PROVE_SEED", static_cast<std::uint64_t>(std::time(nullptr)));
  std::printf("Searching for %llu s, seed %llu\n", static_cast<unsigned long long>(seconds),
              static_cast<unsigned long long>(seed));
  Search search(seed);
  search.firstGeneration();
  const auto end = std::chrono::steady_clock::now() + std::chrono::seconds(seconds);
  while (std::chrono::steady_clock::now() < end) search.step();
  search.report();
  return search.failed() ? 1 : 0;
}

// Says all there is to say about one case.
int askAgain(const std::string& line) {
  const Shape shape = shapeOf(line);
  Effort effort;
  effort.runs = 9;
  effort.re2 = true;
  effort.patience = 120;
  const Measurement measured = measure(shape.policy, {shape.text}, effort).front();
  std::printf("%s\n    index %s; rules one by one %s; RE2::Set %s\n", line.c_str(),
              inWords(measured.index).c_str(), inWords(measured.walk).c_str(),
              inWords(measured.re2).c_str());
  if (!measured.failure.empty()) std::printf("    %s\n", measured.failure.c_str());
  bool failed = false;
  for (const Charge& charge : chargesOf(shape, measured)) {
    std::printf("    %s%.3g  %s: %s\n", charge.excess > 1 ? "FAILED " : "", charge.excess,
                charge.category.c_str(), charge.told.c_str());
    failed = failed || charge.excess > 1;
  }
  return failed ? 1 : 0;
}

}  // namespace
}  // namespace Bench
}  // namespace QVL

int main(int count, char* arguments[]) {
  try {
    if (count == 1) return QVL::Bench::search();
    int status = 0;
    for (int i = 1; i < count; ++i) status = std::max(status, QVL::Bench::askAgain(arguments[i]));
    return status;
  } catch (const std::exception& failure) {
    std::fprintf(stderr, "qvl_worst_search: %s\n", failure.what());
    return 2;
  }
}
