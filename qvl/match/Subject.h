// A text on its way through many patterns. Private to the library.

#ifndef QVL_MATCH_SUBJECT_H
#define QVL_MATCH_SUBJECT_H

#include <cstddef>
#include <string>
#include <string_view>

namespace QVL {

// A text that patterns are matched against, with what they all want to know of it found out once.
//
// Thread safety: none; it belongs to one query.
class Subject {
 public:
  // `text` and `foldBuffer` outlive the subject. The buffer may be used again for the next subject,
  // which then needs no storage of its own.
  Subject(std::string_view text, std::string& foldBuffer);

  std::string_view text() const { return m_text; }
  bool isAscii() const { return m_ascii; }
  bool isUtf8() const { return m_validPrefix == m_text.size(); }

  // How many bytes from the start are UTF-8.
  std::size_t validPrefix() const { return m_validPrefix; }

  // Does the text begin inside a character or end inside one?
  bool isCutOff() const;

  // The UTF-8 part of the text, case folded.
  std::string_view folded();

 private:
  const std::string_view m_text;
  std::string& m_foldBuffer;
  bool m_ascii;
  bool m_folded = false;
  std::size_t m_validPrefix;
};

// How many bytes from the start of a text are UTF-8.
std::size_t validUtf8Prefix(std::string_view text);

// Puts into `folded` a UTF-8 text in the form that the regular expression engine compares when case
// does not matter, character by character.
void foldCase(std::string_view text, std::string& folded);

}  // namespace QVL

#endif  // QVL_MATCH_SUBJECT_H
