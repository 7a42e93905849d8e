// Every operation on a document with memory that runs out at every one of its allocations: no
// crash, no leak, and the document still serves. libxml2 is starved, too, where it bears that: the
// release that this was written against frees twice when it cannot start to evaluate an XPath, and
// loses blocks elsewhere. What makes no allocation of its own beside libxml2's is not tried.

#include <libxml/xmlerror.h>

#include <functional>
#include <memory>
#include <new>
#include <stdexcept>
#include <thread>
#include <utility>

#include "tests/support/ScratchFolder.h"
#include "tests/support/Starvation.h"
#include "tests/xml/XmlFixture.h"

namespace QVL {
namespace Test {
namespace {

constexpr char kText[] =
    "<!DOCTYPE r [<!ENTITY e 'entity'>]>"
    "<r a='1'><b k='one &e;'>a text that is longer than a short one &e;</b><b "
    "k='two'/><n>17</n><t>true</t></r>";

struct Operation {
  const char* name;
  std::function<void(LibXmlWrapper&, const ScratchFolder&)> run;
};

std::ostream& operator<<(std::ostream& out, const Operation& operation) {
  return out << operation.name;
}

class StarvedDocument : public testing::TestWithParam<Operation> {
 protected:
  // Fed, so that what lives as long as the process is there before blocks are counted.
  void SetUp() override { live(GetParam()); }
  void TearDown() override { m_stderr.take(); }

  // A document, an operation on it, and the document saved afterwards.
  std::string live(const Operation& operation) {
    TextDocument document(kText);
    operation.run(document, m_folder);
    return savedText(document);
  }

  // libxml2 keeps the last error of a thread until the next one: not counted.
  static long blocksOfOurs() {
    xmlResetLastError();
    return liveBlocks();
  }

  static std::string savedText(LibXmlWrapper& document) {
    std::string saved;
    document.SaveToMemory(saved);
    return saved;
  }

  const ScratchFolder m_folder;

