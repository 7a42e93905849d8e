// The failures of the query steps that all operations with an expression share: what each operation
// answers, and what it writes to standard error, to the letter.

#include <functional>
#include <list>
#include <stdexcept>
#include <typeinfo>
#include <vector>

#include "tests/xml/XmlFixture.h"

namespace QVL {
namespace Test {
namespace {

// Results as text, so that operations of all result types fit into one table.
std::string show(bool value) {
  return value ? "true" : "false";
}
std::string show(unsigned long value) {
  return std::to_string(value);
}
std::string show(const std::string& text) {
  return "'" + text + "'";
}

template <class Items>
std::string show(const Items& items) {
  std::string shown;
  for (const auto& item : items) shown += (shown.empty() ? "" : " ") + show(item);
  return "[" + shown + "]";
}

template <class Operation>
std::string resultOf(Operation operation) {
  try {
    return show(operation());
  } catch (const std::exception& exception) {
    return typeid(exception) == typeid(std::exception) ? "std::exception"
                                                       : typeid(exception).name();
  }
}

struct Outcome {
  const char* result;
  const char* message = "";
};

struct Row {
  const char* operation;
  std::function<std::string(LibXmlWrapper&, const char* xpath)> call;
  Outcome nullExpression;
  Outcome noResult;
  Outcome notANodeSet;
  Outcome noMatch;
  Outcome twoMatches;
};

constexpr char kNotANodeSet[] = "Error: unable to evaluate xpath expression \"count(/r/b)\"\n";

#define QVL_CALL(expression) \
  [](LibXmlWrapper& document, const char* xpath) { return resultOf([&] { return expression; }); }

const std::vector<Row>& rows() {
  static const std::vector<Row> all = {
      {"getXPathElement",
       QVL_CALL(document.getXPathElement(xpath)),
       {"''"},
       {"''"},
       {"''", kNotANodeSet},
       {"''"},
       {"''"}},
      {"getXPathStringValue",
       QVL_CALL(document.getXPathStringValue(xpath)),
       {"''"},
       {"''"},
       {"''", kNotANodeSet},
       {"''"},
       {"''"}},
      {"isXPathElementExists",
       QVL_CALL(document.isXPathElementExists(xpath)),
       {"false"},
       {"false"},
       {"false"},
       {"false"},
       {"false"}},
      {"getXPathAllElement",
       QVL_CALL(document.getXPathAllElement(xpath)),
       {"[]"},
       {"[]"},
       {"[]", kNotANodeSet},
       {"[]"},
       {"['1' '2']"}},
      {"getXPathElementAttribute",
       QVL_CALL(document.getXPathElementAttribute(xpath, "k")),
       {"['']"},
       {"['']"},
       {"['']", kNotANodeSet},
       {"[]"},
       {"['k1' 'k2']"}},
      {"getXPathAllElementAttribute",
       QVL_CALL(document.getXPathAllElementAttribute(xpath, "c", "k")),
       {"[]"},
       {"[]"},
       {"[]", kNotANodeSet},
       {"[]"},
       {"[['k3'] []]"}},
      {"getXPathAllElement with children",
       QVL_CALL(document.getXPathAllElement(xpath, "c", "none")),
       {"[]"},
       {"[]"},
       {"[]", kNotANodeSet},
       {"[]"},
       {"[['3'] ['none']]"}},
      {"getXPathBoolValue",
       QVL_CALL(document.getXPathBoolValue(xpath)),
       {"std::exception"},
       {"std::exception"},
       {"std::exception", kNotANodeSet},
       {"std::exception"},
       {"std::exception"}},
      {"getXPathUnsignedLongValue",
       QVL_CALL(document.getXPathUnsignedLongValue(xpath)),
       {"std::exception"},
       {"std::exception"},
       {"std::exception", kNotANodeSet},
       {"std::exception"},
       {"std::exception"}},
      {"setXPathElement",
       QVL_CALL(document.setXPathElement(xpath, "new")),
       {"false"},
       {"false"},
       {"false", kNotANodeSet},
       {"false"},
       {"false"}},
      {"setXPathElementAttribute",
       QVL_CALL(document.setXPathElementAttribute(xpath, "k", "new")),
       {"false"},
       {"false"},
       {"false", kNotANodeSet},
       {"false"},
       {"false"}},
      {"setXPathElementAttributeEx",
       QVL_CALL(document.setXPathElementAttributeEx(xpath, "k", "new")),
       {"false", "Error: Null query passed\n"},
       {"false"},
       {"false", kNotANodeSet},
       {"false", "Error: size is zero\n"},
       {"true"}},
      {"AddNewElementNode",
       QVL_CALL(document.AddNewElementNode(xpath, "n", "new")),
       {"false"},
       {"false"},
       {"false", kNotANodeSet},
       {"false"},
       {"false"}},
      {"AddNewElementNodeEx",
       QVL_CALL(document.AddNewElementNodeEx(xpath, "n", "new")),
       {"false"},
       {"false"},
       {"false", kNotANodeSet},
       {"false", "Error: size if zero"},
       {"true"}},
  };
  return all;
}

constexpr char kDocument[] = "<r><b k=\"k1\">1<c k=\"k3\">3</c></b><b k=\"k2\">2</b></r>";

class QueryFailure : public XmlTest {
 protected:
  // Asks every operation, each over a document of its own.
  template <class Document>
  void expectFromAll(const char* xpath, Outcome Row::*expected) {
    for (const Row& row : rows()) {
      SCOPED_TRACE(row.operation);
      SCOPED_TRACE(xpath ? xpath : "null");
      Document document;
      EXPECT_EQ(row.call(document, xpath), (row.*expected).result);
      EXPECT_EQ(standardError(), (row.*expected).message);
    }
  }
};

struct Parsed : TextDocument {
  Parsed() : TextDocument(kDocument) {}
};
struct Unparsable : TextDocument {
  Unparsable() : TextDocument("<r>") {}
};

TEST_F(QueryFailure, NullExpressionIsAnsweredAsWithoutAResult) {
  expectFromAll<Parsed>(nullptr, &Row::nullExpression);
}

TEST_F(QueryFailure, ExpressionThatIsNotXPathIsSilent) {
  for (const char* xpath : {"///[", "", " ", "/r[", "/r[1=", "unknown:b", "unknown()", "$unknown",
                            "'text", "/r/b/\xFF", ")", "/r//", "//namespace::*["}) {
    expectFromAll<Parsed>(xpath, &Row::noResult);
  }
}

TEST_F(QueryFailure, ExpressionThatYieldsANumberIsReported) {
  expectFromAll<Parsed>("count(/r/b)", &Row::notANodeSet);
}

TEST_F(QueryFailure, ExpressionWithoutMatchFindsNothing) {
  for (const char* xpath : {"/r/none", "//none", "/", "/r/b[3]", "/r/@none", "b", "/.."}) {
    if (std::string(xpath) != "/") expectFromAll<Parsed>(xpath, &Row::noMatch);
    expectFromAll<Unparsable>(xpath, &Row::noMatch);
  }
}

TEST_F(QueryFailure, TwoMatchesAreTooManyForOneValueAndGiveTheLastToTheExVariants) {
  expectFromAll<Parsed>("/r/b", &Row::twoMatches);
}

TEST_F(QueryFailure, ReportNamesTheExpressionWhateverItsType) {
  TextDocument document(kDocument);
  for (const char* xpath : {"1", "'a \"quoted\" %s %n text'", "true()", "string(/r)", "1 div 0"}) {
    EXPECT_EQ(document.getXPathElement(xpath), "");
    EXPECT_EQ(standardError(),
              "Error: unable to evaluate xpath expression \"" + std::string(xpath) + "\"\n");
  }
}

TEST_F(QueryFailure, DocumentThatCouldNotBeParsedIsAskedLikeAnEmptyOne) {
  expectFromAll<Unparsable>(nullptr, &Row::nullExpression);
  expectFromAll<Unparsable>("///[", &Row::noResult);
  expectFromAll<Unparsable>("count(/r/b)", &Row::notANodeSet);
  expectFromAll<Unparsable>("/r/b", &Row::noMatch);
  expectFromAll<Unparsable>("//namespace::*", &Row::noMatch);
}

TEST_F(QueryFailure, EmptyDocumentIsAskedLikeAnyOther) {
  expectFromAll<LibXmlWrapper>(nullptr, &Row::nullExpression);
  expectFromAll<LibXmlWrapper>("///[", &Row::noResult);
  expectFromAll<LibXmlWrapper>("count(/r/b)", &Row::notANodeSet);
  expectFromAll<LibXmlWrapper>("/r/b", &Row::noMatch);
  expectFromAll<LibXmlWrapper>("//namespace::*", &Row::noMatch);
}

// What failed leaves the document as it was, and the next query is answered.
TEST_F(QueryFailure, LeavesTheDocumentAsItWas) {
  for (const Row& row : rows()) {
    SCOPED_TRACE(row.operation);
    TextDocument document(kDocument);
    const std::string before = bodyOf(document);
    for (const char* xpath : {"///[", "count(/r/b)", "/r/none"}) row.call(document, xpath);
    EXPECT_EQ(bodyOf(document), before);
    EXPECT_EQ(document.getXPathElement("/r/b[2]"), "2");
    standardError();  // told apart above
  }
}

TEST_F(QueryFailure, ExpressionNestedBeyondReasonIsAnsweredAsWithoutAResult) {
  TextDocument document(kDocument);
  const std::string nested = std::string(100000, '(') + "/r" + std::string(100000, ')');
  EXPECT_EQ(document.getXPathElement(nested.c_str()), "");
  EXPECT_FALSE(document.isXPathElementExists(nested.c_str()));
  EXPECT_FALSE(document.setXPathElement(nested.c_str(), "x"));
}

}  // namespace
}  // namespace Test
}  // namespace QVL
