// Where the pieces of a set of literals end in a text. Private to the library.

#ifndef QVL_MATCH_PIECE_ROWS_H
#define QVL_MATCH_PIECE_ROWS_H

#include <cstddef>
#include <cstdint>
#include <string_view>
#include <vector>

namespace QVL {

class LiteralSet;

// For a set of literals, and each length that pieces of it have in a text, one row of bits: bit i
// tells whether a piece of that length ends at place i. Many patterns that name the same keyword
// look for its values at the same places; once they have tried as many places as the text has,
// the rows are made, and from there on a pattern reads a word of a row for 64 places.
//
// Thread safety: none; it belongs to one query.
class PieceRows {
 public:
  using Word = std::uint64_t;
  static constexpr std::size_t kBits = 64;

  // One row.
  struct OfLength {
    std::size_t length;
    std::size_t begin;  // in the words
  };
  class Rows {
   public:
    // Adds to `ends` and `next`, the words of a block and of the one behind it, where those pieces
    // end that begin at `places` of the block.
    void addEnds(Word places, std::size_t block, Word& ends, Word& next) const;

    std::size_t lengths() const { return m_count; }

   private:
    friend class PieceRows;
    Rows(const OfLength* rows, std::size_t count, const Word* words)
        : m_rows(rows), m_count(count), m_words(words) {}

    const OfLength* m_rows;
    std::size_t m_count;
    const Word* m_words;
  };

  // From now on of this text, which outlives its use here.
  void assign(std::string_view text);

  // The pieces of the set are looked for at so many more places. True from when it pays to ask for
  // its rows on.
  bool pays(const LiteralSet& set, std::size_t places);

  // Those of a set that it paid for; made when they are first asked for. Stay until the next ones
  // are asked for.
  Rows rowsOf(const LiteralSet& set);

  // Gives back what a long text needed.
  void shrink();

 private:
  // Texts that are longer would need much room.
  static constexpr std::size_t kLongest = 8192;
  // Further sets of a text have no rows.
  static constexpr std::size_t kMostSets = 16;

  struct OfSet {
    const LiteralSet* set;
    std::size_t tried;  // at so many places
    bool isMade;
    std::size_t begin;  // of its rows among all
    std::size_t end;
  };

  OfSet* find(const LiteralSet& set);
  void make(OfSet& of);

  std::string_view m_text;
  std::size_t m_wordsPerRow = 0;
  std::vector<OfSet> m_sets;
  std::vector<OfLength> m_rows;
  std::vector<Word> m_words;
};

}  // namespace QVL

#endif  // QVL_MATCH_PIECE_ROWS_H
