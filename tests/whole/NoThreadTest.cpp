// The library starts no thread. A program of its own: it stands its pthread_create in front of the
// C library's. Not built with a sanitizer, which does the same.

#include <dlfcn.h>
#include <gtest/gtest.h>
#include <pthread.h>

#include <memory>
#include <string>
#include <thread>

#include "qvl/qvl.h"

namespace {

int threadsStarted = 0;

}  // namespace

extern "C" int pthread_create(pthread_t* thread, const pthread_attr_t* attributes,
                              void* (*start)(void*), void* argument)
#ifdef __GLIBC__
    __THROWNL
#endif
{
  ++threadsStarted;
  using Create = int (*)(pthread_t*, const pthread_attr_t*, void* (*)(void*), void*);
  static const auto create = reinterpret_cast<Create>(dlsym(RTLD_NEXT, "pthread_create"));
  return create(thread, attributes, start, argument);
}

namespace QVL {
namespace Test {
namespace {

template <class Set, class... Arguments>
void fill(LookupManager& manager, unsigned int number, Arguments... arguments) {
  auto dataSet = std::make_shared<Set>();
  (dataSet->addToDataSet(std::move(arguments)), ...);
  dataSet->addOrUpdateKeyword("%K%", {"a", "b"});
  dataSet->disableCaseSensitiveSearch();
  dataSet->disableWildCardSearch();
  dataSet->enableWildCardSearch();
  dataSet->deleteKeyword("%K%");
  dataSet->disableCheckingOfAccessType();
  manager.assignDataSet(dataSet, number, 0);
}

TEST(Threads, NoneIsStartedByTheLibrary) {
  InitTraceLogger();
  InitProdLogger();
  {
    LookupManager manager;
    fill<FilePathDataSet>(manager, 1, std::make_unique<FilePathAvoidance>("/a/**/*.db", AnyAccess),
                          std::make_unique<FilePathAvoidance>("/b/[0-9]+", AnyAccess));
    fill<FolderDataSet>(manager, 2, std::make_unique<FolderAvoidance>("/c/*/", AnyAccess, 1));
    fill<ProcessDataSet>(manager, 3,
                         std::make_unique<ProcessAvoidance>("p*", AnyAccess, 1, "/usr/bin"));
    fill<FileTypeDataSet>(manager, 4, std::make_unique<FileTypeAvoidance>("t?t", AnyAccess));
    fill<FileAgeDataSet>(manager, 5, std::make_unique<FileAgeAvoidance>("1   9000", AnyAccess));
    manager.defineBusinessLogic("((1|2)|(3|4))|5");
    for (const char* level : {"off", "on"}) {
      ScanAvoidanceFlowvalue = std::string(level) == "on" ? 5 : 0;
      for (const char* path : {"/a/x/y.db", "/b/17", "/c/d/e", "/f.txt", "/", "", "\xFF"}) {
        LookupData request;
        request.m_filePath = path;
        request.m_processName = "/usr/bin/python";
        manager.isPresent(request);
      }
    }
    FilePathAvoidance same("/b/[0-9]+", AnyAccess);
    FilePathDataSet().removeFromDataSet(same);
  }
  ScanAvoidanceFlowvalue = 0;
  reloadHandler(1);
  LibXmlWrapper document;
  document.AddNewElementNode(nullptr, "r", nullptr);
  std::string saved;
  document.SaveToMemory(saved);
  closeTraceLogger();
  EXPECT_EQ(threadsStarted, 0);

  std::thread([] {}).join();
  EXPECT_EQ(threadsStarted, 1) << "threads are counted";
}

}  // namespace
}  // namespace Test
}  // namespace QVL
