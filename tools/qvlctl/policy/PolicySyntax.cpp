#include "policy/PolicySyntax.h"

#include <string_view>
#include <vector>

#include "fmt/format.h"
#include "io/Output.h"
#include "io/Trouble.h"
#include "policy/Policy.h"

namespace qvlctl {
namespace {

using Names = std::vector<std::string>;

// What an element may hold.
struct ElementSyntax {
  std::string path;
  std::string title;
  Names requiredAttributes;
  Names optionalAttributes;
  Names children;
  bool text;
};

const std::string kRoot = "/exclusion-policy";
const std::string kDataSet = kRoot + "/data-set";

// From the outside to the inside: what a row says of an element is what the rows below rely on.
std::vector<ElementSyntax> policySyntax() {
  std::vector<ElementSyntax> syntax = {
      {kRoot, "<exclusion-policy>", {"version"}, {}, {"logic", "data-set"}, false},
      {kRoot + "/logic", "<logic>", {}, {}, {}, true},
      {kDataSet,
       "<data-set>",
       {"number", "kind"},
       {"name", "enabled", "match-anything", "match-empty-input", "case-sensitive", "wildcards",
        "check-access"},
       {"keyword", "rule"},
       false}};

  for (const Kind kind : kAllKinds) {
    const std::string of = fmt::format(" in a data set of kind {}", kindName(kind));
    const std::string dataSet = fmt::format("{}[@kind='{}']", kDataSet, kindName(kind));
    Names switches = {"number", "kind", "name", "enabled", "match-anything", "check-access"};
    if (kind != Kind::FileAge) {
      switches.insert(switches.end(), {"match-empty-input", "case-sensitive", "wildcards"});
    }
    const bool hasKeywords = kind != Kind::FileType && kind != Kind::FileAge;
    const Names children = hasKeywords ? Names{"keyword", "rule"} : Names{"rule"};
    syntax.push_back({dataSet,
                      fmt::format("<data-set> of kind {}", kindName(kind)),
                      {},
                      switches,
                      children,
                      false});

    ElementSyntax rule = {dataSet + "/rule", "<rule>" + of, {}, {"access"}, {}, true};
    if (kind == Kind::Folder) rule.optionalAttributes.emplace_back("subfolders");
    if (kind == Kind::Process) rule.optionalAttributes.emplace_back("default-folder");
    if (kind == Kind::FileAge) {
      rule.requiredAttributes = {"of", "days"};
      rule.text = false;
    }
    syntax.push_back(rule);
  }
  syntax.push_back({kDataSet + "/keyword", "<keyword>", {"name"}, {}, {"value"}, false});
  syntax.push_back({kDataSet + "/keyword/value", "<value>", {}, {}, {}, true});
  return syntax;
}

std::string joined(const Names& names, const char* before, const char* after, const char* separator,
                   const char* lastSeparator) {
  std::string text;
  for (std::size_t i = 0; i < names.size(); ++i) {
    if (i > 0) text += i + 1 < names.size() ? separator : lastSeparator;
    text += before + names[i] + after;
  }
  return text;
}

std::string inWords(const Names& names, const char* before, const char* after) {
  return names.empty() ? "none" : joined(names, before, after, ", ", " or ");
}

// Applies the syntax to one document.
class SyntaxCheck {
 public:
  SyntaxCheck(const std::string& file, XmlFile& xml, const ElementStarts& starts)
      : m_file(file), m_xml(xml), m_starts(starts) {}

  void root() {
    if (finds(kRoot)) return;
    const std::string name = nameOf("/*");
    fail("/*", fmt::format("expected a policy, whose root element is <exclusion-policy> without a "
                           "namespace; found <{}>{}",
                           escaped(name), name == "exclusion-policy" ? " in a namespace" : ""));
  }

  void kinds() {
    Names names;
    for (const Kind kind : kAllKinds) names.emplace_back(kindName(kind));
    refuse(kDataSet + "/@kind[not(" + joined(names, ".='", "'", " or ", " or ") + ")]",
           [&](const std::string& found) {
             const std::string kind = m_xml.document().getXPathElement(found.c_str());
             return fmt::format("unknown kind {}; expected {}", inQuotes(kind),
                                inWords(names, "", ""));
           });
  }

