// What the tests of LibXmlWrapper share.

#ifndef QVL_TESTS_XML_XML_FIXTURE_H
#define QVL_TESTS_XML_XML_FIXTURE_H

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <string>

#include "qvl/xml/LibXmlWrapper.h"
#include "tests/support/CapturedStderr.h"

namespace QVL {
namespace Test {

// A document parsed from a text.
class TextDocument : public LibXmlWrapper {
 public:
  explicit TextDocument(std::string text) : LibXmlWrapper(text.data(), text.size()) {}
};

constexpr char kDeclaration[] = "<?xml version=\"1.0\" encoding=\"UTF-8\"?>\n";

// The document as it would be saved, without its declaration.
inline std::string bodyOf(LibXmlWrapper& document) {
  std::string saved;
  EXPECT_TRUE(document.SaveToMemory(saved));
  const std::string declaration = kDeclaration;
  EXPECT_EQ(saved.substr(0, declaration.size()), declaration);
  return saved.size() < declaration.size() ? saved : saved.substr(declaration.size());
}

// A text the caller may write to, as some operations ask for.
class MutableText {
 public:
  explicit MutableText(std::string text) : m_text(std::move(text)) {}
  operator char*() { return m_text.data(); }  // NOLINT: stands for the array that it holds

 private:
  std::string m_text;
};

// Every case sees all of standard error, and fails when something stands there that it did not
// take: neither the class nor libxml2 may write more than the case expects.
class XmlTest : public testing::Test {
 protected:
  void TearDown() override { EXPECT_EQ(standardError(), ""); }

  // What was written since the last call.
  std::string standardError() { return m_stderr.take(); }

 private:
  CapturedStderr m_stderr;
};

}  // namespace Test
}  // namespace QVL

#endif  // QVL_TESTS_XML_XML_FIXTURE_H
