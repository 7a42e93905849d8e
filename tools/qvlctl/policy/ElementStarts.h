// Where the elements of an XML text begin.

#ifndef QVLCTL_POLICY_ELEMENT_STARTS_H
#define QVLCTL_POLICY_ELEMENT_STARTS_H

#include <cstddef>
#include <string>
#include <string_view>
#include <vector>

namespace qvlctl {

struct ElementStart {
  std::string_view name;  // points into the text
  std::size_t line;       // 1 for the first
};

struct ElementStarts {
  std::vector<ElementStart> elements;  // in document order
  std::size_t doctypeLine = 0;         // of a document type declaration; 0: there is none
};

// Finds the start tags of a text that is known to be well-formed XML. The document class tells
// everything about a document but the lines; this is for them alone.
ElementStarts findElementStarts(std::string_view text);

}  // namespace qvlctl

#endif  // QVLCTL_POLICY_ELEMENT_STARTS_H
