#include "qvlpolicy/Formatter.h"

#include <libxml/parser.h>
#include <libxml/tree.h>

#include <algorithm>
#include <cstddef>
#include <memory>
#include <new>
#include <utility>

#include "fmt/format.h"
#include "qvlpolicy/Reader.h"
#include "qvlpolicy/Syntax.h"
#include "qvlpolicy/XmlText.h"

namespace qvlpolicy {
namespace {

struct DocumentFree {
  void operator()(xmlDoc* document) const { xmlFreeDoc(document); }
};
using Document = std::unique_ptr<xmlDoc, DocumentFree>;

std::string_view contentOf(const xmlNode* node) {
  return node->content == nullptr ? std::string_view()
                                  : reinterpret_cast<const char*>(node->content);
}

std::string_view nameOf(const xmlNode* node) {
  return reinterpret_cast<const char*>(node->name);
}

bool isText(const xmlNode* node) {
  return node->type == XML_TEXT_NODE || node->type == XML_CDATA_SECTION_NODE;
}

bool isRemark(const xmlNode* node) {
  return node->type == XML_COMMENT_NODE || node->type == XML_PI_NODE;
}

// An element, a comment or a processing instruction among those that it stands with.
struct Item {
  const xmlNode* node;
  bool followsLine;  // stands behind what comes before it, at the end of that line
  bool afterBlank;   // an empty line comes before it
};

// Prints a document that the reader has found to be a policy file.
class Formatter {
 public:
  std::string format(const xmlDoc* document) {
    m_text = "<?xml version=\"1.0\" encoding=\"UTF-8\"?>";
    // The parser keeps no text outside of the root, and so no empty lines.
    for (const xmlNode* node = document->children; node != nullptr; node = node->next) {
      if (isRemark(node)) remark(node, 0);
      if (node->type == XML_ELEMENT_NODE) element(node, ElementType::Policy, 0);
    }
    m_text += '\n';
    return std::move(m_text);
  }

 private:
  void beginLine(std::size_t depth) {
    m_text += '\n';
    m_text.append(2 * depth, ' ');
  }

  void remark(const xmlNode* node, std::size_t depth) {
    beginLine(depth);
    remark(node);
  }

  void remark(const xmlNode* node) {
    if (node->type == XML_COMMENT_NODE) {
      m_text += fmt::format("<!--{}-->", contentOf(node));
      return;
    }
    const std::string_view content = contentOf(node);
    m_text += fmt::format("<?{}{}{}?>", nameOf(node), content.empty() ? "" : " ", content);
  }

  void element(const xmlNode* node, ElementType type, std::size_t depth) {
    const ElementSyntax& syntax = syntaxOf(type);
    if (type == ElementType::DataSet) enterDataSet(node);
    if (type == ElementType::Value) {
      m_text += fmt::format("<{}", syntax.name);
    } else {
      beginLine(depth);
      m_text += fmt::format("<{}", syntax.name);
    }
    attributes(node, syntax);
    const bool holdsText = mayHoldText(syntax, m_kind);
    if (!holdsText && syntax.children.empty() && !holdsRemark(node)) {
      m_text += "/>";
      return;
    }
    m_text += '>';
    const bool isBlock = type == ElementType::Policy || type == ElementType::DataSet ||
                         type == ElementType::KeywordTable;
    isBlock ? block(node, syntax, depth) : inside(node, syntax, holdsText);
    m_text += fmt::format("</{}>", syntax.name);
  }

  static bool holdsRemark(const xmlNode* node) {
    for (const xmlNode* child = node->children; child != nullptr; child = child->next) {
      if (isRemark(child)) return true;
    }
    return false;
  }

  // The kind decides about what is in it.
  void enterDataSet(const xmlNode* node) {
    for (const xmlAttr* one = node->properties; one != nullptr; one = one->next) {
      if (nameOf(reinterpret_cast<const xmlNode*>(one)) != "kind") continue;
      const std::string value = valueOf(one);
      for (const Kind kind : kAllKinds) {
        if (value == kindName(kind)) m_kind = kind;
      }
    }
  }

  static std::string valueOf(const xmlAttr* attribute) {
    const std::unique_ptr<xmlChar, void (*)(void*)> value(
        xmlNodeListGetString(attribute->doc, attribute->children, 1),
        [](void* text) { xmlFree(text); });
    return value ? reinterpret_cast<const char*>(value.get()) : std::string();
  }

