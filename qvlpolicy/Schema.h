// The schema of policy files, for editors.

#ifndef QVLPOLICY_SCHEMA_H
#define QVLPOLICY_SCHEMA_H

#include <string>

namespace qvlpolicy {

// The syntax as a schema in RELAX NG. What depends on more than one element, such as a number that
// another data set has, is for the reader alone.
std::string schemaText();

}  // namespace qvlpolicy

#endif  // QVLPOLICY_SCHEMA_H
