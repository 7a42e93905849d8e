// What may stand in a policy file: the one description from which the reader, the schema and the
// tables in the documentation come.

#ifndef QVLPOLICY_SYNTAX_H
#define QVLPOLICY_SYNTAX_H

#include <string>
#include <string_view>
#include <vector>

#include "qvlpolicy/Description.h"

namespace qvlpolicy {

// A set of kinds of data set.
class KindSet {
 public:
  constexpr KindSet(std::initializer_list<Kind> kinds) {
    for (const Kind kind : kinds) m_bits |= bit(kind);
  }
  constexpr bool has(Kind kind) const { return (m_bits & bit(kind)) != 0; }
  constexpr bool hasAll() const { return m_bits == 0x1f; }

 private:
  static constexpr unsigned bit(Kind kind) { return 1u << static_cast<unsigned>(kind); }
  unsigned m_bits = 0;
};

// What the value of an attribute may be.
enum class ValueType {
  Text,
  Version,
  Number,
  Kind,
  YesNo,
  Access,
  CheckAccess,
  Selector,
  Days,
  Date,
  Expired,
};

// Is it a value of that type?
bool isValue(ValueType type, std::string_view value);

// What would be one, for a message: "yes or no".
std::string expectedValue(ValueType type);

struct AttributeSyntax {
  const char* name;
  ValueType type;
  const char* fallback;  // the default, in words; "required" when the attribute has to be there
  KindSet kinds;         // of the data set that the element is or is in
  const char* meaning;   // for the documentation
  bool isRequired() const { return std::string_view(fallback) == "required"; }
  // The value that counts when the attribute is not there; empty when there is none.
  std::string_view defaultFor(Kind kind) const;
};

// The value as a policy that has been written by the library says it: "read" for "1". The text as
// it is where it is no value of that type.
std::string canonicalValue(ValueType type, std::string_view value);

enum class ElementType {
  Policy,
  Include,
  Logic,
  KeywordTable,
  DataSet,
  Keyword,
  Value,
  Rule,
  Allow,
};

struct ElementSyntax {
  ElementType type;
  const char* name;
  std::vector<AttributeSyntax> attributes;
  std::vector<ElementType> children;
  bool hasText;
  KindSet kinds;  // of the data set that it may be in
};

// The elements, in the order of ElementType.
const std::vector<ElementSyntax>& policySyntax();
inline const ElementSyntax& syntaxOf(ElementType type) {
  return policySyntax()[static_cast<std::size_t>(type)];
}

// May an element of that type hold text, in a data set of that kind?
bool mayHoldText(const ElementSyntax& element, Kind kind);

// Every date "YYYY-MM-DD" that there is.
bool isDate(std::string_view text);

// The table of an element's attributes, as docs/policy-format.md shows it.
std::string attributeTable(ElementType type);

}  // namespace qvlpolicy

#endif  // QVLPOLICY_SYNTAX_H
