// Documents that were written to harm: nothing outside them is read, nothing hangs, and neither
// memory nor the stack is exhausted.

#include <sys/resource.h>
#include <sys/stat.h>

#include <list>
#include <vector>

#include "tests/support/Sanitizers.h"
#include "tests/support/ScratchFolder.h"
#include "tests/xml/LocalListener.h"
#include "tests/xml/XmlFixture.h"

namespace QVL {
namespace Test {
namespace {

class HostileDocument : public XmlTest {
 protected:
// Sanitizers reserve more address space than any limit that would be worth setting.
#if !QVL_TEST_ADDRESS_SANITIZER && !QVL_TEST_THREAD_SANITIZER
  // A document that asks for all memory fails its case and not the machine.
  void SetUp() override {
    ASSERT_EQ(getrlimit(RLIMIT_AS, &m_unlimited), 0);
    rlimit limited = m_unlimited;
    limited.rlim_cur = rlim_t{2} << 30;
    ASSERT_EQ(setrlimit(RLIMIT_AS, &limited), 0);
  }

  void TearDown() override {
    setrlimit(RLIMIT_AS, &m_unlimited);
    XmlTest::TearDown();
  }

  rlimit m_unlimited{};
#endif

  // Everything that can be got out of the document.
  static std::string everythingIn(LibXmlWrapper& document) {
    std::string all;
    for (const std::string& text : document.getXPathAllElement("//node() | //@*")) all += text;
    for (const char* child : {"r", "c", "text"}) {
      for (const char* parent : {"/", "//*"}) {
        for (const auto& row : document.getXPathAllElement(parent, child, nullptr)) {
          for (const std::string& text : row) all += text;
        }
        for (const auto& row : document.getXPathAllElementAttribute(parent, child, "a")) {
          for (const std::string& text : row) all += text;
        }
      }
    }
    for (const std::string& text : document.getXPathElementAttribute("//*", "a")) all += text;
    std::string saved;
    EXPECT_TRUE(document.SaveToMemory(saved));
    return all + saved;
  }

