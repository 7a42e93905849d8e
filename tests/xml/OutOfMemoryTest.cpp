// libxml2 that gets no memory: the one way in which it fails to make an XPath context.

#include <libxml/xmlmemory.h>

#include <cstdlib>
#include <cstring>

#include "tests/xml/XmlFixture.h"

namespace QVL {
namespace Test {
namespace {

bool memoryIsOut = false;

void* allocate(std::size_t size) {
  return memoryIsOut ? nullptr : std::malloc(size);
}
void* reallocate(void* block, std::size_t size) {
  return memoryIsOut ? nullptr : std::realloc(block, size);
}
char* duplicate(const char* text) {
  return memoryIsOut ? nullptr : ::strdup(text);
}

class OutOfMemory : public XmlTest {
 protected:
  void SetUp() override {
    ASSERT_EQ(xmlMemSetup(std::free, allocate, reallocate, duplicate), 0);
    // The parser's own tables exist before memory runs out.
    const TextDocument warm("<r/>");
  }

  void TearDown() override {
    memoryIsOut = false;
    XmlTest::TearDown();
  }

  template <class Operation>
  auto withoutMemory(Operation operation) {
    memoryIsOut = true;
    auto result = operation();
    memoryIsOut = false;
    return result;
  }

  static constexpr char kNoContext[] = "Error: unable to create new XPath context\n";
};

#define EXPECT_WITHOUT_CONTEXT(expression, expected, message)               \
  do {                                                                      \
    const auto result = withoutMemory([&] { return document.expression; }); \
    EXPECT_EQ(result, expected) << #expression;                             \
    EXPECT_EQ(standardError(), message) << #expression;                     \
  } while (false)

TEST_F(OutOfMemory, QueriesWithoutAContextAnswerAsAgreed) {
  TextDocument document("<r><b k='1'>text</b></r>");
  const std::list<std::string> oneEmptyText = {""};
  EXPECT_WITHOUT_CONTEXT(getXPathElement("/r/b"), "", kNoContext);
  EXPECT_WITHOUT_CONTEXT(getXPathStringValue("/r/b"), "", kNoContext);
  EXPECT_WITHOUT_CONTEXT(isXPathElementExists("/r/b"), false, "");
  EXPECT_WITHOUT_CONTEXT(getXPathAllElement("/r/b").size(), 0U, kNoContext);
  EXPECT_WITHOUT_CONTEXT(getXPathElementAttribute("/r/b", "k"), oneEmptyText, kNoContext);
  EXPECT_WITHOUT_CONTEXT(getXPathAllElementAttribute("/r", "b", "k").size(), 0U, kNoContext);
  EXPECT_WITHOUT_CONTEXT(getXPathAllElement("/r", "b", "default").size(), 0U, kNoContext);
  EXPECT_WITHOUT_CONTEXT(setXPathElement("/r/b", "new"), false, kNoContext);
  EXPECT_WITHOUT_CONTEXT(setXPathElementAttribute("/r/b", "k", "new"), false, kNoContext);
  EXPECT_WITHOUT_CONTEXT(setXPathElementAttributeEx("/r/b", "k", "new"), false, kNoContext);
  EXPECT_WITHOUT_CONTEXT(AddNewElementNode("/r/b", "n", "new"), false, kNoContext);
  EXPECT_WITHOUT_CONTEXT(AddNewElementNodeEx("/r/b", "n", "new"), false, kNoContext);
  EXPECT_EQ(document.getXPathElement("/r/b"), "text");
}

TEST_F(OutOfMemory, TypedGettersThrow) {
  TextDocument document("<r>1</r>");
  memoryIsOut = true;
  EXPECT_THROW(document.getXPathBoolValue("/r"), std::exception);
  EXPECT_EQ(standardError(), kNoContext);
  EXPECT_THROW(document.getXPathUnsignedLongValue("/r"), std::exception);
  EXPECT_EQ(standardError(), kNoContext);
}

TEST_F(OutOfMemory, NothingIsSavedToMemory) {
  TextDocument document("<r>text</r>");
  std::string saved = "what was there before";
  EXPECT_TRUE(withoutMemory([&] { return document.SaveToMemory(saved); }));
  EXPECT_EQ(saved, "");
  EXPECT_TRUE(document.SaveToMemory(saved));
  EXPECT_NE(saved, "");
}

TEST_F(OutOfMemory, DocumentCannotBeMadeOrParsed) {
  memoryIsOut = true;
  {
    LibXmlWrapper document;
    EXPECT_FALSE(document.isXPathElementExists("/"));
  }
  {
    TextDocument document("<r/>");
    EXPECT_FALSE(document.isXPathElementExists("/"));
  }
}

}  // namespace
}  // namespace Test
}  // namespace QVL
