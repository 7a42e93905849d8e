// Which of many names stand in a text?

#ifndef QVLPOLICY_KEYWORD_NAMES_H
#define QVLPOLICY_KEYWORD_NAMES_H

#include <algorithm>
#include <cstddef>
#include <string_view>
#include <vector>

namespace qvlpolicy {

// The names of keywords, sorted, so that a text is followed through all of them at once: what it
// takes does not grow with their number, but for a logarithm.
//
// Thread safety: immutable; any number of threads may look up at once.
class KeywordNames {
 public:
  // The texts outlive the object. Empty ones are left out.
  explicit KeywordNames(const std::vector<std::string_view>& names);

  // Calls `take` with the index of each name that the text begins with, shorter ones first. Answers
  // how many characters of the text were looked at, which are not more than the longest name has,
  // and none where no name begins as the text does.
  template <typename Take>
  std::size_t eachAtStartOf(std::string_view text, Take take) const {
    if (text.empty()) return 0;
    auto [begin, end] = m_byFirst[static_cast<unsigned char>(text.front())];
    std::size_t depth = begin == end ? 0 : 1;
    while (begin != end) {
      for (; begin != end && m_names[begin].text.size() == depth; ++begin) {
        take(m_names[begin].index);
      }
      if (begin == end || depth == text.size()) break;
      narrow(begin, end, depth, text[depth]);
      ++depth;
    }
    return depth;
  }

 private:
  struct Name {
    std::string_view text;
    std::size_t index;
  };

  struct Range {
    std::size_t begin = 0;
    std::size_t end = 0;
  };

  // Leaves of names that are longer than `at`, and the same before it, those with that character
  // there.
  void narrow(std::size_t& begin, std::size_t& end, std::size_t at, char character) const {
    const auto byteOf = [&](std::size_t i) {
      return static_cast<unsigned char>(m_names[i].text[at]);
    };
    const auto wanted = static_cast<unsigned char>(character);
    if (byteOf(begin) == wanted && byteOf(end - 1) == wanted) return;
    const auto firstFrom = [&](unsigned int byte) {
      std::size_t low = begin;
      for (std::size_t high = end; low != high;) {
        const std::size_t middle = low + (high - low) / 2;
        byteOf(middle) < byte ? low = middle + 1 : high = middle;
      }
      return low;
    };
    const std::size_t first = firstFrom(wanted);
    end = firstFrom(wanted + 1U);
    begin = first;
  }

  std::vector<Name> m_names;  // ascending
  Range m_byFirst[256];       // of m_names, by their first bytes
};

}  // namespace qvlpolicy

#endif  // QVLPOLICY_KEYWORD_NAMES_H
