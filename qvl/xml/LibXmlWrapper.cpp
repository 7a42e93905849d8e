#include "qvl/xml/LibXmlWrapper.h"

#include <fcntl.h>
#include <libxml/SAX2.h>
#include <libxml/parser.h>
#include <libxml/tree.h>
#include <libxml/xmlerror.h>
#include <libxml/xmlwriter.h>
#include <libxml/xpath.h>
#include <unistd.h>

#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <exception>
#include <initializer_list>
#include <new>
#include <optional>
#include <utility>

#include "qvl/xml/DocumentLimits.h"
#include "qvl/xml/OldLibXml.h"

namespace {

constexpr char kEncoding[] = "UTF-8";
constexpr char kAddedNodeUri[] = "urn:varnel:qvl";

struct FreeDocument {
  void operator()(xmlDoc* document) const { xmlFreeDoc(document); }
};
struct FreeContext {
  void operator()(xmlXPathContext* context) const { xmlXPathFreeContext(context); }
};
struct FreeResult {
  void operator()(xmlXPathObject* result) const { xmlXPathFreeObject(result); }
};
struct FreeText {
  void operator()(xmlChar* text) const { xmlFree(text); }
};
struct FreeNode {
  void operator()(xmlNode* node) const { xmlFreeNode(node); }
};
struct FreeWriter {
  void operator()(xmlTextWriter* writer) const { xmlFreeTextWriter(writer); }
};
struct FreeParser {
  void operator()(xmlParserCtxt* parser) const { xmlFreeParserCtxt(parser); }
};
struct CloseFile {
  void operator()(std::FILE* file) const { std::fclose(file); }
};
using OwnedDocument = std::unique_ptr<xmlDoc, FreeDocument>;
using Text = std::unique_ptr<xmlChar, FreeText>;
using OwnedNode = std::unique_ptr<xmlNode, FreeNode>;

const xmlChar* xml(const char* text) {
  return reinterpret_cast<const xmlChar*>(text);
}

std::string toString(const xmlChar* text) {
  return text ? std::string(reinterpret_cast<const char*>(text)) : std::string();
}

// Keeps libxml2's own messages of this thread off standard error: what the class tells, it tells
// itself. Most messages go to the structured handler, and a few, such as that of an unknown XPath
// function, straight to the generic one.
class Silence {
 public:
  Silence() {
    QVL::prepareThread();
    m_structured = xmlStructuredError;
    m_structuredContext = xmlStructuredErrorContext;
    m_generic = xmlGenericError;
    m_genericContext = xmlGenericErrorContext;
    xmlSetStructuredErrorFunc(nullptr, ignore);
    xmlSetGenericErrorFunc(nullptr, ignoreText);
    xmlInitParser();
  }
  ~Silence() {
    xmlSetGenericErrorFunc(m_genericContext, m_generic);
    xmlSetStructuredErrorFunc(m_structuredContext, m_structured);
  }
  Silence(const Silence&) = delete;
  Silence& operator=(const Silence&) = delete;

 private:
  static void ignore(void*, QVL::ErrorPointer) {}
  static void ignoreText(void*, const char*, ...) {}

  xmlStructuredErrorFunc m_structured;
  void* m_structuredContext;
  xmlGenericErrorFunc m_generic;
  void* m_genericContext;
};

// A call into libxml2. Every operation that makes one holds this for as long as the call lasts.
class LibraryCall {
  // The first of the process goes alone: the old releases look, without a lock, at what another
  // thread is setting up (TraceThreads, under ThreadSanitizer).
  struct SetUp {
    SetUp() {
      static const bool done = (Silence(), true);
      (void)done;
    }
  };
  SetUp m_setUp;
  Silence m_silence;
};

// The first steps of every query: context, evaluation and the test for a node set. Holds what they
// make until the operation is done with the nodes.
class NodeSet {
 public:
  enum class Failure { None, NoContext, NoResult, NotANodeSet };

