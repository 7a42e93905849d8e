// The characters of an XML file, whatever its encoding.

#ifndef QVLPOLICY_XML_TEXT_H
#define QVLPOLICY_XML_TEXT_H

#include <string>
#include <string_view>

namespace qvlpolicy {

// An XML text in UTF-8, without a byte order mark. Its declaration may still name the encoding that
// the file had.
struct XmlText {
  std::string text;
  std::string error;  // why it ends too early, in words; empty: it is complete
};

// Decodes a file from the encoding that it says, or shows, to be in, as XML 1.0, appendix F, has
// it.
XmlText decodeXml(std::string_view bytes);

// The text with what XML would read otherwise as references.
std::string escapedForXml(std::string_view text, bool isAttribute);

}  // namespace qvlpolicy

#endif  // QVLPOLICY_XML_TEXT_H