 private:
  CapturedStderr m_stderr;  // the class tells its failures there; not what is looked at here
};

template <typename Call>
void hungrily(Call&& call) {
  try {
    call();
  } catch (const std::exception&) {
  }
}

TEST_P(StarvedDocument, StaysADocumentAndServesAgain) {
  const Operation& operation = GetParam();
  TextDocument untouched(kText);
  const std::string before = savedText(untouched);
  const std::string after = live(operation);
  std::size_t struckAtAll = 0;
  for (const auto& [whose, hunger] : {std::pair(Whose::OperatorNew, Hunger::OneRefusal),
                                      std::pair(Whose::Everybodys, Hunger::OneRefusal),
                                      std::pair(Whose::Everybodys, Hunger::ForGood)}) {
    struckAtAll += untilFed([&, whose = whose, hunger = hunger](std::size_t spared) {
      SCOPED_TRACE(testing::Message() << "after " << spared << " allocations, " << hunger);
      const long blocks = blocksOfOurs();
      bool struck = false;
      {
        TextDocument document(kText);
        {
          const Starvation starvation(spared, hunger, whose);
          hungrily([&] { operation.run(document, m_folder); });
          struck = starvation.struck();
        }
        const std::string now = savedText(document);
        if (now != before && now != after) {
          // Half of an edit, but a document.
          EXPECT_TRUE(TextDocument(now).isXPathElementExists("/*")) << now;
        }
      }
      if (whose == Whose::OperatorNew) {
        EXPECT_EQ(blocksOfOurs(), blocks) << "a leak";
      }
      return struck && !HasFailure();
    });
  }
  EXPECT_GT(struckAtAll, 0U) << "nothing was allocated";
  RecordProperty("starved", std::to_string(struckAtAll));
}

const std::vector<Operation> kOperations = {
    {"Construct", [](LibXmlWrapper&, const ScratchFolder&) { LibXmlWrapper document; }},
    {"ParseText", [](LibXmlWrapper&, const ScratchFolder&) { TextDocument document(kText); }},
    {"ParseFile",
     [](LibXmlWrapper&, const ScratchFolder& folder) {
       // The file is the one that an operation before has saved, or none.
       LibXmlWrapper document(folder / "saved.xml");
       document.getXPathElement("/r/n");
       document.SaveToFile((folder / "saved.xml").data());
     }},
    {"Read",
     [](LibXmlWrapper& document, const ScratchFolder&) {
       document.getXPathElement("/r/b[1]");
       document.getXPathStringValue("/r/n");
       document.getXPathBoolValue("/r/t");
       document.getXPathUnsignedLongValue("/r/n");
       document.isXPathElementExists("/r/n");
     }},
    {"ReadAll",
     [](LibXmlWrapper& document, const ScratchFolder&) {
       document.getXPathAllElement("//b");
       document.getXPathElementAttribute("//b", "k");
       document.getXPathAllElementAttribute("/r", "b", "k");
       document.getXPathAllElement("/r", "b", "default");
     }},
    {"ReadWhatIsNoNodeSet",
     [](LibXmlWrapper& document, const ScratchFolder&) {
       document.getXPathElement("count(//b)");
       document.getXPathAllElement("string(/r/b[1])");
       document.getXPathElement("//b[");
     }},
    {"SetElement", [](LibXmlWrapper& document,
                      const ScratchFolder&) { document.setXPathElement("/r/b[1]", "new text"); }},
    {"SetAttribute",
     [](LibXmlWrapper& document, const ScratchFolder&) {
       document.setXPathElementAttribute("/r/b[1]", "k", "new value");
     }},
    {"SetLastAttribute",
     [](LibXmlWrapper& document, const ScratchFolder&) {
       document.setXPathElementAttributeEx("//b", "fresh", "new value");
     }},
    {"AddElement", [](LibXmlWrapper& document,
                      const ScratchFolder&) { document.AddNewElementNode("/r", "added", "text"); }},
    {"AddElementToLast",
     [](LibXmlWrapper& document, const ScratchFolder&) {
       document.AddNewElementNodeEx("//b", "added", "text");
     }},
    {"ReplaceRoot",
     [](LibXmlWrapper& document, const ScratchFolder&) {
       document.AddNewElementNode(nullptr, "root", nullptr);
     }},
    {"AddNode",
     [](LibXmlWrapper& document, const ScratchFolder&) {
       document.AddNewNode(MutableText("node"), MutableText("text"));
     }},
    {"AddHeader",
     [](LibXmlWrapper& document, const ScratchFolder&) { document.addXMLHeader("1.0", "UTF-8"); }},
    {"SaveToFile",
     [](LibXmlWrapper& document, const ScratchFolder& folder) {
       document.SaveToFile((folder / "saved.xml").data());
     }},
    {"SaveToMemory",
     [](LibXmlWrapper& document, const ScratchFolder&) {
       std::string saved;
       document.SaveToMemory(saved);
     }},
};
INSTANTIATE_TEST_SUITE_P(Of, StarvedDocument, testing::ValuesIn(kOperations),
                         [](const auto& each) { return std::string(each.param.name); });

// libxml2 keeps something for each thread, which its release that this was written against asks for
// at a thread's first call, and takes for granted.
TEST(StarvedThread, CannotUseADocumentUntilThereIsMemory) {
  TextDocument document(kText);
  std::thread([&] {
    for (const Hunger hunger : {Hunger::OneRefusal, Hunger::ForGood}) {
      const Starvation starvation(0, hunger);
      EXPECT_THROW(document.isXPathElementExists("/r/n"), std::bad_alloc) << hunger;
    }
    EXPECT_EQ(document.getXPathElement("/r/n"), "17");
  }).join();
}

}  // namespace
}  // namespace Test
}  // namespace QVL
