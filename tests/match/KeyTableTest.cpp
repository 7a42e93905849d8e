#include "qvl/match/KeyTable.h"

#include <gtest/gtest.h>

#include <cstddef>
#include <cstdint>
#include <map>
#include <vector>

#include "tests/support/Dice.h"

namespace QVL {
namespace Test {
namespace {

struct Entry {
  std::uint64_t number;
};
using Table = KeyTable<Entry>;

PathKeys::Key keyFor(std::uint64_t number) {
  return PathKeys::keyOf(PathKeys::Kind::Component, PathKeys::mix(number, 7));
}

// Of however many keys, a change moves a few, and all are found while they are on their way.
TEST(KeyTable, MovesAFewKeysAtEachChange) {
  Table table;
  constexpr std::uint64_t kKeys = 60000;
  std::size_t growths = 0;
  const auto checked = [&](auto change) {
    const std::size_t before = table.slotsToMove();
    change();
    const std::size_t after = table.slotsToMove();
    if (after > before) {
      ++growths;
      // No growth begins before the one before it has ended.
      EXPECT_LE(before, Table::kMovedPerChange);
    } else {
      EXPECT_LE(before - after, Table::kMovedPerChange);
    }
  };
  for (std::uint64_t i = 0; i < kKeys; ++i) {
    checked([&] { EXPECT_EQ(table.insert(keyFor(i), {i}), 0u); });
    for (const std::uint64_t known : {i, i / 2, i / 3}) {
      const auto* const entries = table.find(keyFor(known));
      ASSERT_NE(entries, nullptr);
      ASSERT_EQ(entries->begin()->number, known);
      Table::Key key = 0;
      ASSERT_EQ(table.keepThoseThatMayBeThere(
                    1, [&](auto) { return keyFor(known); }, &key),
                1u);
      ASSERT_EQ(key, keyFor(known));
    }
  }
  for (std::uint64_t i = 0; i < kKeys; ++i) {
    checked([&] { table.erase(keyFor(i), 0, [](const Entry&) {}); });
    ASSERT_EQ(table.find(keyFor(i)), nullptr);
    ASSERT_EQ(table.count(keyFor(kKeys - 1)), i + 1 < kKeys ? 1u : 0u);
  }
  EXPECT_GT(growths, 5u);
}

TEST(KeyTable, HoldsWhatAMapHolds) {
  Dice dice;
  SCOPED_TRACE(dice.origin());
  Table table;
  std::map<std::uint64_t, std::vector<std::uint64_t>> model;
  for (std::size_t i = Dice::cases(100000); i > 0; --i) {
    const std::uint64_t number = dice.below(dice.oneIn(2) ? 10 : 2000);
    std::vector<std::uint64_t>& known = model[number];
    if (known.empty() || dice.oneIn(2)) {
      ASSERT_EQ(table.insert(keyFor(number), {i}), known.size());
      known.push_back(i);
    } else {
      const std::size_t place = dice.below(known.size());
      std::uint64_t moved = 0;
      table.erase(keyFor(number), static_cast<std::uint32_t>(place),
                  [&](const Entry& entry) { moved = entry.number; });
      ASSERT_EQ(moved, place + 1 == known.size() ? 0 : known.back());
      known[place] = known.back();
      known.pop_back();
    }
    const auto* const entries = table.find(keyFor(number));
    ASSERT_EQ(entries ? entries->size() : 0, known.size());
    for (std::size_t at = 0; at < known.size(); ++at) {
      ASSERT_EQ(entries->begin()[at].number, known[at]);
    }
  }
}

}  // namespace
}  // namespace Test
}  // namespace QVL
