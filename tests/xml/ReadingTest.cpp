#include <climits>
#include <typeinfo>
#include <vector>

#include "tests/xml/XmlFixture.h"

namespace QVL {
namespace Test {
namespace {

using testing::ElementsAre;
using testing::IsEmpty;

using Row = std::vector<std::string>;

class XmlReading : public XmlTest {};

// --- The content of one node ---------------------------------------------------------------------

struct ContentCase {
  const char* document;
  const char* xpath;
  const char* content;
};

const ContentCase kContents[] = {
    // The content of an element is that of its first child.
    {"<r>text</r>", "/r", "text"},
    {"<r>text<b/>more</r>", "/r", "text"},
    {"<r> \n text </r>", "/r", " \n text "},
    {"<r><!--comment-->text</r>", "/r", "comment"},
    {"<r><![CDATA[a<b]]>text</r>", "/r", "a<b"},
    {"<r><?target data?>text</r>", "/r", "data"},
    {"<r>a &lt;&amp;&#228; b</r>", "/r", "a <&\xC3\xA4 b"},
    {"<!DOCTYPE r [<!ENTITY e 'value'>]><r>&e; text</r>", "/r", "value"},
    {"<r>\xF0\x9F\x98\x80</r>", "/r", "\xF0\x9F\x98\x80"},
    // An element as the first child has no content of its own.
    {"<r><b>inner</b>text</r>", "/r", ""},
    {"<r>\n  <b>inner</b></r>", "/r", "\n  "},
    // No child at all.
    {"<r/>", "/r", ""},
    {"<r></r>", "/r", ""},
    {"<r a='1'/>", "/r", ""},
    // Other nodes than elements.
    {"<r a='value'/>", "/r/@a", "value"},
    {"<r a=''/>", "/r/@a", ""},
    {"<r a='&lt;&#10;'/>", "/r/@a", "<\n"},
    {"<r xml:lang='de'/>", "/r/@xml:lang", "de"},
    {"<r>text</r>", "/r/text()", ""},
    {"<r><!--comment--></r>", "/r/comment()", ""},
    {"<r><?target data?></r>", "/r/processing-instruction()", ""},
    {"<r xmlns:p='urn:p'>text</r>", "/r/namespace::p", ""},
    {"<r>text</r>", "/r/namespace::xml", ""},
    // The document itself.
    {"<r>text</r>", "/", ""},
    {"<!--comment--><r>text</r>", "/", "comment"},
    {"<?target data?><r>text</r>", "/", "data"},
    {"<!DOCTYPE r><r>text</r>", "/", ""},
    {"<!DOCTYPE r [<!ELEMENT r ANY><!ATTLIST r a CDATA 'd'><!ENTITY e 'value'>]><r/>", "/", ""},
    // One node is wanted, neither none nor two.
    {"<r><b>1</b><b>2</b></r>", "/r/b", ""},
    {"<r><b>1</b><b>2</b></r>", "/r/b[2]", "2"},
    {"<r><b>1</b><b>2</b></r>", "/r/c", ""},
    {"<r><b>1</b><b>2</b></r>", "//b[.='1'] | /r/b[1]", "1"},
    // Names know their namespaces, which no expression can declare.
    {"<p:r xmlns:p='urn:p'>text</p:r>", "/r", ""},
    {"<p:r xmlns:p='urn:p'>text</p:r>", "/*[local-name()='r']", "text"},
    {"<r xmlns='urn:p'>text</r>", "/r", ""},
};

TEST_F(XmlReading, ContentIsThatOfTheFirstChild) {
  for (const ContentCase& row : kContents) {
    SCOPED_TRACE(row.document);
    TextDocument document(row.document);
    EXPECT_EQ(document.getXPathElement(row.xpath), row.content) << row.xpath;
    EXPECT_EQ(document.getXPathStringValue(row.xpath), row.content) << row.xpath;
  }
}

TEST_F(XmlReading, ExactlyOneMatchExists) {
  TextDocument document("<r a='1' xmlns:p='urn:p'><b/><c/><c/></r>");
  EXPECT_TRUE(document.isXPathElementExists("/r/b"));
  EXPECT_TRUE(document.isXPathElementExists("/r/@a"));
  EXPECT_TRUE(document.isXPathElementExists("/r/namespace::p"));
  EXPECT_TRUE(document.isXPathElementExists("/"));
  EXPECT_FALSE(document.isXPathElementExists("/r/c"));
  EXPECT_FALSE(document.isXPathElementExists("/r/d"));
  EXPECT_FALSE(document.isXPathElementExists("//namespace::*"));
}

// --- Typed values
// ----------------------------------------------------------------------------------

std::string inRoot(const std::string& text) {
  return "<r>" + text + "</r>";
}

TEST_F(XmlReading, BoolIsTrueForTwoSpellingsOnly) {
  const std::pair<const char*, bool> rows[] = {
      {"true", true},   {"TRUE", true},   {"True", false},   {"tRUE", false},
      {"1", false},     {"yes", false},   {"false", false},  {" true", false},
      {"true ", false}, {"truex", false}, {"TRUE\n", false}, {"t", false},
  };
  for (const auto& [text, expected] : rows) {
    TextDocument document(inRoot(text));
    EXPECT_EQ(document.getXPathBoolValue("/r"), expected) << text;
  }
}

template <class Operation>
void expectPlainException(Operation operation) {
  try {
    operation();
    ADD_FAILURE() << "nothing was thrown";
  } catch (const std::exception& exception) {
    EXPECT_EQ(typeid(exception), typeid(std::exception));
  }
}

TEST_F(XmlReading, BoolThrowsWithoutText) {
  for (const char* text : {"<r/>", "<r></r>", "<s>true</s>", "<r><b>true</b></r>"}) {
    SCOPED_TRACE(text);
    TextDocument document(text);
    expectPlainException([&] { document.getXPathBoolValue("/r"); });
  }
  TextDocument two("<r><b>true</b><b>true</b></r>");
  expectPlainException([&] { two.getXPathBoolValue("/r/b"); });
}

TEST_F(XmlReading, NumberIsReadAsStrtoulReadsIt) {
  const std::pair<const char*, unsigned long> rows[] = {
      {"42", 42},
      {"0", 0},
      {"-1", ULONG_MAX},
      {"-0", 0},
      {"+7", 7},
      {"  7  ", 7},
      {"\n\t7\n", 7},
      {"12abc", 12},
      {"7 8", 7},
      {"1.9", 1},
      {"0x10", 0},
      {"010", 10},
      {"4294967301", 4294967301},
      {"18446744073709551615", ULONG_MAX},
      {"-18446744073709551615", 1},
      {"00000000000000000000000000005", 5},
  };
  for (const auto& [text, expected] : rows) {
    TextDocument document(inRoot(text));
    EXPECT_EQ(document.getXPathUnsignedLongValue("/r"), expected) << text;
  }
}

TEST_F(XmlReading, NumberThrowsWithoutDigitsAndOutOfRange) {
  for (const char* text :
       {"", " ", "abc", "-", "+", "- 1", "--1", "x12", "\xD9\xA3", "18446744073709551616",
        "99999999999999999999", "-18446744073709551616", "<b>1</b>"}) {
    SCOPED_TRACE(text);
    TextDocument document(inRoot(text));
    expectPlainException([&] { document.getXPathUnsignedLongValue("/r"); });
  }
  TextDocument two("<r><b>1</b><b>1</b></r>");
  expectPlainException([&] { two.getXPathUnsignedLongValue("/r/b"); });
  expectPlainException([&] { two.getXPathUnsignedLongValue("/r/none"); });
}

TEST_F(XmlReading, NumberIsNotDisturbedByAnEarlierError) {
  TextDocument document("<r><a>99999999999999999999</a><b>5</b></r>");
  expectPlainException([&] { document.getXPathUnsignedLongValue("/r/a"); });
  errno = ERANGE;
  EXPECT_EQ(document.getXPathUnsignedLongValue("/r/b"), 5U);
}

// --- The contents of all nodes
// ---------------------------------------------------------------------

TEST_F(XmlReading, AllContentsComeInDocumentOrder) {
  TextDocument document("<r><b>1</b><c><b>2</b></c><b/><b><!--3--></b><b><d/>4</b></r>");
  EXPECT_THAT(document.getXPathAllElement("//b"), ElementsAre("1", "2", "", "3", ""));
  EXPECT_THAT(document.getXPathAllElement("/r/b[4] | /r/b[1]"), ElementsAre("1", ""));
  EXPECT_THAT(document.getXPathAllElement("/r/none"), IsEmpty());
}

TEST_F(XmlReading, AllContentsIncludeThoseOfOtherNodes) {
  TextDocument document("<!--first--><r a='1' b='2' xmlns:p='urn:p'>text</r>");
  EXPECT_THAT(document.getXPathAllElement("//@*"), ElementsAre("1", "2"));
  EXPECT_THAT(document.getXPathAllElement("//namespace::*"), ElementsAre("", ""));
  EXPECT_THAT(document.getXPathAllElement("/"), ElementsAre("first"));
  EXPECT_THAT(document.getXPathAllElement("//text()"), ElementsAre(""));
}

// --- Attributes of all nodes
// -----------------------------------------------------------------------

TEST_F(XmlReading, AttributesAreThoseOfTheElementsThatHaveThem) {
  TextDocument document("<r><b k='1'/><b/><b k=''/><c k='2'/><b K='no'/><b k='a&lt;&#228;'/></r>");
  EXPECT_THAT(document.getXPathElementAttribute("/r/b", "k"), ElementsAre("1", "", "a<\xC3\xA4"));
  EXPECT_THAT(document.getXPathElementAttribute("/r/*", "k"),
              ElementsAre("1", "", "2", "a<\xC3\xA4"));
  EXPECT_THAT(document.getXPathElementAttribute("/r/b", "none"), IsEmpty());
  EXPECT_THAT(document.getXPathElementAttribute("/r/none", "k"), IsEmpty());
}

TEST_F(XmlReading, AttributesOfOtherNodesThanElementsContributeNothing) {
  TextDocument document("<r k='1' xmlns:p='urn:p'>text<!--k--><?k k?></r>");
  for (const char* xpath :
       {"/", "//@k", "//namespace::*", "//text()", "//comment()", "//processing-instruction()"}) {
    EXPECT_THAT(document.getXPathElementAttribute(xpath, "k"), IsEmpty()) << xpath;
  }
  EXPECT_THAT(document.getXPathElementAttribute("//node() | //@k | //namespace::*", "k"),
              ElementsAre("1"));
}

TEST_F(XmlReading, AttributesMayBeDefaultedByTheDocumentType) {
  TextDocument document("<!DOCTYPE r [<!ATTLIST b k CDATA 'd'>]><r><b/><b k='own'/></r>");
  EXPECT_THAT(document.getXPathElementAttribute("/r/b", "k"), ElementsAre("d", "own"));
}

TEST_F(XmlReading, AttributesOfANullNameAreNone) {
  TextDocument document("<r k='1'><b k='2'/></r>");
  EXPECT_THAT(document.getXPathElementAttribute("/r", nullptr), IsEmpty());
  EXPECT_THAT(document.getXPathAllElementAttribute("/r", "b", nullptr), ElementsAre(Row{""}));
}

// --- Rows of children
// ------------------------------------------------------------------------------

TEST_F(XmlReading, AttributeRowHoldsAnEmptyTextWhereAChildLacksTheAttribute) {
  TextDocument document("<r><c k='value1'/><c/><d k='no'/><c k='value3'/></r>");
  EXPECT_THAT(document.getXPathAllElementAttribute("/r", "c", "k"),
              ElementsAre(Row{"value1", "", "value3"}));
}

TEST_F(XmlReading, AttributeRowsComeForEveryNodeEvenWithoutChildren) {
  TextDocument document("<r><b><c k='1'/><c k='2'/></b><b/><b><d/></b><b>text<c k='3'/></b></r>");
  EXPECT_THAT(document.getXPathAllElementAttribute("/r/b", "c", "k"),
              ElementsAre(Row{"1", "2"}, Row{}, Row{}, Row{"3"}));
  EXPECT_THAT(document.getXPathAllElementAttribute("/r/none", "c", "k"), IsEmpty());
}

TEST_F(XmlReading, RowHoldsTheTextsOfTheChildren) {
  TextDocument document(
      "<r><c>1</c><d>no</d><c>a<b>not this</b>b<!--nor this--></c><c><![CDATA[<x>]]></c>"
      "<c>&lt;&#228;</c></r>");
  EXPECT_THAT(document.getXPathAllElement("/r", "c", nullptr),
              ElementsAre(Row{"1", "ab", "<x>", "<\xC3\xA4"}));
}

TEST_F(XmlReading, RowHoldsAnEmptyTextForAChildWithoutContent) {
  TextDocument document("<r><c/><c></c><c><b/></c><c>1</c></r>");
  EXPECT_THAT(document.getXPathAllElement("/r", "c", "default"), ElementsAre(Row{"", "", "", "1"}));
}

TEST_F(XmlReading, RowResolvesEntities) {
  TextDocument document("<!DOCTYPE r [<!ENTITY e 'value'>]><r><c>a &e; b</c></r>");
  EXPECT_THAT(document.getXPathAllElement("/r", "c", nullptr), ElementsAre(Row{"a value b"}));
}

TEST_F(XmlReading, RowWithoutChildrenHoldsTheDefaultOrNothing) {
  TextDocument document("<r><b/><b><d>no</d></b><b><c>1</c></b></r>");
  EXPECT_THAT(document.getXPathAllElement("/r/b", "c", "default"),
              ElementsAre(Row{"default"}, Row{"default"}, Row{"1"}));
  EXPECT_THAT(document.getXPathAllElement("/r/b", "c", ""),
              ElementsAre(Row{""}, Row{""}, Row{"1"}));
  EXPECT_THAT(document.getXPathAllElement("/r/b", "c", nullptr),
              ElementsAre(Row{}, Row{}, Row{"1"}));
  EXPECT_THAT(document.getXPathAllElement("/r/none", "c", "default"), IsEmpty());
}

TEST_F(XmlReading, RowsCompareChildNamesExactlyAndWithoutNamespace) {
  TextDocument document(
      "<r xmlns:p='urn:p'><C k='1'>1</C><cc k='2'>2</cc><p:c k='3'>3</p:c><c k='4'>4</c></r>");
  EXPECT_THAT(document.getXPathAllElement("/r", "c", nullptr), ElementsAre(Row{"3", "4"}));
  EXPECT_THAT(document.getXPathAllElementAttribute("/r", "c", "k"), ElementsAre(Row{"3", "4"}));
  EXPECT_THAT(document.getXPathAllElement("/r", "p:c", nullptr), ElementsAre(Row{}));
  EXPECT_THAT(document.getXPathAllElement("/r", "", nullptr), ElementsAre(Row{}));
}

TEST_F(XmlReading, RowsOfANullChildNameAreWithoutChildren) {
  TextDocument document("<r><c k='1'>1</c></r>");
  EXPECT_THAT(document.getXPathAllElement("/r", nullptr, nullptr), ElementsAre(Row{}));
  EXPECT_THAT(document.getXPathAllElement("/r", nullptr, "default"), ElementsAre(Row{"default"}));
  EXPECT_THAT(document.getXPathAllElementAttribute("/r", nullptr, "k"), ElementsAre(Row{}));
}

TEST_F(XmlReading, RowsOfOtherNodesThanElements) {
  TextDocument document("<r a='1' xmlns:p='urn:p'><c k='2'>3</c></r>");
  EXPECT_THAT(document.getXPathAllElement("/", "r", "default"), ElementsAre(Row{""}));
  EXPECT_THAT(document.getXPathAllElementAttribute("/", "r", "a"), ElementsAre(Row{"1"}));
  for (const char* xpath : {"/r/@a", "/r/namespace::p", "/r/c/text()"}) {
    EXPECT_THAT(document.getXPathAllElement(xpath, "c", "default"), ElementsAre(Row{"default"}))
        << xpath;
    EXPECT_THAT(document.getXPathAllElementAttribute(xpath, "c", "k"), ElementsAre(Row{})) << xpath;
  }
}

// --- The two walks
// ---------------------------------------------------------------------------------

TEST_F(XmlReading, PrintRootElementTellsAnEmptyDocumentOnly) {
  LibXmlWrapper empty;
  empty.PrintRootElement();
  EXPECT_EQ(standardError(), "Empty Document\n");

  TextDocument unparsable("<r>");
  unparsable.PrintRootElement();
  EXPECT_EQ(standardError(), "Empty Document\n");

  TextDocument document("<r/>");
  document.PrintRootElement();
  EXPECT_EQ(standardError(), "");
}

TEST_F(XmlReading, PrintChildrenNameHasNoVisibleEffect) {
  TextDocument document("<r><a/>text<b/></r>");
  document.PrintChildrenName(nullptr);
  EXPECT_EQ(bodyOf(document), "<r><a/>text<b/></r>\n");

  LibXmlWrapper empty;
  empty.PrintChildrenName(nullptr);
  TextDocument unparsable("<r>");
  unparsable.PrintChildrenName(nullptr);
  EXPECT_EQ(standardError(), "");
}

TEST_F(XmlReading, ResultsAreCopies) {
  TextDocument document("<r k='1'>text</r>");
  std::string text = document.getXPathElement("/r");
  text[0] = 'T';
  const auto values = document.getXPathElementAttribute("/r", "k");
  ASSERT_TRUE(document.setXPathElement("/r", "new"));
  ASSERT_TRUE(document.setXPathElementAttribute("/r", "k", "2"));
  EXPECT_EQ(text, "Text");
  EXPECT_THAT(values, ElementsAre("1"));
  EXPECT_EQ(document.getXPathElement("/r"), "new");
}

// An attribute's first child alone is read, as an element's is; its whole value is read by name.
TEST_F(XmlReading, AttributeWithEntitiesReadsUpToTheFirst) {
  const struct {
    const char* value;
    const char* content;
    const char* whole;
  } rows[] = {
      {"plain", "plain", "plain"},
      {"a &amp; b &#65;", "a & b A", "a & b A"},
      {"before &e; after", "before ", "before entity after"},
      {"&e; after", "entity", "entity after"},
      {"&e;", "entity", "entity"},
      {"&e;&e;", "entity", "entityentity"},
      {"&f;", "an &e;", "an entity"},
      {"", "", ""},
  };
  for (const auto& row : rows) {
    SCOPED_TRACE(row.value);
    TextDocument document(
        std::string("<!DOCTYPE r [<!ENTITY e 'entity'><!ENTITY f 'an &e;'>]><r a='") + row.value +
        "'/>");
    EXPECT_EQ(document.getXPathElement("/r/@a"), row.content);
    EXPECT_EQ(document.getXPathAllElement("/r/@a"), std::vector<std::string>{row.content});
    EXPECT_EQ(document.getXPathElementAttribute("/r", "a"), std::list<std::string>{row.whole});
  }
}

}  // namespace
}  // namespace Test
}  // namespace QVL
