// What is wrong with a policy, and where.

#ifndef QVLPOLICY_PROBLEM_H
#define QVLPOLICY_PROBLEM_H

#include <cstddef>
#include <string>

#include "qvlpolicy/Export.h"

namespace qvlpolicy {

// An error, for which a policy is refused, or a warning. All texts but `file` are UTF-8 and one
// printable line: what is not printable in a file is written as \n, \t, \r or \xNN.
struct Problem {
  const char* name = "";   // of its sort, for programs, such as "refused-rule"; stable, static
  std::string file;        // as it was named
  std::size_t line = 0;    // 1 is the first; 0: not known, or the whole file
  std::size_t column = 0;  // in characters, 1 is the first; 0: not known
  std::string element;     // in words: "data set 7, rule 5"; empty: the whole policy
  std::string what;        // what is wrong, in words; may be empty when the next two say all
  std::string expected;    // what would be right; may be empty
  std::string came;        // what stands there instead, quoted where it is a text; may be empty
};

// The reason in one sentence: "access: unknown; expected read or write; found "reed"".
QVLPOLICY_EXPORT std::string reasonOf(const Problem& problem);

// "FILE:LINE:COLUMN: ELEMENT: reason", as compilers write it; what is not known is left out.
QVLPOLICY_EXPORT std::string inWords(const Problem& problem);

}  // namespace qvlpolicy

#endif  // QVLPOLICY_PROBLEM_H
