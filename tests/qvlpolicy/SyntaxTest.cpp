// One description of the syntax: schema and documentation are held to it.

#include "qvlpolicy/Syntax.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <libxml/parser.h>
#include <libxml/relaxng.h>
#include <qvlpolicy/Policy.h>

#include <fstream>
#include <memory>
#include <sstream>
#include <string>

#include "qvlpolicy/Schema.h"
#include "tests/qvlpolicy/Policies.h"

namespace qvlpolicy {
namespace {

using testing::HasSubstr;

std::string contentOf(const std::string& name) {
  std::ifstream file(std::string(QVL_SOURCE_DIR) + '/' + name, std::ios::binary);
  EXPECT_TRUE(file) << name;
  std::ostringstream content;
  content << file.rdbuf();
  return content.str();
}

void beSilent(void*, const char*, ...) {}

// Does the schema in the tree take a text?
class Schema {
 public:
  Schema() {
    const std::string text = contentOf("qvlpolicy/policy.rng");
    const std::unique_ptr<xmlRelaxNGParserCtxt, decltype(&xmlRelaxNGFreeParserCtxt)> parser(
        xmlRelaxNGNewMemParserCtxt(text.data(), static_cast<int>(text.size())),
        &xmlRelaxNGFreeParserCtxt);
    m_schema.reset(xmlRelaxNGParse(parser.get()));
  }
  bool isThere() const { return m_schema != nullptr; }
  bool takes(const std::string& text) const {
    const std::unique_ptr<xmlDoc, decltype(&xmlFreeDoc)> document(
        xmlReadMemory(text.data(), static_cast<int>(text.size()), "p", nullptr, XML_PARSE_NOERROR),
        &xmlFreeDoc);
    const std::unique_ptr<xmlRelaxNGValidCtxt, decltype(&xmlRelaxNGFreeValidCtxt)> check(
        xmlRelaxNGNewValidCtxt(m_schema.get()), &xmlRelaxNGFreeValidCtxt);
    xmlRelaxNGSetValidErrors(check.get(), &beSilent, &beSilent, nullptr);
    return document && xmlRelaxNGValidateDoc(check.get(), document.get()) == 0;
  }

 private:
  std::unique_ptr<xmlRelaxNG, decltype(&xmlRelaxNGFree)> m_schema{nullptr, &xmlRelaxNGFree};
};

TEST(Syntax, TheSchemaIsMadeOfIt) {
  EXPECT_TRUE(contentOf("qvlpolicy/policy.rng") == schemaText())
      << "Make qvlpolicy/policy.rng this:\n"
      << schemaText();
}

TEST(Syntax, TheDocumentationShowsItsTables) {
  const std::string document = contentOf("docs/policy-format.md");
  for (const ElementSyntax& element : policySyntax()) {
    if (element.attributes.empty()) continue;
    EXPECT_THAT(document, HasSubstr("\n\n" + attributeTable(element.type) + "\n")) << element.name;
  }
}

std::string dataSet(const std::string& attributes, const std::string& content = {}) {
  return "<data-set number=\"1\" " + attributes + ">" + content + "</data-set>";
}

// What the syntax alone decides, schema and reader decide alike.
TEST(Syntax, SchemaAndReaderAgree) {
  const Schema schema;
  ASSERT_TRUE(schema.isThere());
  const std::string insides[] = {
      dataSet("kind=\"folder\"", "<rule>/a/</rule>"),
      dataSet("kind=\"folder\"", "<rule subfolders=\"no\" access=\"17\">/a/</rule>"),
      dataSet("kind=\"file-path\"", "<rule subfolders=\"no\">/a</rule>"),
      dataSet("kind=\"process\"", "<rule default-folder=\"/bin\">a</rule>"),
      dataSet("kind=\"folder\"", "<rule default-folder=\"/bin\">/a/</rule>"),
      dataSet("kind=\"file-age\"", "<rule of=\"creation\" days=\"1, 2\"/>"),
      dataSet("kind=\"file-age\"", "<rule of=\"creation\"/>"),
      dataSet("kind=\"file-age\"", "<rule of=\"birth\" days=\"1\"/>"),
      dataSet("kind=\"file-age\"", "<rule of=\"creation\" days=\"1\">x</rule>"),
      dataSet("kind=\"file-age\" wildcards=\"no\""),
      dataSet("kind=\"file-age\" enabled=\"no\""),
      dataSet("kind=\"file-type\" case-sensitive=\"yes\""),
      dataSet("kind=\"file-type\"", "<keyword name=\"K\"><value>v</value></keyword>"),
      dataSet("kind=\"folder\"", "<keyword name=\"K\"><value>v</value></keyword>"),
      dataSet("kind=\"folder\"", "<keyword name=\"K\"></keyword>"),
      dataSet("kind=\"folder\"", "<keyword><value>v</value></keyword>"),
      dataSet("kind=\"folder\" keywords=\"t\"") +
          "<keywords name=\"t\"><keyword name=\"K\"><value>v</value></keyword></keywords>",
      dataSet("kind=\"folder\" check-access=\"never\""),
      dataSet("kind=\"folder\" check-access=\"all\""),
      dataSet("kind=\"folder\" check-access=\"4\""),
      dataSet("kind=\"folder\" enabled=\"true\""),
      dataSet("kind=\"folder\" name=\"\""),
      dataSet("kind=\"folder\" name=\"a b\" owner=\"o\" added=\"2026-01-01\""),
      dataSet("kind=\"folder\" expires=\"2026-02-30\""),
      dataSet("kind=\"folder\"", "<rule reason=\"r\" expires=\"2026-02-28\">/a/</rule>"),
      dataSet("kind=\"dir\""),
      dataSet("", "<rule>/a/</rule>"),
      dataSet("kind=\"folder\"", "text"),
      dataSet("kind=\"folder\"", "<rul>/a/</rul>"),
      dataSet("kind=\"folder\"", "<allow finding=\"f\" reason=\"r\" rule=\"/a/\"/>"),
      dataSet("kind=\"folder\"", "<allow finding=\"f\"/>"),
      dataSet("kind=\"folder\"", "<allow finding=\"f\" reason=\"r\">x</allow>"),
      dataSet("kind=\"file-age\"", "<allow finding=\"f\" reason=\"r\" rule=\"x\"/>"),
      "<allow finding=\"f\" reason=\"r\"/>",
      "<allow reason=\"r\"/>",
      "<logic>1</logic>",
      "<include/>",
      "stray",
  };
  for (const std::string& inside : insides) {
    const std::string text = policy("<logic>1</logic>" + inside);
    EXPECT_EQ(schema.takes(text), Policy::parse(text, "p.xml").policy != nullptr) << inside;
  }
  EXPECT_FALSE(schema.takes("<exclusion-policy version=\"2\"><logic>1</logic></exclusion-policy>"));
}

TEST(Syntax, TheExamplesFitTheSchema) {
  const Schema schema;
  ASSERT_TRUE(schema.isThere());
  for (const char* const name : {"examples/linux-server.xml", "examples/mac-developer.xml"}) {
    EXPECT_TRUE(schema.takes(contentOf(name))) << name;
  }
}

}  // namespace
}  // namespace qvlpolicy
