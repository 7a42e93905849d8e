// A lock that many queries hold at once and a change holds alone. Private to the library.

#ifndef QVL_CORE_SLOT_LOCK_H
#define QVL_CORE_SLOT_LOCK_H

#include <pthread.h>

#include <algorithm>
#include <array>
#include <atomic>
#include <boost/thread/lock_types.hpp>
#include <boost/thread/mutex.hpp>
#include <chrono>
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <memory>
#include <thread>
#include <utility>

namespace QVL {

// What is written by one thread keeps this distance from what others touch: two cache lines,
// because processors fetch them in pairs.
constexpr std::size_t kCacheLines = 128;

// A distributed reader-writer lock (also known as big-reader lock). It has several slots, each on
// cache lines of its own: a mutex, and the scratch of the query that holds it. A query takes one
// slot, a change takes all of them, in order.
//
// A thread's first query makes it a slot of its own, the very first thread's excepted, which is
// there from the start; so a lock that one thread uses is hardly larger than a mutex. A query
// writes to no memory that another thread's query touches. Threads that come when all slots are
// given away, or when there is no memory for another one, take any slot that is free.
//
// While the lock is in single file, which is how it starts, queries run one after the other.
//
// Invariants:
//   1. Who holds a slot's mutex owns its scratch.
//   2. The set of slots changes only under m_gate, which a change holds from before its first slot
//      to after its last.
//   3. Single file begins while all slots are held, and ends while the first one is. So while a
//      slot is held it does not begin, and who holds the first slot in single file is alone.
//   4. A change that has to wait for a slow query holds nothing meanwhile, so that others go on.
//
// Lock order: m_gate, then slots. Failures of a mutex are those of boost::mutex.
template <typename Scratch>
class SlotLock {
  struct Slot;
  using Lock = boost::unique_lock<boost::mutex>;

 public:
  SlotLock() = default;
  ~SlotLock() { delete m_slots.load(std::memory_order_relaxed); }
  SlotLock(const SlotLock&) = delete;
  SlotLock& operator=(const SlotLock&) = delete;

  // A slot, held for one query.
  class Query {
   public:
    ~Query() { m_slot.mutex.unlock(); }
    Query(const Query&) = delete;
    Query& operator=(const Query&) = delete;

    // Does no other query run, because they go in single file?
    bool isAlone() const { return m_alone; }
    Scratch& scratch() const { return m_slot.scratch; }

   private:
    friend class SlotLock;
    // Takes a slot over that is held.
    Query(Slot& slot, bool alone) : m_slot(slot), m_alone(alone) {}

    Slot& m_slot;
    const bool m_alone;
  };

  // All slots, held for a change or for a query that must be alone.
  class All {
   public:
    ~All() {
      m_owner.forEachSlot([](Slot& slot) {
        slot.mutex.unlock();
        return true;
      });
    }
    All(const All&) = delete;
    All& operator=(const All&) = delete;

    Scratch& scratch() const { return m_owner.m_first.scratch; }

    // From now on queries go in single file.
    void beginSingleFile() { m_owner.m_singleFile.store(true, std::memory_order_relaxed); }

   private:
    friend class SlotLock;
    All(SlotLock& owner, Lock gate) : m_owner(owner), m_gate(std::move(gate)) {}

    SlotLock& m_owner;
    Lock m_gate;
  };

  // Waits for a change that is under way, and in single file for other queries. There
  // `needsSingleFile()` is asked, alone: when it says no, single file ends.
  template <typename NeedsSingleFile>
  Query query(NeedsSingleFile needsSingleFile) {
    // A change is collecting the slots: it goes first, or busy threads would keep it waiting.
    if (m_collecting.load(std::memory_order_relaxed)) Lock(m_gate).unlock();
    while (true) {
      if (m_singleFile.load(std::memory_order_relaxed)) {
        Lock lock(m_first.mutex);
        if (m_singleFile.load(std::memory_order_relaxed)) {
          if (needsSingleFile()) {
            lock.release();
            return Query(m_first, true);
          }
          // Others may see at once what queries in single file have written.
          m_singleFile.store(false, std::memory_order_release);
        }
      }
      Slot& slot = takeSlot();
      if (!m_singleFile.load(std::memory_order_acquire)) return Query(slot, false);
      slot.mutex.unlock();
    }
  }

  // Waits for every query that runs, and others wait as well, but not for a slow one.
  All all() {
    for (std::chrono::milliseconds patience(10);; patience *= 2) {
      Lock gate(m_gate);
      Slot* const slow = collectSlots(patience);
      if (!slow) return All(*this, std::move(gate));
      gate.unlock();
      Lock(slow->mutex).unlock();
    }
  }

 private:
  struct alignas(kCacheLines) Slot {
    boost::mutex mutex;
    Scratch scratch;
  };

  // A thread's identity for as long as it lives; never 0.
  using Thread = std::uintptr_t;

  // The slots after the first, by thread: a hash table with linear probing, from which nothing is
  // removed. Written under m_gate, read by anyone: an entry's slot is there before its thread is.
  static constexpr unsigned kEntriesLog2 = 6;
  static constexpr std::size_t kEntries = 1 << kEntriesLog2;
  struct alignas(kCacheLines) Slots {
    struct Entry {
      std::atomic<Thread> thread{0};
      std::unique_ptr<Slot> slot;
    };
    std::array<Entry, kEntries> entries;

