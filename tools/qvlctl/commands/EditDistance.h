// How far two words are apart.

#ifndef QVLCTL_COMMANDS_EDIT_DISTANCE_H
#define QVLCTL_COMMANDS_EDIT_DISTANCE_H

#include <cstddef>
#include <string_view>

namespace qvlctl {

// The least number of characters to insert, delete or replace, or of neighbours to swap, that makes
// one of the other (optimal string alignment).
std::size_t editDistance(std::string_view a, std::string_view b);

}  // namespace qvlctl

#endif  // QVLCTL_COMMANDS_EDIT_DISTANCE_H