  static constexpr std::size_t kReasonable = 20 << 20;
};

std::string repeated(const std::string& text, int times) {
  std::string all;
  for (int i = 0; i < times; ++i) all += text;
  return all;
}

std::string nested(int depth) {
  return repeated("<a>", depth) + repeated("</a>", depth);
}

TEST_F(HostileDocument, DeepNestingIsRefused) {
  for (const int depth : {10000, 1000000}) {
    TextDocument document(nested(depth));
    EXPECT_FALSE(document.isXPathElementExists("/a")) << depth;
  }
  TextDocument unfinished(repeated("<a>", 1000000));
  EXPECT_FALSE(unfinished.isXPathElementExists("/a"));
}

TEST_F(HostileDocument, OrdinaryNestingIsNot) {
  TextDocument document(nested(200));
  EXPECT_EQ(document.getXPathAllElement("//a").size(), 200U);
  EXPECT_EQ(everythingIn(document).empty(), false);
}

TEST_F(HostileDocument, ManySiblingsAndAttributesAreRead) {
  std::string text = "<r";
  for (int i = 0; i < 1000; ++i) text += " a" + std::to_string(i) + "='v'";
  text += ">" + repeated("<c a='1'/>", 20000) + "</r>";
  TextDocument document(text);
  EXPECT_EQ(document.getXPathElementAttribute("/r/c", "a").size(), 20000U);
  EXPECT_EQ(document.getXPathAllElement("/r/@*").size(), 1000U);
}

// --- Entities
// --------------------------------------------------------------------------------------

// Each entity names the one before ten times.
std::string bombEntities(int levels) {
  std::string entities = "<!ENTITY e0 'lol'>";
  for (int i = 1; i <= levels; ++i) {
    entities += "<!ENTITY e" + std::to_string(i) + " '" +
                repeated("&e" + std::to_string(i - 1) + ";", 10) + "'>";
  }
  return entities;
}

TEST_F(HostileDocument, EntityBombDoesNotGoOff) {
  for (const int levels : {9, 5, 30}) {
    const std::string entities = bombEntities(levels);
    const std::string last = "&e" + std::to_string(levels) + ";";
    for (const std::string& root :
         {"<r>" + last + "</r>", "<r><c>" + last + "</c></r>", "<r a='" + last + "'/>",
          "<r><c a='" + last + "'/></r>", "<r><c>" + repeated(last, 1000) + "</c></r>"}) {
      SCOPED_TRACE(root.substr(0, 100));
      TextDocument document("<!DOCTYPE r [" + entities + "]>" + root);
      EXPECT_LT(everythingIn(document).size(), kReasonable);
    }
  }
}

TEST_F(HostileDocument, EntityBombDoesNotGoOffInADefaultedAttribute) {
  TextDocument document("<!DOCTYPE r [" + bombEntities(9) +
                        "<!ATTLIST r a CDATA '&e9;'>]><r><c/></r>");
  EXPECT_LT(everythingIn(document).size(), kReasonable);
}

TEST_F(HostileDocument, ParameterEntityBombDoesNotGoOff) {
  std::string entities = "<!ENTITY % p0 'lol'>";
  for (int i = 1; i <= 9; ++i) {
    entities += "<!ENTITY % p" + std::to_string(i) + " '" +
                repeated("&#37;p" + std::to_string(i - 1) + ";", 10) + "'>";
  }
  TextDocument document("<!DOCTYPE r [" + entities + "%p9;]><r/>");
  EXPECT_LT(everythingIn(document).size(), kReasonable);
}

TEST_F(HostileDocument, LongEntityNamedOftenDoesNotFillMemory) {
  TextDocument document("<!DOCTYPE r [<!ENTITY e '" + std::string(100000, 'x') + "'>]><r><c>" +
                        repeated("&e;", 100000) + "</c></r>");
  EXPECT_LT(everythingIn(document).size(), kReasonable);
}

TEST_F(HostileDocument, ShortEntityNamedOftenDoesNotTakeForEver) {
  const int times = 200000;
  const std::string entity = "<!DOCTYPE r [<!ENTITY e '" + std::string(20, 'x') + "'>]>";
  TextDocument content(entity + "<r><c>" + repeated("&e;", times) + "</c></r>");
  TextDocument attribute(entity + "<r a='" + repeated("&e;", times) + "'/>");
  for (TextDocument* document : {&content, &attribute}) {
    EXPECT_LT(everythingIn(*document).size(), kReasonable);
  }
}

TEST_F(HostileDocument, ManySmallTextsDoNotTakeForEver) {
  TextDocument document("<r><c>" + repeated("x<!---->", 300000) + "</c></r>");
  EXPECT_EQ(document.getXPathAllElement("/r", "c", nullptr).front().front(),
            std::string(300000, 'x'));
}

TEST_F(HostileDocument, EntitiesWithinReasonAreResolved) {
  TextDocument document("<!DOCTYPE r [" + bombEntities(2) + "]><r a='&e2;'><c>&e2;</c></r>");
  const std::string resolved = repeated("lol", 100);
  EXPECT_EQ(document.getXPathAllElement("/r", "c", nullptr).front().front(), resolved);
  EXPECT_EQ(document.getXPathElementAttribute("/r", "a").front(), resolved);
}

TEST_F(HostileDocument, LongEntityIsNotResolvedInsideAnExpressionEither) {
  TextDocument document("<!DOCTYPE r [<!ENTITY e '" + std::string(100000, 'x') + "'>]><r><c>" +
                        repeated("&e;", 100000) + "</c></r>");
  EXPECT_FALSE(document.isXPathElementExists("/r/c[string-length(.) > 20000000]"));
}

TEST_F(HostileDocument, LongChainOfEntitiesDoesNotExhaustTheStack) {
  std::string entities = "<!ENTITY e0 'text'>";
  for (int i = 1; i <= 20000; ++i) {
    entities += "<!ENTITY e" + std::to_string(i) + " '&e" + std::to_string(i - 1) + ";'>";
  }
  TextDocument named("<!DOCTYPE r [" + entities + "]><r><c>&e20000;</c></r>");
  EXPECT_LT(everythingIn(named).size(), kReasonable);
  TextDocument unnamed("<!DOCTYPE r [" + entities + "]><r><c/></r>");
  EXPECT_FALSE(unnamed.setXPathElement("/r/c", "&e20000;"));
}

TEST_F(HostileDocument, EntityThatContainsItselfIsNotFollowed) {
  for (const std::string entities : {"<!ENTITY e '&e;'>", "<!ENTITY e '&f;'><!ENTITY f '&e;'>",
                                     "<!ENTITY e '<c>&f;</c>'><!ENTITY f '<c>&e;</c>'>"}) {
    for (const std::string root :
         {"<r>&e;</r>", "<r><c>&e;</c></r>", "<r a='&e;'/>", "<r><c a='&e;'/></r>", "<r/>"}) {
      SCOPED_TRACE(entities + root);
      TextDocument document("<!DOCTYPE r [" + entities + "]>" + root);
      EXPECT_LT(everythingIn(document).size(), kReasonable);
    }
  }
}

TEST_F(HostileDocument, EntityBombDoesNotGoOffWhenAnEditNamesIt) {
  TextDocument document("<!DOCTYPE r [" + bombEntities(9) + "]><r><c/></r>");
  const std::string before = bodyOf(document);
  for (const char* text : {"&e9;", "small &e1; then large &e9;", "&& &; &e9;"}) {
    EXPECT_FALSE(document.setXPathElement("/r/c", text));
    EXPECT_FALSE(document.AddNewElementNode("/r", "c", text));
    EXPECT_FALSE(document.AddNewElementNodeEx("/r", "c", text));
    EXPECT_EQ(document.AddNewNode(MutableText("c"), MutableText(text)), -1);
  }
  EXPECT_EQ(bodyOf(document), before);

  // A small one may be named, and in an attribute an ampersand is only an ampersand.
  EXPECT_TRUE(document.setXPathElement("/r/c", "&e2;"));
  EXPECT_TRUE(document.setXPathElementAttribute("/r", "a", "&e9;"));
  EXPECT_EQ(document.getXPathAllElement("/r", "c", nullptr).front().front(), repeated("lol", 100));
  EXPECT_EQ(document.getXPathElement("/r/@a"), "&e9;");
  EXPECT_LT(everythingIn(document).size(), kReasonable);
}

TEST_F(HostileDocument, SelfContainingEntityIsNotFollowedWhenAnEditNamesIt) {
  TextDocument document("<!DOCTYPE r [<!ENTITY e '&f;'><!ENTITY f '&e;'>]><r a='1'><c/></r>");
  EXPECT_FALSE(document.setXPathElement("/r/c", "&e;"));
  EXPECT_FALSE(document.setXPathElement("/r/@a", "&e;"));
  EXPECT_FALSE(document.AddNewElementNode("/r", "c", "&e;"));
  EXPECT_LT(everythingIn(document).size(), kReasonable);
}

// --- Limits of what is read and what an edit makes
// -----------------------------------------------------------------------------------------------

// The document as it comes back from a file.
bool canBeReadAgain(LibXmlWrapper& document) {
  const ScratchFolder folder;
  std::string name = folder / "saved.xml";
  document.SaveToFile(name.data());
  LibXmlWrapper again(name);
  std::string before;
  std::string after;
  document.SaveToMemory(before);
  again.SaveToMemory(after);
  return !before.empty() && before == after;
}

std::string withAttributes(int count, const char* name = "a") {
  std::string text = "<r";
  for (int i = 0; i < count; ++i) text += std::string(" ") + name + std::to_string(i) + "='v'";
  return text + "/>";
}

std::string inUtf16(const std::string& text) {
  std::string wide = "\xFF\xFE";
  for (const char byte : text) (wide += byte) += '\0';
  return wide;
}

TEST_F(HostileDocument, AThousandAttributesAreReadAndNoMore) {
  const ScratchFolder folder;
  const std::string name = folder / "attributes.xml";
  for (const auto& [count, taken] : {std::pair(1000, true), std::pair(1001, false)}) {
    for (const std::string& text :
         {withAttributes(count), inUtf16(withAttributes(count)), withAttributes(count, "xmlns:a"),
          "<q><p/>" + withAttributes(count) + "</q>",
          // Not seen before libxml2 has met them.
          "<!DOCTYPE q [<!ENTITY e \"&#60;" + withAttributes(count).substr(1) +
              "\">]><q>&e;</q>"}) {
      SCOPED_TRACE(std::to_string(count) + ": " + text.substr(0, 40));
      TextDocument document(text);
      EXPECT_EQ(document.isXPathElementExists("/*"), taken);
      writeFile(name, text);
      LibXmlWrapper file(name);
      EXPECT_EQ(file.isXPathElementExists("/*"), taken);
      if (!taken) {
        EXPECT_EQ(standardError(), "Error: unable to parse file \"" + name + "\"\n");
      }
    }
  }
}

// libxml2 compares each attribute with every other: this one would take it minutes.
TEST_F(HostileDocument, HundredsOfThousandsOfAttributesAreRefusedBeforeTheyAreParsed) {
  const ScratchFolder folder;
  const std::string name = folder / "attributes.xml";
  const std::string text = withAttributes(1000000);
  TextDocument document(text);
  EXPECT_FALSE(document.isXPathElementExists("/*"));
  writeFile(name, text);
  LibXmlWrapper file(name);
  EXPECT_FALSE(file.isXPathElementExists("/*"));
  standardError();
}

TEST_F(HostileDocument, ManyEqualSignsInTextAreNoAttributes) {
  const std::string equals = repeated("a=\"b\" ", 5000);
  for (const std::string& text :
       {"<r>" + equals + "</r>", "<r a='" + repeated("=\"", 5000) + "'/>",
        "<r><!--" + equals + "--><?p " + equals + "?><![CDATA[" + equals + "]]></r>",
        "<r>" + repeated("<c a='1' b='2'/>", 2000) + "</r>"}) {
    TextDocument document(text);
    EXPECT_TRUE(document.isXPathElementExists("/r")) << text.substr(0, 40);
  }
}

TEST_F(HostileDocument, EditAddsNoMoreThanAThousandAttributes) {
  TextDocument document(withAttributes(999));
  EXPECT_TRUE(document.setXPathElementAttribute("/r", "last", "1"));
  EXPECT_FALSE(document.setXPathElementAttribute("/r", "more", "1"));
  EXPECT_FALSE(document.setXPathElementAttributeEx("/r", "more", "1"));
  EXPECT_TRUE(document.setXPathElementAttribute("/r", "last", "2"));
  EXPECT_EQ(document.getXPathAllElement("/r/@*").size(), 1000U);
  EXPECT_TRUE(canBeReadAgain(document));
}

TEST_F(HostileDocument, EntitiesOfTheWholeDocumentAreLimitedWhateverEditsBringThem) {
  constexpr std::size_t kHalf = 5000000 - 10;  // beside the text of the reference itself
  TextDocument document("<!DOCTYPE r [<!ENTITY e '" + std::string(kHalf, 'x') +
                        "'>]><r a='1'><c/><d/></r>");
  EXPECT_TRUE(document.setXPathElement("/r/c", "&e;"));
  EXPECT_TRUE(document.setXPathElement("/r/c", "&e;")) << "in the place of the first";
  EXPECT_TRUE(document.setXPathElement("/r/@a", "&e;"));
  const std::string before = bodyOf(document);
  EXPECT_FALSE(document.setXPathElement("/r/d", "&e;"));
  EXPECT_FALSE(document.AddNewElementNode("/r", "f", "&e;"));
  EXPECT_FALSE(document.AddNewElementNodeEx("/r", "f", "&e;"));
  EXPECT_EQ(document.AddNewNode(MutableText("f"), MutableText("&e;")), -1);
  EXPECT_EQ(bodyOf(document), before);
  EXPECT_TRUE(canBeReadAgain(document));
  EXPECT_EQ(document.getXPathAllElement("/r", "c", nullptr).front().front().size(), kHalf);

  EXPECT_TRUE(document.setXPathElement("/r/@a", "short"));
  EXPECT_TRUE(document.AddNewElementNode("/r", "f", "&e;"));
  EXPECT_TRUE(canBeReadAgain(document));
}

// To the byte.
TEST_F(HostileDocument, EntitiesMayComeToTenMillionBytes) {
  const std::string declared =
      "<!DOCTYPE r [<!ENTITY e '" + std::string(100000, 'x') + "'><!ENTITY f 'x'>]>";
  const std::string most = repeated("&e;", 100);
  TextDocument edited(declared + "<r><c/><d/></r>");
  EXPECT_FALSE(edited.setXPathElement("/r/c", (most + "&f;").c_str()));
  EXPECT_TRUE(edited.setXPathElement("/r/c", most.c_str()));
  EXPECT_FALSE(edited.setXPathElement("/r/d", "&f;"));
  EXPECT_TRUE(canBeReadAgain(edited));
  for (const bool isMore : {false, true}) {
    TextDocument parsed(declared + "<r><c>" + most + (isMore ? "&f;" : "") + "</c></r>");
    EXPECT_EQ(parsed.isXPathElementExists("/r"), !isMore);
  }
}

TEST_F(HostileDocument, EditsTakeEntitiesEightDeep) {
  for (const std::string& beside : {std::string(), std::string("text"), std::string(1000, 'x')}) {
    std::string entities = "<!ENTITY e1 'text'>";
    for (int i = 2; i <= 9; ++i) {
      entities +=
          "<!ENTITY e" + std::to_string(i) + " '" + beside + "&e" + std::to_string(i - 1) + ";'>";
    }
    const std::string declared = "<!DOCTYPE r [" + entities + "]>";
    TextDocument edited(declared + "<r a='1'><c/><d/></r>");
    EXPECT_FALSE(edited.setXPathElement("/r/c", "&e9;"));
    EXPECT_FALSE(edited.setXPathElement("/r/c", "&e5; &e8; &e9;")) << "those it names come first";
    EXPECT_FALSE(edited.setXPathElement("/r/@a", "&e9;"));
    EXPECT_TRUE(edited.setXPathElement("/r/c", "&e8;"));
    EXPECT_TRUE(edited.setXPathElement("/r/d", "&e5; &e8; &e1; &e8;"));
    EXPECT_TRUE(edited.setXPathElement("/r/@a", "&e8;"));
    EXPECT_TRUE(canBeReadAgain(edited));
    // What libxml2 reads by itself may be nested deeper.
    TextDocument parsed(declared + "<r><c>&e9;</c><d/></r>");
    EXPECT_TRUE(parsed.isXPathElementExists("/r"));
    EXPECT_TRUE(parsed.setXPathElement("/r/d", "&e8;"));
    EXPECT_TRUE(canBeReadAgain(parsed));
  }
}

// Its declaration asks for it once, too.
TEST_F(HostileDocument, ParameterEntitiesMayBeAskedForAThousandTimes) {
  for (const auto& [times, taken] : {std::pair(999, true), std::pair(1000, false)}) {
    TextDocument document("<!DOCTYPE r [<!ENTITY % p ' '>" + repeated("%p;", times) + "]><r/>");
    EXPECT_EQ(document.isXPathElementExists("/r"), taken) << times;
  }
}

TEST_F(HostileDocument, EditNestsNoDeeperThanCanBeReadAgain) {
  TextDocument document(nested(254));
  EXPECT_TRUE(document.AddNewElementNodeEx("//a", "a", nullptr));
  EXPECT_TRUE(document.AddNewElementNodeEx("//a", "a", "the last of 256"));
  EXPECT_FALSE(document.AddNewElementNodeEx("//a", "a", nullptr));
  EXPECT_FALSE(document.AddNewElementNode("//a[not(a)]", "a", nullptr));
  EXPECT_EQ(document.getXPathAllElement("//a").size(), 256U);
  EXPECT_TRUE(canBeReadAgain(document));
}

TEST_F(HostileDocument, EditTakesNoLongerTextThanCanBeReadAgain) {
  constexpr std::size_t kLongest = 9990000;
  const struct {
    char byte;
    std::size_t saved;  // takes so many
  } rows[] = {{'x', 1}, {'"', 6}};
  for (const auto& row : rows) {
    const std::string longest(kLongest / row.saved, row.byte);
    const std::string longer = longest + row.byte;
    TextDocument document("<r><c/></r>");
    EXPECT_TRUE(document.setXPathElement("/r/c", longest.c_str()));
    EXPECT_FALSE(document.setXPathElement("/r/c", longer.c_str()));
    EXPECT_TRUE(document.setXPathElementAttribute("/r", "a", longest.c_str()));
    EXPECT_FALSE(document.setXPathElementAttribute("/r", "a", longer.c_str()));
    EXPECT_FALSE(document.setXPathElementAttributeEx("/r", "a", longer.c_str()));
    EXPECT_TRUE(document.AddNewElementNode("/r", "d", longest.c_str()));
    EXPECT_FALSE(document.AddNewElementNode("/r", "e", longer.c_str()));
    EXPECT_FALSE(document.AddNewElementNodeEx("/r", "e", longer.c_str()));
    // Saved once only: libxml2 moves what is left of a text with each piece that it saves.
    const ScratchFolder folder;
    std::string name = folder / "saved.xml";
    document.SaveToFile(name.data());
    LibXmlWrapper again(name);
    for (const char* place : {"/r/c", "/r/@a", "/r/d"}) {
      EXPECT_TRUE(again.getXPathElement(place) == longest) << row.byte << " in " << place;
    }
    EXPECT_TRUE(again.getXPathElement("/r/e").empty()) << row.byte;
  }
}

TEST_F(HostileDocument, EditTakesNoLongerNameThanCanBeReadAgain) {
  const std::string longest(50000, 'n');
  const std::string longer(50001, 'n');
  TextDocument document("<r/>");
  EXPECT_TRUE(document.AddNewElementNode("/r", longest.c_str(), nullptr));
  EXPECT_TRUE(document.setXPathElementAttribute("/r", longest.c_str(), "v"));
  const std::string before = bodyOf(document);
  EXPECT_FALSE(document.AddNewElementNode("/r", longer.c_str(), nullptr));
  EXPECT_FALSE(document.setXPathElementAttribute("/r", longer.c_str(), "v"));
  EXPECT_FALSE(document.AddNewElementNode(nullptr, longer.c_str(), nullptr));
  EXPECT_EQ(bodyOf(document), before);
  EXPECT_TRUE(canBeReadAgain(document));
}

// --- What lies outside the document
// ----------------------------------------------------------------

constexpr char kSecret[] = "what must not be read";

struct Outside {
  const char* name;
  std::string document;
};

// Documents that name something outside, %s standing for its address.
std::vector<Outside> namingOutside(const std::string& address) {
  const std::string system = "SYSTEM '" + address + "'";
  return {
      {"entity in content", "<!DOCTYPE r [<!ENTITY x " + system + ">]><r><c>&x;</c></r>"},
      {"entity as first child", "<!DOCTYPE r [<!ENTITY x " + system + ">]><r>&x;</r>"},
      {"entity in an attribute", "<!DOCTYPE r [<!ENTITY x " + system + ">]><r a='&x;'/>"},
      {"entity through another",
       "<!DOCTYPE r [<!ENTITY x " + system + "><!ENTITY y '&x;'>]><r>&y;</r>"},
      {"public entity", "<!DOCTYPE r [<!ENTITY x PUBLIC '-//x//y' '" + address + "'>]><r>&x;</r>"},
      {"unparsed entity", "<!DOCTYPE r [<!NOTATION n SYSTEM 'n'><!ENTITY x " + system +
                              " NDATA n><!ATTLIST r a ENTITY #IMPLIED>]><r a='x'/>"},
      {"document type", "<!DOCTYPE r " + system + "><r>&fromOutside;</r>"},
      {"document type without use", "<!DOCTYPE r " + system + "><r/>"},
      {"parameter entity", "<!DOCTYPE r [<!ENTITY % x " + system + "> %x;]><r>&fromOutside;</r>"},
      {"inclusion",
       "<r xmlns:xi='http://www.w3.org/2001/XInclude'><xi:include parse='text' href='" + address +
           "'/></r>"},
      {"style sheet", "<?xml-stylesheet type='text/xml' href='" + address + "'?><r/>"},
      {"schema",
       "<r xmlns:xsi='http://www.w3.org/2001/XMLSchema-instance' "
       "xsi:noNamespaceSchemaLocation='" +
           address + "'/>"},
  };
}

TEST_F(HostileDocument, FilesOutsideAreNotRead) {
  const ScratchFolder folder;
  writeFile(folder / "secret.txt", kSecret);
  writeFile(folder / "secret.xml", "<c>" + std::string(kSecret) + "</c>");
  writeFile(folder / "secret.dtd", "<!ENTITY fromOutside '" + std::string(kSecret) +
                                       "'><!ATTLIST r a CDATA '" + kSecret + "'>");
  for (const char* plain : {"secret.txt", "secret.xml", "secret.dtd"}) {
    for (const std::string& address :
         {folder / plain, "file://" + (folder / plain), std::string(plain)}) {
      for (const Outside& outside : namingOutside(address)) {
        SCOPED_TRACE(std::string(outside.name) + ": " + address);
        TextDocument fromText(outside.document);
        EXPECT_EQ(everythingIn(fromText).find(kSecret), std::string::npos);

        writeFile(folder / "hostile.xml", outside.document);
        LibXmlWrapper fromFile(folder / "hostile.xml");
        EXPECT_EQ(everythingIn(fromFile).find(kSecret), std::string::npos);
        standardError();  // some are refused, and told
      }
    }
  }
}

// Reading one of these would wait for ever.
TEST_F(HostileDocument, PipesOutsideAreNotOpened) {
  const ScratchFolder folder;
  const std::string name = folder / "pipe";
  ASSERT_EQ(mkfifo(name.c_str(), 0600), 0);
  for (const Outside& outside : namingOutside(name)) {
    SCOPED_TRACE(outside.name);
    TextDocument document(outside.document);
    everythingIn(document);
  }
}

TEST_F(HostileDocument, NetworkIsNotAsked) {
  const LocalListener listener;
  for (const char* scheme : {"http", "ftp"}) {
    const std::string address =
        std::string(scheme) + "://127.0.0.1:" + listener.port() + "/outside.dtd";
    for (const Outside& outside : namingOutside(address)) {
      SCOPED_TRACE(std::string(outside.name) + ": " + scheme);
      TextDocument document(outside.document);
      everythingIn(document);
      EXPECT_FALSE(listener.wasCalled());
    }
  }
}

TEST_F(HostileDocument, FileNameThatIsAnAddressIsNotAsked) {
  const LocalListener listener;
  for (const char* scheme : {"http", "ftp"}) {
    const std::string address = std::string(scheme) + "://127.0.0.1:" + listener.port() + "/a.xml";
    LibXmlWrapper document(address);
    EXPECT_FALSE(listener.wasCalled());
    EXPECT_EQ(standardError(), "Error: unable to parse file \"" + address + "\"\n");
  }
}

TEST_F(HostileDocument, FilesOutsideAreNotReadWhenAnEditNamesThem) {
  const ScratchFolder folder;
  writeFile(folder / "secret.txt", kSecret);
  TextDocument document("<!DOCTYPE r [<!ENTITY x SYSTEM '" + (folder / "secret.txt") +
                        "'>]><r a='1'><c/></r>");
  EXPECT_TRUE(document.setXPathElement("/r/c", "&x;"));
  EXPECT_TRUE(document.setXPathElement("/r/@a", "&x;"));
  EXPECT_TRUE(document.AddNewElementNode("/r", "c", "&x;"));
  EXPECT_EQ(everythingIn(document).find(kSecret), std::string::npos);
}

}  // namespace
}  // namespace Test
}  // namespace QVL
