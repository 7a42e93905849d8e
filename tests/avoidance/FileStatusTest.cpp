// How the library asks for a file's status, and what it makes of the answer. A program of its own:
// it stands its own functions in front of the C library's.

#include <gtest/gtest.h>

#if defined(__linux__)

#include <dlfcn.h>
#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <memory>
#include <optional>
#include <string>
#include <utility>

#include "qvl/qvl.h"
#include "tests/support/Requests.h"
#include "tests/support/TestFile.h"

namespace {

// The calls since a case set it to 0.
int statusCalls = 0;

// What the next calls tell as the time of creation, when set.
std::optional<long long> toldCreation;
// Do they say that they know it?
bool creationIsKnown = true;

template <typename Function>
Function next(const char* name) {
  return reinterpret_cast<Function>(dlsym(RTLD_NEXT, name));
}

}  // namespace

extern "C" {

int statx(int folder, const char* name, int flags, unsigned int mask,
          struct statx* status) noexcept {
  ++statusCalls;
  using Statx = int (*)(int, const char*, int, unsigned int, struct statx*);
  const int result = next<Statx>("statx")(folder, name, flags, mask, status);
  if (result == 0 && toldCreation) {
    if (creationIsKnown) {
      status->stx_mask |= STATX_BTIME;
    } else {
      status->stx_mask &= ~STATX_BTIME;
    }
    status->stx_btime.tv_sec = *toldCreation;
  }
  return result;
}

int stat(const char* name, struct stat* status) noexcept {
  ++statusCalls;
  return next<int (*)(const char*, struct stat*)>("stat")(name, status);
}

int lstat(const char* name, struct stat* status) noexcept {
  ++statusCalls;
  return next<int (*)(const char*, struct stat*)>("lstat")(name, status);
}

int fstatat(int folder, const char* name, struct stat* status, int flags) noexcept {
  ++statusCalls;
  using Fstatat = int (*)(int, const char*, struct stat*, int);
  return next<Fstatat>("fstatat")(folder, name, status, flags);
}

int access(const char* name, int mode) noexcept {
  ++statusCalls;
  return next<int (*)(const char*, int)>("access")(name, mode);
}

}  // extern "C"

namespace QVL {
namespace Test {
namespace {

class FileStatus : public testing::Test {
 protected:
  void TearDown() override {
    toldCreation.reset();
    creationIsKnown = true;
  }