  NodeSet(xmlDoc* document, const char* xpath) : m_xpath(xpath ? xpath : "") {
    // Without a document every expression finds nothing, "/" included: an empty one stands in for
    // it, so that what is no node set is told, and its nodes do not count.
    if (!document) {
      m_standIn.reset(xmlNewDoc(xml("1.0")));
      document = m_standIn.get();
    }
    m_context.reset(xmlXPathNewContext(document));
    if (!m_context) {
      m_failure = Failure::NoContext;
      return;
    }
    if (xpath) m_result.reset(QVL::evaluate(xml(xpath), m_context.get()));
    if (!m_result) {
      m_failure = Failure::NoResult;
    } else if (m_result->type != XPATH_NODESET) {
      m_failure = Failure::NotANodeSet;
    }
  }

  Failure failure() const { return m_failure; }

  // Writes the line that belongs to the failure, if any. True when there is a node set.
  bool report() const {
    if (m_failure == Failure::NoContext) {
      std::fputs("Error: unable to create new XPath context\n", stderr);
    } else if (m_failure == Failure::NotANodeSet) {
      std::fprintf(stderr, "Error: unable to evaluate xpath expression \"%s\"\n", m_xpath);
    }
    return m_failure == Failure::None;
  }

  int size() const {
    if (m_failure != Failure::None || m_standIn || !m_result->nodesetval) return 0;
    return m_result->nodesetval->nodeNr;
  }

  xmlNode* operator[](int index) const { return m_result->nodesetval->nodeTab[index]; }

  // Lets go of a node whose children were replaced, so that releasing the result cannot touch them.
  // Namespace declarations belong to the result and stay.
  void forget(int index) {
    xmlNode*& slot = m_result->nodesetval->nodeTab[index];
    if (slot->type != XML_NAMESPACE_DECL) slot = nullptr;
  }

