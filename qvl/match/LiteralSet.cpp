#include "qvl/match/LiteralSet.h"

#include <algorithm>
#include <utility>

namespace QVL {

LiteralSet::LiteralSet(std::vector<std::string> literals) : m_literals(std::move(literals)) {
  std::sort(m_literals.begin(), m_literals.end());
  m_literals.erase(std::unique(m_literals.begin(), m_literals.end()), m_literals.end());
  for (const std::string& literal : m_literals) {
    if (literal.empty()) continue;
    ++m_byFirstByte[static_cast<unsigned char>(literal.front()) + 1u];
  }
  m_byFirstByte[0] = !m_literals.empty() && m_literals.front().empty() ? 1 : 0;
  for (std::size_t i = 1; i < m_byFirstByte.size(); ++i) m_byFirstByte[i] += m_byFirstByte[i - 1];
  m_leastLength = m_literals.empty() ? 0 : m_literals.front().size();
  for (const std::string& literal : m_literals) {
    m_leastLength = std::min(m_leastLength, literal.size());
  }
}

}  // namespace QVL
