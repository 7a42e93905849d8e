// What random tests draw from.

#ifndef QVL_TESTS_SUPPORT_DICE_H
#define QVL_TESTS_SUPPORT_DICE_H

#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <random>
#include <string>
#include <vector>

namespace QVL {
namespace Test {

// Random draws that come out the same for the same seed. Two environment variables govern them:
//   QVL_TEST_SEED   the seed, 1 by default
//   QVL_TEST_SIZE   how many times as many cases as by default are tried; 0.1 for a tenth of them
// A random test says `SCOPED_TRACE(dice.origin())`, so that a failure names the seed.
class Dice {
 public:
  Dice() : m_random(seed()) {}

  // The default number of cases, times QVL_TEST_SIZE.
  static std::size_t cases(std::size_t byDefault) {
    const char* const size = std::getenv("QVL_TEST_SIZE");
    return size ? static_cast<std::size_t>(static_cast<double>(byDefault) *
                                           std::strtod(size, nullptr))
                : byDefault;
  }

  std::string origin() const { return "QVL_TEST_SEED=" + std::to_string(seed()); }

  std::size_t below(std::size_t limit) { return static_cast<std::size_t>(m_random() % limit); }
  bool oneIn(std::size_t count) { return below(count) == 0; }

  template <typename Item>
  const Item& pick(const std::vector<Item>& items) {
    return items[below(items.size())];
  }

  // Between `least` and `most` parts, one after the other.
  std::string join(const std::vector<std::string>& parts, std::size_t least, std::size_t most) {
    std::string text;
    for (std::size_t count = least + below(most - least + 1); count > 0; --count) {
      text += pick(parts);
    }
    return text;
  }

  // For the standard library's algorithms.
  std::mt19937_64& engine() { return m_random; }

 private:
  static std::uint64_t seed() {
    const char* const text = std::getenv("QVL_TEST_SEED");
    return text ? std::strtoull(text, nullptr, 10) : 1;
  }

  std::mt19937_64 m_random;
};

}  // namespace Test
}  // namespace QVL

#endif  // QVL_TESTS_SUPPORT_DICE_H
