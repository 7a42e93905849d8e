// A set of literals, such as the values of a keyword. Private to the library.

#ifndef QVL_MATCH_LITERAL_SET_H
#define QVL_MATCH_LITERAL_SET_H

#include <array>
#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

namespace QVL {

// Finds which of its literals stand at a place of a text, in a time that grows with the logarithm
// of their number: they are sorted, and those that go on like the text are narrowed down byte by
// byte.
//
// Thread safety: immutable.
class LiteralSet {
 public:
  // The most bytes of one literal.
  static constexpr std::size_t kLongest = 64;

  explicit LiteralSet(std::vector<std::string> literals);

  // Calls `found(length)` for each literal that the text begins with, shortest first. True when the
  // text ends while some literal goes on, or could: there is a longer one that begins with it.
  template <typename Found>
  bool match(std::string_view text, Found found) const;

  std::size_t leastLength() const { return m_leastLength; }
  const std::vector<std::string>& literals() const { return m_literals; }

 private:
  std::vector<std::string> m_literals;             // sorted, each once
  std::array<std::uint32_t, 257> m_byFirstByte{};  // where those begin that begin with a byte
  std::size_t m_leastLength = 0;
};

template <typename Found>
bool LiteralSet::match(std::string_view text, Found found) const {
  std::size_t begin = 0;
  std::size_t end = m_literals.size();
  if (!m_literals.empty() && m_literals.front().empty()) {
    found(std::size_t{0});
    ++begin;
  }
  for (std::size_t at = 0; begin < end; ++at) {
    if (at == text.size()) return true;
    const auto byte = static_cast<unsigned char>(text[at]);
    if (at == 0) {
      begin = m_byFirstByte[byte];
      end = m_byFirstByte[byte + 1u];
    } else {
      // All from begin to end agree in the bytes before `at` and are longer.
      const auto byteAt = [&](std::size_t i) {
        return static_cast<unsigned char>(m_literals[i][at]);
      };
      std::size_t low = begin;
      for (std::size_t high = end; low < high;) {
        const std::size_t middle = low + (high - low) / 2;
        byteAt(middle) < byte ? low = middle + 1 : high = middle;
      }
      begin = low;
      for (std::size_t high = end; low < high;) {
        const std::size_t middle = low + (high - low) / 2;
        byteAt(middle) <= byte ? low = middle + 1 : high = middle;
      }
      end = low;
    }
    if (begin < end && m_literals[begin].size() == at + 1) {
      found(at + 1);
      ++begin;
    }
  }
  return false;
}

}  // namespace QVL

#endif  // QVL_MATCH_LITERAL_SET_H