  void element(const ElementSyntax& syntax) {
    refuse(syntax.path + "/*" + noneOf(syntax.children, "self::"), [&](const std::string& found) {
      return fmt::format("unknown element <{}>; expected in {}: {}", escaped(nameOf(found)),
                         syntax.title, inWords(syntax.children, "<", ">"));
    });

    Names attributes = syntax.requiredAttributes;
    attributes.insert(attributes.end(), syntax.optionalAttributes.begin(),
                      syntax.optionalAttributes.end());
    refuse(syntax.path + "/@*" + noneOf(attributes, "name()="), [&](const std::string& found) {
      return fmt::format("unknown attribute {}; expected in {}: {}", escaped(nameOf(found)),
                         syntax.title, inWords(attributes, "", ""));
    });
    refuse(syntax.path + "/@*[.='']", [&](const std::string& found) {
      return fmt::format("the attribute {} is empty", escaped(nameOf(found)));
    });
    for (const std::string& attribute : syntax.requiredAttributes) {
      refuse(syntax.path + "[not(@" + attribute + ")]", [&](const std::string&) {
        return fmt::format("{} needs the attribute {}", syntax.title, attribute);
      });
    }

    if (syntax.text) return;
    refuse(syntax.path + "/text()[normalize-space()]", [&](const std::string&) {
      return fmt::format(
          "unexpected text; expected in {}: {}", syntax.title,
          syntax.children.empty() ? "attributes only" : inWords(syntax.children, "<", ">"));
    });
  }

 private:
  // An XPath predicate that refuses all of `names`; `test` makes a name a test.
  static std::string noneOf(const Names& names, const std::string& test) {
    if (names.empty()) return {};
    const bool isQuoted = test.back() == '=';
    const char* const quote = isQuoted ? "'" : "";
    return "[not(" + joined(names, (test + quote).c_str(), quote, " or ", " or ") + ")]";
  }

  bool finds(const std::string& xpath) {
    return m_xml.document().isXPathElementExists(("(" + xpath + ")[1]").c_str());
  }

  // Fails at the first node that `xpath` finds; `message` is made from that node's own expression.
  template <typename Message>
  void refuse(const std::string& xpath, Message message) {
    const std::string first = "(" + xpath + ")[1]";
    if (finds(xpath)) fail(first, message(first));
  }

  [[noreturn]] void fail(const std::string& node, const std::string& message) {
    throw PolicyTrouble(m_file, positionOfNode(node), message);
  }

  Position positionOfNode(const std::string& node) {
    const std::string element = node + "/ancestor-or-self::*[1]";
    Position position;
    const std::size_t index =
        m_xml.count(element + "/preceding::*") + m_xml.count(element + "/ancestor::*");
    if (index < m_starts.elements.size()) position.line = m_starts.elements[index].line;

    if (const std::size_t dataSet = ordinal(element, "data-set")) {
      const std::string number = element + "/ancestor-or-self::data-set/@number";
      position.element =
          dataSetInWords(dataSet - 1, m_xml.document().getXPathElement(number.c_str()));
      for (const char* const name : {"keyword", "value", "rule"}) {
        if (const std::size_t place = ordinal(element, name)) {
          position.element += fmt::format(", {} {}", name, place);
        }
      }
    } else if (ordinal(element, "logic")) {
      position.element = "logic";
    }
    return position;
  }

  // The place, 1 for the first, among its like of the element `name` that is or encloses `element`;
  // 0 when there is none.
  std::size_t ordinal(const std::string& element, const std::string& name) {
    const std::string self = element + "/ancestor-or-self::" + name;
    if (!finds(self)) return 0;
    return 1 + m_xml.count(self + "/preceding-sibling::" + name);
  }

  // The name of an element or attribute. Queries answer with contents only, so the name is asked
  // for letter by letter.
  std::string nameOf(const std::string& node) {
    static constexpr std::string_view kLetters =
        "abcdefghijklmnopqrstuvwxyz-ABCDEFGHIJKLMNOPQRSTUVWXYZ0123456789_:.";
    std::string name;
    for (;;) {
      const std::size_t place = name.size() + 1;
      if (!finds(fmt::format("{}[string-length(name())>={}]", node, place))) return name;
      char letter = '?';  // beyond ASCII
      for (const char c : kLetters) {
        if (finds(fmt::format("{}[substring(name(),{},1)='{}']", node, place, c))) letter = c;
      }
      name += letter;
    }
  }

  const std::string& m_file;
  XmlFile& m_xml;
  const ElementStarts& m_starts;
};

}  // namespace

void checkPolicySyntax(const std::string& file, XmlFile& xml, const ElementStarts& starts) {
  if (starts.doctypeLine > 0) {
    throw PolicyTrouble(file, {starts.doctypeLine, ""},
                        "a policy has no document type declaration; found <!DOCTYPE");
  }
  SyntaxCheck check(file, xml, starts);
  check.root();
  // Kinds are checked once it is known that all data sets have one.
  bool kindsAreKnown = false;
  for (const ElementSyntax& syntax : policySyntax()) {
    if (!kindsAreKnown && syntax.path.find("@kind") != std::string::npos) {
      check.kinds();
      kindsAreKnown = true;
    }
    check.element(syntax);
  }
}

}  // namespace qvlctl
