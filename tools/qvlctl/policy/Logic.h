// A business logic taken apart.

#ifndef QVLCTL_POLICY_LOGIC_H
#define QVLCTL_POLICY_LOGIC_H

#include <optional>
#include <string>
#include <vector>

namespace qvlctl {

// The whole logic, or an operand or a combination in it.
struct LogicPart {
  std::string text;                     // as people write it, grouping shown by parentheses
  std::string postfix;                  // as the engine evaluates it
  std::optional<unsigned int> dataSet;  // an operand's number
  std::vector<LogicPart> parts;         // what an operator combines; none in an operand
};

struct PostfixReading {
  std::vector<LogicPart> values;  // what no operator takes: one, unless operators are missing
  bool isLeftOpen = false;        // the infix form left a parenthesis open
};

// Reads a postfix form as QVL::LookupManager::parseLogic makes it. It has to be one that the
// manager can evaluate: each operator finds its operands.
PostfixReading readPostfix(const std::string& postfix);

// The numbers in a part, each once, ascending.
std::vector<unsigned int> dataSetsIn(const LogicPart& part);

}  // namespace qvlctl

#endif  // QVLCTL_POLICY_LOGIC_H
