// Draws policies and texts, and varies those that were slow.

#ifndef QVL_BENCHMARKS_WORST_DRAWING_H
#define QVL_BENCHMARKS_WORST_DRAWING_H

#include <cstddef>
#include <vector>

#include "benchmarks/Workload.h"
#include "benchmarks/worst/Shape.h"

namespace QVL {
namespace Bench {

constexpr std::size_t kLongestPath = 4096;

// Numbers of rules that policies are drawn in.
constexpr std::size_t kSizes[] = {1, 10, 100, 1000, 10000};

// About so many rules: expressions are fewer.
PolicyShape drawPolicy(std::size_t size, Random& random);

// Mostly of pieces of the policy's own literals, as somebody who has read it would; sometimes of
// others.
TextShape drawText(const PolicyShape& policy, Random& random);

PolicyShape vary(PolicyShape policy, Random& random);
TextShape vary(TextShape text, const PolicyShape& policy, Random& random);

// The same with one part less, in every way that there is.
std::vector<Shape> simpler(const Shape& shape);

}  // namespace Bench
}  // namespace QVL

#endif  // QVL_BENCHMARKS_WORST_DRAWING_H
