// The exclusion policy in force.

#ifndef QVL_ONACCESS_EXCLUSIONS_H
#define QVL_ONACCESS_EXCLUSIONS_H

#include <optional>
#include <string>
#include <vector>

namespace onaccess {

// What the decision needs of a policy. An interface, so that tests can script it.
//
// Thread safety: all operations may be called from any thread at any time.
class Exclusions {
 public:
  Exclusions() = default;
  virtual ~Exclusions() = default;
  Exclusions(const Exclusions&) = delete;
  Exclusions& operator=(const Exclusions&) = delete;

  // Does any answer depend on the program?
  virtual bool readsProgram() const = 0;

  // Is the open excluded from scanning? `program` is empty unless readsProgram(). Nothing when a
  // policy that reads programs came meanwhile: to be asked again. The numbers of the data sets that
  // matched replace those in `dataSets`.
  virtual std::optional<bool> isExcluded(const std::string& path, const std::string& program,
                                         std::vector<unsigned int>& dataSets) = 0;
};

}  // namespace onaccess

#endif  // QVL_ONACCESS_EXCLUSIONS_H
