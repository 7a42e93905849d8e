#include "Breaker.h"

#include "gtest/gtest.h"

namespace onaccess {
namespace {

using namespace std::chrono_literals;

class BreakerTest : public ::testing::Test {
 protected:
  void fail(int times) {
    for (int i = 0; i < times; ++i) breaker.failed(now);
  }

  Time now = Time(1h);
  Breaker breaker{3, 10s};
};

TEST_F(BreakerTest, OpensAfterSoManyFailuresInARow) {
  fail(2);
  EXPECT_TRUE(breaker.letsThrough(now));
  fail(1);
  EXPECT_FALSE(breaker.letsThrough(now));
  EXPECT_TRUE(breaker.isOpen());
  EXPECT_EQ(breaker.openings(), 1u);
}

TEST_F(BreakerTest, ASuccessStartsTheRowAnew) {
  fail(2);
  breaker.succeeded();
  fail(2);
  EXPECT_TRUE(breaker.letsThrough(now));
}

TEST_F(BreakerTest, LetsASingleScanThroughAfterItsPause) {
  fail(3);
  EXPECT_FALSE(breaker.letsThrough(now + 9999ms));
  EXPECT_TRUE(breaker.letsThrough(now + 10s));
  EXPECT_FALSE(breaker.letsThrough(now + 10s));
}

TEST_F(BreakerTest, ClosesWhenThatSucceeds) {
  fail(3);
  ASSERT_TRUE(breaker.letsThrough(now + 10s));
  breaker.succeeded();
  EXPECT_FALSE(breaker.isOpen());
  EXPECT_TRUE(breaker.letsThrough(now + 10s));
  EXPECT_TRUE(breaker.letsThrough(now + 10s));
}

TEST_F(BreakerTest, OpensAnewWhenThatFails) {
  fail(3);
  ASSERT_TRUE(breaker.letsThrough(now + 10s));
  breaker.failed(now + 12s);
  EXPECT_FALSE(breaker.letsThrough(now + 21s));
  EXPECT_TRUE(breaker.letsThrough(now + 22s));
}

// They were let through before, and their deadlines pass one by one.
TEST_F(BreakerTest, OpensOnceForAllScansThatWereUnderWay) {
  fail(3);
  now += 5s;
  fail(4);
  EXPECT_EQ(breaker.openings(), 1u);
  EXPECT_TRUE(breaker.letsThrough(now + 5s));
  breaker.failed(now + 6s);
  EXPECT_EQ(breaker.openings(), 2u);
}

TEST_F(BreakerTest, LetsAnotherOneThroughWhenItWasNotTried) {
  fail(3);
  ASSERT_TRUE(breaker.letsThrough(now + 10s));
  breaker.wasNotTried();
  EXPECT_TRUE(breaker.letsThrough(now + 10s));
}

}  // namespace
}  // namespace onaccess
