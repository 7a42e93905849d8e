// Rules of one data set and a path: a byte for the settings, then lines. The last line is the path,
// the one before it, when there are three or more, the value of the keyword %K%, the others are
// rules. The answer by the index has to be that of the rules, one by one.

#include "fuzz/Fuzz.h"

using namespace QVL;

namespace {

std::shared_ptr<IDataSet> dataSetOf(unsigned int kind) {
  if (kind == 1) return std::make_shared<FolderDataSet>();
  if (kind == 2) return std::make_shared<ProcessDataSet>();
  if (kind == 3) return std::make_shared<FileTypeDataSet>();
  return std::make_shared<FilePathDataSet>();
}

std::unique_ptr<IAvoidance> ruleOf(unsigned int kind, bool flag, const std::string& text) {
  const auto byte = static_cast<unsigned char>(flag);
  if (kind == 1) return std::make_unique<FolderAvoidance>(text, AnyAccess, byte);
  if (kind == 2) return std::make_unique<ProcessAvoidance>(text, AnyAccess, byte, "/opt/bin");
  if (kind == 3) return std::make_unique<FileTypeAvoidance>(text, AnyAccess);
  return std::make_unique<FilePathAvoidance>(text, AnyAccess);
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  if (size == 0) return 0;
  const unsigned int settings = data[0];
  std::vector<std::string> lines = Fuzz::linesOf(Fuzz::textOf(data + 1, size - 1));
  if (lines.size() < 2) return 0;
  LookupData request;
  request.m_filePath = request.m_processName = lines.back();
  lines.pop_back();

  const unsigned int kind = settings & 3;
  const auto dataSet = dataSetOf(kind);
  (settings & 4) != 0 ? dataSet->disableCaseSensitiveSearch()
                      : dataSet->enableCaseSensitiveSearch();
  (settings & 8) != 0 ? dataSet->disableWildCardSearch() : dataSet->enableWildCardSearch();
  if (lines.size() >= 2) {
    dataSet->addOrUpdateKeyword("%K%", {lines.back()});
    lines.pop_back();
  }
  std::vector<std::unique_ptr<IAvoidance>> added;
  for (const std::string& line : lines) {
    try {
      added.push_back(ruleOf(kind, (settings & 16) != 0, line));
    } catch (const QVLException&) {
      continue;
    }
    const bool isNew = dataSet->addToDataSet(ruleOf(kind, (settings & 16) != 0, line));
    if (!isNew) added.pop_back();
  }

  const auto ask = [&](LookupData& lent) { return dataSet->isPresentInDataSet(lent); };
  Fuzz::answerBothWays(request, ask);
  // Changed while it is in use.
  (settings & 32) != 0 ? dataSet->disableCaseSensitiveSearch() : dataSet->disableWildCardSearch();
  Fuzz::answerBothWays(request, ask);
  for (const auto& rule : added) {
    Fuzz::require(dataSet->removeFromDataSet(*rule), "what was added can be removed");
    Fuzz::answerBothWays(request, ask);
  }
  Fuzz::require(Fuzz::answerTo(request, ask) == "absent", "an empty data set matches nothing");
  return 0;
}
