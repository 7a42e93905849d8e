// What a policy is made of.

#ifndef QVLPOLICY_POLICY_STATE_H
#define QVLPOLICY_POLICY_STATE_H

#include <utility>
#include <vector>

#include "qvlpolicy/Description.h"
#include "qvlpolicy/Engine.h"
#include "qvlpolicy/Explainer.h"
#include "qvlpolicy/Logic.h"
#include "qvlpolicy/NearRules.h"
#include "qvlpolicy/Policy.h"
#include "qvlpolicy/Reader.h"

namespace qvlpolicy {

struct QVL_HIDDEN Policy::State {
  // The description has to stay where it is from here on.
  State(Description read, const LoadOptions& options, std::vector<Problem>& errors,
        std::vector<Problem>& warnings)
      : description(std::move(read)),
        logic(readLogic(description.logic).logic),
        engine(description, options.timesAreGiven, errors, warnings),
        explainer(description, engine, logic),
        nearRules(description) {}

  const Description description;
  const LogicPart logic;
  const Engine engine;
  const Explainer explainer;
  const NearRules nearRules;

  static Loaded made(Reading reading, const LoadOptions& options);
};

// For the library itself.
struct QVL_HIDDEN PolicyView {
  static const Engine& engineOf(const Policy& policy) { return policy.m_state->engine; }
};

}  // namespace qvlpolicy

#endif  // QVLPOLICY_POLICY_STATE_H
