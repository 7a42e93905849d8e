#include "qvl/core/SlotLock.h"

#include <gtest/gtest.h>

#include <atomic>
#include <condition_variable>
#include <cstdint>
#include <future>
#include <mutex>
#include <set>
#include <thread>
#include <vector>

namespace QVL {
namespace Test {
namespace {

struct Scratch {
  int users = 0;
};
using TestLock = SlotLock<Scratch>;

constexpr std::chrono::seconds kForEver(300);

bool never() {
  return false;
}

// Runs `call(i)` in so many threads at once.
template <typename Call>
void inThreads(int count, Call call) {
  std::vector<std::thread> threads;
  for (int i = 0; i < count; ++i) threads.emplace_back(call, i);
  for (std::thread& thread : threads) thread.join();
}

// Threads that hold a slot until they are let go.
class Holders {
 public:
  Holders(TestLock& lock, int count) {
    for (int i = 0; i < count; ++i) {
      m_threads.emplace_back([&] {
        const auto query = lock.query(never);
        std::unique_lock<std::mutex> waiting(m_mutex);
        ++m_holding;
        m_changed.notify_all();
        m_changed.wait(waiting, [&] { return m_letGo; });
      });
    }
  }
  ~Holders() {
    {
      const std::lock_guard<std::mutex> lock(m_mutex);
      m_letGo = true;
      m_changed.notify_all();
    }
    for (std::thread& thread : m_threads) thread.join();
  }

  bool haveAll() {
    std::unique_lock<std::mutex> lock(m_mutex);
    return m_changed.wait_for(lock, kForEver,
                              [&] { return m_holding == static_cast<int>(m_threads.size()); });
  }

