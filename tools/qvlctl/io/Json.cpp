#include "io/Json.h"

#include <qvlpolicy/Text.h>

#include "fmt/format.h"

namespace qvlctl {

Json objectOf(std::size_t members) {
  Json object = Json::object();
  object.get_ref<Json::object_t&>().reserve(members);
  return object;
}

void addText(Json& object, const std::string& name, std::string_view text) {
  std::size_t wrong = qvlpolicy::findNonUtf8(text);
  if (wrong == std::string_view::npos) {
    object[name] = text;
    return;
  }
  std::string shown;
  for (std::string_view rest = text; !rest.empty(); wrong = qvlpolicy::findNonUtf8(rest)) {
    shown += rest.substr(0, wrong);
    if (wrong == std::string_view::npos) break;
    shown += fmt::format("\\x{:02X}", static_cast<unsigned char>(rest[wrong]));
    rest.remove_prefix(wrong + 1);
  }
  std::string bytes;
  for (const char c : text) bytes += fmt::format("{:02x}", static_cast<unsigned char>(c));
  object[name] = shown;
  object[name + "Hex"] = bytes;
}

std::string jsonLine(const Json& value) {
  return value.dump();
}

std::string jsonPage(const Json& value) {
  return value.dump(2);
}

}  // namespace qvlctl
