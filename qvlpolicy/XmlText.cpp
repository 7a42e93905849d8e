#include "qvlpolicy/XmlText.h"

#include <libxml/encoding.h>
#include <libxml/tree.h>
#include <libxml/xmlerror.h>

#include <algorithm>
#include <climits>
#include <memory>
#include <new>

#include "fmt/format.h"
#include "qvlpolicy/Text.h"

namespace qvlpolicy {
namespace {

struct HandlerCloser {
  void operator()(xmlCharEncodingHandler* handler) const { xmlCharEncCloseFunc(handler); }
};
using Handler = std::unique_ptr<xmlCharEncodingHandler, HandlerCloser>;

struct BufferFree {
  void operator()(xmlBuffer* buffer) const { xmlBufferFree(buffer); }
};
using Buffer = std::unique_ptr<xmlBuffer, BufferFree>;

// While it stands, what libxml2 says of errors in this thread goes nowhere: by default it writes to
// standard error, and a host may have handlers of its own for what it asks libxml2.
class Silence {
 public:
  Silence()
      : m_structured(xmlStructuredError),
        m_structuredContext(xmlStructuredErrorContext),
        m_generic(xmlGenericError),
        m_genericContext(xmlGenericErrorContext) {
    xmlSetStructuredErrorFunc(nullptr, nullptr);
    xmlSetGenericErrorFunc(nullptr, ignore);
  }
  ~Silence() {
    xmlSetGenericErrorFunc(m_genericContext, m_generic);
    xmlSetStructuredErrorFunc(m_structuredContext, m_structured);
  }
  Silence(const Silence&) = delete;
  Silence& operator=(const Silence&) = delete;

 private:
  static void ignore(void*, const char*, ...) {}

