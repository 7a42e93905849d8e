#include "qvl/match/PieceRows.h"

#include <algorithm>
#include <array>

#include "qvl/match/LiteralSet.h"
#include "qvl/match/Utf8.h"

namespace QVL {

void PieceRows::Rows::addEnds(Word places, std::size_t block, Word& ends, Word& next) const {
  for (std::size_t i = 0; i < m_count; ++i) {
    const std::size_t length = m_rows[i].length;
    const Word* const row = m_words + m_rows[i].begin + block;
    if (length < kBits) ends |= places << length & row[0];
    if (length > 0) next |= places >> (kBits - length) & row[1];
  }
}

void PieceRows::assign(std::string_view text) {
  m_text = text;
  m_wordsPerRow = text.size() / kBits + 2;
  m_sets.clear();
  m_rows.clear();
  m_words.clear();
}

PieceRows::OfSet* PieceRows::find(const LiteralSet& set) {
  const auto found =
      std::find_if(m_sets.begin(), m_sets.end(), [&](const OfSet& of) { return of.set == &set; });
  return found == m_sets.end() ? nullptr : &*found;
}

bool PieceRows::pays(const LiteralSet& set, std::size_t places) {
  if (m_text.size() > kLongest) return false;
  OfSet* of = find(set);
  if (of == nullptr) {
    if (m_sets.size() == kMostSets) return false;
    of = &m_sets.emplace_back(OfSet{&set, 0, false, 0, 0});
  }
  of->tried += places;
  return of->tried > m_text.size();
}

PieceRows::Rows PieceRows::rowsOf(const LiteralSet& set) {
  OfSet& of = *find(set);
  if (!of.isMade) make(of);
  return {m_rows.data() + of.begin, of.end - of.begin, m_words.data()};
}

void PieceRows::make(OfSet& of) {
  of.begin = m_rows.size();
  std::array<std::size_t, LiteralSet::kLongest + 1> beginOf{};  // + 1; 0: no row yet
  for (std::size_t at = 0; at <= m_text.size(); ++at) {
    if (at < m_text.size() && Utf8::isContinuation(m_text[at])) continue;
    of.set->match(m_text.substr(at), [&](std::size_t length) {
      if (beginOf[length] == 0) {
        m_rows.push_back({length, m_words.size()});
        beginOf[length] = m_words.size() + 1;
        m_words.resize(m_words.size() + m_wordsPerRow);
      }
      m_words[beginOf[length] - 1 + (at + length) / kBits] |= Word{1} << (at + length) % kBits;
    });
  }
  of.end = m_rows.size();
  of.isMade = true;
}

void PieceRows::shrink() {
  constexpr std::size_t kKept = std::size_t{64} * 1024;
  if (m_words.capacity() * sizeof m_words[0] > kKept) std::vector<Word>().swap(m_words);
}

}  // namespace QVL
