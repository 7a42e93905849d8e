// A line that is an XPath and a line that is a value, then the document: read, edited, saved, and
// read again.

#include "fuzz/Fuzz.h"

using namespace QVL;

namespace {

std::string saved(LibXmlWrapper& document) {
  std::string text;
  document.SaveToMemory(text);
  return text;
}

void read(LibXmlWrapper& document, const char* xpath) {
  const std::string text = document.getXPathElement(xpath);
  Fuzz::require(document.getXPathStringValue(xpath) == text, "a value is the element's");
  const std::vector<std::string> all = document.getXPathAllElement(xpath);
  if (all.size() == 1) Fuzz::require(all.front() == text, "the only one of all is the one");
  Fuzz::require(document.isXPathElementExists(xpath) == (all.size() == 1), "one exists");
  document.getXPathElementAttribute(xpath, "k");
  Fuzz::require(document.getXPathAllElementAttribute(xpath, "a", "k").size() == all.size() &&
                    document.getXPathAllElement(xpath, "a", "default").size() == all.size(),
                "a row for every node");
  try {
    document.getXPathBoolValue(xpath);
    document.getXPathUnsignedLongValue(xpath);
  } catch (const std::exception&) {
  }
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  std::string text = Fuzz::textOf(data, size);
  const std::string xpath = Fuzz::takeLine(text);
  const std::string value = Fuzz::takeLine(text);
  LibXmlWrapper document(text.data(), text.size());
  read(document, xpath.c_str());
  document.PrintRootElement();
  document.PrintChildrenName(nullptr);
  saved(document);

  document.setXPathElement(xpath.c_str(), value.c_str());
  document.setXPathElementAttribute(xpath.c_str(), "k", value.c_str());
  document.setXPathElementAttributeEx(xpath.c_str(), "l", value.c_str());
  document.AddNewElementNode(xpath.c_str(), "a", value.c_str());
  document.AddNewElementNodeEx(xpath.c_str(), "b", value.c_str());
  read(document, xpath.c_str());
  std::string once = saved(document);
  LibXmlWrapper again(once.data(), once.size());
  saved(again);
  document.AddNewElementNode(nullptr, "root", nullptr);
  Fuzz::require(!document.isXPathElementExists("/a"), "the new root is the only one");
  saved(document);
  return 0;
}
