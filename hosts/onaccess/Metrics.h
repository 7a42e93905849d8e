// What the host counts.

#ifndef QVL_ONACCESS_METRICS_H
#define QVL_ONACCESS_METRICS_H

#include <array>
#include <atomic>
#include <cstdint>
#include <string>

#include "Clock.h"
#include "Decision.h"
#include "Outcome.h"

namespace onaccess {

using Counter = std::atomic<std::uint64_t>;

// How long opens waited, in buckets.
class Histogram {
 public:
  // Upper bounds in seconds; a last bucket takes the rest.
  static constexpr std::array<double, 13> kBounds = {1e-5, 3e-5, 1e-4, 3e-4, 1e-3, 3e-3, 1e-2,
                                                     3e-2, 1e-1, 3e-1, 1,    3,    10};

  void add(Duration duration);

  // The lines of Prometheus's text format; `labels` without braces.
  std::string inPrometheusText(const std::string& name, const std::string& labels) const;

  // The bound below which this share of all lies, in seconds; infinity for the last bucket, 0 for
  // none at all.
  double quantile(double share) const;

 private:
  std::array<Counter, kBounds.size() + 1> m_counts{};
  std::atomic<std::int64_t> m_sum{0};  // nanoseconds
};

// Thread safety: each number by itself may be read and changed by any thread at any time.
struct Metrics {
  std::array<Counter, kOutcomes> outcomes{};
  std::array<Counter, kNameTroubles> nameTroubles{};
  Counter allowed{0};
  Counter denied{0};
  Counter unawaited{0};       // answers that nobody waited for any more
  Counter overflows{0};       // the kernel let opens pass because its queue was full
  Counter kernelFailures{0};  // the kernel could not hand an open over, and denied it
  Histogram decided;          // until the answer, without a scan
  Histogram scanned;          // with one

  std::uint64_t opens() const;
  std::string inPrometheusText() const;
};

// One metric: its help, its type and one line without labels.
std::string prometheusMetric(const std::string& name, const char* type, const std::string& help,
                             double value);

// A text as the value of a label, without the quotes.
std::string prometheusLabel(const std::string& text);

}  // namespace onaccess

#endif  // QVL_ONACCESS_METRICS_H
