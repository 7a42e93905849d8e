// Machine-readable output; docs/qvlctl-json.md describes the shapes.

#ifndef QVLCTL_IO_JSON_H
#define QVLCTL_IO_JSON_H

#include <cstddef>
#include <nlohmann/json.hpp>
#include <string>
#include <string_view>

namespace qvlctl {

// Members stay in the order in which they are added.
using Json = nlohmann::ordered_json;

// An empty object with room for so many members. Without room, adding one copies all that are
// there.
Json objectOf(std::size_t members);

// Adds a text of any bytes. Bytes that are not UTF-8 are shown as \xNN; then, and only then, a
// second member, its name followed by "Hex", holds all bytes of the text.
void addText(Json& object, const std::string& name, std::string_view text);

// In one line, without its end.
std::string jsonLine(const Json& value);

// Over several lines, for people too.
std::string jsonPage(const Json& value);

}  // namespace qvlctl

#endif  // QVLCTL_IO_JSON_H
