// A policy: read, built into an engine, and asked.

#include <qvlpolicy/Policy.h>

#include "fuzz/Fuzz.h"

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  const qvlpolicy::Loaded loaded =
      qvlpolicy::Policy::parse(QVL::Fuzz::textOf(data, size), "policy.xml");
  QVL::Fuzz::require((loaded.policy == nullptr) == !loaded.errors.empty(),
                     "a policy is refused for an error", "");
  for (const qvlpolicy::Problem& error : loaded.errors) {
    QVL::Fuzz::require(!reasonOf(error).empty(), "an error says what is wrong", inWords(error));
  }
  if (!loaded.policy) return 0;
  for (const char* const path : {"/tmp/a.log", "/Users/a/Library/Caches/b", ""}) {
    const qvlpolicy::Question question = {path, path};
    const qvlpolicy::Explanation explanation = loaded.policy->explain(question);
    const qvlpolicy::Answer answer = loaded.policy->ask(question);
    QVL::Fuzz::require(answer.isExcluded == explanation.isExcluded, "an explanation explains",
                       path);
    QVL::Fuzz::require(answer.dataSets == explanation.matched, "it names the data sets", path);
  }
  return 0;
}
