#include "qvl/match/LiteralSet.h"

#include <algorithm>
#include <utility>

namespace QVL {

LiteralSet::LiteralSet(std::vector<Piece> pieces) : m_pieces(std::move(pieces)) {
  std::sort(m_pieces.begin(), m_pieces.end());
  m_pieces.erase(std::unique(m_pieces.begin(), m_pieces.end()), m_pieces.end());
  m_leastLength = m_pieces.empty() ? 0 : m_pieces.front().size();
  for (const Piece& piece : m_pieces) {
    if (!piece.empty()) ++m_byFirstSign[piece.front() + 1u];
    addFirstTwo(piece);
    m_leastLength = std::min(m_leastLength, piece.size());
  }
  m_byFirstSign[0] = !m_pieces.empty() && m_pieces.front().empty() ? 1 : 0;
  for (std::size_t i = 1; i < m_byFirstSign.size(); ++i) m_byFirstSign[i] += m_byFirstSign[i - 1];
}

void LiteralSet::addFirstTwo(const Piece& piece) {
  const auto signAt = [&](std::size_t at) { return at < piece.size() ? piece[at] : kOne; };
  if (signAt(0) >= kOne) {
    m_firstTwo.set();
  } else if (signAt(1) < kOne) {
    m_firstTwo.set(numberOf(signAt(0), signAt(1)));
  } else {
    for (char16_t any = 0; any < kOne; ++any) m_firstTwo.set(numberOf(signAt(0), any));
  }
}

std::optional<LiteralSet::Piece> LiteralSet::pieceOf(const Steps& steps) {
  Piece piece;
  std::size_t length = 0;
  for (const Step& step : steps) {
    switch (step.kind) {
      case Step::Literal:
        for (const char byte : step.bytes) piece += static_cast<unsigned char>(byte);
        length += step.bytes.size();
        break;
      case Step::One:
      case Step::OneNotSlash:
        piece += step.kind == Step::One ? kOne : kOneNotSlash;
        length += Utf8::kLongestCharacter;
        break;
      default:
        return std::nullopt;
    }
    if (length > kLongest) return std::nullopt;
  }
  return piece;
}

Steps LiteralSet::stepsOf(const Piece& piece) {
  Steps steps;
  for (const char16_t sign : piece) {
    if (sign >= kOne) {
      steps.push_back({sign == kOne ? Step::One : Step::OneNotSlash, {}, {}});
      continue;
    }
    if (steps.empty() || steps.back().kind != Step::Literal) {
      steps.push_back({Step::Literal, {}, {}});
    }
    steps.back().bytes += static_cast<char>(sign);
  }
  return steps;
}

// The pieces of the range, of which there is one, are longer than `depth`. Where all have the sign
// or none can, which is what oftenest happens behind the first few signs, nothing is searched.
LiteralSet::Range LiteralSet::thatGoOn(Range range, std::size_t depth, char16_t sign) const {
  if (depth == 0) return {m_byFirstSign[sign], m_byFirstSign[sign + 1u]};
  const auto first = [&](std::size_t low, auto isBefore) {
    for (std::size_t high = range.end; low < high;) {
      const std::size_t middle = low + (high - low) / 2;
      isBefore(m_pieces[middle][depth]) ? low = middle + 1 : high = middle;
    }
    return low;
  };
  const char16_t least = m_pieces[range.begin][depth];
  const char16_t greatest = m_pieces[range.end - 1][depth];
  if (sign < least || greatest < sign) return {range.end, range.end};
  const std::size_t begin = least == sign
                                ? range.begin
                                : first(range.begin, [&](char16_t other) { return other < sign; });
  const std::size_t end =
      greatest == sign ? range.end : first(begin, [&](char16_t other) { return other <= sign; });
  return {begin, end};
}

}  // namespace QVL
