// A manager over scripted data sets that writes down which of them were asked.

#ifndef QVL_TESTS_LOOKUP_RIG_H
#define QVL_TESTS_LOOKUP_RIG_H

#include <memory>
#include <string>
#include <utility>
#include <vector>

#include "qvl/qvl.h"
#include "tests/support/ScriptedDataSet.h"

namespace QVL {
namespace Test {

using Numbers = std::vector<unsigned int>;

constexpr unsigned char kKeep = 0;     // assignDataSet leaves a number that is taken as it is
constexpr unsigned char kReplace = 1;  // assignDataSet puts the data set in its place

struct Rig {
  LookupManager manager;
  Numbers asked;  // numbers of the data sets that were asked, in order

  std::shared_ptr<IDataSet> dataSet(unsigned int number, ScriptedDataSet::Answer answer) {
    return std::make_shared<ScriptedDataSet>(
        [this, number, answer = std::move(answer)](ILookupData& request) {
          asked.push_back(number);
          return answer(request);
        });
  }

  void assign(unsigned int number, ScriptedDataSet::Answer answer) {
    manager.assignDataSet(dataSet(number, std::move(answer)), number, kReplace);
  }

  void assignAlways(unsigned int number, bool answer) {
    assign(number, [answer](ILookupData&) { return answer; });
  }

  Numbers takeAsked() { return std::exchange(asked, {}); }
};

}  // namespace Test
}  // namespace QVL

#endif  // QVL_TESTS_LOOKUP_RIG_H
