#include "lint/SchemaCheck.h"

#include <libxml/parser.h>
#include <libxml/relaxng.h>

#include <cstring>
#include <exception>
#include <map>
#include <memory>

#include "embedded/Embedded.h"
#include "fmt/format.h"
#include "io/Output.h"
#include "io/Trouble.h"

namespace qvlctl {
namespace {

template <typename T, void (*Release)(T*)>
struct Releaser {
  void operator()(T* object) const { Release(object); }
};

template <typename T, void (*Release)(T*)>
using Owner = std::unique_ptr<T, Releaser<T, Release>>;

struct Messages {
  // The first message of a line says most; others say that what is around it is wrong, too, or
  // which of several choices it is not.
  std::map<std::size_t, std::string> byLine;
  // What went wrong while they were kept: it must not be thrown through the C code that calls.
  std::exception_ptr failure;
};

// Older and newer releases of libxml2 differ in the const.
void keepMessage(void* context, const xmlError* error) try {
  auto& messages = static_cast<Messages*>(context)->byLine;
  const std::string message = trimmed(error->message == nullptr ? "" : error->message);
  if (message.find("failed to ") != std::string::npos) return;
  const auto* const node = static_cast<const xmlNode*>(error->node);
  const std::string element =
      node == nullptr || node->name == nullptr
          ? ""
          : fmt::format("<{}>: ", reinterpret_cast<const char*>(node->name));
  messages.emplace(static_cast<std::size_t>(error->line), escaped(element + message));
} catch (...) {
  static_cast<Messages*>(context)->failure = std::current_exception();
}

}  // namespace

Findings checkSchema(const std::string& text) {
  const Owner<xmlRelaxNGParserCtxt, xmlRelaxNGFreeParserCtxt> parser(
      xmlRelaxNGNewMemParserCtxt(kPolicySchema, static_cast<int>(std::strlen(kPolicySchema))));
  const Owner<xmlRelaxNG, xmlRelaxNGFree> schema(parser ? xmlRelaxNGParse(parser.get()) : nullptr);
  const Owner<xmlRelaxNGValidCtxt, xmlRelaxNGFreeValidCtxt> check(
      schema ? xmlRelaxNGNewValidCtxt(schema.get()) : nullptr);
  const Owner<xmlDoc, xmlFreeDoc> document(
      xmlReadMemory(text.data(), static_cast<int>(text.size()), "policy", nullptr,
                    XML_PARSE_NONET | XML_PARSE_NOERROR | XML_PARSE_NOWARNING));
  if (!check || !document) throw Trouble("the policy cannot be held against its schema");

  Messages kept;
  xmlRelaxNGSetValidStructuredErrors(check.get(),
                                     reinterpret_cast<xmlStructuredErrorFunc>(&keepMessage), &kept);
  Findings findings;
  const int result = xmlRelaxNGValidateDoc(check.get(), document.get());
  if (kept.failure) std::rethrow_exception(kept.failure);
  if (result == 0) return findings;
  auto& messages = kept.byLine;
  // What belongs to no place is said again of one.
  if (messages.size() > 1) messages.erase(0);
  if (messages.empty()) messages.emplace(0, "the file does not fit the schema");
  for (const auto& [line, message] : messages) {
    findings.push_back({"schema",
                        Severity::Error,
                        {line, ""},
                        message,
                        "docs/policy-format.md tells what may stand where"});
  }
  return findings;
}

}  // namespace qvlctl
