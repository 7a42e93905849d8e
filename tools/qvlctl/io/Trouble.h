// The one way in which qvlctl gives up.

#ifndef QVLCTL_IO_TROUBLE_H
#define QVLCTL_IO_TROUBLE_H

#include <stdexcept>

namespace qvlctl {

// Ends the program with exit status 2. The text is a whole message for the user: where, what was
// expected, what came.
class Trouble : public std::runtime_error {
 public:
  using std::runtime_error::runtime_error;
};

}  // namespace qvlctl

#endif  // QVLCTL_IO_TROUBLE_H