    // The thread's entry, or the free one where it belongs. Null when there is neither.
    Entry* find(Thread thread) {
      const std::size_t start = (thread * 0x9E3779B97F4A7C15u) >> (64 - kEntriesLog2);
      for (std::size_t i = 0; i < kEntries; ++i) {
        Entry& entry = entries[(start + i) % kEntries];
        const Thread owner = entry.thread.load(std::memory_order_acquire);
        if (owner == thread || owner == 0) return &entry;
      }
      return nullptr;
    }
  };

  static Thread thisThread() {
    const pthread_t self = pthread_self();  // a number on some systems, a pointer on others
    Thread thread = 0;
    static_assert(sizeof self == sizeof thread, "a thread's identity has another size");
    std::memcpy(&thread, &self, sizeof thread);
    return thread;
  }

  // Calls `visit(slot)` for every slot in order until it answers false. Under m_gate.
  template <typename Visit>
  bool forEachSlot(Visit visit) {
    if (!visit(m_first)) return false;
    Slots* const slots = m_slots.load(std::memory_order_relaxed);
    if (!slots) return true;
    for (auto& entry : slots->entries) {
      if (entry.slot && !visit(*entry.slot)) return false;
    }
    return true;
  }

  // The thread's own slot, or any other when it has none; held. (Not as a lock object: two pointers
  // that are written one by one and passed on as one are waited for.)
  Slot& takeSlot() {
    const Thread thread = thisThread();
    Slot* slot = nullptr;
    if (m_firstThread.load(std::memory_order_relaxed) == thread) {
      slot = &m_first;
    } else if (Slots* const slots = m_slots.load(std::memory_order_acquire)) {
      const auto entry = slots->find(thread);
      if (entry && entry->thread.load(std::memory_order_relaxed) == thread)
        slot = entry->slot.get();
    }
    if (!slot) slot = slotForNew(thread);
    if (!slot || m_crowded.load(std::memory_order_relaxed)) {
      return takeFreeSlot(slot ? *slot : m_first);
    }
    slot->mutex.lock();
    return *slot;
  }

  // Null when there is no slot to be had.
  Slot* slotForNew(Thread thread) {
    Thread nobody = 0;
    if (m_firstThread.compare_exchange_strong(nobody, thread, std::memory_order_relaxed)) {
      return &m_first;
    }
    const Lock gate(m_gate);
    try {
      Slots* slots = m_slots.load(std::memory_order_relaxed);
      if (!slots) {
        slots = new Slots;
        m_slots.store(slots, std::memory_order_release);
      }
      if (const auto entry = slots->find(thread)) {
        entry->slot = std::make_unique<Slot>();
        entry->thread.store(thread, std::memory_order_release);
        return entry->slot.get();
      }
    } catch (...) {
      // No memory, or no mutex.
    }
    m_crowded.store(true, std::memory_order_relaxed);
    return nullptr;
  }

  // Threads without a slot are about: this one's may be taken. Whichever is free next is waited
  // for, and none in particular, which a query that hangs might hold.
  Slot& takeFreeSlot(Slot& preferred) {
    constexpr std::chrono::microseconds kLongestPause(1000);
    for (std::chrono::microseconds pause(10);; pause = std::min(2 * pause, kLongestPause)) {
      if (preferred.mutex.try_lock()) return preferred;
      if (m_first.mutex.try_lock()) return m_first;
      if (Slots* const slots = m_slots.load(std::memory_order_acquire)) {
        for (auto& entry : slots->entries) {
          if (entry.thread.load(std::memory_order_acquire) == 0) continue;
          if (entry.slot->mutex.try_lock()) return *entry.slot;
        }
      }
      std::this_thread::sleep_for(pause);
    }
  }

  // Locks every slot, under m_gate. When one does not get free in time, it is returned, and none is
  // locked.
  Slot* collectSlots(std::chrono::milliseconds patience) {
    m_collecting.store(true, std::memory_order_relaxed);
    const Patience until(patience);
    Slot* slow = nullptr;
    forEachSlot([&](Slot& slot) {
      if (!until.lock(slot.mutex)) slow = &slot;
      return slow == nullptr;
    });
    m_collecting.store(false, std::memory_order_relaxed);
    if (slow) {
      forEachSlot([&](Slot& slot) {
        if (&slot != slow) slot.mutex.unlock();
        return &slot != slow;
      });
    }
    return slow;
  }

  // Lets running queries come to their end, for so long.
  class Patience {
   public:
    explicit Patience(std::chrono::milliseconds time) : m_time(time) {}

    bool lock(boost::mutex& mutex) const {
      for (int i = 0; i < 100; ++i) {
        if (mutex.try_lock()) return true;
      }
      const auto end = Clock::now() + m_time;
      do {
        std::this_thread::sleep_for(std::chrono::microseconds(20));
        if (mutex.try_lock()) return true;
      } while (Clock::now() < end);
      return false;
    }

   private:
    using Clock = std::chrono::steady_clock;
    const std::chrono::milliseconds m_time;
  };

  Slot m_first;

  // Read by every query, and hardly ever written.
  std::atomic<Thread> m_firstThread{0};
  std::atomic<Slots*> m_slots{nullptr};
  std::atomic<bool> m_singleFile{true};
  std::atomic<bool> m_collecting{false};
  std::atomic<bool> m_crowded{false};

  alignas(kCacheLines) boost::mutex m_gate;
};

}  // namespace QVL

#endif  // QVL_CORE_SLOT_LOCK_H
