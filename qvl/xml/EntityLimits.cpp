#include "qvl/xml/EntityLimits.h"

#include <algorithm>
#include <cstring>
#include <string>

namespace QVL {

namespace {

// Those that libxml2 sets itself for a text and for entities that name entities.
constexpr std::size_t kLargestText = 10000000;
constexpr int kDeepest = 40;

constexpr std::size_t kTooLarge = kLargestText + 1;

std::size_t sum(std::size_t a, std::size_t b) {
  return std::min(a + b, kTooLarge);
}

// The next node of a subtree in document order; null after the last.
const xmlNode* following(const xmlNode* node, const xmlNode* root) {
  if (node->type == XML_ELEMENT_NODE && node->children) return node->children;
  while (node != root && !node->next) node = node->parent;
  return node == root ? nullptr : node->next;
}

}  // namespace

bool EntityLimits::admitDocument() {
  if (!m_document->intSubset) return true;  // nothing declared, nothing to refer to
  const xmlNode* const root = xmlDocGetRootElement(m_document);
  std::size_t size = 0;
  for (const xmlNode* node = root; node && size < kTooLarge; node = following(node, root)) {
    if (node->type == XML_ENTITY_REF_NODE) {
      size = sum(size, sizeOf(node->name, 0));
    } else if (node->type == XML_ELEMENT_NODE) {
      for (const xmlAttr* attribute = node->properties; attribute; attribute = attribute->next) {
        size = sum(size, sizeOfReferences(attribute->children));
      }
    }
  }
  return size < kTooLarge;
}

bool EntityLimits::admit(const char* text) {
  return !text || sizeOfReferences(reinterpret_cast<const xmlChar*>(text), 0) < kTooLarge;
}

std::size_t EntityLimits::sizeOf(const xmlChar* entityName, int depth) {
  if (depth >= kDeepest) return kTooLarge;
  const xmlEntity* const entity = xmlGetDocEntity(m_document, entityName);
  if (!entity || !entity->content) return 0;  // undeclared or external: stays unresolved
  // Too large until it is known: what contains itself has no size.
  const auto [known, isNew] = m_sizes.try_emplace(entity, kTooLarge);
  if (isNew) {
    known->second = sum(std::strlen(reinterpret_cast<const char*>(entity->content)),
                        sizeOfReferences(entity->content, depth + 1));
  }
  return known->second;
}

std::size_t EntityLimits::sizeOfReferences(const xmlChar* text, int depth) {
  std::size_t size = 0;
  const char* next = reinterpret_cast<const char*>(text);
  while (size < kTooLarge && (next = std::strchr(next, '&')) != nullptr) {
    ++next;
    const std::string name(next, std::strcspn(next, "&;"));
    next += name.size();
    if (*next == ';') {
      size = sum(size, sizeOf(reinterpret_cast<const xmlChar*>(name.c_str()), depth));
    }
  }
  return size;
}

std::size_t EntityLimits::sizeOfReferences(const xmlNode* list) {
  std::size_t size = 0;
  for (const xmlNode* node = list; node; node = node->next) {
    if (node->type == XML_ENTITY_REF_NODE) size = sum(size, sizeOf(node->name, 0));
  }
  return size;
}

}  // namespace QVL
