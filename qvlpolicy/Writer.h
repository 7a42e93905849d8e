// Writes a policy as one file.

#ifndef QVLPOLICY_WRITER_H
#define QVLPOLICY_WRITER_H

#include <string>

#include "qvlpolicy/Description.h"
#include "qvlpolicy/Export.h"

namespace qvlpolicy {

// A policy file, in UTF-8, that says what the description says: included files and tables of
// keywords are put in, attributes that have their default are left out, and a comment at each data
// set names the file and the line that it comes from. Comments of the files are not kept.
QVLPOLICY_EXPORT std::string policyText(const Description& description);

}  // namespace qvlpolicy

#endif  // QVLPOLICY_WRITER_H
