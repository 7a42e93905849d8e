// How large a document may get, in what makes it expensive. Private to the library.

#ifndef QVL_XML_DOCUMENT_LIMITS_H
#define QVL_XML_DOCUMENT_LIMITS_H

#include <libxml/tree.h>

#include <cstddef>
#include <map>

namespace QVL {

// libxml2 refuses a document with a deeper element, a longer text, value or name, when it parses;
// an edit is refused a little earlier, so that a document that was edited can be saved and read
// again.
constexpr int kMostLevels = 256;
constexpr std::size_t kLongestText = 9990000;
constexpr std::size_t kLongestName = 50000;

// Of one element, declarations of name spaces included. libxml2 compares each with every other.
constexpr int kMostAttributes = 1000;

// Can an element at this node have a child, another attribute of this name?
bool admitsChild(const xmlNode* node);
bool admitsAttribute(const xmlNode* node, const char* name);

// Is a name, a text or a value, which may be null, short enough? A text is measured as an
// attribute's value is saved.
bool admitsName(const char* name);
bool admitsText(const char* text);

// Counts the attributes in a document as it is read, in every encoding that writes ASCII as ASCII,
// with zero bytes between or without.
class AttributeCount {
 public:
  // False when an element of the document has too many.
  bool admits(const char* bytes, std::size_t size);

 private:
  enum class Place { Outside, AfterLessThan, InTag };

  Place m_place = Place::Outside;
  char m_quote = 0;
  char m_before = 0;  // the byte before, blanks left out
  int m_count = 0;
};

// libxml2 limits what it resolves while it parses. A reference that stays in the tree is resolved
// later, each time somebody asks for the text around it, and nothing limits that: a few hundred
// bytes can stand for gigabytes. So references are measured before they can be asked for.
class EntityLimits {
 public:
  explicit EntityLimits(xmlDoc* document) : m_document(document) {}

  // Can all references in the document be resolved within the limits?
  bool admitDocument();

  // Can they when `text`, which may be null, is added to it, in the place of the content of
  // `replaced` unless that is null?
  bool admit(const char* text, const xmlNode* replaced);

 private:
  // What entities stand for.
  struct Extent {
    std::size_t size = 0;
    int levels = 0;  // of entities within entities

    void add(const Extent& other);
  };

  Extent extentOf(const xmlChar* entityName, int depth);
  Extent extentOfReferences(const xmlChar* text, int depth);
  std::size_t sizeOfReferences(const xmlNode* list);
  std::size_t sizeOfTree(const xmlNode* root);

  xmlDoc* m_document;
  std::map<const xmlEntity*, Extent> m_extents;
};

}  // namespace QVL

#endif  // QVL_XML_DOCUMENT_LIMITS_H