  void attributes(const xmlNode* node, const ElementSyntax& syntax) {
    for (const AttributeSyntax& attribute : syntax.attributes) {
      for (const xmlAttr* one = node->properties; one != nullptr; one = one->next) {
        if (nameOf(reinterpret_cast<const xmlNode*>(one)) != attribute.name) continue;
        const std::string value = canonicalValue(attribute.type, valueOf(one));
        if (value == attribute.defaultFor(m_kind)) continue;
        m_text += fmt::format(" {}=\"{}\"", attribute.name, escapedForXml(value, true));
      }
    }
  }

  static ElementType childType(const xmlNode* node, const ElementSyntax& parent) {
    return *std::find_if(parent.children.begin(), parent.children.end(),
                         [&](ElementType type) { return nameOf(node) == syntaxOf(type).name; });
  }

  // Everything behind each other: an element that holds text, or a keyword with its values.
  void inside(const xmlNode* node, const ElementSyntax& syntax, bool holdsText) {
    for (const xmlNode* child = node->children; child != nullptr; child = child->next) {
      if (isText(child)) {
        if (holdsText) m_text += escapedForXml(contentOf(child), false);
      } else if (isRemark(child)) {
        remark(child);
      } else {
        element(child, childType(child, syntax), 0);
      }
    }
  }

  // Everything on lines of its own.
  void block(const xmlNode* node, const ElementSyntax& syntax, std::size_t depth) {
    std::vector<Item> items = itemsIn(node);
    setDataSetsApart(items);
    for (const Item& item : items) {
      if (item.afterBlank) m_text += '\n';
      if (item.followsLine) {
        m_text += ' ';
        remark(item.node);
      } else if (isRemark(item.node)) {
        remark(item.node, depth + 1);
      } else {
        element(item.node, childType(item.node, syntax), depth + 1);
      }
    }
    beginLine(depth);
  }

  static std::vector<Item> itemsIn(const xmlNode* parent) {
    std::vector<Item> items;
    std::size_t breaks = 0;  // since the last item
    for (const xmlNode* node = parent->children; node != nullptr; node = node->next) {
      if (isText(node)) {
        const std::string_view text = contentOf(node);
        breaks += static_cast<std::size_t>(std::count(text.begin(), text.end(), '\n'));
        continue;
      }
      items.push_back({node, isRemark(node) && breaks == 0, breaks > 1 && !items.empty()});
      breaks = 0;
    }
    // Without a line break behind it, a remark belongs to what follows.
    for (std::size_t i = items.size(); i-- > 1;) {
      Item& item = items[i - 1];
      if (item.followsLine && items[i].node == nextItem(item.node) && !breaksBehind(item.node)) {
        item.followsLine = items[i].followsLine;
      }
    }
    return items;
  }

  static const xmlNode* nextItem(const xmlNode* node) {
    do node = node->next;
    while (node != nullptr && isText(node));
    return node;
  }

  // Does the line end between the node and the next one?
  static bool breaksBehind(const xmlNode* node) {
    for (node = node->next; node != nullptr && isText(node); node = node->next) {
      if (contentOf(node).find('\n') != std::string_view::npos) return true;
    }
    return false;
  }

  // An empty line before each data set and each table of keywords, and before the remarks that
  // belong to it.
  static void setDataSetsApart(std::vector<Item>& items) {
    for (std::size_t i = 0; i < items.size(); ++i) {
      const bool isApart = items[i].node->type == XML_ELEMENT_NODE &&
                           (nameOf(items[i].node) == syntaxOf(ElementType::DataSet).name ||
                            nameOf(items[i].node) == syntaxOf(ElementType::KeywordTable).name);
      if (!isApart) continue;
      std::size_t first = i;
      while (first > 0 && !items[first].afterBlank && isRemark(items[first - 1].node) &&
             !items[first - 1].followsLine) {
        --first;
      }
      if (first > 0) items[first].afterBlank = true;
    }
  }

  std::string m_text;
  Kind m_kind = Kind::FilePath;  // of the data set
};

}  // namespace

Formatted formatPolicy(std::string_view text, const std::string& file) {
  Reading reading = readPolicyPart(text, file);
  if (!reading.errors.empty()) return {{}, std::move(reading.errors)};
  const std::string decoded = decodeXml(text).text;
  const Document document(xmlReadMemory(decoded.data(), static_cast<int>(decoded.size()), nullptr,
                                        "UTF-8",
                                        XML_PARSE_NONET | XML_PARSE_IGNORE_ENC | XML_PARSE_HUGE |
                                            XML_PARSE_NOERROR | XML_PARSE_NOWARNING));
  // The reader has read the same text.
  if (!document) throw std::bad_alloc();
  return {Formatter().format(document.get()), {}};
}

}  // namespace qvlpolicy
