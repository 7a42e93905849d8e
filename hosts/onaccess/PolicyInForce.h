// The exclusion policy from its file.

#ifndef QVL_ONACCESS_POLICY_IN_FORCE_H
#define QVL_ONACCESS_POLICY_IN_FORCE_H

#include <atomic>
#include <cstdint>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "Exclusions.h"
#include "qvlpolicy/LivePolicy.h"

namespace onaccess {

class PolicyInForce : public Exclusions {
 public:
  // Throws Trouble with all errors of the file.
  PolicyInForce(const std::string& file, qvlpolicy::Counting counting);

  bool readsProgram() const override { return m_readsProgram; }
  std::optional<bool> isExcluded(const std::string& path, const std::string& program,
                                 std::vector<unsigned int>& dataSets) override;

  // Loads the file again; not for two threads at once. False when it is refused: the policy stays.
  // `words` gets the errors and warnings, each on a line.
  bool reload(std::string& words);

  // What the first loading warned of, each on a line.
  const std::string& warnings() const { return m_warnings; }

  std::string file() const { return m_file; }

  // Reloads, and what was excluded by each data set and rule, in Prometheus's text format.
  std::string inPrometheusText() const;

  // The same for people, in a few lines.
  std::string summary() const;

 private:
  const std::string m_file;
  std::string m_warnings;
  std::unique_ptr<qvlpolicy::LivePolicy> m_policy;
  // Of the swaps from or to a policy that reads programs, twice; odd during one. Meanwhile
  // m_readsProgram is true.
  std::atomic<std::uint64_t> m_swaps{0};
  std::atomic<bool> m_readsProgram;
  std::atomic<std::uint64_t> m_refused{0};
};

}  // namespace onaccess

#endif  // QVL_ONACCESS_POLICY_IN_FORCE_H
