// What may stand in a policy file, apart from the values.

#ifndef QVLCTL_POLICY_POLICY_SYNTAX_H
#define QVLCTL_POLICY_POLICY_SYNTAX_H

#include <string>

#include "io/XmlFile.h"
#include "policy/ElementStarts.h"

namespace qvlctl {

// Throws Trouble at the first element, attribute or text that has no place in a policy file, and at
// the first attribute that is missing or empty. Afterwards an attribute that reads as the empty
// string is an attribute that is not there.
void checkPolicySyntax(const std::string& file, XmlFile& xml, const ElementStarts& starts);

}  // namespace qvlctl

#endif  // QVLCTL_POLICY_POLICY_SYNTAX_H
