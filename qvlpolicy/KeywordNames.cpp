#include "qvlpolicy/KeywordNames.h"

namespace qvlpolicy {

KeywordNames::KeywordNames(const std::vector<std::string_view>& names) {
  for (std::size_t i = 0; i < names.size(); ++i) {
    if (!names[i].empty()) m_names.push_back({names[i], i});
  }
  std::sort(m_names.begin(), m_names.end(), [](const Name& a, const Name& b) {
    return a.text == b.text ? a.index < b.index : a.text < b.text;
  });
  for (std::size_t i = 0; i < m_names.size(); ++i) {
    Range& range = m_byFirst[static_cast<unsigned char>(m_names[i].text.front())];
    if (range.begin == range.end) range.begin = i;
    range.end = i + 1;
  }
}

}  // namespace qvlpolicy
