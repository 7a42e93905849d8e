// A query that matches nothing allocates nothing, after the first and at trace level 0.

#include <gtest/gtest.h>
#if defined(__GLIBC__)
#include <malloc.h>
#endif

#include <memory>
#include <string>
#include <vector>

#include "qvl/qvl.h"
#include "tests/support/Requests.h"
#include "tests/support/Sanitizers.h"
#include "tests/support/Starvation.h"

namespace QVL {
namespace Test {
namespace {

// A manager with a data set of each kind, rules of many shapes in each.
class NoAllocation : public ::testing::Test {
 protected:
  NoAllocation() {
    const auto& paths = m_paths;
    paths->addOrUpdateKeyword("%HOME%", {"/Users/ann", "/Users/bob"});
    for (const char* const text :
         {"/a/b/*.log", "/a/**/c/?d", "**/node_modules/**", "%HOME%/tmp/*", "/x[0-9]+/y", "é/**"}) {
      EXPECT_TRUE(paths->addToDataSet(std::make_unique<FilePathAvoidance>(text, AnyAccess)));
    }
    auto folders = std::make_shared<FolderDataSet>();
    auto processes = std::make_shared<ProcessDataSet>();
    auto types = std::make_shared<FileTypeDataSet>();
    auto ages = std::make_shared<FileAgeDataSet>();
    for (int i = 0; i < 300; ++i) {
      const std::string number = std::to_string(i);
      folders->addToDataSet(
          std::make_unique<FolderAvoidance>("/opt/" + number + "/*/", AnyAccess, 1));
      processes->addToDataSet(
          std::make_unique<ProcessAvoidance>("/bin/" + number, AnyAccess, 0, ""));
      types->addToDataSet(std::make_unique<FileTypeAvoidance>("x" + number, AnyAccess));
    }
    ages->addToDataSet(std::make_unique<FileAgeAvoidance>("day0100", AnyAccess));
    processes->checkAccessTypeAtDataSetLevelOnly(0, AnyAccess);
    m_manager.assignDataSet(paths, 1, 0);
    m_manager.assignDataSet(folders, 2, 0);
    m_manager.assignDataSet(processes, 3, 0);
    m_manager.assignDataSet(types, 4, 0);
    m_manager.assignDataSet(ages, 5, 0);
    m_manager.defineBusinessLogic("1|(2|3)&!6|4|5");
  }

  static LookupData requestFor(const std::string& path) {
    LookupData request = fileRequest(path);
    request.m_processName = "/usr/bin/program-of-a-host-that-has-a-long-name";
    return request;
  }

  // Does asking about this path allocate? It must not be present.
  bool allocates(const std::string& path) {
    LookupData request = requestFor(path);
    bool present = true;
    bool struck = false;
    {
      const Starvation starvation(0, Hunger::ForGood);
      present = m_manager.isPresent(request);
      struck = starvation.struck();
    }
    EXPECT_FALSE(present) << path;
    return struck;
  }

  const std::shared_ptr<FilePathDataSet> m_paths = std::make_shared<FilePathDataSet>();
  LookupManager m_manager;
};

TEST_F(NoAllocation, IsNeededForAQueryThatMatchesNothing) {
  const std::vector<std::string> paths = {
      "/nowhere/to/be/found/in/any/of/the/rules/of/this/test.txt",
      "/a/b/c/d",
      "/xy/z",
      "/x5/z",
      "/Users/ann/tmp",
      "",
      "/opt/17/file-in-a-folder-that-a-rule-is-about-but-not-in-it",
      "/\xC3\x89/\xC3\xA9",
      "relative.path",
  };
  // The first time around, buffers grow to what the longest path needs.
  for (const std::string& path : paths) {
    LookupData request = requestFor(path);
    EXPECT_FALSE(m_manager.isPresent(request)) << path;
  }
  for (const std::string& path : paths) EXPECT_FALSE(allocates(path)) << path;
}

// Filing does allocate, so a query that allocates nothing has left none of it to do.
TEST_F(NoAllocation, IsNeededForTheFirstQueryAfterAChange) {
  const std::string path = "/new/folder/that/is/quite/long.txt";
  LookupData request = requestFor(path);
  EXPECT_FALSE(m_manager.isPresent(request));
  for (int round = 0; round < 100; ++round) {
    const std::string text = "/new/" + std::to_string(round) + "/*.log";
    auto added = std::make_unique<FilePathAvoidance>(text, AnyAccess);
    FilePathAvoidance& held = *added;
    ASSERT_TRUE(m_paths->addToDataSet(std::move(added)));
    EXPECT_FALSE(allocates(path)) << "after adding " << text;
    ASSERT_TRUE(held.validate(text + "x", WriteAccess));
    ASSERT_TRUE(held.updateRegex());
    EXPECT_FALSE(allocates(path)) << "after recompiling " << text;
    held.validate(text, AnyAccess);
    if (round % 2 == 0) {
      ASSERT_TRUE(m_paths->removeFromDataSet(held));
      EXPECT_FALSE(allocates(path)) << "after removing " << text;
    }
  }
}

#if defined(__GLIBC__) && !QVL_TEST_ADDRESS_SANITIZER && !QVL_TEST_THREAD_SANITIZER
std::size_t bytesInUse() {
  const struct mallinfo2 memory = mallinfo2();
  return memory.uordblks + memory.hblkhd;
}

// Whoever can name a file or a program must not make the process grow for good.
TEST_F(NoAllocation, OfAVeryLongTextIsGivenBack) {
  constexpr std::size_t kLong = 4 << 20;
  m_paths->disableCaseSensitiveSearch();  // texts are folded then
  LookupData ordinary = requestFor("/a/b/c/d");
  EXPECT_FALSE(m_manager.isPresent(ordinary));
  const std::size_t before = bytesInUse();
  for (int i = 0; i < 3; ++i) {
    LookupData request = requestFor("/a/" + std::string(kLong, 'X'));
    request.m_processName = "/usr/bin/" + std::string(kLong, 'Y');
    EXPECT_FALSE(m_manager.isPresent(request));
    EXPECT_GT(bytesInUse(), before + 2 * kLong) << "the request itself is counted";
  }
  EXPECT_LT(bytesInUse(), before + (1 << 20));
}
#endif

TEST_F(NoAllocation, WouldBeNoticed) {
  LookupData request = fileRequest("/a/b/c.log");
  const Starvation starvation(0, Hunger::ForGood);
  m_manager.isPresent(request);  // the list of matches grows
  EXPECT_TRUE(starvation.struck());
}

}  // namespace
}  // namespace Test
}  // namespace QVL
