// Reads policy files.

#ifndef QVLCTL_POLICY_POLICY_READER_H
#define QVLCTL_POLICY_POLICY_READER_H

#include <string>

#include "policy/Policy.h"

namespace qvlctl {

// Throws Trouble, whose message names the file, the place and the reason, when the file cannot be
// read or does not hold a policy. Whether the engine takes the logic, the keywords and the rules is
// for the engine to say.
Policy readPolicy(const std::string& file);

// The same from the text that the file is known to hold.
Policy readPolicy(const std::string& file, std::string text);

}  // namespace qvlctl

#endif  // QVLCTL_POLICY_POLICY_READER_H
