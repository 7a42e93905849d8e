#include <unistd.h>

#include <filesystem>

#include "tests/support/ScratchFolder.h"
#include "tests/xml/LocalListener.h"
#include "tests/xml/XmlFixture.h"

namespace QVL {
namespace Test {
namespace {

class XmlSaving : public XmlTest {};

TEST_F(XmlSaving, DocumentInMemoryIsDeclaredAndIndented) {
  LibXmlWrapper document;
  EXPECT_FALSE(document.AddNewElementNode(nullptr, "root", nullptr));
  std::string saved = "what was there before";
  EXPECT_TRUE(document.SaveToMemory(saved));
  EXPECT_EQ(saved, "<?xml version=\"1.0\" encoding=\"UTF-8\"?>\n<root/>\n");

  EXPECT_TRUE(document.AddNewElementNode("/root", "a", nullptr));
  EXPECT_TRUE(document.AddNewElementNode("/root/a", "b", "text"));
  EXPECT_TRUE(document.SaveToMemory(saved));
  EXPECT_EQ(saved,
            "<?xml version=\"1.0\" encoding=\"UTF-8\"?>\n"
            "<root>\n  <a>\n    <b>text</b>\n  </a>\n</root>\n");
}

TEST_F(XmlSaving, OtherEncodingsBecomeUtf8) {
  TextDocument document("<?xml version='1.0' encoding='ISO-8859-1'?><r a='\xE4'>\xF6</r>");
  std::string saved;
  EXPECT_TRUE(document.SaveToMemory(saved));
  EXPECT_EQ(saved, "<?xml version=\"1.0\" encoding=\"UTF-8\"?>\n<r a=\"\xC3\xA4\">\xC3\xB6</r>\n");
}

TEST_F(XmlSaving, WhatIsNotUnderstoodIsKept) {
  const std::string text =
      "<?xml version=\"1.0\" encoding=\"UTF-8\"?>\n"
      "<!DOCTYPE r [\n<!ENTITY e \"value\">\n]>\n"
      "<!--before-->\n"
      "<r>\n  <?target data?>\n  <a>x &e; <![CDATA[<y>]]></a>\n</r>\n"
      "<!--after-->\n";
  TextDocument document(text);
  std::string saved;
  EXPECT_TRUE(document.SaveToMemory(saved));
  EXPECT_EQ(saved, text);
}

TEST_F(XmlSaving, NothingIsSavedToMemoryWithoutADocument) {
  TextDocument unparsable("<r>");
  std::string saved = "what was there before";
  EXPECT_TRUE(unparsable.SaveToMemory(saved));
  EXPECT_EQ(saved, "");
}

TEST_F(XmlSaving, FileHoldsWhatMemoryHolds) {
  const ScratchFolder folder;
  TextDocument document("<r><a>1</a>\xC3\xA4</r>");
  const std::string name = folder / "a.xml";
  EXPECT_TRUE(document.SaveToFile(MutableText(name)));
  std::string saved;
  EXPECT_TRUE(document.SaveToMemory(saved));
  EXPECT_EQ(readFile(name), saved);
}

TEST_F(XmlSaving, FileIsReplaced) {
  const ScratchFolder folder;
  const std::string name = folder / "a.xml";
  writeFile(name, std::string(10000, 'x'));
  TextDocument document("<r/>");
  EXPECT_TRUE(document.SaveToFile(MutableText(name)));
  EXPECT_EQ(readFile(name), std::string(kDeclaration) + "<r/>\n");
}

TEST_F(XmlSaving, FileCanBeReadAgain) {
  const ScratchFolder folder;
  const std::string name = folder / "a.xml";
  TextDocument document("<r><a k='1 &lt; 2'>text &amp; more</a></r>");
  EXPECT_TRUE(document.SaveToFile(MutableText(name)));
  LibXmlWrapper again(name);
  EXPECT_EQ(again.getXPathElement("/r/a"), "text & more");
  EXPECT_EQ(again.getXPathElement("/r/a/@k"), "1 < 2");
}

TEST_F(XmlSaving, FileNameIsTakenLiterally) {
  const ScratchFolder folder;
  TextDocument document("<r/>");
  for (const char* plain : {"with blank.xml", "per%20cent.xml", "100%.xml", "a#b?c=d&e.xml",
                            "\xC3\xA4.xml", "x.gz", "-"}) {
    const std::string name = folder / plain;
    EXPECT_TRUE(document.SaveToFile(MutableText(name)));
    ASSERT_TRUE(std::filesystem::exists(name)) << plain;
    EXPECT_EQ(readFile(name), std::string(kDeclaration) + "<r/>\n") << plain;
  }
}

TEST_F(XmlSaving, FailureToWriteIsNotTold) {
  const ScratchFolder folder;
  TextDocument document("<r/>");
  EXPECT_TRUE(document.SaveToFile(MutableText(folder / "missing/a.xml")));
  EXPECT_FALSE(std::filesystem::exists(folder / "missing"));
  EXPECT_TRUE(document.SaveToFile(MutableText(folder.path().string())));
  EXPECT_TRUE(document.SaveToFile(MutableText("")));
  EXPECT_TRUE(document.SaveToFile(nullptr));
}

TEST_F(XmlSaving, FullDiskIsNotTold) {
  if (access("/dev/full", W_OK) != 0) GTEST_SKIP() << "this system has no /dev/full";
  TextDocument document("<r>" + std::string(100000, 'x') + "</r>");
  EXPECT_TRUE(document.SaveToFile(MutableText("/dev/full")));
}

TEST_F(XmlSaving, NothingIsSavedToAFileWithoutADocument) {
  const ScratchFolder folder;
  const std::string name = folder / "a.xml";
  TextDocument unparsable("<r>");
  EXPECT_TRUE(unparsable.SaveToFile(MutableText(name)));
  EXPECT_FALSE(std::filesystem::exists(name) && std::filesystem::file_size(name) > 0);
}

TEST_F(XmlSaving, EmptyDocumentIsADeclaration) {
  const ScratchFolder folder;
  const std::string name = folder / "a.xml";
  LibXmlWrapper document;
  EXPECT_TRUE(document.SaveToFile(MutableText(name)));
  EXPECT_EQ(readFile(name), kDeclaration);
}

TEST_F(XmlSaving, NamesAreNotAddresses) {
  const LocalListener listener;
  TextDocument document("<r/>");
  EXPECT_TRUE(document.SaveToFile(MutableText("http://127.0.0.1:" + listener.port() + "/a.xml")));
  EXPECT_TRUE(document.SaveToFile(MutableText("ftp://127.0.0.1:" + listener.port() + "/a.xml")));
  EXPECT_FALSE(listener.wasCalled());
}

}  // namespace
}  // namespace Test
}  // namespace QVL
