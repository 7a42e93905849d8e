#include "qvl/xml/DocumentLimits.h"

#include <algorithm>
#include <cstring>
#include <string>

namespace QVL {

namespace {

// What libxml2 sets itself for a text.
constexpr std::size_t kLargestText = 10000000;

// libxml2 parses no entities that name entities deeper than that. It counts some levels more than
// once and refuses an attribute's value from ten on: so edits are kept far from its limits.
constexpr int kDeepest = 40;
constexpr int kDeepestOfEdits = 8;

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

bool admitsChild(const xmlNode* node) {
  int levels = 0;
  for (; node && node->type == XML_ELEMENT_NODE; node = node->parent) ++levels;
  return levels < kMostLevels;
}

bool admitsAttribute(const xmlNode* node, const char* name) {
  int count = 0;
  for (const xmlNs* space = node->nsDef; space; space = space->next) ++count;
  for (const xmlAttr* attribute = node->properties; attribute; attribute = attribute->next) {
    if (std::strcmp(reinterpret_cast<const char*>(attribute->name), name) == 0) return true;
    ++count;
  }
  return count < kMostAttributes;
}

bool admitsName(const char* name) {
  return !name || std::strlen(name) <= kLongestName;
}

bool admitsText(const char* text) {
  std::size_t saved = 0;
  for (; text && *text && saved <= kLongestText; ++text) {
    switch (*text) {
      case '"':
        saved += std::strlen("&quot;");
        break;
      case '&':
        saved += std::strlen("&amp;");
        break;
      case '<':
      case '>':
        saved += std::strlen("&lt;");
        break;
      case '\t':
      case '\n':
      case '\r':
        saved += std::strlen("&#10;");
        break;
      default:
        ++saved;
    }
  }
  return saved <= kLongestText;
}

// A tag begins at each "<", wherever that stands: neither a text nor a value can hold one. So no
// tag is missed; what looks like one in a comment counts as one.
bool AttributeCount::admits(const char* bytes, std::size_t size) {
  for (const char* next = bytes; next != bytes + size; ++next) {
    const char byte = *next;
    if (byte == 0 || byte == ' ' || byte == '\t' || byte == '\r' || byte == '\n') continue;
    if (byte == '<') {
      m_place = Place::AfterLessThan;
    } else if (m_place == Place::AfterLessThan) {
      m_place = byte == '!' || byte == '?' || byte == '/' ? Place::Outside : Place::InTag;
      m_quote = 0;
      m_count = 0;
    } else if (m_place == Place::InTag) {
      if (m_quote) {
        if (byte == m_quote) m_quote = 0;
      } else if (byte == '"' || byte == '\'') {
        m_quote = byte;
        if (m_before == '=' && ++m_count > kMostAttributes) return false;
      } else if (byte == '>') {
        m_place = Place::Outside;
      }
    }
    m_before = byte;
  }
  return true;
}

bool EntityLimits::admitDocument() {
  if (!m_document->intSubset) return true;  // nothing declared, nothing to refer to
  return sizeOfTree(xmlDocGetRootElement(m_document)) < kTooLarge;
}

bool EntityLimits::admit(const char* text, const xmlNode* replaced) {
  if (!text || !m_document->intSubset) return true;
  const Extent added = extentOfReferences(reinterpret_cast<const xmlChar*>(text), 0);
  if (added.levels > kDeepestOfEdits) return false;
  if (added.size == 0) return true;
  std::size_t size = sizeOfTree(xmlDocGetRootElement(m_document));
  const bool hasChildren =
      replaced && (replaced->type == XML_ELEMENT_NODE || replaced->type == XML_ATTRIBUTE_NODE);
  for (const xmlNode* child = hasChildren ? replaced->children : nullptr; child;
       child = child->next) {
    size -= std::min(size, sizeOfTree(child));
  }
  return sum(size, added.size) < kTooLarge;
}

std::size_t EntityLimits::sizeOfTree(const xmlNode* root) {
  std::size_t size = 0;
  for (const xmlNode* node = root; node && size < kTooLarge; node = following(node, root)) {
    if (node->type == XML_ENTITY_REF_NODE) {
      size = sum(size, extentOf(node->name, 0).size);
    } else if (node->type == XML_ELEMENT_NODE) {
      for (const xmlAttr* attribute = node->properties; attribute; attribute = attribute->next) {
        size = sum(size, sizeOfReferences(attribute->children));
      }
    }
  }
  return size;
}

void EntityLimits::Extent::add(const Extent& other) {
  size = sum(size, other.size);
  levels = std::max(levels, other.levels);
}

EntityLimits::Extent EntityLimits::extentOf(const xmlChar* entityName, int depth) {
  if (depth >= kDeepest) return {kTooLarge, 1};
  const xmlEntity* const entity = xmlGetDocEntity(m_document, entityName);
  if (!entity || !entity->content) return {};  // undeclared or external: stays unresolved
  // Too large until it is known: what contains itself has no size.
  const auto [known, isNew] = m_extents.try_emplace(entity, Extent{kTooLarge, 1});
  if (isNew) {
    Extent extent = extentOfReferences(entity->content, depth + 1);
    extent.add({std::strlen(reinterpret_cast<const char*>(entity->content)), 0});
    // Levels are counted from below: an entity may be known before a deeper one that names it.
    if (++extent.levels > kDeepest) extent.size = kTooLarge;
    known->second = extent;
  }
  return known->second;
}

EntityLimits::Extent EntityLimits::extentOfReferences(const xmlChar* text, int depth) {
  Extent extent;
  const char* next = reinterpret_cast<const char*>(text);
  while (extent.size < kTooLarge && (next = std::strchr(next, '&')) != nullptr) {
    ++next;
    const std::string name(next, std::strcspn(next, "&;"));
    next += name.size();
    if (*next == ';') {
      extent.add(extentOf(reinterpret_cast<const xmlChar*>(name.c_str()), depth));
    }
  }
  return extent;
}

std::size_t EntityLimits::sizeOfReferences(const xmlNode* list) {
  std::size_t size = 0;
  for (const xmlNode* node = list; node; node = node->next) {
    if (node->type == XML_ENTITY_REF_NODE) size = sum(size, extentOf(node->name, 0).size);
  }
  return size;
}

}  // namespace QVL
