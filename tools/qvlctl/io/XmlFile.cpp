#include "io/XmlFile.h"

#include <qvlpolicy/Policy.h>

#include <algorithm>
#include <string_view>
#include <utility>

#include "fmt/format.h"
#include "io/Files.h"
#include "io/Output.h"
#include "io/Trouble.h"

namespace qvlctl {
namespace {

// The library's reader tells no place; that of policies does, whatever the XML is about.
std::string describeMalformed(const std::string& text, const std::string& file) {
  for (const qvlpolicy::Problem& error : qvlpolicy::Policy::parse(text, file).errors) {
    const std::string_view name = error.name;
    if (name != "not-xml" && name != "encoding") continue;
    return qvlpolicy::inWords(error) +
           "; a literal & is written &amp; and a literal < is written &lt;";
  }
  return escaped(file) + ": it is not well-formed XML";
}

}  // namespace

XmlFile::XmlFile(const std::string& file) : XmlFile(file, readFile(file)) {}

XmlFile::XmlFile(const std::string& file, std::string text)
    : m_text(std::move(text)), m_document(m_text.data(), m_text.size()) {
  const std::size_t zero = m_text.find('\0');
  if (zero != std::string::npos) {
    const auto line =
        1 + std::count(m_text.begin(), m_text.begin() + static_cast<std::ptrdiff_t>(zero), '\n');
    throw Trouble(
        fmt::format("{}:{}: expected XML in UTF-8, found a zero byte", escaped(file), line));
  }
  if (m_text.empty()) throw Trouble(fmt::format("{}: expected XML, found nothing", escaped(file)));
  if (!m_document.isXPathElementExists("/*")) {
    throw Trouble(describeMalformed(m_text, file));
  }
}

std::size_t XmlFile::count(const std::string& xpath) {
  return m_document.getXPathAllElement(xpath.c_str()).size();
}

}  // namespace qvlctl
