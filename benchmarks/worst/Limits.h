// What a query may take.

#ifndef QVL_BENCHMARKS_WORST_LIMITS_H
#define QVL_BENCHMARKS_WORST_LIMITS_H

#include <string>
#include <vector>

#include "benchmarks/worst/Measurement.h"
#include "benchmarks/worst/Shape.h"

namespace QVL {
namespace Bench {

// One limit, applied to one measurement.
struct Charge {
  std::string category;  // which limit, for policies and texts of which sort
  double excess = 0;     // what was measured, as a multiple of the limit; above 1 is a failure
  std::string told;      // what was measured and what is allowed, in words
};

// Seconds that one query may take, and the limits themselves:
constexpr double kOneWildcardRule = 500e-6;
constexpr double kThousandWildcardRules = 5e-3;       // and in proportion for more
constexpr double kThousandRulesOnForeignText = 1e-3;  // which shares no literal with any rule
constexpr double kKeywordsOnOrdinaryPath = 5e-6;      // foreign, and not longer than 120 bytes
constexpr std::size_t kRulesWithKeywords = 100;
constexpr std::size_t kValues = 5000;
constexpr double kLinearExpression = 2e-3;  // for each
constexpr double kOtherExpression = 20e-3;  // for each
constexpr double kNameNotUtf8 = 10e-6;
constexpr double kPathNotUtf8 = 100e-6;
constexpr double kOverWalk = 1.2;  // times the rules one by one
constexpr double kOverWalkMore = 20e-6;

// Every limit that applies; wrong answers among them.
std::vector<Charge> chargesOf(const Shape& shape, const Measurement& measured);

std::string inWords(double seconds);
std::string inWords(const Timing& timing);

// Is everything in the expression that a set of states can match: no back reference, look-around,
// atomic or possessive part, recursion or condition?
bool isLinear(const std::string& expression);

}  // namespace Bench
}  // namespace QVL

#endif  // QVL_BENCHMARKS_WORST_LIMITS_H
