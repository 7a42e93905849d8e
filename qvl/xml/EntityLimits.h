// How much text the entities of a document may stand for. Private to the library.

#ifndef QVL_XML_ENTITY_LIMITS_H
#define QVL_XML_ENTITY_LIMITS_H

#include <libxml/tree.h>

#include <cstddef>
#include <map>

namespace QVL {

// libxml2 limits what it resolves while it parses. A reference that stays in the tree is resolved
// later, each time somebody asks for the text around it, and nothing limits that: a few hundred
// bytes can stand for gigabytes. So references are measured before they can be asked for.
class EntityLimits {
 public:
  explicit EntityLimits(xmlDoc* document) : m_document(document) {}

  // Can all references in the document be resolved within the limits?
  bool admitDocument();

  // Can all references in `text`, which may be null, be resolved within the limits?
  bool admit(const char* text);

 private:
  std::size_t sizeOf(const xmlChar* entityName, int depth);
  std::size_t sizeOfReferences(const xmlChar* text, int depth);
  std::size_t sizeOfReferences(const xmlNode* list);

  xmlDoc* m_document;
  std::map<const xmlEntity*, std::size_t> m_sizes;
};

}  // namespace QVL

#endif  // QVL_XML_ENTITY_LIMITS_H
