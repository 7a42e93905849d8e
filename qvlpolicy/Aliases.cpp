#include "qvlpolicy/Aliases.h"

namespace qvlpolicy {
namespace {

struct Alias {
  Platform platform;
  std::string_view alias;
  std::string_view real;
};

constexpr Alias kAliases[] = {
    {Platform::MacOs, "/tmp", "/private/tmp"}, {Platform::MacOs, "/var", "/private/var"},
    {Platform::MacOs, "/etc", "/private/etc"}, {Platform::MacOs, "/System/Volumes/Data", ""},
    {Platform::Linux, "/bin", "/usr/bin"},     {Platform::Linux, "/sbin", "/usr/sbin"},
    {Platform::Linux, "/lib", "/usr/lib"},     {Platform::Linux, "/lib64", "/usr/lib64"},
    {Platform::Linux, "/var/run", "/run"},     {Platform::Linux, "/var/lock", "/run/lock"},
};

// `path` with the folder `from` at its beginning replaced.
std::optional<std::string> moved(std::string_view path, std::string_view from,
                                 std::string_view to) {
  const bool isInside = path.substr(0, from.size()) == from &&
                        (path.size() == from.size() || path[from.size()] == '/');
  if (!isInside) return std::nullopt;
  return std::string(to) + std::string(path.substr(from.size()));
}

}  // namespace

std::optional<std::string> realName(Platform platform, std::string_view path) {
  for (const Alias& alias : kAliases) {
    if (alias.platform != platform) continue;
    if (auto real = moved(path, alias.alias, alias.real)) return real;
  }
  return std::nullopt;
}

std::vector<std::string> otherNames(std::string_view path) {
  std::vector<std::string> names;
  for (const Alias& alias : kAliases) {
    if (const auto name = moved(path, alias.alias, alias.real)) names.push_back(*name);
    if (const auto name = moved(path, alias.real, alias.alias)) names.push_back(*name);
  }
  return names;
}

}  // namespace qvlpolicy