 private:
  const char* m_xpath;
  OwnedDocument m_standIn;
  std::unique_ptr<xmlXPathContext, FreeContext> m_context;
  std::unique_ptr<xmlXPathObject, FreeResult> m_result;
  Failure m_failure = Failure::None;
};

// A namespace node in a result set is not laid out like other nodes: it has no children to ask.
xmlNode* firstChild(const xmlNode* node) {
  return node->type == XML_NAMESPACE_DECL ? nullptr : node->children;
}

std::string contentOf(const xmlNode* node) {
  const xmlNode* child = firstChild(node);
  // A document type, the first child of many a document, is not laid out like other nodes either.
  return child && child->type != XML_DTD_NODE ? toString(child->content) : std::string();
}

// Appends the text of a list of nodes with its entities resolved. Does what libxml2's own function
// does, in time that grows with the length of the text and not with its square.
void appendText(std::string& text, xmlDoc* document, const xmlNode* list) {
  for (const xmlNode* node = list; node; node = node->next) {
    if (node->type == XML_ENTITY_REF_NODE) {
      if (const xmlEntity* entity = xmlGetDocEntity(document, node->name)) {
        appendText(text, document, entity->children);
      }
    } else if (node->type == XML_TEXT_NODE || node->type == XML_CDATA_SECTION_NODE) {
      text += toString(node->content);
    }
  }
}

std::string textOf(xmlDoc* document, const xmlNode* list) {
  std::string text;
  appendText(text, document, list);
  return text;
}

bool isElement(const xmlNode* node) {
  return node->type == XML_ELEMENT_NODE;
}

// The attribute's value, which the document type may have set; none when the node does not have it.
std::optional<std::string> attributeOf(const xmlNode* node, const char* name) {
  const xmlAttr* attribute = isElement(node) ? xmlHasProp(node, xml(name)) : nullptr;
  if (!attribute) return std::nullopt;
  if (attribute->type == XML_ATTRIBUTE_DECL) {
    return toString(reinterpret_cast<const xmlAttribute*>(attribute)->defaultValue);
  }
  return textOf(node->doc, attribute->children);
}

// One row for every node of the set: what `cell` makes of each child of the wanted name.
template <typename Cell>
std::list<std::vector<std::string>> rowsOf(const NodeSet& nodes, const char* childName, Cell cell) {
  std::list<std::vector<std::string>> rows;
  for (int i = 0; i < nodes.size(); ++i) {
    rows.emplace_back();
    for (xmlNode* child = firstChild(nodes[i]); child; child = child->next) {
      if (child->name && xmlStrcmp(child->name, xml(childName)) == 0) {
        rows.back().push_back(cell(child));
      }
    }
  }
  return rows;
}

// The node that an edit works on: the only one of the set, or the last of at least one.
enum class Wanted { OnlyNode, LastNode };

bool has(const NodeSet& nodes, Wanted wanted) {
  return wanted == Wanted::OnlyNode ? nodes.size() == 1 : nodes.size() > 0;
}

xmlNode* targetOf(const NodeSet& nodes) {
  return nodes[nodes.size() - 1];
}

bool setAttribute(const NodeSet& nodes, const char* name, const char* value) {
  xmlNode* node = targetOf(nodes);
  if (!isElement(node) || !name || !QVL::admitsName(name) || !QVL::admitsText(value)) return false;
  return QVL::admitsAttribute(node, name) && xmlSetProp(node, xml(name), xml(value));
}

// Can a child be added to an element without the document growing too large?
bool admitsChild(xmlNode* node, const char* name, const char* content) {
  return QVL::admitsChild(node) && QVL::admitsName(name) && QVL::admitsText(content) &&
         QVL::EntityLimits(node->doc).admit(content, nullptr);
}

bool addChild(const NodeSet& nodes, const char* name, const char* content) {
  xmlNode* node = targetOf(nodes);
  if (!isElement(node) || !admitsChild(node, name, content)) return false;
  xmlNewChild(node, nullptr, xml(name), xml(content));
  return true;
}

// Makes a new element the root. A root that was there before is released.
void replaceRoot(xmlDoc* document, const char* name) {
  OwnedNode root(QVL::newElement(xml(name)));
  if (!document || !root || !QVL::admitsName(name)) return;
  const OwnedNode former(xmlDocSetRootElement(document, root.get()));
  root.release();
}

xmlParserCtxt* parserOf(void* context) {
  return static_cast<xmlParserCtxt*>(context);
}

// libxml2 asks for a parameter entity wherever one is referred to, and can be kept busy with that
// for ever. Counts the references and ends the parsing when there are too many.
xmlEntity* parameterEntity(void* context, const xmlChar* name) {
  constexpr int kMostReferences = 1000;
  int& references = *static_cast<int*>(parserOf(context)->_private);
  if (++references <= kMostReferences) return xmlSAX2GetParameterEntity(context, name);
  xmlStopParser(parserOf(context));
  return nullptr;
}

// Ends the parsing at an element with too many attributes, however it was written.
void startElement(void* context, const xmlChar* name, const xmlChar* prefix, const xmlChar* uri,
                  int spaceCount, const xmlChar** spaces, int count, int defaulted,
                  const xmlChar** attributes) {
  if (spaceCount + count > QVL::kMostAttributes) {
    parserOf(context)->wellFormed = 0;
    xmlStopParser(parserOf(context));
    return;
  }
  xmlSAX2StartElementNs(context, name, prefix, uri, spaceCount, spaces, count, defaulted,
                        attributes);
}

// What `read` makes of a new parser; null when that fails, and when the document is larger than it
// may be.
template <typename Read>
OwnedDocument parse(Read read) {
  const std::unique_ptr<xmlParserCtxt, FreeParser> parser(xmlNewParserCtxt());
  if (!parser) return nullptr;
  int references = 0;
  parser->_private = &references;
  parser->sax->getParameterEntity = parameterEntity;
  parser->sax->startElementNs = startElement;
  OwnedDocument document(read(parser.get()));
  if (document && !QVL::EntityLimits(document.get()).admitDocument()) document.reset();
  return document;
}

// A file on its way to the parser.
struct FileReader {
  int descriptor;
  QVL::AttributeCount attributes;

