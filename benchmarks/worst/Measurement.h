// What one policy answers to texts, and how long it takes for it: by its data set, by its rules one
// after the other, and by RE2::Set.

#ifndef QVL_BENCHMARKS_WORST_MEASUREMENT_H
#define QVL_BENCHMARKS_WORST_MEASUREMENT_H

#include <optional>
#include <string>
#include <vector>

#include "benchmarks/worst/Shape.h"

namespace QVL {
namespace Bench {

struct Answer {
  enum Kind { No, Yes, Threw } kind = No;
  std::string message;  // of the exception

  bool operator==(const Answer& other) const {
    return kind == other.kind && message == other.message;
  }
};

// One query, in seconds of processor time. What is absent was not asked, or did not come to an end.
struct Timing {
  std::optional<double> seconds;
  Answer answer;
};

struct Measurement {
  double setUp = 0;  // seconds that making the policy took
  Timing index;
  Timing walk;
  Timing re2;  // where it takes all the rules, and reads them and the text as the library does

  // Why something is absent: "refused: ..." for rules that cannot be made, "crashed", "no end in
  // 20 s" and where. Empty when nothing is.
  std::string failure;
  bool failedInQuery = false;  // not while the policy was set up
};

struct Effort {
  int runs = 5;          // of which the median counts
  bool re2 = false;      // ask it as well
  double patience = 20;  // seconds of processor time for a query; five times as many for setting up
};

// Sets up the policy in a process of its own, so that neither memory that it keeps nor its end does
// harm, and asks it about the texts, one after the other. As many as there are texts.
std::vector<Measurement> measure(const PolicyShape& policy, const std::vector<TextShape>& texts,
                                 const Effort& effort);

bool isUtf8(const std::string& text);

}  // namespace Bench
}  // namespace QVL

#endif  // QVL_BENCHMARKS_WORST_MEASUREMENT_H
