#include "qvlpolicy/Writer.h"

#include <string_view>

#include "fmt/format.h"
#include "qvlpolicy/Patterns.h"
#include "qvlpolicy/Text.h"
#include "qvlpolicy/XmlText.h"

namespace qvlpolicy {
namespace {

// A comment must not hold two hyphens in a row, nor end in one.
std::string inComment(std::string text) {
  for (std::size_t at = 0; (at = text.find("--", at)) != std::string::npos;) {
    text.insert(at + 1, " ");
  }
  return text;
}

class Writer {
 public:
  explicit Writer(const Description& description) : m_description(description) {}

  std::string write() {
    m_text = "<?xml version=\"1.0\" encoding=\"UTF-8\"?>\n<exclusion-policy version=\"1\"";
    if (m_description.dropsExpired) attribute("expired", "drop");
    m_text += fmt::format(">\n  <logic>{}</logic>\n", escapedForXml(m_description.logic, false));
    for (const Allowance& allowance : m_description.allowances) write("  ", allowance);
    for (const DataSet& dataSet : m_description.dataSets) write(dataSet);
    m_text += "</exclusion-policy>\n";
    return std::move(m_text);
  }

 private:
  void attribute(const char* name, std::string_view value) {
    if (!value.empty()) m_text += fmt::format(" {}=\"{}\"", name, escapedForXml(value, true));
  }

  void attributeUnless(bool fallback, const char* name, bool value) {
    if (value != fallback) attribute(name, value ? "yes" : "no");
  }

  void write(const Metadata& metadata) {
    attribute("comment", metadata.comment);
    attribute("owner", metadata.owner);
    attribute("reason", metadata.reason);
    attribute("ticket", metadata.ticket);
    attribute("added", metadata.added);
    attribute("expires", metadata.expires);
  }

  void write(const char* indentation, const Allowance& allowance) {
    m_text += fmt::format("{}<allow", indentation);
    attribute("finding", allowance.finding);
    attribute("reason", allowance.reason);
    attribute("rule", allowance.rule);
    m_text += "/>\n";
  }

  void write(const DataSet& dataSet) {
    m_text += fmt::format("\n  <!-- {}:{} -->\n  <data-set number=\"{}\" kind=\"{}\"",
                          inComment(escaped(m_description.files[dataSet.place.file])),
                          dataSet.place.line, dataSet.number, kindName(dataSet.kind));
    attribute("name", dataSet.name);
    attributeUnless(true, "enabled", dataSet.enabled);
    attributeUnless(false, "match-anything", dataSet.matchAnything);
    attributeUnless(false, "match-empty-input", dataSet.matchEmptyInput);
    attributeUnless(dataSet.kind != Kind::FileType, "case-sensitive", dataSet.caseSensitive);
    attributeUnless(true, "wildcards", dataSet.wildcards);
    if (dataSet.accessCheck == DataSet::AccessCheck::Never) attribute("check-access", "never");
    if (dataSet.accessCheck == DataSet::AccessCheck::AtDataSet) {
      attribute("check-access", accessName(dataSet.access));
    }
    if (dataSet.metadata) write(*dataSet.metadata);
    m_text += ">\n";
    for (const Allowance& allowance : dataSet.allowances) write("    ", allowance);
    for (const Keyword& keyword : dataSet.keywords) {
      m_text += "    <keyword";
      attribute("name", keyword.name);
      m_text += '>';
      for (const std::string& value : keyword.values) {
        m_text += fmt::format("<value>{}</value>", escapedForXml(value, false));
      }
      m_text += "</keyword>\n";
    }
    for (const Rule& rule : dataSet.rules) write(dataSet.kind, rule);
    m_text += "  </data-set>\n";
  }

  void write(Kind kind, const Rule& rule) {
    m_text += "    <rule";
    if (kind == Kind::FileAge) {
      const Age age = ageOf(rule);
      attribute("of", age.of);
      attribute("days", fmt::format("{}", fmt::join(age.days, ",")));
    }
    if (rule.access != QVL::AnyAccess) attribute("access", accessName(rule.access));
    attributeUnless(true, "subfolders", rule.includeSubfolders);
    if (rule.defaultFolder) attribute("default-folder", *rule.defaultFolder);
    if (rule.metadata) write(*rule.metadata);
    m_text += kind == Kind::FileAge ? std::string("/>\n")
                                    : fmt::format(">{}</rule>\n", escapedForXml(rule.text, false));
  }

  const Description& m_description;
  std::string m_text;
};

}  // namespace

std::string policyText(const Description& description) {
  return Writer(description).write();
}

}  // namespace qvlpolicy