  static int read(void* reader, char* buffer, int size) {
    auto& self = *static_cast<FileReader*>(reader);
    const ssize_t length = ::read(self.descriptor, buffer, static_cast<std::size_t>(size));
    if (length < 0 || !self.attributes.admits(buffer, static_cast<std::size_t>(length))) return -1;
    return static_cast<int>(length);
  }
};

OwnedDocument parseFile(const std::string& name) {
  // Opened here, and not by libxml2, so that a name is a file's name and nothing else: no standard
  // input, no address, nothing to be unpacked. Not waiting keeps a named pipe from blocking.
  FileReader file{open(name.c_str(), O_RDONLY | O_CLOEXEC | O_NONBLOCK), {}};
  if (file.descriptor < 0) return nullptr;
  OwnedDocument document = parse([&](xmlParserCtxt* parser) {
    return xmlCtxtReadIO(parser, FileReader::read, nullptr, &file, name.c_str(), nullptr,
                         XML_PARSE_NONET);
  });
  close(file.descriptor);
  return document;
}

// The bytes of one character at least: in the encodings of 2 and 4 bytes a zero byte is part of
// most characters. A text shows them by its mark or by the "<" that it begins with.
unsigned long characterSize(const char* text, unsigned long size) {
  // One byte after the other: the text may end before the first four.
  const auto begins = [&](std::initializer_list<unsigned char> bytes) {
    unsigned long i = 0;
    for (const unsigned char byte : bytes) {
      if (i == size || static_cast<unsigned char>(text[i++]) != byte) return false;
    }
    return true;
  };
  if (begins({0xFF, 0xFE}) || begins({0xFE, 0xFF})) return 2;
  if (begins({'<', 0, '?', 0}) || begins({0, '<', 0, '?'})) return 2;
  if (begins({'<', 0, 0, 0}) || begins({0, 0, 0, '<'})) return 4;
  return 1;
}

// The size of the text up to its first zero character.
unsigned long lengthOf(const char* text, unsigned long size) {
  const unsigned long step = characterSize(text, size);
  if (step == 1) return strnlen(text, size);
  const char zero[4] = {};
  unsigned long length = 0;
  while (length + step <= size && std::memcmp(text + length, zero, step) != 0) length += step;
  return length + step <= size ? length : size;
}

OwnedDocument parseMemory(const char* buffer, unsigned long size) {
  // As an int, which is what libxml2 takes a size for.
  const int wanted = static_cast<int>(size);
  if (!buffer || wanted <= 0) return nullptr;
  const int length = static_cast<int>(lengthOf(buffer, static_cast<unsigned long>(wanted)));
  if (!QVL::AttributeCount().admits(buffer, static_cast<std::size_t>(length))) return nullptr;
  return parse([&](xmlParserCtxt* parser) {
    return xmlCtxtReadMemory(parser, buffer, length, nullptr, nullptr, XML_PARSE_NONET);
  });
}

// The whole document as indented UTF-8; null when that fails, and then `size` is 0.
Text serialise(xmlDoc* document, int& size) {
  xmlChar* buffer = nullptr;
  size = 0;
  xmlDocDumpFormatMemoryEnc(document, &buffer, &size, kEncoding, 1);
  return Text(buffer);
}

// Writes the document to a file: the number of bytes, or -1. Opened here for the same reason as the
// files that are parsed: libxml2 would take some names for addresses, and resolve escapes in
// others.
int saveTo(const char* name, xmlDoc* document) {
  int size = 0;
  const Text text = serialise(document, size);
  if (!text) return -1;
  std::unique_ptr<std::FILE, CloseFile> file(std::fopen(name, "wb"));
  if (!file) return -1;
  const std::size_t wanted = static_cast<std::size_t>(size);
  const bool written = std::fwrite(text.get(), 1, wanted, file.get()) == wanted;
  const bool closed = std::fclose(file.release()) == 0;
  return written && closed ? size : -1;
}

}  // namespace

struct LibXmlWrapper::State {
  std::string fileName;
  OwnedDocument document;  // null when parsing failed
};

