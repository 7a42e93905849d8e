// Folders that have two names.

#ifndef QVLCTL_POLICY_ALIASES_H
#define QVLCTL_POLICY_ALIASES_H

#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace qvlctl {

enum class Platform { MacOs, Linux };

// The path under which a scanner reports what `path` names, when that is another one: on macOS
// "/private/tmp/x" for "/tmp/x", "/Users/x" for "/System/Volumes/Data/Users/x".
std::optional<std::string> realName(Platform platform, std::string_view path);

// All other names that `path` may go by, on any platform.
std::vector<std::string> otherNames(std::string_view path);

}  // namespace qvlctl

#endif  // QVLCTL_POLICY_ALIASES_H