 private:
  std::mutex m_mutex;
  std::condition_variable m_changed;
  int m_holding = 0;
  bool m_letGo = false;
  std::vector<std::thread> m_threads;
};

TEST(SlotLock, OfOneThreadTakesLittleMemory) {
  EXPECT_LE(sizeof(TestLock), 512U);
}

TEST(SlotLock, GivesEachQueryAScratchOfItsOwn) {
  TestLock lock;
  std::atomic<int> shared{0};
  inThreads(8, [&](int) {
    for (int i = 0; i < 2000; ++i) {
      const auto query = lock.query(never);
      if (++query.scratch().users != 1) ++shared;
      if (i % 100 == 0) std::this_thread::yield();
      --query.scratch().users;
    }
  });
  EXPECT_EQ(shared, 0);
}

// More threads than there are slots.
TEST(SlotLock, GivesEachQueryAScratchOfItsOwnInACrowd) {
  TestLock lock;
  std::atomic<int> shared{0};
  inThreads(100, [&](int) {
    for (int i = 0; i < 200; ++i) {
      const auto query = lock.query(never);
      if (++query.scratch().users != 1) ++shared;
      if (i % 10 == 0) std::this_thread::yield();
      --query.scratch().users;
    }
  });
  EXPECT_EQ(shared, 0);
}

TEST(SlotLock, GivesAThreadTheSameSlotAgain) {
  TestLock lock;
  { const auto first = lock.query(never); }
  std::thread([&] {
    Scratch* const mine = &lock.query(never).scratch();
    for (int i = 0; i < 10; ++i) EXPECT_EQ(&lock.query(never).scratch(), mine);
  }).join();
}

// So far apart that no cache line, and no pair of lines that a processor fetches together, holds
// what two threads write.
TEST(SlotLock, KeepsWhatThreadsWriteOnCacheLinesOfTheirOwn) {
  constexpr int kThreads = 20;
  TestLock lock;
  std::mutex mutex;
  std::condition_variable changed;
  std::set<std::uintptr_t> lines;
  inThreads(kThreads, [&](int) {
    const auto query = lock.query(never);
    const auto scratch = reinterpret_cast<std::uintptr_t>(&query.scratch());
    std::unique_lock<std::mutex> waiting(mutex);
    lines.insert(scratch / kCacheLines);
    changed.notify_all();
    // All are here at once: one after the other they might be given the same identity.
    EXPECT_TRUE(
        changed.wait_for(waiting, kForEver, [&] { return lines.size() == std::size_t{kThreads}; }));
  });
  EXPECT_EQ(lines.size(), std::size_t{kThreads});
}

TEST(SlotLock, KeepsQueriesAwayFromAChange) {
  TestLock lock;
  int value = 0;  // plain, so that a race shows
  std::atomic<int> wrong{0};
  std::atomic<int> running{6};
  std::thread changing([&] {
    do {
      const auto all = lock.all();
      ++value;
      std::this_thread::yield();
      ++value;
    } while (running > 0);
  });
  inThreads(6, [&](int) {
    for (int i = 0; i < 3000; ++i) {
      const auto query = lock.query(never);
      wrong += value % 2;
    }
    --running;
  });
  changing.join();
  EXPECT_EQ(wrong, 0);
}

TEST(SlotLock, KeepsChangesApart) {
  TestLock lock;
  int value = 0;
  inThreads(4, [&](int) {
    for (int i = 0; i < 500; ++i) {
      const auto all = lock.all();
      ++value;
    }
    const auto query = lock.query(never);
  });
  EXPECT_EQ(value, 2000);
}

TEST(SlotLock, StartsInSingleFileUntilAQuerySaysOtherwise) {
  TestLock lock;
  EXPECT_TRUE(lock.query([] { return true; }).isAlone());
  EXPECT_TRUE(lock.query([] { return true; }).isAlone());
  EXPECT_FALSE(lock.query(never).isAlone());
  EXPECT_FALSE(lock.query([] { return true; }).isAlone()) << "asked in single file only";
  lock.all().beginSingleFile();
  EXPECT_TRUE(lock.query([] { return true; }).isAlone());
}

TEST(SlotLock, HasOneQueryAtATimeInSingleFile) {
  TestLock lock;
  int value = 0;
  std::atomic<bool> needed{true};
  std::atomic<int> wrong{0};
  inThreads(6, [&](int thread) {
    for (int i = 0; i < 1000; ++i) {
      if (thread == 0 && i % 50 == 0) {
        needed = !needed;
        if (needed) lock.all().beginSingleFile();
      }
      const auto query = lock.query([&] { return needed.load(); });
      if (!query.isAlone()) continue;
      if (++value != 1) ++wrong;
      std::this_thread::yield();
      --value;
    }
  });
  EXPECT_EQ(wrong, 0);
}

// Neither queries of threads that have asked before, nor of new ones, nor other changes.
TEST(SlotLock, LetsOthersGoOnWhileAChangeWaits) {
  TestLock lock;
  std::atomic<bool> changed{false};
  std::thread change;
  {
    Holders holders(lock, 3);
    ASSERT_TRUE(holders.haveAll());
    change = std::thread([&] {
      const auto all = lock.all();
      changed = true;
    });
    for (int round = 0; round < 10; ++round) {
      auto others = std::async(std::launch::async, [&] {
        inThreads(8, [&](int) {
          for (int i = 0; i < 50; ++i) {
            lock.query(never);
            if (i % 10 == 0) std::this_thread::sleep_for(std::chrono::milliseconds(1));
          }
        });
      });
      ASSERT_EQ(others.wait_for(kForEver), std::future_status::ready);
    }
    EXPECT_FALSE(changed);
  }
  change.join();
  EXPECT_TRUE(changed);
}

// 65 slots, of which 64 hang.
TEST(SlotLock, LetsACrowdShareTheSlotsThatAreFree) {
  TestLock lock;
  Holders holders(lock, 64);
  ASSERT_TRUE(holders.haveAll());
  auto others = std::async(std::launch::async, [&] {
    inThreads(20, [&](int) {
      for (int i = 0; i < 50; ++i) lock.query(never);
    });
  });
  EXPECT_EQ(others.wait_for(kForEver), std::future_status::ready);
}

}  // namespace
}  // namespace Test
}  // namespace QVL
