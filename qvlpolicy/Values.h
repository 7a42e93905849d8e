// The values of a policy file.

#ifndef QVLPOLICY_VALUES_H
#define QVLPOLICY_VALUES_H

#include <cstddef>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace qvlpolicy {

// The engine reads the first 23 characters of the list of days, and multiplies in 32 bits.
inline constexpr std::size_t kMaxDaysLength = 23;
inline constexpr unsigned int kMaxDays = 24855;

// The days of an age, "30, 90"; nothing when they are not such a list.
std::optional<std::vector<unsigned int>> parseDays(std::string_view text);

// The engine's text of an age: the selector, three characters that it does not read, and the days.
std::string ageText(std::string_view selector, const std::vector<unsigned int>& days);

}  // namespace qvlpolicy

#endif  // QVLPOLICY_VALUES_H
