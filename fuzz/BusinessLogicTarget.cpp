// A business logic. The first byte says which of the data sets 1 to 8 match.

#include "fuzz/Fuzz.h"
#include "tests/support/ScriptedDataSet.h"

using namespace QVL;

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  if (size == 0) return 0;
  const unsigned int truths = data[0];
  const std::string text = Fuzz::textOf(data + 1, size - 1);

  LookupManager manager;
  for (unsigned int number = 1; number <= 8; ++number) {
    const bool present = (truths >> (number - 1) & 1) != 0;
    manager.assignDataSet(
        std::make_shared<Test::ScriptedDataSet>([present](ILookupData&) { return present; }),
        number, 0);
  }

  const LookupData request;
  const auto ask = [&](LookupData& lent) { return manager.isPresent(lent); };
  manager.defineBusinessLogic("1");
  const std::string before = Fuzz::answerTo(request, ask);
  try {
    manager.defineBusinessLogic(text);
  } catch (const QVLException& exception) {
    Fuzz::require(exception.m_code == 3, "the code of every exception is 3");
    Fuzz::require(Fuzz::answerTo(request, ask) == before, "a refused logic leaves the old one");
    // As a postfix text of the host's own.
    Fuzz::answerTo(request, [&](LookupData& lent) { return manager.executeLogic(text, lent); });
    return 0;
  }
  const std::string answer = Fuzz::answerTo(request, ask);
  Fuzz::require(Fuzz::answerTo(request, ask) == answer, "a question has one answer");
  const std::string postfix = manager.parseLogic(text);
  if (!postfix.empty()) {
    const std::string executed = Fuzz::answerTo(
        request, [&](LookupData& lent) { return manager.executeLogic(postfix, lent); });
    Fuzz::require(executed == answer, "the stored logic is the parsed one", executed + answer);
  }
  return 0;
}
