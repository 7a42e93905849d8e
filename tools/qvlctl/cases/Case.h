// What a policy is expected to answer.

#ifndef QVLCTL_CASES_CASE_H
#define QVLCTL_CASES_CASE_H

#include <qvl/qvl.h>

#include <cstddef>
#include <optional>
#include <set>
#include <string>
#include <string_view>

namespace qvlctl {

struct Case {
  std::string file;
  std::size_t line = 0;
  bool isExcluded = false;
  std::optional<std::set<unsigned int>> dataSets;  // that match; nothing: whichever
  std::optional<QVL::AccessTypes> access;
  std::optional<std::string> process;
  std::string path;
};

// Reads a line such as
//
//   excluded  1,3  access=write process=/usr/bin/rsync  /srv/data/a b.db
//
// that is: the verdict, the numbers of the data sets, what else to ask, the path. Texts are escaped
// as qvlctl prints them, so that what lookup prints can be read; the path goes on to the end of the
// line. Nothing for a comment or a line without anything. Throws Trouble, without the line's
// position.
std::optional<Case> readCase(std::string_view line);

}  // namespace qvlctl

#endif  // QVLCTL_CASES_CASE_H
