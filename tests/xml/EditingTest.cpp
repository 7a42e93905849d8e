#include <string>

#include "tests/support/ScratchFolder.h"
#include "tests/xml/XmlFixture.h"

namespace QVL {
namespace Test {
namespace {

class XmlEditing : public XmlTest {};

// --- setXPathElement
// -------------------------------------------------------------------------------

struct ContentEdit {
  const char* document;
  const char* xpath;
  const char* value;
  bool changed;
  const char* after;
};

const ContentEdit kContentEdits[] = {
    {"<r>old</r>", "/r", "new", true, "<r>new</r>\n"},
    {"<r/>", "/r", "new", true, "<r>new</r>\n"},
    {"<r>old<b>inner</b><c/></r>", "/r", "new", true, "<r>new</r>\n"},
    {"<r>old</r>", "/r", "", true, "<r/>\n"},
    {"<r>old</r>", "/r", nullptr, true, "<r/>\n"},
    {"<r>old</r>", "/r", "\xC3\xA4", true, "<r>\xC3\xA4</r>\n"},
    // Entity references are read, markup is not.
    {"<r>old</r>", "/r", "a &amp; b", true, "<r>a &amp; b</r>\n"},
    {"<r>old</r>", "/r", "&#228;", true, "<r>\xC3\xA4</r>\n"},
    {"<r>old</r>", "/r", "a < b > c", true, "<r>a &lt; b &gt; c</r>\n"},
    {"<r>old</r>", "/r", "<b/>", true, "<r>&lt;b/&gt;</r>\n"},
    // The node need not be an element.
    {"<r a='old'/>", "/r/@a", "new", true, "<r a=\"new\"/>\n"},
    {"<r a='old'/>", "/r/@a", "a &quot; &lt; b", true, "<r a=\"a &quot; &lt; b\"/>\n"},
    {"<r>old</r>", "/r/text()", "new", true, "<r>new</r>\n"},
    {"<r><!--old--></r>", "/r/comment()", "new", true, "<r>\n  <!--new-->\n</r>\n"},
    {"<r>old</r>", "/", "new", true, "<r>old</r>\n"},
    {"<r xmlns:p='urn:p'>old</r>", "/r/namespace::p", "new", true,
     "<r xmlns:p=\"urn:p\">old</r>\n"},
    {"<r>old</r>", "/r/namespace::xml", "new", true, "<r>old</r>\n"},
    // Exactly one node is wanted.
    {"<r><b>1</b><b>2</b></r>", "/r/b", "new", false, "<r>\n  <b>1</b>\n  <b>2</b>\n</r>\n"},
    {"<r><b>1</b><b>2</b></r>", "/r/b[2]", "new", true, "<r>\n  <b>1</b>\n  <b>new</b>\n</r>\n"},
    {"<r><b>1</b><b>2</b></r>", "/r/c", "new", false, "<r>\n  <b>1</b>\n  <b>2</b>\n</r>\n"},
    {"<r xmlns:p='urn:p'/>", "//namespace::*", "new", false, "<r xmlns:p=\"urn:p\"/>\n"},
    // An expression that looks into what is replaced.
    {"<r><b>1</b></r>", "/r[b='1']", "new", true, "<r>new</r>\n"},
};

TEST_F(XmlEditing, ContentOfTheOneMatchingNodeIsReplaced) {
  for (const ContentEdit& row : kContentEdits) {
    SCOPED_TRACE(std::string(row.document) + " " + row.xpath + " " +
                 (row.value ? row.value : "null"));
    TextDocument document(row.document);
    EXPECT_EQ(document.setXPathElement(row.xpath, row.value), row.changed);
    EXPECT_EQ(bodyOf(document), row.after);
  }
}

TEST_F(XmlEditing, ContentThatWasSetIsRead) {
  TextDocument document("<r><b>1</b></r>");
  EXPECT_TRUE(document.setXPathElement("/r/b", "x &lt; y &amp; z"));
  EXPECT_EQ(document.getXPathElement("/r/b"), "x < y & z");
  EXPECT_TRUE(document.setXPathElement("/r/b", "5"));
  EXPECT_EQ(document.getXPathUnsignedLongValue("/r/b"), 5U);
}

// --- setXPathElementAttribute, setXPathElementAttributeEx
// ------------------------------------------

struct AttributeEdit {
  const char* document;
  const char* xpath;
  const char* attribute;
  const char* value;
  bool changed;
  const char* after;
};

using SetAttribute = bool (LibXmlWrapper::*)(const char*, const char*, const char*);

void expectAttributeEdit(SetAttribute edit, const AttributeEdit& row) {
  SCOPED_TRACE(std::string(row.document) + " " + row.xpath);
  TextDocument document(row.document);
  EXPECT_EQ((document.*edit)(row.xpath, row.attribute, row.value), row.changed);
  EXPECT_EQ(bodyOf(document), row.after);
}

// Both variants, as long as exactly one node matches.
const AttributeEdit kAttributeEdits[] = {
    {"<r/>", "/r", "k", "new", true, "<r k=\"new\"/>\n"},
    {"<r k='old' l='x'/>", "/r", "k", "new", true, "<r k=\"new\" l=\"x\"/>\n"},
    {"<r k='old'/>", "/r", "k", "", true, "<r k=\"\"/>\n"},
    {"<r k='old'/>", "/r", "k", nullptr, true, "<r k=\"\"/>\n"},
    {"<r/>", "/r", "k", "a & \" < b", true, "<r k=\"a &amp; &quot; &lt; b\"/>\n"},
    {"<r/>", "/r", "xml:lang", "de", true, "<r xml:lang=\"de\"/>\n"},
    {"<r/>", "/r", nullptr, "new", false, "<r/>\n"},
    // The node must be an element.
    {"<r k='old'/>", "/r/@k", "k", "new", false, "<r k=\"old\"/>\n"},
    {"<r>text</r>", "/r/text()", "k", "new", false, "<r>text</r>\n"},
    {"<r/>", "/", "k", "new", false, "<r/>\n"},
    {"<r xmlns:p='urn:p'/>", "/r/namespace::p", "k", "new", false, "<r xmlns:p=\"urn:p\"/>\n"},
};

TEST_F(XmlEditing, AttributeOfTheMatchingElementIsSetOrReplaced) {
  for (const AttributeEdit& row : kAttributeEdits) {
    expectAttributeEdit(&LibXmlWrapper::setXPathElementAttribute, row);
    expectAttributeEdit(&LibXmlWrapper::setXPathElementAttributeEx, row);
  }
}

TEST_F(XmlEditing, AttributeIsSetOnTheOneMatchOnly) {
  const AttributeEdit rows[] = {
      {"<r><b/><b/></r>", "/r/b", "k", "new", false, "<r>\n  <b/>\n  <b/>\n</r>\n"},
      {"<r><b/><b/></r>", "/r/c", "k", "new", false, "<r>\n  <b/>\n  <b/>\n</r>\n"},
  };
  for (const AttributeEdit& row : rows) {
    expectAttributeEdit(&LibXmlWrapper::setXPathElementAttribute, row);
  }
}

TEST_F(XmlEditing, AttributeExIsSetOnTheLastMatchInDocumentOrder) {
  const AttributeEdit rows[] = {
      {"<r><b/><b/></r>", "/r/b", "k", "new", true, "<r>\n  <b/>\n  <b k=\"new\"/>\n</r>\n"},
      {"<r><b/><b/></r>", "/r/b[2] | /r/b[1]", "k", "new", true,
       "<r>\n  <b/>\n  <b k=\"new\"/>\n</r>\n"},
      {"<r><b/><b/></r>", "/r/b[2]/preceding-sibling::b | /r", "k", "new", true,
       "<r>\n  <b k=\"new\"/>\n  <b/>\n</r>\n"},
      // The last match decides, not the last element among the matches.
      {"<r><b/>text</r>", "/r/node()", "k", "new", false, "<r><b/>text</r>\n"},
  };
  for (const AttributeEdit& row : rows) {
    expectAttributeEdit(&LibXmlWrapper::setXPathElementAttributeEx, row);
  }
}

TEST_F(XmlEditing, AttributeExTellsWhatItMisses) {
  TextDocument document("<r/>");
  EXPECT_FALSE(document.setXPathElementAttributeEx(nullptr, "k", "new"));
  EXPECT_EQ(standardError(), "Error: Null query passed\n");
  EXPECT_FALSE(document.setXPathElementAttributeEx("/r/none", "k", "new"));
  EXPECT_EQ(standardError(), "Error: size is zero\n");
  EXPECT_EQ(bodyOf(document), "<r/>\n");
}

// --- AddNewElementNode, AddNewElementNodeEx
// --------------------------------------------------------

using AddElement = bool (LibXmlWrapper::*)(const char*, const char*, const char*);
constexpr AddElement kBothVariants[] = {&LibXmlWrapper::AddNewElementNode,
                                        &LibXmlWrapper::AddNewElementNodeEx};

TEST_F(XmlEditing, ElementWithoutAnExpressionBecomesTheRoot) {
  for (const AddElement add : kBothVariants) {
    LibXmlWrapper document;
    EXPECT_FALSE((document.*add)(nullptr, "root", "ignored"));
    EXPECT_EQ(bodyOf(document), "<root/>\n");
    EXPECT_TRUE((document.*add)("/root", "child", "text"));
    EXPECT_EQ(bodyOf(document), "<root>\n  <child>text</child>\n</root>\n");
  }
}

TEST_F(XmlEditing, ElementWithoutAnExpressionReplacesTheFormerRoot) {
  for (const AddElement add : kBothVariants) {
    TextDocument document("<!--kept--><old><b>1</b></old>");
    EXPECT_FALSE((document.*add)(nullptr, "new", nullptr));
    EXPECT_EQ(bodyOf(document), "<!--kept-->\n<new/>\n");
    EXPECT_FALSE((document.*add)(nullptr, "newer", nullptr));
    EXPECT_EQ(bodyOf(document), "<!--kept-->\n<newer/>\n");
  }
}

TEST_F(XmlEditing, ElementNeitherBecomesTheRootOfAnUnparsableDocument) {
  for (const AddElement add : kBothVariants) {
    TextDocument document("<r>");
    EXPECT_FALSE((document.*add)(nullptr, "root", nullptr));
    EXPECT_FALSE(document.isXPathElementExists("/root"));
  }
}

TEST_F(XmlEditing, RootWithoutANameIsNoRoot) {
  for (const AddElement add : kBothVariants) {
    TextDocument document("<r/>");
    EXPECT_FALSE((document.*add)(nullptr, nullptr, nullptr));
    EXPECT_EQ(bodyOf(document), "<r/>\n");
  }
}

struct ElementAdded {
  const char* document;
  const char* xpath;
  const char* name;
  const char* content;
  bool added;
  const char* after;
};

void expectElementAdded(AddElement add, const ElementAdded& row) {
  SCOPED_TRACE(std::string(row.document) + " " + row.xpath);
  TextDocument document(row.document);
  EXPECT_EQ((document.*add)(row.xpath, row.name, row.content), row.added);
  EXPECT_EQ(bodyOf(document), row.after);
}

TEST_F(XmlEditing, ElementIsAddedAsTheLastChildOfTheMatchingElement) {
  const ElementAdded rows[] = {
      {"<r/>", "/r", "n", "text", true, "<r>\n  <n>text</n>\n</r>\n"},
      {"<r><a/></r>", "/r", "n", "text", true, "<r>\n  <a/>\n  <n>text</n>\n</r>\n"},
      {"<r/>", "/r", "n", nullptr, true, "<r>\n  <n/>\n</r>\n"},
      {"<r/>", "/r", "n", "", true, "<r>\n  <n/>\n</r>\n"},
      {"<r/>", "/r", "n", "a &lt; &amp; b", true, "<r>\n  <n>a &lt; &amp; b</n>\n</r>\n"},
      {"<r>old</r>", "/r", "n", "text", true, "<r>old<n>text</n></r>\n"},
      // True for a parent, whatever became of the child.
      {"<r/>", "/r", nullptr, "text", true, "<r/>\n"},
      // The parent must be an element.
      {"<r a='1'/>", "/r/@a", "n", "text", false, "<r a=\"1\"/>\n"},
      {"<r>old</r>", "/r/text()", "n", "text", false, "<r>old</r>\n"},
      {"<r/>", "/", "n", "text", false, "<r/>\n"},
      {"<r xmlns:p='urn:p'/>", "/r/namespace::p", "n", "text", false, "<r xmlns:p=\"urn:p\"/>\n"},
  };
  for (const ElementAdded& row : rows) {
    for (const AddElement add : kBothVariants) expectElementAdded(add, row);
  }
}

TEST_F(XmlEditing, ElementIsAddedToTheOneMatchOnly) {
  const ElementAdded rows[] = {
      {"<r><b/><b/></r>", "/r/b", "n", "text", false, "<r>\n  <b/>\n  <b/>\n</r>\n"},
      {"<r><b/></r>", "/r/c", "n", "text", false, "<r>\n  <b/>\n</r>\n"},
  };
  for (const ElementAdded& row : rows) expectElementAdded(&LibXmlWrapper::AddNewElementNode, row);
}

TEST_F(XmlEditing, ElementExIsAddedToTheLastMatch) {
  const ElementAdded rows[] = {
      {"<r><b/><b/></r>", "/r/b", "n", "text", true,
       "<r>\n  <b/>\n  <b>\n    <n>text</n>\n  </b>\n</r>\n"},
      {"<r><b/>text</r>", "/r/node()", "n", "text", false, "<r><b/>text</r>\n"},
  };
  for (const ElementAdded& row : rows) expectElementAdded(&LibXmlWrapper::AddNewElementNodeEx, row);
}

TEST_F(XmlEditing, ElementExTellsAMissingParentWithoutALineEnd) {
  TextDocument document("<r/>");
  EXPECT_FALSE(document.AddNewElementNodeEx("/r/none", "n", "text"));
  EXPECT_EQ(standardError(), "Error: size if zero");
  EXPECT_EQ(bodyOf(document), "<r/>\n");
}

// A child of an element in a namespace is in it too: it has none of its own.
TEST_F(XmlEditing, ElementIsInTheNamespaceOfItsParent) {
  TextDocument document("<p:r xmlns:p='urn:p'/>");
  EXPECT_TRUE(document.AddNewElementNode("/*", "n", "text"));
  EXPECT_EQ(bodyOf(document), "<p:r xmlns:p=\"urn:p\">\n  <p:n>text</p:n>\n</p:r>\n");
}

// --- AddNewNode
// --------------------------------------------------------------------------------------

TEST_F(XmlEditing, NodeIsAddedToTheRootAndSavedAtOnce) {
  const ScratchFolder folder;
  const std::string name = folder / "a.xml";
  writeFile(name, "<r><a/></r>");
  LibXmlWrapper document(name);
  const int written = document.AddNewNode(MutableText("n"), MutableText("x &amp; y"));
  const std::string saved = readFile(name);
  EXPECT_EQ(saved, std::string(kDeclaration) +
                       "<r>\n  <a/>\n  <n uri=\"urn:varnel:qvl\">x &amp; y</n>\n</r>\n");
  EXPECT_EQ(written, static_cast<int>(saved.size()));
  EXPECT_EQ(document.getXPathElement("/r/n"), "x & y");
}

TEST_F(XmlEditing, NodeIsSavedToTheVeryFileThatWasParsed) {
  const ScratchFolder folder;
  for (const char* plain : {"per%20cent.xml", "with blank.xml", "-", "http:", "a#b?c.xml"}) {
    SCOPED_TRACE(plain);
    const std::string name = folder / plain;
    writeFile(name, "<r/>");
    LibXmlWrapper document(name);
    EXPECT_GT(document.AddNewNode(MutableText("n"), MutableText("text")), 0);
    EXPECT_NE(readFile(name).find("<n uri=\"urn:varnel:qvl\">text</n>"), std::string::npos);
  }
}

TEST_F(XmlEditing, NodeMayBeWithoutContentOrName) {
  const ScratchFolder folder;
  const std::string name = folder / "a.xml";
  writeFile(name, "<r/>");
  LibXmlWrapper document(name);
  EXPECT_GT(document.AddNewNode(MutableText("n"), nullptr), 0);
  const std::string withNode = readFile(name);
  EXPECT_EQ(withNode, std::string(kDeclaration) + "<r>\n  <n uri=\"urn:varnel:qvl\"/>\n</r>\n");
  EXPECT_EQ(document.AddNewNode(nullptr, MutableText("text")), static_cast<int>(withNode.size()));
  EXPECT_EQ(readFile(name), withNode);
}

TEST_F(XmlEditing, NodeOfADocumentThatWasNotAFileIsNotSaved) {
  TextDocument document("<r/>");
  EXPECT_EQ(document.AddNewNode(MutableText("n"), MutableText("text")), -1);
  EXPECT_EQ(bodyOf(document), "<r>\n  <n uri=\"urn:varnel:qvl\">text</n>\n</r>\n");

  LibXmlWrapper empty;
  EXPECT_EQ(empty.AddNewNode(MutableText("n"), MutableText("text")), -1);
  EXPECT_EQ(bodyOf(empty), "");
}

TEST_F(XmlEditing, NodeOfAFileThatCannotBeParsedIsNotSaved) {
  const ScratchFolder folder;
  const std::string broken = folder / "broken.xml";
  writeFile(broken, "<r>");
  LibXmlWrapper unparsable(broken);
  EXPECT_EQ(unparsable.AddNewNode(MutableText("n"), MutableText("text")), -1);
  EXPECT_EQ(readFile(broken), "<r>");

  const std::string missing = folder / "missing.xml";
  LibXmlWrapper absent(missing);
  EXPECT_EQ(absent.AddNewNode(MutableText("n"), MutableText("text")), -1);
  EXPECT_FALSE(std::filesystem::exists(missing));
  EXPECT_EQ(standardError(), "Error: unable to parse file \"" + broken +
                                 "\"\nError: unable to parse file \"" + missing + "\"\n");
}

TEST_F(XmlEditing, NodeOfAFileThatHasGoneIsNotSaved) {
  const ScratchFolder folder;
  std::filesystem::create_directory(folder / "inner");
  const std::string name = folder / "inner/a.xml";
  writeFile(name, "<r/>");
  LibXmlWrapper document(name);
  std::filesystem::remove_all(folder / "inner");
  EXPECT_EQ(document.AddNewNode(MutableText("n"), MutableText("text")), -1);
}

// --- addXMLHeader
// ----------------------------------------------------------------------------------

TEST_F(XmlEditing, HeaderGivesANewEmptyDocument) {
  LibXmlWrapper document;
  document.addXMLHeader("1.0", "UTF-8");
  EXPECT_EQ(bodyOf(document), "");
  EXPECT_FALSE(document.AddNewElementNode(nullptr, "r", nullptr));
  EXPECT_EQ(bodyOf(document), "<r/>\n");
}

TEST_F(XmlEditing, HeaderReplacesALoadedDocument) {
  TextDocument document("<r>text</r>");
  document.addXMLHeader("1.0", "UTF-8");
  EXPECT_FALSE(document.isXPathElementExists("/r"));
  EXPECT_EQ(bodyOf(document), "");

  TextDocument unparsable("<r>");
  unparsable.addXMLHeader("1.0", "UTF-8");
  EXPECT_FALSE(unparsable.AddNewElementNode(nullptr, "r", nullptr));
  EXPECT_EQ(bodyOf(unparsable), "<r/>\n");
}

TEST_F(XmlEditing, HeaderKeepsTheFileToSaveTo) {
  const ScratchFolder folder;
  const std::string name = folder / "a.xml";
  writeFile(name, "<r>text</r>");
  LibXmlWrapper document(name);
  document.addXMLHeader("1.0", "UTF-8");
  EXPECT_EQ(readFile(name), "<r>text</r>");

  // There is no root to add to; the document is saved all the same.
  const int empty = document.AddNewNode(MutableText("n"), MutableText("text"));
  EXPECT_EQ(readFile(name), kDeclaration);
  EXPECT_EQ(empty, static_cast<int>(readFile(name).size()));

  EXPECT_FALSE(document.AddNewElementNode(nullptr, "s", nullptr));
  EXPECT_GT(document.AddNewNode(MutableText("n"), MutableText("text")), 0);
  EXPECT_EQ(readFile(name),
            std::string(kDeclaration) + "<s>\n  <n uri=\"urn:varnel:qvl\">text</n>\n</s>\n");
}

TEST_F(XmlEditing, HeaderMayLeaveVersionAndEncodingOpen) {
  TextDocument document("<r>text</r>");
  document.addXMLHeader(nullptr, nullptr);
  EXPECT_FALSE(document.AddNewElementNode(nullptr, "s", nullptr));
  EXPECT_EQ(bodyOf(document), "<s/>\n");
}

// Whatever encoding is named, saving is in UTF-8.
TEST_F(XmlEditing, HeaderOfAnotherEncodingIsSavedAsUtf8) {
  for (const char* encoding : {"ISO-8859-1", "US-ASCII", "UTF-16"}) {
    SCOPED_TRACE(encoding);
    LibXmlWrapper document;
    document.addXMLHeader("1.0", encoding);
    EXPECT_FALSE(document.AddNewElementNode(nullptr, "r", nullptr));
    EXPECT_TRUE(document.setXPathElement("/r", "\xC3\xA4"));
    EXPECT_EQ(bodyOf(document), "<r>\xC3\xA4</r>\n");
  }
}

TEST_F(XmlEditing, HeaderOfAnUnknownEncodingIsToldAndLeavesANewDocument) {
  for (const char* encoding : {"no-such-encoding", ""}) {
    SCOPED_TRACE(encoding);
    TextDocument document("<r>text</r>");
    document.addXMLHeader("1.0", encoding);
    EXPECT_EQ(standardError(), "Error at xmlTextWriterStartDocument\n");
    EXPECT_FALSE(document.isXPathElementExists("/r"));
    EXPECT_FALSE(document.AddNewElementNode(nullptr, "s", nullptr));
    EXPECT_TRUE(document.AddNewElementNode("/s", "n", "text"));
    EXPECT_EQ(bodyOf(document), "<s>\n  <n>text</n>\n</s>\n");
  }
}

TEST_F(XmlEditing, HeaderMayBeGivenAgainAndAgain) {
  LibXmlWrapper document;
  for (int i = 0; i < 3; ++i) {
    document.addXMLHeader("1.0", "UTF-8");
    document.addXMLHeader("1.0", "no-such-encoding");
    EXPECT_EQ(standardError(), "Error at xmlTextWriterStartDocument\n");
    EXPECT_FALSE(document.AddNewElementNode(nullptr, "r", nullptr));
    EXPECT_EQ(bodyOf(document), "<r/>\n");
  }
}

// What XML does not know as a version, or is none at all, must not end up as a part of the
// document.
TEST_F(XmlEditing, HeaderOfAnOddVersionLeavesANewDocument) {
  for (const char* version : {"1.1", "9.9", "", "x", "1.0\"?><injected a=\"", "\xFF"}) {
    SCOPED_TRACE(version);
    TextDocument document("<r>text</r>");
    document.addXMLHeader(version, "UTF-8");
    EXPECT_FALSE(document.isXPathElementExists("//*"));
    EXPECT_FALSE(document.AddNewElementNode(nullptr, "s", nullptr));
    EXPECT_TRUE(document.isXPathElementExists("/s"));
    EXPECT_EQ(bodyOf(document), "<s/>\n") << "and is saved as version 1.0";
  }
}

// --- Names and texts that XML cannot hold
// ------------------------------------------------------------ libxml2 decides what becomes of
// them; nothing breaks, nothing is written, and the document can still be asked and saved.

constexpr const char* kOddTexts[] = {
    "",          " ",    "a b", "<",  ">",    "1a",    "\xFF",     "\xC3",       "\xED\xA0\x80",
    "\x01",      "a&b",  "&",   "&;", "&amp", "&#0;",  "&#xD800;", "&#x110000;", "&#99999999999;",
    "&unknown;", "&&&&", "a:b", ":",  "a:",   "xmlns", "xmlns:p",  "xml:",       "]]>",
    "--",        "\"'",
};

TEST_F(XmlEditing, OddTextsAreLeftToTheParserAsContent) {
  for (const char* text : kOddTexts) {
    SCOPED_TRACE(text);
    TextDocument document("<r a='1'><b/><!--c--></r>");
    EXPECT_TRUE(document.setXPathElement("/r/b", text));
    EXPECT_TRUE(document.setXPathElement("/r/@a", text));
    EXPECT_TRUE(document.setXPathElement("/r/comment()", text));
    EXPECT_TRUE(document.AddNewElementNode("/r", "n", text));
    EXPECT_TRUE(document.AddNewElementNodeEx("/r", "n", text));
    document.getXPathAllElement("//node()");
    document.getXPathAllElement("/r", "b", nullptr);
    EXPECT_TRUE(document.isXPathElementExists("/r/b"));
    std::string saved;
    EXPECT_TRUE(document.SaveToMemory(saved));
  }
}

TEST_F(XmlEditing, OddTextsAreLeftToTheParserAsAttributes) {
  for (const char* text : kOddTexts) {
    SCOPED_TRACE(text);
    TextDocument document("<r/>");
    EXPECT_TRUE(document.setXPathElementAttribute("/r", "k", text));
    EXPECT_TRUE(document.setXPathElementAttributeEx("/r", "k", text));
    EXPECT_EQ(document.getXPathElementAttribute("/r", "k").size(), 1U);
    std::string saved;
    EXPECT_TRUE(document.SaveToMemory(saved));
  }
}

TEST_F(XmlEditing, OddTextsAreLeftToTheParserAsNames) {
  for (const char* text : kOddTexts) {
    SCOPED_TRACE(text);
    TextDocument document("<r/>");
    EXPECT_TRUE(document.setXPathElementAttribute("/r", text, "value"));
    EXPECT_TRUE(document.setXPathElementAttributeEx("/r", text, "value"));
    EXPECT_TRUE(document.AddNewElementNode("/r", text, "content"));
    EXPECT_TRUE(document.AddNewElementNodeEx("/r", text, "content"));
    EXPECT_EQ(document.getXPathAllElement("/r/node()").size(), 2U);
    std::string saved;
    EXPECT_TRUE(document.SaveToMemory(saved));
    EXPECT_FALSE(document.AddNewElementNode(nullptr, text, nullptr));
    EXPECT_EQ(document.getXPathAllElement("//node()").size(), 1U);
  }
}

TEST_F(XmlEditing, BareAmpersandChangesTheContentSilently) {
  TextDocument document("<r>old</r>");
  EXPECT_TRUE(document.setXPathElement("/r", "a & b"));
  EXPECT_NE(document.getXPathElement("/r"), "old");
}

}  // namespace
}  // namespace Test
}  // namespace QVL
