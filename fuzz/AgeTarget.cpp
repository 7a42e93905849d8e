// An age text, of a rule for "/", which is there for everybody.

#include "fuzz/Fuzz.h"

using namespace QVL;

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  const std::string text = Fuzz::textOf(data, size);
  std::unique_ptr<FileAgeAvoidance> rule;
  try {
    rule = std::make_unique<FileAgeAvoidance>(text, AnyAccess);
  } catch (const QVLException& exception) {
    Fuzz::require(exception.m_code == 3, "the code of every exception is 3");
    return 0;
  }
  Fuzz::require(rule->getKey() == text, "the key is the text");
  LookupData request;
  request.m_filePath = "/";
  const std::string alone =
      Fuzz::answerTo(request, [&](LookupData& lent) { return rule->canAvoid(lent); });
  Fuzz::require(alone == "present" || alone == "absent", "an age decides", alone);
  // Every text holds days or does not: without a selector the age is 0, older than days below 0.
  if (text.size() < 4) Fuzz::require(alone == "absent", "a text without days matches nothing");

  FileAgeDataSet dataSet;
  dataSet.addToDataSet(std::move(rule));
  const std::string inDataSet = Fuzz::answerBothWays(
      request, [&](LookupData& lent) { return dataSet.isPresentInDataSet(lent); });
  // A second may pass between the two.
  const bool mayChange = !text.empty() && (text[0] == '0' || text[0] == '1');
  Fuzz::require(mayChange || inDataSet == alone, "the data set answers as its rule", inDataSet);

  request.m_filePath = "/no such file";
  Fuzz::require(
      Fuzz::answerTo(request, [&](LookupData& lent) { return dataSet.isPresentInDataSet(lent); }) ==
          "absent",
      "a file that is not there has no age");
  return 0;
}
