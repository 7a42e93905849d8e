// A program of its own: it stands its mutex functions in front of the C library's. Not built with a
// sanitizer, which does the same.

#include <dlfcn.h>
#include <gtest/gtest.h>
#include <pthread.h>

#include <cerrno>
#include <memory>
#include <string>
#include <thread>

#include "qvl/qvl.h"
#include "tests/support/Requests.h"
#include "tests/support/ScriptedDataSet.h"

namespace {

bool initFails = false;
bool lockFails = false;

template <typename Function>
Function original(const char* name) {
  return reinterpret_cast<Function>(dlsym(RTLD_NEXT, name));
}

}  // namespace

extern "C" int pthread_mutex_init(pthread_mutex_t* mutex, const pthread_mutexattr_t* attributes)
#ifdef __GLIBC__
    __THROW
#endif
{
  if (initFails) return EAGAIN;
  static const auto init =
      original<int (*)(pthread_mutex_t*, const pthread_mutexattr_t*)>("pthread_mutex_init");
  return init(mutex, attributes);
}

extern "C" int pthread_mutex_lock(pthread_mutex_t* mutex)
#ifdef __GLIBC__
    __THROWNL
#endif
{
  if (lockFails) return EINVAL;
  static const auto lock = original<int (*)(pthread_mutex_t*)>("pthread_mutex_lock");
  return lock(mutex);
}

namespace QVL {
namespace Test {
namespace {

// What `call` throws while the mutex function told by `failing` refuses its service.
template <typename Call>
std::string failureOf(bool& failing, Call&& call) {
  failing = true;
  try {
    call();
    failing = false;
    return "nothing";
  } catch (const std::exception& exception) {
    failing = false;
    return exception.what();
  }
}

bool beginsWith(const std::string& text, const std::string& start) {
  return text.compare(0, start.size(), start) == 0;
}

class MutexFailure : public ::testing::Test {
 protected:
  // The log has started and writes nothing, so that it needs no lock of its own.
  void SetUp() override {
    TraceLogMessage(5, "%s", "");
    ScanAvoidanceFlowvalue = 0;
  }
};

TEST_F(MutexFailure, InConstructionPropagates) {
  const std::string expected = "boost:: mutex constructor failed in pthread_mutex_init";
  std::string failure = failureOf(initFails, [] { LookupManager manager; });
  EXPECT_TRUE(beginsWith(failure, expected)) << failure;
  failure = failureOf(initFails, [] { FilePathDataSet dataSet; });
  EXPECT_TRUE(beginsWith(failure, expected)) << failure;
}

TEST_F(MutexFailure, InLockingPropagates) {
  const std::string expected = "boost: mutex lock failed in pthread_mutex_lock";
  LookupManager manager;
  manager.defineBusinessLogic("!1");
  LookupData request;
  std::string failure = failureOf(lockFails, [&] { manager.isPresent(request); });
  EXPECT_TRUE(beginsWith(failure, expected)) << failure;
  failure = failureOf(lockFails, [&] { manager.defineBusinessLogic("1"); });
  EXPECT_TRUE(beginsWith(failure, expected)) << failure;
  EXPECT_TRUE(manager.isPresent(request)) << "the logic stays and the manager works";

  FilePathDataSet dataSet;
  failure = failureOf(lockFails, [&] { dataSet.isPresentInDataSet(request); });
  EXPECT_TRUE(beginsWith(failure, expected)) << failure;
  auto rule = std::make_unique<FilePathAvoidance>("/a", AnyAccess);
  FilePathAvoidance same("/a", AnyAccess);
  failure = failureOf(lockFails, [&] { dataSet.addToDataSet(std::move(rule)); });
  EXPECT_TRUE(beginsWith(failure, expected)) << failure;
  failure = failureOf(lockFails, [&] { dataSet.removeFromDataSet(same); });
  EXPECT_TRUE(beginsWith(failure, expected)) << failure;
  EXPECT_FALSE(dataSet.removeFromDataSet(same)) << "the failed addition added nothing";
}

// Every thread has a mutex of its own to lock, and the failure of any is told.
TEST_F(MutexFailure, InLockingPropagatesToEveryThread) {
  const std::string expected = "boost: mutex lock failed in pthread_mutex_lock";
  LookupManager manager;
  FilePathDataSet dataSet;
  manager.defineBusinessLogic("!1");
  for (int thread = 0; thread < 4; ++thread) {
    std::thread([&] {
      LookupData request;
      EXPECT_TRUE(manager.isPresent(request));
      EXPECT_FALSE(dataSet.isPresentInDataSet(request));
      std::string failure = failureOf(lockFails, [&] { manager.isPresent(request); });
      EXPECT_TRUE(beginsWith(failure, expected)) << failure;
      failure = failureOf(lockFails, [&] { dataSet.isPresentInDataSet(request); });
      EXPECT_TRUE(beginsWith(failure, expected)) << failure;
      failure = failureOf(lockFails, [&] { manager.defineBusinessLogic("1"); });
      EXPECT_TRUE(beginsWith(failure, expected)) << failure;
      EXPECT_TRUE(manager.isPresent(request)) << "the logic stays and the manager works";
    }).join();
  }
}

// It only makes queries wait for each other that need not.
TEST_F(MutexFailure, OfALaterThreadsOwnMutexIsNotNoticed) {
  LookupManager manager;
  auto dataSet = std::make_shared<FilePathDataSet>();
  dataSet->addToDataSet(std::make_unique<FilePathAvoidance>("/a", AnyAccess));
  manager.assignDataSet(dataSet, 1, 0);
  manager.defineBusinessLogic("1");
  LookupData request = fileRequest("/a");
  EXPECT_TRUE(manager.isPresent(request));
  EXPECT_TRUE(manager.isPresent(request));
  std::thread([&] {
    LookupData mine = fileRequest("/a");
    initFails = true;
    const bool present = manager.isPresent(mine);
    initFails = false;
    EXPECT_TRUE(present);
    EXPECT_TRUE(manager.isPresent(mine));
  }).join();
  EXPECT_TRUE(manager.isPresent(request));
  manager.defineBusinessLogic("!1");
  EXPECT_FALSE(manager.isPresent(request));
}

TEST_F(MutexFailure, OfADataSetCountsAsFalseInTheManager) {
  LookupManager manager;
  auto dataSet = std::make_shared<FilePathDataSet>();
  dataSet->enableMatchAnything();
  auto failing = std::make_shared<ScriptedDataSet>([&](ILookupData& request) {
    lockFails = true;
    try {
      const bool present = dataSet->isPresentInDataSet(request);
      lockFails = false;
      return present;
    } catch (...) {
      lockFails = false;
      throw;
    }
  });
  manager.assignDataSet(failing, 1, 0);
  manager.defineBusinessLogic("1");
  LookupData request;
  EXPECT_FALSE(manager.isPresent(request));
}

}  // namespace
}  // namespace Test
}  // namespace QVL
