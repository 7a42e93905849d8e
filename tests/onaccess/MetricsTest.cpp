#include "Metrics.h"

#include "gmock/gmock.h"
#include "gtest/gtest.h"

namespace onaccess {
namespace {

using namespace std::chrono_literals;
using ::testing::HasSubstr;

TEST(Histogram, CountsIntoCumulativeBuckets) {
  Histogram histogram;
  for (const Duration duration : {Duration(5us), Duration(10us), Duration(2ms), Duration(20s)}) {
    histogram.add(duration);
  }
  const std::string text = histogram.inPrometheusText("wait", "way=\"x\"");
  EXPECT_THAT(text, HasSubstr("wait_bucket{way=\"x\",le=\"1e-05\"} 2\n"));
  EXPECT_THAT(text, HasSubstr("wait_bucket{way=\"x\",le=\"0.001\"} 2\n"));
  EXPECT_THAT(text, HasSubstr("wait_bucket{way=\"x\",le=\"0.003\"} 3\n"));
  EXPECT_THAT(text, HasSubstr("wait_bucket{way=\"x\",le=\"10\"} 3\n"));
  EXPECT_THAT(text, HasSubstr("wait_bucket{way=\"x\",le=\"+Inf\"} 4\n"));
  EXPECT_THAT(text, HasSubstr("wait_sum{way=\"x\"} 20.002015\n"));
  EXPECT_THAT(text, HasSubstr("wait_count{way=\"x\"} 4\n"));
}

TEST(Histogram, TellsQuantiles) {
  Histogram histogram;
  EXPECT_EQ(histogram.quantile(0.5), 0);
  for (int i = 0; i < 99; ++i) histogram.add(20us);
  histogram.add(2s);
  EXPECT_EQ(histogram.quantile(0.5), 3e-5);
  EXPECT_EQ(histogram.quantile(0.99), 3e-5);
  EXPECT_EQ(histogram.quantile(1), 3);
}

TEST(Metrics, NamesEveryOutcome) {
  Metrics metrics;
  for (std::size_t i = 0; i < kOutcomes; ++i) metrics.outcomes[i] = i + 1;
  const std::string text = metrics.inPrometheusText();
  EXPECT_THAT(text, HasSubstr("qvl_onaccess_opens_total{outcome=\"own\"} 1\n"));
  EXPECT_THAT(text, HasSubstr("qvl_onaccess_opens_total{outcome=\"infected\"} 7\n"));
  EXPECT_THAT(text, HasSubstr("qvl_onaccess_opens_total{outcome=\"unreadable\"} 14\n"));
  EXPECT_EQ(metrics.opens(), 105u);
}

TEST(Outcome, FailuresAreAnsweredByTheMountsPolicy) {
  EXPECT_TRUE(isAllowed(Outcome::Clean, FailurePolicy::Closed));
  EXPECT_TRUE(isAllowed(Outcome::Excluded, FailurePolicy::Closed));
  EXPECT_FALSE(isAllowed(Outcome::Infected, FailurePolicy::Open));
  for (std::size_t i = static_cast<std::size_t>(Outcome::Refused); i < kOutcomes; ++i) {
    EXPECT_TRUE(isAllowed(static_cast<Outcome>(i), FailurePolicy::Open));
    EXPECT_FALSE(isAllowed(static_cast<Outcome>(i), FailurePolicy::Closed));
  }
}

TEST(Prometheus, EscapesLabels) {
  EXPECT_EQ(prometheusLabel("a\"b\\c\nd"), "a\\\"b\\\\c\\nd");
}

}  // namespace
}  // namespace onaccess
