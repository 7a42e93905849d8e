// Folders that have two names.

#ifndef QVLPOLICY_ALIASES_H
#define QVLPOLICY_ALIASES_H

#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "qvlpolicy/Export.h"

namespace qvlpolicy {

// The systems whose folders are known.
enum class Platform { MacOs, Linux };

// The path under which a scanner reports what `path` names, when that is another one: on macOS
// "/private/tmp/x" for "/tmp/x", "/Users/x" for "/System/Volumes/Data/Users/x".
QVLPOLICY_EXPORT std::optional<std::string> realName(Platform platform, std::string_view path);

// All other names that `path` may go by, on any platform.
QVLPOLICY_EXPORT std::vector<std::string> otherNames(std::string_view path);

}  // namespace qvlpolicy

#endif  // QVLPOLICY_ALIASES_H