LibXmlWrapper::LibXmlWrapper() : m_state(std::make_unique<State>()) {
  const LibraryCall call;
  m_state->document.reset(xmlNewDoc(xml("1.0")));
}

LibXmlWrapper::LibXmlWrapper(std::string fileName) : m_state(std::make_unique<State>()) {
  const LibraryCall call;
  m_state->fileName = std::move(fileName);
  m_state->document = parseFile(m_state->fileName);
  if (!m_state->document) {
    std::fprintf(stderr, "Error: unable to parse file \"%s\"\n", m_state->fileName.c_str());
  }
}

LibXmlWrapper::LibXmlWrapper(char* buffer, unsigned long size)
    : m_state(std::make_unique<State>()) {
  const LibraryCall call;
  m_state->document = parseMemory(buffer, size);
}

LibXmlWrapper::~LibXmlWrapper() = default;

std::string LibXmlWrapper::getXPathElement(const char* xpath) {
  const LibraryCall call;
  const NodeSet nodes(m_state->document.get(), xpath);
  if (!nodes.report() || nodes.size() != 1) return std::string();
  return contentOf(nodes[0]);
}

std::string LibXmlWrapper::getXPathStringValue(const char* xpath) {
  return getXPathElement(xpath);
}

bool LibXmlWrapper::getXPathBoolValue(const char* xpath) {
  const std::string text = getXPathElement(xpath);
  if (text.empty()) throw std::exception();
  return text == "true" || text == "TRUE";
}

unsigned long LibXmlWrapper::getXPathUnsignedLongValue(const char* xpath) {
  const std::string text = getXPathElement(xpath);
  if (text.empty()) throw std::exception();
  errno = 0;
  char* end = nullptr;
  const unsigned long value = std::strtoul(text.c_str(), &end, 10);
  // Not every platform reports a text without digits as an error.
  if (errno != 0 || end == text.c_str()) throw std::exception();
  return value;
}

bool LibXmlWrapper::isXPathElementExists(const char* xpath) {
  const LibraryCall call;
  return NodeSet(m_state->document.get(), xpath).size() == 1;
}

std::vector<std::string> LibXmlWrapper::getXPathAllElement(const char* xpath) {
  const LibraryCall call;
  const NodeSet nodes(m_state->document.get(), xpath);
  nodes.report();
  std::vector<std::string> texts;
  for (int i = 0; i < nodes.size(); ++i) texts.push_back(contentOf(nodes[i]));
  return texts;
}

std::list<std::string> LibXmlWrapper::getXPathElementAttribute(const char* xpath,
                                                               const char* attributeName) {
  const LibraryCall call;
  const NodeSet nodes(m_state->document.get(), xpath);
  if (!nodes.report()) return {std::string()};
  std::list<std::string> values;
  for (int i = 0; i < nodes.size(); ++i) {
    if (const auto value = attributeOf(nodes[i], attributeName)) values.push_back(*value);
  }
  return values;
}

std::list<std::vector<std::string>> LibXmlWrapper::getXPathAllElementAttribute(
    const char* xpath, const char* childName, const char* attributeName) {
  const LibraryCall call;
  const NodeSet nodes(m_state->document.get(), xpath);
  nodes.report();
  return rowsOf(nodes, childName, [&](xmlNode* child) {
    return attributeOf(child, attributeName).value_or(std::string());
  });
}

std::list<std::vector<std::string>> LibXmlWrapper::getXPathAllElement(const char* xpath,
                                                                      const char* childName,
                                                                      const char* defaultValue) {
  const LibraryCall call;
  const NodeSet nodes(m_state->document.get(), xpath);
  nodes.report();
  auto rows = rowsOf(nodes, childName, [&](xmlNode* child) {
    return textOf(m_state->document.get(), firstChild(child));
  });
  for (auto& row : rows) {
    if (row.empty() && defaultValue) row.emplace_back(defaultValue);
  }
  return rows;
}

void LibXmlWrapper::PrintRootElement() {
  if (!xmlDocGetRootElement(m_state->document.get())) std::fputs("Empty Document\n", stderr);
}

