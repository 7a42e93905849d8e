// Why the host does not start, or a command fails, in words for people.

#ifndef QVL_ONACCESS_TROUBLE_H
#define QVL_ONACCESS_TROUBLE_H

#include <stdexcept>

namespace onaccess {

class Trouble : public std::runtime_error {
 public:
  using std::runtime_error::runtime_error;
};

}  // namespace onaccess

#endif  // QVL_ONACCESS_TROUBLE_H
