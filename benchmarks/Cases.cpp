#include "benchmarks/Cases.h"

namespace QVL {
namespace Bench {

std::string nameOf(const Case& one) {
  static constexpr const char* kKinds[] = {"Mixed", "Regex", "Folder", "Process", "Type"};
  return kKinds[static_cast<std::size_t>(one.first)] + std::to_string(one.second);
}

Workload& workloadOf(const Case& one) {
  static std::map<Case, std::unique_ptr<Workload>> made;
  std::unique_ptr<Workload>& workload = made[one];
  if (!workload) {
    auto fresh = std::make_unique<Workload>(one.first, one.second);
    const Re2Set arbiter(*fresh);
    fresh->makeAccesses([&](std::string_view text) { return arbiter.matches(text); });
    workload = std::move(fresh);
  }
  return *workload;
}

}  // namespace Bench
}  // namespace QVL