  const xmlStructuredErrorFunc m_structured;
  void* const m_structuredContext;
  const xmlGenericErrorFunc m_generic;
  void* const m_genericContext;
};

bool startsWith(std::string_view text, std::string_view beginning) {
  return text.substr(0, beginning.size()) == beginning;
}

// The encoding that the declaration at the beginning of `text` names; empty when it names none.
std::string declaredEncoding(std::string_view text) {
  if (!startsWith(text, "<?xml")) return {};
  text = text.substr(0, text.find("?>"));
  const std::size_t word = text.find("encoding");
  if (word == std::string_view::npos) return {};
  const std::size_t quote = text.find_first_of("\"'", word);
  if (quote == std::string_view::npos) return {};
  const std::size_t end = text.find(text[quote], quote + 1);
  if (end == std::string_view::npos) return {};
  return std::string(text.substr(quote + 1, end - quote - 1));
}

std::string upper(std::string text) {
  std::transform(text.begin(), text.end(), text.begin(), [](char c) {
    return c >= 'a' && c <= 'z' ? static_cast<char>(c - 'a' + 'A') : c;
  });
  return text;
}

XmlText decodeUtf8(std::string_view bytes) {
  const std::size_t wrong = findNonUtf8(bytes);
  if (wrong == std::string_view::npos) return {std::string(bytes), {}};
  return {
      std::string(bytes.substr(0, wrong)),
      fmt::format("the byte {} belongs to no UTF-8 character", escaped(bytes.substr(wrong, 1)))};
}

XmlText decodeAs(const std::string& encoding, std::string_view bytes) {
  const Silence silence;
  const Handler handler(xmlFindCharEncodingHandler(encoding.c_str()));
  if (!handler) return {{}, fmt::format("the encoding {} is not known", inQuotes(encoding))};
  const Buffer in(xmlBufferCreate());
  const Buffer out(xmlBufferCreate());
  if (!in || !out ||
      xmlBufferAdd(in.get(), reinterpret_cast<const xmlChar*>(bytes.data()),
                   static_cast<int>(bytes.size())) != 0) {
    throw std::bad_alloc();
  }
  while (xmlBufferLength(in.get()) > 0) {
    const int before = xmlBufferLength(in.get());
    const int result = xmlCharEncInFunc(handler.get(), out.get(), in.get());
    if (result < 0 && xmlBufferLength(in.get()) == before) break;
    if (result <= 0 && xmlBufferLength(in.get()) == before) break;
  }
  XmlText decoded;
  decoded.text.assign(reinterpret_cast<const char*>(xmlBufferContent(out.get())),
                      static_cast<std::size_t>(xmlBufferLength(out.get())));
  if (const auto left = static_cast<std::size_t>(xmlBufferLength(in.get())); left > 0) {
    decoded.error =
        fmt::format("the byte {} belongs to no {} character",
                    escaped(bytes.substr(bytes.size() - left, 1)), escaped(upper(encoding)));
  }
  return decoded;
}

XmlText decoded(std::string_view bytes) {
  if (bytes.size() >= INT_MAX / 4) return {{}, "the file is too large"};
  // With a byte order mark
  if (startsWith(bytes, "\xEF\xBB\xBF")) return decodeUtf8(bytes.substr(3));
  using std::string_view_literals::operator""sv;
  if (startsWith(bytes, "\xFF\xFE\0\0"sv)) return decodeAs("UTF-32LE", bytes.substr(4));
  if (startsWith(bytes, "\0\0\xFE\xFF"sv)) return decodeAs("UTF-32BE", bytes.substr(4));
  if (startsWith(bytes, "\xFF\xFE")) return decodeAs("UTF-16LE", bytes.substr(2));
  if (startsWith(bytes, "\xFE\xFF")) return decodeAs("UTF-16BE", bytes.substr(2));
  // By the bytes of what has to be its first characters
  if (startsWith(bytes, "<\0\0\0"sv)) return decodeAs("UTF-32LE", bytes);
  if (startsWith(bytes, "\0\0\0<"sv)) return decodeAs("UTF-32BE", bytes);
  if (startsWith(bytes, "<\0"sv)) return decodeAs("UTF-16LE", bytes);
  if (startsWith(bytes, "\0<"sv)) return decodeAs("UTF-16BE", bytes);
  if (startsWith(bytes, "\x4C\x6F\xA7\x94")) {
    // "<?xm" in EBCDIC; all of its pages agree on the characters of a declaration.
    const std::string encoding = declaredEncoding(decodeAs("IBM037", bytes.substr(0, 200)).text);
    return decodeAs(encoding.empty() ? "IBM037" : encoding, bytes);
  }
  const std::string encoding = declaredEncoding(bytes);
  const std::string name = upper(encoding);
  if (name.empty() || name == "UTF-8" || name == "UTF8") return decodeUtf8(bytes);
  if (startsWith(name, "UTF-16") || startsWith(name, "UTF-32") ||
      startsWith(name, "ISO-10646-UCS-")) {
    return {{}, fmt::format("it says to be in {}, and is not", inQuotes(encoding))};
  }
  return decodeAs(encoding, bytes);
}

}  // namespace

XmlText decodeXml(std::string_view bytes) {
  XmlText text = decoded(bytes);
  // The parser would take it for the end.
  if (const std::size_t zero = text.text.find('\0'); zero != std::string::npos) {
    text.text.resize(zero);
    text.error = "a zero byte is no character of XML";
  }
  return text;
}

std::string escapedForXml(std::string_view text, bool isAttribute) {
  std::string result;
  for (const char c : text) {
    if (c == '&') {
      result += "&amp;";
    } else if (c == '<') {
      result += "&lt;";
    } else if (c == '>') {
      result += "&gt;";
    } else if (c == '\r' || (isAttribute && (c == '\n' || c == '\t' || c == '"'))) {
      result += fmt::format("&#{};", static_cast<int>(c));
    } else {
      result += c;
    }
  }
  return result;
}

}  // namespace qvlpolicy
