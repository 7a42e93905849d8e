// Policies to measure with: made up, and the same in every run.

#ifndef QVL_BENCHMARKS_POLICY_SHAPES_H
#define QVL_BENCHMARKS_POLICY_SHAPES_H

#include <qvlpolicy/Description.h>

#include <cstddef>
#include <cstdint>
#include <string>
#include <vector>

namespace QVL {
namespace Bench {

// A policy, and what is asked of it.
struct PolicyShape {
  struct Asked {
    std::string path;
    std::string process;
  };

  std::string name;
  qvlpolicy::Description policy;
  std::vector<Asked> questions;  // about half of them are made to be matched by a rule

  std::size_t rules() const;
};

// The names of the shapes that are told apart by hand: what rules usually look like, and what makes
// many of them alike.
const std::vector<std::string>& policyShapeNames();

// A policy of about so many rules: fewer where the shape has no more.
PolicyShape policyShape(const std::string& name, std::size_t count);

// One of an endless row: kinds, numbers of data sets, switches, logic, and what rules are made of
// are drawn.
PolicyShape drawnPolicyShape(std::uint64_t seed, std::size_t count);

}  // namespace Bench
}  // namespace QVL

#endif  // QVL_BENCHMARKS_POLICY_SHAPES_H
