// Lays out a policy file.

#ifndef QVLPOLICY_FORMATTER_H
#define QVLPOLICY_FORMATTER_H

#include <string>
#include <string_view>
#include <vector>

#include "qvlpolicy/Export.h"
#include "qvlpolicy/Problem.h"

namespace qvlpolicy {

// What became of a text: its canonical form, or errors.
struct Formatted {
  std::string text;             // empty when there is any error
  std::vector<Problem> errors;  // all that were found, in the order of the file
};

// A policy file in its canonical form, in UTF-8: one element a line, indented; attributes in one
// order, without those that have their default, their values as the library writes them; an empty
// line before each data set. What `policyText` writes is canonical.
//
// Kept as they are: the order of elements, the texts of rules, logic and keywords, comments and
// processing instructions where they stand, and empty lines between elements, several as one. The
// canonical form of a canonical form is itself.
//
// The file is read by itself: it may be one that others include, and what it includes is neither
// read nor put in. Whether the engine takes its rules is not asked. `file` is its name in errors.
// Throws nothing but std::bad_alloc.
QVLPOLICY_EXPORT Formatted formatPolicy(std::string_view text, const std::string& file);

}  // namespace qvlpolicy

#endif  // QVLPOLICY_FORMATTER_H
