// A request to a policy of every kind of rule: a byte for the access type, a line for the process,
// and the rest for the path.

#include "fuzz/Fuzz.h"

using namespace QVL;

namespace {

struct Policy {
  Policy() {
    for (const bool caseSensitive : {true, false}) {
      auto paths = std::make_shared<FilePathDataSet>();
      if (!caseSensitive) paths->disableCaseSensitiveSearch();
      paths->addOrUpdateKeyword("%HOME%", {"/home/*", "/Users/.*"});
      for (const char* const text :
           {"/a", "/a/**/b", "/var/**/*.log", "**/node_modules/**", "%HOME%/.cache/**", "/?x*y?/z",
            "/tmp/(a|b)+c", "/\xc3\xa9*/\xc3\x89", "**k**", "/opt/%HOME%", "*/lib*.so*",
            "(?:x)y"}) {
        paths->addToDataSet(std::make_unique<FilePathAvoidance>(text, AnyAccess));
      }
      paths->addToDataSet(std::make_unique<FilePathAvoidance>("/read/*", ReadAccess));
      add(paths);
    }
    auto folders = std::make_shared<FolderDataSet>();
    folders->addToDataSet(std::make_unique<FolderAvoidance>("/deep/", AnyAccess, 1));
    folders->addToDataSet(std::make_unique<FolderAvoidance>("/*/flat/", WriteAccess, 0));
    add(folders);
    auto processes = std::make_shared<ProcessDataSet>();
    processes->enableWildCardSearch();
    processes->addToDataSet(std::make_unique<ProcessAvoidance>("agent*", AnyAccess, 1, "/opt"));
    processes->addToDataSet(std::make_unique<ProcessAvoidance>("/bin/?sh", AnyAccess, 0, ""));
    add(processes);
    auto types = std::make_shared<FileTypeDataSet>();
    types->enableMatchEmptyInput();
    for (const char* const type : {"iso", "d?c", "\xc3\xa9t", "(a|b)+"}) {
      types->addToDataSet(std::make_unique<FileTypeAvoidance>(type, AnyAccess));
    }
    add(types);
    manager.defineBusinessLogic("(1|2|3)&!4|5");
  }

  void add(std::shared_ptr<IDataSet> dataSet) {
    dataSets.push_back(dataSet);
    manager.assignDataSet(dataSet, static_cast<unsigned int>(dataSets.size()), 0);
  }

  LookupManager manager;
  std::vector<std::shared_ptr<IDataSet>> dataSets;
};

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  if (size == 0) return 0;
  static Policy policy;
  std::string text = Fuzz::textOf(data + 1, size - 1);
  LookupData request;
  request.m_accessType = static_cast<AccessTypes>(data[0] & 7);
  request.m_processName = Fuzz::takeLine(text);
  request.m_filePath = text;
  Fuzz::answerBothWays(request, [&](LookupData& lent) { return policy.manager.isPresent(lent); });
  for (const auto& dataSet : policy.dataSets) {
    Fuzz::answerBothWays(request,
                         [&](LookupData& lent) { return dataSet->isPresentInDataSet(lent); });
  }
  std::string path = request.m_filePath;
  const std::string extension = FileTypeAvoidance::findFileExtension(path);
  Fuzz::require(path == request.m_filePath, "looking for the extension leaves the path");
  Fuzz::require(extension.find('.') == std::string::npos, "an extension has no dot");
  return 0;
}
