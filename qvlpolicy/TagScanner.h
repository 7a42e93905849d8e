// Where the tags of an XML text stand.

#ifndef QVLPOLICY_TAG_SCANNER_H
#define QVLPOLICY_TAG_SCANNER_H

#include <cstddef>
#include <cstdint>
#include <string_view>

namespace qvlpolicy {

// A place in a text: 1 for the first line, and for the first character in it.
struct Spot {
  std::uint32_t line = 1;
  std::uint32_t column = 1;
};

// Goes through a text from one start tag to the next, beside the parser that says what they mean.
// The parser knows where it is only roughly: behind a tag, and not where in it an attribute stands.
//
// The text is UTF-8 without a document type declaration, and well-formed as far as tags are asked
// for.
class TagScanner {
 public:
  // The text is to outlive the scanner.
  explicit TagScanner(std::string_view text) : m_text(text) {}

  // Goes to the next start tag, and tells where its "<" stands; the end of the text when there is
  // no other one.
  Spot next();

  // Where the attribute of that name begins in the tag; where the tag does when it has none.
  Spot attribute(std::string_view name) const;

  // Where the character stands whose first byte is byte `offset` of the content, as the parser
  // hands it over. The element holds text, character references, CDATA sections and comments only.
  Spot content(std::size_t offset) const;

  // Where the document type declaration of a text stands that is known to have one.
  static Spot declaration(std::string_view text);

  // Where byte `offset` of the text stands. Linear.
  static Spot spotOf(std::string_view text, std::size_t offset);

 private:
  const std::string_view m_text;
  std::size_t m_tag = 0;  // the offset of the current tag
  std::size_t m_end = 0;  // and behind it
  Spot m_tagSpot;
};

}  // namespace qvlpolicy

#endif  // QVLPOLICY_TAG_SCANNER_H
