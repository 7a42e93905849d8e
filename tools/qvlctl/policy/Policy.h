// The words of the policy library that the commands use, and its errors as this program ends with
// them.

#ifndef QVLCTL_POLICY_POLICY_H
#define QVLCTL_POLICY_POLICY_H

#include <qvlpolicy/Aliases.h>
#include <qvlpolicy/Description.h>
#include <qvlpolicy/Explanation.h>
#include <qvlpolicy/Patterns.h>
#include <qvlpolicy/Policy.h>
#include <qvlpolicy/Problem.h>

#include <cstddef>
#include <memory>
#include <string>
#include <string_view>
#include <vector>

#include "io/Trouble.h"

namespace qvlctl {

using qvlpolicy::accessName;
using qvlpolicy::DataSet;
using qvlpolicy::DataSetAnswer;
using qvlpolicy::Decider;
using qvlpolicy::deciderName;
using qvlpolicy::Difference;
using qvlpolicy::differenceName;
using qvlpolicy::Explanation;
using qvlpolicy::expressionOf;
using qvlpolicy::fitsAccess;
using qvlpolicy::haveSameKey;
using qvlpolicy::haveTheSameEffect;
using qvlpolicy::kAllKinds;
using qvlpolicy::Keyword;
using qvlpolicy::keywordsIn;
using qvlpolicy::Kind;
using qvlpolicy::kindName;
using qvlpolicy::LogicPart;
using qvlpolicy::makeRule;
using qvlpolicy::MatchingRule;
using qvlpolicy::NearRule;
using qvlpolicy::parseAccess;
using qvlpolicy::parseNumber;
using qvlpolicy::PartAnswer;
using qvlpolicy::Place;
using qvlpolicy::Platform;
using qvlpolicy::Position;
using qvlpolicy::positionOf;
using qvlpolicy::positionOfLogic;
using qvlpolicy::positionOfRule;
using qvlpolicy::Problem;
using qvlpolicy::Rule;
using Policy = qvlpolicy::Description;

inline constexpr const char* kAccessChoice =
    "read, write, any or a whole number from 0 to 4294967295";

// A policy cannot be used. Its text is all errors, one a line, from the second on with this
// program's name in front.
class PolicyTrouble : public Trouble {
 public:
  explicit PolicyTrouble(const std::vector<Problem>& errors);
};

// What was read from a policy file.
struct PolicyFile {
  qvlpolicy::Loaded loaded;
  std::string digest;  // SHA-256 of the file; of a policy in several, of one behind the other
};

// What people read for the name of a policy file on the command line; "-" is standard input.
std::string policyName(const std::string& file);

// Reads a policy file; "-" is standard input. Throws Trouble when it cannot be read; what is wrong
// in it is told in the result.
PolicyFile readPolicy(const std::string& file);

// The same of a policy that is to be used: throws PolicyTrouble when it cannot be, and tells
// warnings on standard error.
PolicyFile loadPolicy(const std::string& file);

}  // namespace qvlctl

#endif  // QVLCTL_POLICY_POLICY_H