  // How many calls a lookup makes.
  template <typename Lookup>
  static int callsOf(Lookup lookup) {
    lookup();
    statusCalls = 0;
    lookup();
    return statusCalls;
  }
};

TEST_F(FileStatus, ATimeOfCreationOfZeroIsUnknown) {
  TestFile file;
  const struct {
    long long creation;
    bool excluded;
  } rows[] = {{0, false}, {1, true}, {-1, true}, {86400, true}, {100LL * 365 * 86400, false}};
  for (const auto& row : rows) {
    toldCreation = row.creation;
    LookupData request = fileRequest(file.path());
    EXPECT_EQ(FileAgeAvoidance("0   90", AnyAccess).canAvoid(request), row.excluded)
        << row.creation;
  }
  toldCreation = 0;
  LookupData request = fileRequest(file.path());
  EXPECT_FALSE(FileAgeAvoidance("0   -1", AnyAccess).canAvoid(request));
  EXPECT_TRUE(FileAgeAvoidance("1   -1", AnyAccess).canAvoid(request));
}

// Where a file system does not say that it knows the time of creation, what stands in its place is
// none.
TEST_F(FileStatus, ATimeOfCreationThatIsNotKnownIsNotRead) {
  TestFile file;
  LookupData request = fileRequest(file.path());
  FileAgeAvoidance rule("0   90", AnyAccess);
  toldCreation = 86400;
  EXPECT_TRUE(rule.canAvoid(request));
  creationIsKnown = false;
  EXPECT_FALSE(rule.canAvoid(request));
}

TEST_F(FileStatus, ATimeOfModificationOfZeroIsATime) {
  TestFile file;
  file.setTimes(0, 0);
  LookupData request = fileRequest(file.path());
  EXPECT_TRUE(FileAgeAvoidance("1   90", AnyAccess).canAvoid(request));
}

TEST_F(FileStatus, IsAskedForOnceByEachLookupOfAnAge) {
  TestFile file;
  for (const char* text : {"0   90", "1   90,60,30", "x   1", "1", "1   "}) {
    FileAgeAvoidance rule(text, AnyAccess);
    for (const std::string& path : {file.path(), std::string("/no/such/file")}) {
      LookupData request = fileRequest(path);
      EXPECT_EQ(callsOf([&] { rule.canAvoid(request); }), 1) << text;
      EXPECT_EQ(callsOf([&] { rule.canAvoidWithAccessType(request, false); }), 1) << text;
    }
    LookupData other = fileRequest(file.path(), ReadAccess);
    FileAgeAvoidance ofWriting(text, WriteAccess);
    EXPECT_EQ(callsOf([&] { ofWriting.canAvoidWithAccessType(other, false); }), 1)
        << "the age comes before the access type";
    ForeignRequest foreign;
    EXPECT_EQ(callsOf([&] { rule.canAvoid(foreign); }), 0) << text;
  }
}

TEST_F(FileStatus, IsAskedForOnceByEachRuleOfADataSetAndOnceMoreForEmptyInput) {
  TestFile file;
  LookupData request = fileRequest(file.path());
  FileAgeDataSet dataSet;
  EXPECT_EQ(callsOf([&] { dataSet.isPresentInDataSet(request); }), 0);
  for (const char* text : {"1   20000", "1   21000", "1   22000"}) {
    ASSERT_TRUE(dataSet.addToDataSet(std::make_unique<FileAgeAvoidance>(text, AnyAccess)));
  }
  EXPECT_EQ(callsOf([&] { dataSet.isPresentInDataSet(request); }), 3);
  dataSet.enableMatchEmptyInput();
  EXPECT_EQ(callsOf([&] { dataSet.isPresentInDataSet(request); }), 4);
  dataSet.disableDataSet();
  EXPECT_EQ(callsOf([&] { dataSet.isPresentInDataSet(request); }), 0);
}

TEST_F(FileStatus, IsAskedForByNoOtherLookup) {
  TestFile file;
  LookupData request = fileRequest(file.path());
  request.m_processName = file.path();
  const auto expectNone = [&](DataSet&& dataSet, std::unique_ptr<IAvoidance> rule) {
    dataSet.enableMatchEmptyInput();
    ASSERT_TRUE(dataSet.addToDataSet(std::move(rule)));
    EXPECT_EQ(callsOf([&] { dataSet.isPresentInDataSet(request); }), 0);
  };
  expectNone(FilePathDataSet(), std::make_unique<FilePathAvoidance>("/**/no*", AnyAccess));
  expectNone(FolderDataSet(), std::make_unique<FolderAvoidance>("/no*/", AnyAccess, 1));
  expectNone(ProcessDataSet(),
             std::make_unique<ProcessAvoidance>("agent*", AnyAccess, 1, "/usr/bin"));
  expectNone(FileTypeDataSet(), std::make_unique<FileTypeAvoidance>("txt", AnyAccess));
}

TEST_F(FileStatus, NothingIsRememberedOfAFileThatVanishesOrComesBack) {
  TestFile file;
  const std::string name = file.path() + "-other";
  LookupManager manager;
  auto dataSet = std::make_shared<FileAgeDataSet>();
  ASSERT_TRUE(dataSet->addToDataSet(std::make_unique<FileAgeAvoidance>("1   30", AnyAccess)));
  manager.assignDataSet(dataSet, 1, 0);
  manager.defineBusinessLogic("1");
  LookupData request = fileRequest(file.path());
  file.setModified(31 * kDay);
  for (int round = 0; round < 3; ++round) {
    EXPECT_TRUE(manager.isPresent(request));
    ASSERT_EQ(::rename(file.path().c_str(), name.c_str()), 0);
    EXPECT_FALSE(manager.isPresent(request));
    ASSERT_EQ(::rename(name.c_str(), file.path().c_str()), 0);
  }
  EXPECT_TRUE(manager.isPresent(request));
  file.setModified(29 * kDay);
  EXPECT_FALSE(manager.isPresent(request));
}

}  // namespace
}  // namespace Test
}  // namespace QVL

#endif
