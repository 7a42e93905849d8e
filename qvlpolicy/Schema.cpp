#include "qvlpolicy/Schema.h"

#include <optional>
#include <string_view>

#include "fmt/format.h"
#include "qvlpolicy/Syntax.h"

namespace qvlpolicy {
namespace {

class SchemaWriter {
 public:
  std::string write() {
    line("<?xml version=\"1.0\" encoding=\"UTF-8\"?>");
    line("<!-- The schema of policy files. Made from qvlpolicy/Syntax.cpp: a test tells when they");
    line("     differ, and prints this file. -->");
    open("grammar",
         " xmlns=\"http://relaxng.org/ns/structure/1.0\""
         " datatypeLibrary=\"http://www.w3.org/2001/XMLSchema-datatypes\"");
    open("start");
    element(syntaxOf(ElementType::Policy), std::nullopt);
    close("start");
    for (const Kind kind : kAllKinds) {
      open("define", fmt::format(" name=\"data-set.{}\"", kindName(kind)));
      element(syntaxOf(ElementType::DataSet), kind);
      close("define");
    }
    close("grammar");
    return m_text;
  }

 private:
  void line(std::string_view text) {
    m_text += fmt::format("{}{}\n", std::string(2 * m_depth, ' '), text);
  }
  void open(std::string_view name, std::string_view attributes = {}) {
    line(fmt::format("<{}{}>", name, attributes));
    ++m_depth;
  }
  void close(std::string_view name) {
    --m_depth;
    line(fmt::format("</{}>", name));
  }
  void leaf(std::string_view name, std::string_view attributes = {}) {
    line(fmt::format("<{}{}/>", name, attributes));
  }
  void value(std::string_view value) { line(fmt::format("<value>{}</value>", value)); }

  void element(const ElementSyntax& syntax, std::optional<Kind> kind) {
    open("element", fmt::format(" name=\"{}\"", syntax.name));
    for (const AttributeSyntax& one : syntax.attributes) {
      if (!kind || one.kinds.has(*kind)) attribute(one, kind);
    }
    content(syntax, kind);
    close("element");
  }

  void attribute(const AttributeSyntax& attribute, std::optional<Kind> kind) {
    if (!attribute.isRequired()) open("optional");
    open("attribute", fmt::format(" name=\"{}\"", attribute.name));
    if (attribute.type == ValueType::Kind) {
      value(kindName(*kind));
    } else {
      type(attribute.type);
    }
    close("attribute");
    if (!attribute.isRequired()) close("optional");
  }

  void choice(std::initializer_list<const char*> values) {
    open("choice");
    for (const char* const one : values) value(one);
    close("choice");
  }

  void pattern(const char* type, const char* pattern) {
    open("data", fmt::format(" type=\"{}\"", type));
    line(fmt::format("<param name=\"pattern\">{}</param>", pattern));
    close("data");
  }

  void type(ValueType type) {
    switch (type) {
      case ValueType::Text:
        pattern("string", "[\\s\\S]+");
        return;
      case ValueType::Version:
        value("1");
        return;
      case ValueType::Number:
        leaf("data", " type=\"unsignedInt\"");
        return;
      case ValueType::Kind:
        return;  // one for each kind
      case ValueType::YesNo:
        choice({"yes", "no"});
        return;
      case ValueType::Access:
      case ValueType::CheckAccess:
        open("choice");
        if (type == ValueType::CheckAccess) {
          value("by-rule");
          value("never");
        }
        for (const char* const one : {"read", "write", "any"}) value(one);
        leaf("data", " type=\"unsignedInt\"");
        close("choice");
        return;
      case ValueType::Selector:
        choice({"creation", "modification"});
        return;
      case ValueType::Days:
        pattern("string", " *[0-9]+ *(, *[0-9]+ *)*");
        return;
      case ValueType::Date:
        pattern("date", "[0-9]{4}-[0-9]{2}-[0-9]{2}");
        return;
      case ValueType::Expired:
        choice({"keep", "drop"});
        return;
    }
  }

  void content(const ElementSyntax& syntax, std::optional<Kind> kind) {
    if (syntax.children.empty()) {
      leaf(kind ? (mayHoldText(syntax, *kind) ? "text" : "empty")
                : (syntax.hasText ? "text" : "empty"));
      return;
    }
    open("interleave");
    for (const ElementType type : syntax.children) {
      const ElementSyntax& child = syntaxOf(type);
      if (kind && !child.kinds.has(*kind)) continue;
      // An included file has no logic; a keyword has a value at least.
      const char* const times = type == ElementType::Logic   ? "optional"
                                : type == ElementType::Value ? "oneOrMore"
                                                             : "zeroOrMore";
      open(times);
      if (type == ElementType::DataSet) {
        open("choice");
        for (const Kind one : kAllKinds) {
          leaf("ref", fmt::format(" name=\"data-set.{}\"", kindName(one)));
        }
        close("choice");
      } else {
        element(child, kind);
      }
      close(times);
    }
    close("interleave");
  }

  std::string m_text;
  std::size_t m_depth = 0;
};

}  // namespace

std::string schemaText() {
  return SchemaWriter().write();
}

}  // namespace qvlpolicy
