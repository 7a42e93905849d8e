// An XML file, read whole.

#ifndef QVLCTL_IO_XML_FILE_H
#define QVLCTL_IO_XML_FILE_H

#include <qvl/qvl.h>

#include <string>

namespace qvlctl {

// Throws Trouble when the file cannot be read or is not well-formed XML.
class XmlFile {
 public:
  explicit XmlFile(const std::string& file);

  // From the text that the file is known to hold.
  XmlFile(const std::string& file, std::string text);

  const std::string& text() const { return m_text; }
  LibXmlWrapper& document() { return m_document; }

  // How many nodes an XPath expression finds.
  std::size_t count(const std::string& xpath);

 private:
  std::string m_text;
  LibXmlWrapper m_document;
};

}  // namespace qvlctl

#endif  // QVLCTL_IO_XML_FILE_H
