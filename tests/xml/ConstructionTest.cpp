#include <sys/stat.h>

#include <climits>
#include <cstddef>
#include <cstring>
#include <filesystem>

#include "tests/support/ScratchFolder.h"
#include "tests/xml/XmlFixture.h"

namespace QVL {
namespace Test {
namespace {

class XmlConstruction : public XmlTest {
 protected:
  // A file that cannot be parsed is told once, and finds nothing afterwards.
  void expectUnparsable(const std::string& fileName) {
    LibXmlWrapper document(fileName);
    EXPECT_EQ(standardError(), "Error: unable to parse file \"" + fileName + "\"\n");
    EXPECT_EQ(document.getXPathElement("/r"), "");
    EXPECT_FALSE(document.isXPathElementExists("/"));
    EXPECT_FALSE(document.isXPathElementExists("//*"));
    EXPECT_TRUE(document.getXPathAllElement("//*").empty());
    EXPECT_EQ(standardError(), "");
  }
};

TEST_F(XmlConstruction, DefaultDocumentIsEmpty) {
  LibXmlWrapper document;
  EXPECT_FALSE(document.isXPathElementExists("/*"));
  EXPECT_TRUE(document.isXPathElementExists("/"));
  EXPECT_EQ(bodyOf(document), "");
}

TEST_F(XmlConstruction, ParsesAFile) {
  const ScratchFolder folder;
  const std::string name = folder / "a.xml";
  writeFile(name, "<?xml version=\"1.0\"?>\n<r>text</r>\n");
  LibXmlWrapper document(name);
  EXPECT_EQ(document.getXPathElement("/r"), "text");
}

TEST_F(XmlConstruction, TakesANameForTheNameOfAFileAndNothingElse) {
  const ScratchFolder folder;
  for (const char* plain : {"with blank.xml", "per%20cent.xml", "100%.xml", "a#b?c=d&e.xml", "-",
                            "\xC3\xA4.xml", "\xFF.xml", "http:", "x.gz", "quo\"te.xml"}) {
    const std::string name = folder / plain;
    writeFile(name, "<r>text</r>");
    LibXmlWrapper document(name);
    EXPECT_EQ(document.getXPathElement("/r"), "text") << plain;
  }
}

TEST_F(XmlConstruction, TellsAFileThatIsMissing) {
  const ScratchFolder folder;
  expectUnparsable(folder / "missing.xml");
  expectUnparsable(folder / "missing/missing.xml");
  expectUnparsable("");
  expectUnparsable("100%s %n.xml");
}

TEST_F(XmlConstruction, TellsAFileThatIsNotXml) {
  const ScratchFolder folder;
  const std::string name = folder / "a.xml";
  for (const std::string text : {"", " ", "text", "<r>", "<r></s>", "<r/><r/>", "<r a='1' a='2'/>",
                                 "<r>&undeclared;</r>", "<r>\x01</r>", "<1/>"}) {
    SCOPED_TRACE(text);
    writeFile(name, text);
    expectUnparsable(name);
  }
}

TEST_F(XmlConstruction, TellsADirectory) {
  const ScratchFolder folder;
  expectUnparsable(folder.path().string());
}

// A pipe without a writer would make a plain open wait for ever.
TEST_F(XmlConstruction, DoesNotWaitForANamedPipe) {
  const ScratchFolder folder;
  const std::string name = folder / "pipe";
  ASSERT_EQ(mkfifo(name.c_str(), 0600), 0);
  expectUnparsable(name);
}

// "-" is no file here, and must not be standard input.
TEST_F(XmlConstruction, DoesNotReadStandardInput) {
  const ScratchFolder folder;
  writeFile(folder / "input.xml", "<r>from standard input</r>");
  std::filesystem::create_directory(folder / "empty");
  std::filesystem::current_path(folder / "empty");
  ASSERT_NE(std::freopen((folder / "input.xml").c_str(), "r", stdin), nullptr);
  expectUnparsable("-");
  std::filesystem::current_path("/");
}

TEST_F(XmlConstruction, DoesNotParseSilentlyWhatItCannotHold) {
  const ScratchFolder folder;
  writeFile(folder / "a.xml", std::string("<r>a\0b</r>", 10));
  expectUnparsable(folder / "a.xml");
}

TEST_F(XmlConstruction, ParsesAText) {
  TextDocument document("<r>text</r>");
  EXPECT_EQ(document.getXPathElement("/r"), "text");
}

TEST_F(XmlConstruction, ReadsNoMoreOfATextThanItsSize) {
  char text[] = "<r>text</r>garbage";
  LibXmlWrapper document(text, 11);
  EXPECT_EQ(document.getXPathElement("/r"), "text");
  LibXmlWrapper shortened(text, 10);
  EXPECT_FALSE(shortened.isXPathElementExists("//*"));
}

TEST_F(XmlConstruction, KeepsNoPartOfTheTextItWasGiven) {
  std::string text = "<r>text</r>";
  LibXmlWrapper document(text.data(), text.size());
  text.assign(text.size(), 'x');
  EXPECT_EQ(document.getXPathElement("/r"), "text");
}

TEST_F(XmlConstruction, ReportsNothingForATextThatIsNotXml) {
  for (const std::string text : {"", " ", "text", "<r>", "<r></s>", "<r/><r/>", "<r a='1' a='2'/>",
                                 "<r>&undeclared;</r>", "<r>\x01</r>", "<1/>"}) {
    SCOPED_TRACE(text);
    TextDocument document(text);
    EXPECT_FALSE(document.isXPathElementExists("//*"));
    EXPECT_FALSE(document.isXPathElementExists("/"));
  }
}

TEST_F(XmlConstruction, FindsNothingInAMissingText) {
  LibXmlWrapper without(nullptr, 0);
  EXPECT_FALSE(without.isXPathElementExists("//*"));
  LibXmlWrapper announced(nullptr, 10);
  EXPECT_FALSE(announced.isXPathElementExists("//*"));
}

// Callers that pass the capacity of a buffer, or nonsense, for the length of the text in it.
TEST_F(XmlConstruction, EndsATextAtItsFirstZeroByte) {
  const unsigned long gigabyte = 1UL << 30;
  char text[] = "<r>text</r>";
  LibXmlWrapper document(text, gigabyte);
  EXPECT_EQ(document.getXPathElement("/r"), "text");

  for (const char* unparsable : {"x", "<a", "\xFFx", "\xFE"}) {
    std::string held = unparsable;
    LibXmlWrapper refused(held.data(), gigabyte);
    EXPECT_FALSE(refused.isXPathElementExists("//*")) << unparsable;
  }

  // These may still turn out to be the begin of a text in an encoding of four bytes a character,
  // which ends with one that is zero.
  for (const char* ambiguous : {"", "<"}) {
    char held[8] = {};
    std::strcpy(held, ambiguous);
    LibXmlWrapper refused(held, gigabyte);
    EXPECT_FALSE(refused.isXPathElementExists("//*")) << ambiguous;
  }
}

TEST_F(XmlConstruction, TakesTheSizeAsAnInt) {
  char text[] = "<r>text</r>";
  for (const unsigned long size : {INT_MAX + 1UL, UINT_MAX + 1UL, UINT_MAX + 11UL, ULONG_MAX}) {
    LibXmlWrapper document(text, size);
    EXPECT_FALSE(document.isXPathElementExists("//*")) << size;
  }
  for (const unsigned long size : {INT_MAX + 0UL, UINT_MAX + 12UL}) {
    LibXmlWrapper document(text, size);
    EXPECT_TRUE(document.isXPathElementExists("/r")) << size;
  }
}

// The text in UTF-16, with or without the mark that tells the order of bytes.
std::string utf16(const std::string& text, bool bigEndian, bool mark) {
  std::string encoded;
  if (mark) encoded = bigEndian ? "\xFE\xFF" : "\xFF\xFE";
  for (const char c : text) {
    encoded += bigEndian ? '\0' : c;
    encoded += bigEndian ? c : '\0';
  }
  return encoded;
}

TEST_F(XmlConstruction, ReadsEncodingsThatHoldZeroBytes) {
  for (const bool bigEndian : {false, true}) {
    TextDocument document(utf16("<r>text</r>", bigEndian, true));
    EXPECT_EQ(document.getXPathElement("/r"), "text") << bigEndian;
    TextDocument unmarked(
        utf16("<?xml version='1.0' encoding='UTF-16'?><r>text</r>", bigEndian, false));
    EXPECT_EQ(unmarked.getXPathElement("/r"), "text") << bigEndian;
  }
}

TEST_F(XmlConstruction, EndsATextInAWideEncodingAtItsFirstZeroCharacter) {
  for (const bool bigEndian : {false, true}) {
    std::string text = utf16(std::string("<r>text</r>\0", 12), bigEndian, true);
    LibXmlWrapper document(text.data(), 1UL << 30);
    EXPECT_EQ(document.getXPathElement("/r"), "text") << bigEndian;
  }
}

TEST_F(XmlConstruction, ReadsOtherEncodingsAsUtf8) {
  TextDocument latin("<?xml version='1.0' encoding='ISO-8859-1'?><r>\xE4</r>");
  EXPECT_EQ(latin.getXPathElement("/r"), "\xC3\xA4");
  TextDocument marked("\xEF\xBB\xBF<r>\xC3\xA4</r>");
  EXPECT_EQ(marked.getXPathElement("/r"), "\xC3\xA4");
}

TEST_F(XmlConstruction, RefusesATextThatIsNotInItsEncoding) {
  for (const std::string text : {"<r>\xFF</r>", "<r>\xC3</r>", "<r>\xED\xA0\x80</r>",
                                 "<?xml version='1.0' encoding='US-ASCII'?><r>\xC3\xA4</r>",
                                 "<?xml version='1.0' encoding='UTF-8'?><r>\xE4</r>"}) {
    SCOPED_TRACE(text);
    TextDocument document(text);
    EXPECT_FALSE(document.isXPathElementExists("//*"));
  }
}

TEST_F(XmlConstruction, RefusesAnEncodingThatDoesNotExist) {
  TextDocument document("<?xml version='1.0' encoding='no-such-encoding'?><r>text</r>");
  EXPECT_FALSE(document.isXPathElementExists("//*"));
}

TEST_F(XmlConstruction, SurvivesAnEncodingThatIsNotTheTextsOwn) {
  // What is found depends on the parser; that nothing is written and nothing breaks does not.
  for (const std::string& text :
       {std::string("<?xml version='1.0' encoding='UTF-16'?><r>text</r>"),
        std::string("<?xml version='1.0' encoding='UCS-4'?><r>text</r>"),
        std::string("\xFF\xFE<\0r", 5), std::string("\xFE\xFF"), std::string("\0\0\0<", 4),
        std::string("<\0\0\0", 4), std::string("\x4C\x6F\xA7\x94", 4),
        std::string("<?xml version='1.0' encoding='\0'?><r/>", 39)}) {
    TextDocument document(text);
    EXPECT_LE(document.getXPathAllElement("//*").size(), 1U);
  }
}

TEST_F(XmlConstruction, SeparateDocumentsAreIndependent) {
  TextDocument one("<r>1</r>");
  TextDocument two("<r>2</r>");
  EXPECT_TRUE(one.setXPathElement("/r", "changed"));
  EXPECT_EQ(one.getXPathElement("/r"), "changed");
  EXPECT_EQ(two.getXPathElement("/r"), "2");
}

}  // namespace
}  // namespace Test
}  // namespace QVL
