#include "qvl/match/KeyCounts.h"

#include <gtest/gtest.h>

#include <cstddef>
#include <cstdint>
#include <memory>

namespace QVL {
namespace Test {
namespace {

PathKeys::Key keyFor(std::uint64_t number) {
  return PathKeys::keyOf(PathKeys::Kind::Component, PathKeys::mix(number, 7));
}

TEST(KeyCounts, CountsFewKeysNearlyAsTheyCome) {
  const auto counts = std::make_unique<KeyCounts>();
  EXPECT_EQ(counts->of(keyFor(1)), 0u);
  for (int times = 0; times < 5; ++times) counts->add(keyFor(1));
  counts->add(keyFor(2));
  EXPECT_EQ(counts->of(keyFor(1)), 5u);
  EXPECT_EQ(counts->of(keyFor(2)), 1u);
}

// However many keys there were that nothing else has.
TEST(KeyCounts, TellsAKeyThatManyHaveFromOneThatFewHave) {
  const auto counts = std::make_unique<KeyCounts>();
  std::size_t poor = 0;
  for (std::uint64_t i = 0; i < 1000000; ++i) {
    counts->add(keyFor(1000 + i));
    if (i % 100 == 0) counts->add(keyFor(1));
    if (i >= 100000 && i % 1000 == 0) {
      const std::size_t ofMany = counts->of(keyFor(1));
      ASSERT_GE(ofMany, 100u) << i;
      poor += counts->of(keyFor(1000000000 + i)) >= ofMany / 2;
    }
  }
  EXPECT_EQ(poor, 0u);
}

TEST(KeyCounts, ForgetsWhatWasLongAgo) {
  const auto counts = std::make_unique<KeyCounts>();
  for (int times = 0; times < 1000; ++times) counts->add(keyFor(1));
  EXPECT_EQ(counts->of(keyFor(1)), 255u) << "and goes no further";
  for (std::uint64_t i = 0; i < 1000000; ++i) counts->add(keyFor(2));
  EXPECT_LE(counts->of(keyFor(1)), 1u);
}

}  // namespace
}  // namespace Test
}  // namespace QVL
