#include "VerdictCache.h"

#include <thread>
#include <vector>

#include "Scripted.h"
#include "gtest/gtest.h"

namespace onaccess {
namespace test {
namespace {

void remember(VerdictCache& cache, const FileStatus& status, std::uint64_t database = 1) {
  cache.remember(status, database, cache.ticketFor(status.identity));
}

TEST(VerdictCache, RemembersAFileAsItIs) {
  VerdictCache cache(100);
  EXPECT_FALSE(cache.isClean(fileStatus(1), 1));
  remember(cache, fileStatus(1));
  EXPECT_TRUE(cache.isClean(fileStatus(1), 1));
  EXPECT_FALSE(cache.isClean(fileStatus(2), 1));
  EXPECT_FALSE(cache.isClean(fileStatus(1, 1, 8), 1)) << "another device";
}

TEST(VerdictCache, EachPropertyCounts) {
  const FileStatus clean = fileStatus(1);
  FileStatus larger = clean;
  ++larger.size;
  FileStatus modified = clean;
  ++modified.modified;
  FileStatus changed = clean;
  ++changed.changed;
  for (const FileStatus& other : {larger, modified, changed}) {
    VerdictCache cache(100);
    remember(cache, clean);
    EXPECT_FALSE(cache.isClean(other, 1));
    EXPECT_FALSE(cache.isClean(clean, 1)) << "and it is forgotten";
  }
  VerdictCache cache(100);
  remember(cache, clean);
  EXPECT_FALSE(cache.isClean(clean, 2));
}

TEST(VerdictCache, HoldsNoMoreThanItsCapacity) {
  VerdictCache cache(160);
  for (ino_t inode = 0; inode < 10000; ++inode) remember(cache, fileStatus(inode));
  EXPECT_LE(cache.size(), 160u);
  EXPECT_GE(cache.size(), 140u);
  EXPECT_TRUE(cache.isClean(fileStatus(9999), 1));
  EXPECT_FALSE(cache.isClean(fileStatus(0), 1));
}

TEST(VerdictCache, KeepsWhatIsAskedFor) {
  VerdictCache cache(160);
  remember(cache, fileStatus(0));
  for (ino_t inode = 1; inode < 10000; ++inode) {
    remember(cache, fileStatus(inode));
    ASSERT_TRUE(cache.isClean(fileStatus(0), 1));
  }
}

TEST(VerdictCache, OfNoCapacityRemembersNothing) {
  VerdictCache cache(0);
  EXPECT_FALSE(cache.isEnabled());
  remember(cache, fileStatus(1));
  EXPECT_FALSE(cache.isClean(fileStatus(1), 1));
}

TEST(VerdictCache, DoesNotRememberWithATicketFromBeforeItForgot) {
  VerdictCache cache(100);
  const VerdictCache::Ticket one = cache.ticketFor({7, 1});
  cache.forget({7, 1});
  cache.remember(fileStatus(1), 1, one);
  EXPECT_FALSE(cache.isClean(fileStatus(1), 1));

  const VerdictCache::Ticket two = cache.ticketFor({7, 1});
  cache.forgetAll();
  cache.remember(fileStatus(1), 1, two);
  EXPECT_FALSE(cache.isClean(fileStatus(1), 1));
}

TEST(VerdictCache, ReplacesWhatItKnowsOfAFile) {
  VerdictCache cache(100);
  remember(cache, fileStatus(1, 1));
  remember(cache, fileStatus(1, 2));
  EXPECT_EQ(cache.size(), 1u);
  EXPECT_TRUE(cache.isClean(fileStatus(1, 2), 1));
}

TEST(VerdictCache, TakesManyThreads) {
  VerdictCache cache(1000);
  std::vector<std::thread> threads;
  for (int thread = 0; thread < 4; ++thread) {
    threads.emplace_back([&cache] {
      for (ino_t inode = 0; inode < 5000; ++inode) {
        remember(cache, fileStatus(inode % 700));
        cache.isClean(fileStatus(inode % 900), 1);
        if (inode % 97 == 0) cache.forget({7, inode % 700});
        if (inode % 997 == 0) cache.forgetAll();
      }
    });
  }
  for (std::thread& thread : threads) thread.join();
  EXPECT_LE(cache.size(), 1008u);
  cache.forgetAll();
  EXPECT_EQ(cache.size(), 0u);
}

}  // namespace
}  // namespace test
}  // namespace onaccess
