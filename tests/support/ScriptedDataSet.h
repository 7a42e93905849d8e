// A data set that does as it is told.

#ifndef QVL_TESTS_SUPPORT_SCRIPTED_DATA_SET_H
#define QVL_TESTS_SUPPORT_SCRIPTED_DATA_SET_H

#include <functional>
#include <memory>
#include <set>
#include <string>
#include <utility>

#include "qvl/qvl.h"

namespace QVL {
namespace Test {

// Answers every lookup by calling a function, which may throw. Holds no rules and ignores every
// setting.
class ScriptedDataSet : public IDataSet {
 public:
  using Answer = std::function<bool(ILookupData&)>;

  explicit ScriptedDataSet(Answer answer) : m_answer(std::move(answer)) {}

  bool isPresentInDataSet(ILookupData& request) override { return m_answer(request); }

  void enableDataSet() override {}
  void disableDataSet() override {}
  void enableMatchAnything() override {}
  void disableMatchAnything() override {}
  void enableMatchEmptyInput() override {}
  void disableMatchEmptyInput() override {}
  void enableCheckingOfAccessType() override {}
  void disableCheckingOfAccessType() override {}
  void checkAccessTypeAtDataSetLevelOnly(unsigned char, AccessTypes) override {}
  void enableCaseSensitiveSearch() override {}
  void disableCaseSensitiveSearch() override {}
  void enableWildCardSearch() override {}
  void disableWildCardSearch() override {}
  bool addOrUpdateKeyword(std::string, std::set<std::string>) override { return false; }
  bool deleteKeyword(std::string) override { return false; }
  bool addToDataSet(std::unique_ptr<IAvoidance>) override { return false; }
  bool removeFromDataSet(IAvoidance&) override { return false; }

 private:
  Answer m_answer;
};

}  // namespace Test
}  // namespace QVL

#endif  // QVL_TESTS_SUPPORT_SCRIPTED_DATA_SET_H