void LibXmlWrapper::PrintChildrenName(xmlNode* node) {
  if (!node) node = xmlDocGetRootElement(m_state->document.get());
  if (!node) return;
  for (const xmlNode* child = firstChild(node); child; child = child->next) {
  }
}

bool LibXmlWrapper::setXPathElement(const char* xpath, const char* value) {
  const LibraryCall call;
  NodeSet nodes(m_state->document.get(), xpath);
  if (!nodes.report() || !has(nodes, Wanted::OnlyNode)) return false;
  if (!QVL::admitsText(value)) return false;
  if (!QVL::EntityLimits(m_state->document.get()).admit(value, nodes[0])) return false;
  xmlNodeSetContent(nodes[0], xml(value));
  nodes.forget(0);
  return true;
}

bool LibXmlWrapper::setXPathElementAttribute(const char* xpath, const char* attributeName,
                                             const char* value) {
  const LibraryCall call;
  const NodeSet nodes(m_state->document.get(), xpath);
  return nodes.report() && has(nodes, Wanted::OnlyNode) &&
         setAttribute(nodes, attributeName, value);
}

bool LibXmlWrapper::setXPathElementAttributeEx(const char* xpath, const char* attributeName,
                                               const char* value) {
  if (!xpath) {
    std::fputs("Error: Null query passed\n", stderr);
    return false;
  }
  const LibraryCall call;
  const NodeSet nodes(m_state->document.get(), xpath);
  if (!nodes.report()) return false;
  if (!has(nodes, Wanted::LastNode)) {
    std::fputs("Error: size is zero\n", stderr);
    return false;
  }
  return setAttribute(nodes, attributeName, value);
}

bool LibXmlWrapper::AddNewElementNode(const char* xpath, const char* name, const char* content) {
  const LibraryCall call;
  if (!xpath) {
    replaceRoot(m_state->document.get(), name);
    return false;
  }
  const NodeSet nodes(m_state->document.get(), xpath);
  return nodes.report() && has(nodes, Wanted::OnlyNode) && addChild(nodes, name, content);
}

bool LibXmlWrapper::AddNewElementNodeEx(const char* xpath, const char* name, const char* content) {
  const LibraryCall call;
  if (!xpath) {
    replaceRoot(m_state->document.get(), name);
    return false;
  }
  const NodeSet nodes(m_state->document.get(), xpath);
  if (!nodes.report()) return false;
  if (!has(nodes, Wanted::LastNode)) {
    std::fputs("Error: size if zero", stderr);
    return false;
  }
  return addChild(nodes, name, content);
}

int LibXmlWrapper::AddNewNode(char* name, char* content) {
  const LibraryCall call;
  xmlNode* root = xmlDocGetRootElement(m_state->document.get());
  const bool addable = root && admitsChild(root, name, content);
  xmlNode* added = addable ? xmlNewChild(root, nullptr, xml(name), xml(content)) : nullptr;
  if (added) xmlSetProp(added, xml("uri"), xml(kAddedNodeUri));
  return saveTo(m_state->fileName.c_str(), m_state->document.get());
}

void LibXmlWrapper::addXMLHeader(const char* version, const char* encoding) {
  const LibraryCall call;
  xmlDoc* created = nullptr;
  const std::unique_ptr<xmlTextWriter, FreeWriter> writer(xmlNewTextWriterDoc(&created, 0));
  if (created) m_state->document.reset(created);
  if (!writer || xmlTextWriterStartDocument(writer.get(), version, encoding, nullptr) < 0) {
    std::fputs("Error at xmlTextWriterStartDocument\n", stderr);
  }
}

bool LibXmlWrapper::SaveToFile(char* path) {
  const LibraryCall call;
  if (path) saveTo(path, m_state->document.get());
  return true;
}

bool LibXmlWrapper::SaveToMemory(std::string& out) {
  const LibraryCall call;
  int size = 0;
  const Text text = serialise(m_state->document.get(), size);
  out.assign(text ? reinterpret_cast<const char*>(text.get()) : "", static_cast<std::size_t>(size));
  return true;
}
