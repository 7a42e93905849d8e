// An XML document that answers XPath queries with plain strings and standard containers, and that
// can be edited and saved.

#ifndef QVL_XML_LIB_XML_WRAPPER_H
#define QVL_XML_LIB_XML_WRAPPER_H

#include <list>
#include <memory>
#include <string>
#include <vector>

#include "qvl/core/Export.h"

// libxml2's own types, so that no libxml2 header is needed to use the class.
struct _xmlNode;
struct _xmlDoc;
typedef struct _xmlNode xmlNode;
typedef struct _xmlDoc xmlDoc;

// Owns one libxml2 document. Meant for documents of the size of a configuration file: every query
// evaluates its expression afresh and returns copies.
//
// Failures are told by the result and by fixed lines on standard error that begin "Error"; libxml2
// itself writes nothing there. A document that could not be parsed leaves an object on which every
// query finds nothing. Unless an operation says so, nothing is thrown but std::bad_alloc.
//
// Parsing reads no other file and no network. A document that goes beyond one of these limits
// counts as one that could not be parsed, and an edit that would lead beyond them changes nothing
// and answers false:
//   - 10,000,000 bytes of text for which the entity references of the document stand
//   - entities within entities: eight levels by edits, and what libxml2 parses, at most forty
//   - 1,000 attributes of one element, declarations of name spaces included
//   - elements within elements: 256 levels by edits, and what libxml2 parses (257 in 2.9.14)
//   - 9,990,000 bytes of a text or a value in an edit, as they are saved ("&" is saved as "&amp;"),
//     and 50,000 of a name; what libxml2 parses is a little more
// So a document that was parsed and edited can be saved and read again. That is not looked at
// closer: a name or a character that XML does not have is taken as it is, and cannot be read again.
//
// "The content of a node" below is the text of its first child: an element's leading text, or an
// attribute's value up to a reference to an entity, or that entity's text when the value begins
// with one. A node without such a text reads as the empty string.
//
// Thread safety: one object is used by one thread at a time; different objects are independent.
class QVL_EXPORT LibXmlWrapper {
 public:
  // A new empty document of XML version 1.0.
  LibXmlWrapper();

  // Parses a file. When that fails, writes "Error: unable to parse file \"<name>\"\n".
  explicit LibXmlWrapper(std::string fileName);

  // Parses a text of `size` bytes; failure writes nothing. The text ends at its first zero
  // character, if that comes earlier. The size is passed on as an int; none above 0 is left,
  // nothing is parsed.
  LibXmlWrapper(char* buffer, unsigned long size);

  ~LibXmlWrapper();

  LibXmlWrapper(const LibXmlWrapper&) = delete;
  LibXmlWrapper& operator=(const LibXmlWrapper&) = delete;

  // --- Reading -----------------------------------------------------------------------------------

  // The content of the one node that matches; empty when none or several do.
  std::string getXPathElement(const char* xpath);
  std::string getXPathStringValue(const char* xpath);

  // True for the content "true" or "TRUE", false for any other; throws std::exception when
  // getXPathElement would be empty.
  bool getXPathBoolValue(const char* xpath);

  // The content as a decimal number, read as strtoul does. Throws std::exception when it is empty,
  // holds no digits or is out of range.
  unsigned long getXPathUnsignedLongValue(const char* xpath);

  // True when exactly one node matches.
  bool isXPathElementExists(const char* xpath);

  // The contents of all matching nodes, in document order.
  std::vector<std::string> getXPathAllElement(const char* xpath);

  // The values of an attribute of all matching elements that have it, in document order. One empty
  // string when the expression cannot be evaluated to a node set.
  std::list<std::string> getXPathElementAttribute(const char* xpath, const char* attributeName);

  // For every matching node one row: the values of an attribute of its children named `childName`,
  // the empty string where a child lacks it.
  std::list<std::vector<std::string>> getXPathAllElementAttribute(const char* xpath,
                                                                  const char* childName,
                                                                  const char* attributeName);

  // For every matching node one row: the texts of its children named `childName`. A node without
  // such children gives the row `defaultValue`, or an empty row when that is null.
  std::list<std::vector<std::string>> getXPathAllElement(const char* xpath, const char* childName,
                                                         const char* defaultValue);

  // Writes "Empty Document\n" to standard error when there is no root element.
  void PrintRootElement();

  // Walks the children of `node`, or of the root element when it is null. No visible effect.
  void PrintChildrenName(xmlNode* node);

  // --- Editing -----------------------------------------------------------------------------------
  // The plain operations want exactly one matching node; those ending in Ex want at least one and
  // use the last. Texts are XML: an ampersand that is meant literally must be escaped. All return
  // whether the document was changed, except where they say otherwise.

  // Replaces the content of the one matching node. True as well for a node that has no content of
  // its own to replace, such as "/", and stays as it is.
  bool setXPathElement(const char* xpath, const char* value);

  // Sets or replaces an attribute of the matching element.
  bool setXPathElementAttribute(const char* xpath, const char* attributeName, const char* value);
  bool setXPathElementAttributeEx(const char* xpath, const char* attributeName, const char* value);

  // Adds an element as the last child of the matching element; true when there was one. With a null
  // `xpath` the new element becomes the root, `content` is ignored and the answer is false.
  bool AddNewElementNode(const char* xpath, const char* name, const char* content);
  bool AddNewElementNodeEx(const char* xpath, const char* name, const char* content);

  // Adds an element with an attribute "uri" to the root element and saves the document to the file
  // that it was parsed from. The number of bytes written, or -1.
  int AddNewNode(char* name, char* content);

  // Replaces the document by a new, empty one and hands this XML version and encoding to libxml2.
  // When that does not know the encoding, writes "Error at xmlTextWriterStartDocument\n" to
  // standard error. Whatever was given, the document is saved as XML 1.0 in UTF-8.
  void addXMLHeader(const char* version, const char* encoding);

  // --- Saving ------------------------------------------------------------------------------------

  // Writes the document to a file, as indented UTF-8. Always true, even when writing failed.
  bool SaveToFile(char* path);

  // Puts the document into `out`, as indented UTF-8; empty when that fails. Always true.
  bool SaveToMemory(std::string& out);

 private:
  struct State;  // file name and document
  std::unique_ptr<State> m_state;
};

#endif  // QVL_XML_LIB_XML_WRAPPER_H
