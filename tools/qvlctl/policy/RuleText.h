// Rules as people and programs read them.

#ifndef QVLCTL_POLICY_RULE_TEXT_H
#define QVLCTL_POLICY_RULE_TEXT_H

#include <cstddef>
#include <memory>
#include <string>
#include <vector>

#include "io/Json.h"
#include "policy/Policy.h"

namespace qvlctl {

using qvlpolicy::ruleText;

// "rule 2, policy.xml:17: /srv/build/", by the index of the rule in a data set of the policy.
std::string ruleInWords(const Policy& policy, const DataSet& dataSet, std::size_t rule);

// What people noted beside a rule or a data set, "owner ops, ticket T-1"; empty without any.
std::string metadataInWords(const std::shared_ptr<const qvlpolicy::Metadata>& metadata);

// The same, with a name for each text that is there; an empty object without any.
Json metadataInJson(const std::shared_ptr<const qvlpolicy::Metadata>& metadata);

// The rule's number, line, text and access; `of` and `days` in place of the text of an age rule.
Json ruleInJson(const DataSet& dataSet, std::size_t rule);

}  // namespace qvlctl

#endif  // QVLCTL_POLICY_RULE_TEXT_H
