// Entries under keys. Private to the library.

#ifndef QVL_MATCH_KEY_TABLE_H
#define QVL_MATCH_KEY_TABLE_H

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <memory>
#include <new>
#include <type_traits>
#include <utility>

#include "qvl/match/PathKeys.h"

namespace QVL {

// A hash table from key to the entries under it, with a filter in front: most keys that are looked
// for are not there, and the filter, a byte per slot, says so without touching the table.
//
// It grows step by step: while a larger table takes over from a smaller one, each change moves a
// few keys, and a look-up asks both. No change moves more than kMovedPerChange keys.
//
// Thread safety: any number of threads may look up at once, while none changes the table.
template <typename Entry>
class KeyTable {
 public:
  using Key = PathKeys::Key;

  // The entries under one key, side by side, so that many are passed over quickly: in one piece of
  // memory with their number.
  class Entries {
   public:
    const Entry* begin() const { return reinterpret_cast<const Entry*>(this + 1); }
    const Entry* end() const { return begin() + m_count; }
    std::size_t size() const { return m_count; }

   private:
    friend class KeyTable;
    static_assert(std::is_trivially_copyable_v<Entry> && alignof(Entry) <= 8, "moved by realloc");

    // With one more entry, perhaps elsewhere; null may stand for none.
    static Entries* with(Entries* entries, const Entry& entry) {
      const std::uint32_t count = entries ? entries->m_count : 0;
      if (!entries || count == entries->m_room) {
        const std::uint32_t room = count < 2 ? count + 1 : count + count / 2;
        void* const memory = std::realloc(entries, sizeof(Entries) + room * sizeof(Entry));
        if (!memory) throw std::bad_alloc();
        entries = static_cast<Entries*>(memory);
        entries->m_room = room;
      }
      const_cast<Entry*>(entries->begin())[count] = entry;
      entries->m_count = count + 1;
      return entries;
    }

    std::uint32_t m_count;
    std::uint32_t m_room;
  };

  static constexpr std::size_t kMovedPerChange = 16;

  // Adds an entry and answers at which place among those of its key. Strong guarantee:
  // std::bad_alloc changes nothing.
  std::uint32_t insert(Key key, const Entry& entry) {
    move();
    if (m_old.empty() && (m_table.used + 1) * 2 > m_table.slots()) grow();
    Slot* const slot = slotOf(key);
    if (!slot) {
      m_table.add(key, Entries::with(nullptr, entry));
      ++m_keys;
      return 0;
    }
    const bool wasThere = slot->entries != nullptr;
    slot->entries = Entries::with(slot->entries, entry);
    m_keys += !wasThere;
    return slot->entries->m_count - 1;
  }

  // Takes the entry at a place under a key away. The last one takes its place, of which
  // `moved(entry)` is told. The key's slot and its bits in the filter stay until the table is next
  // built anew.
  template <typename Moved>
  void erase(Key key, std::uint32_t place, Moved moved) noexcept {
    move();
    Slot& slot = *slotOf(key);
    Entries& entries = *slot.entries;
    Entry* const begin = const_cast<Entry*>(entries.begin());
    if (place != --entries.m_count) {
      begin[place] = begin[entries.m_count];
      moved(begin[place]);
    }
    if (entries.m_count != 0) return;
    std::free(slot.entries);
    slot.entries = nullptr;
    --m_keys;
  }

  // How many entries there are under a key.
  std::size_t count(Key key) const {
    const Entries* const entries = find(key);
    return entries ? entries->size() : 0;
  }

  // Of the keys `keyAt(0)` to `keyAt(count - 1)` writes those that something may stand under, and
  // answers how many: nearly always those that something does stand under. There is room for all,
  // and they may be the keys that are asked for. Without touching the table, and without a branch
  // for each key, as none could be foreseen.
  template <typename KeyAt>
  std::size_t keepThoseThatMayBeThere(std::size_t count, KeyAt keyAt, Key* kept) const {
    if (m_table.empty()) return 0;
    Key* next = kept;
    const auto keep = [&](auto mayHold) {
      for (std::size_t i = 0; i < count; ++i) {
        const Key key = keyAt(i);
        *next = key;
        next += mayHold(key);
      }
    };
    const Bits bits = m_table.bits();
    if (m_old.empty()) {
      keep([&](Key key) { return bits.has(key); });
    } else {
      const Bits old = m_old.bits();
      keep([&](Key key) { return bits.has(key) | old.has(key); });
    }
    return static_cast<std::size_t>(next - kept);
  }

  // Asks for what stands under a key: a large table is far from the processor.
  void prefetch(Key key) const { m_table.prefetch(key); }

  // The entries under a key; null when there are none.
  const Entries* find(Key key) const {
    const Slot* const slot = slotOf(key);
    return slot ? slot->entries : nullptr;
  }

  // Calls `visit(entry)` for all entries until it answers true, and answers so itself.
  template <typename Visit>
  bool all(Visit visit) const {
    for (const Table* const table : {&m_table, &m_old}) {
      for (std::size_t i = 0; i < table->slots(); ++i) {
        const Entries* const entries = table->at(i).entries;
        if (entries && std::any_of(entries->begin(), entries->end(), visit)) return true;
      }
    }
    return false;
  }

  // The slots of the smaller table that are still to be looked at.
  std::size_t slotsToMove() const { return m_old.empty() ? 0 : m_old.slots() - m_moved; }

  // The slots that `all` goes through.
  std::size_t slots() const { return m_table.slots() + m_old.slots(); }

 private:
  static constexpr std::size_t kSmallest = 16;

  // The filter of a table: a Bloom filter in which a key has two bits of one word, so that it takes
  // one look at the memory.
  class Bits {
   public:
    static constexpr std::size_t kSlotsPerWord = 8;

    Bits(std::uint64_t* words, std::size_t slots)
        : m_words(words), m_mask(slots / kSlotsPerWord - 1) {}

    std::uint64_t has(Key key) const {
      const std::uint64_t word = m_words[wordOf(key)];
      return word >> firstBit(key) & word >> secondBit(key) & 1;
    }
    void set(Key key) {
      constexpr std::uint64_t kOne = 1;
      m_words[wordOf(key)] |= kOne << firstBit(key) | kOne << secondBit(key);
    }

   private:
    std::size_t wordOf(Key key) const { return (key >> 20) & m_mask; }
    static std::uint64_t firstBit(Key key) { return key >> 4 & 63; }
    static std::uint64_t secondBit(Key key) { return key >> 10 & 63; }

    std::uint64_t* const m_words;
    const std::size_t m_mask;
  };

  struct Slot {
    Key key;           // 0 while free
    Entries* entries;  // owned; null when they were moved away
  };

  struct Free {
    void operator()(void* memory) const { std::free(memory); }
  };

  // A table of a fixed size, a power of two. Its memory comes zeroed from the system, so that a
  // large one need not be cleared at once.
  class Table {
   public:
    Table() = default;
    explicit Table(std::size_t slots)
        : m_slots(zeroed<Slot>(slots)),
          m_filter(zeroed<std::uint64_t>(slots / Bits::kSlotsPerWord)),
          m_size(slots) {}
    Table(Table&& other) noexcept { swap(other); }
    Table& operator=(Table&& other) noexcept {
      swap(other);
      return *this;
    }
    ~Table() {
      for (std::size_t i = 0; i < m_size; ++i) std::free(m_slots[i].entries);
    }

    bool empty() const { return m_size == 0; }
    std::size_t slots() const { return m_size; }
    Slot& at(std::size_t i) const { return m_slots[i]; }

    // Not of an empty table.
    Bits bits() const { return {m_filter.get(), m_size}; }
    void prefetch(Key key) const {
      if (m_size != 0) __builtin_prefetch(&m_slots[firstSlot(key)]);
    }
    // Null when the key was never there.
    Slot* find(Key key) const {
      if (m_size == 0) return nullptr;
      Slot& slot = m_slots[slotOf(key)];
      return slot.key == 0 ? nullptr : &slot;
    }

    // Takes the entries over under a key that is not there.
    void add(Key key, Entries* entries) {
      Slot& slot = m_slots[slotOf(key)];
      used += slot.key == 0;
      slot.key = key;
      slot.entries = entries;
      bits().set(key);
    }

    // Becomes empty, when no entries are left: not by going through all slots again.
    void forget() {
      m_slots.reset();
      m_filter.reset();
      m_size = used = 0;
    }

    std::size_t used = 0;  // slots that have a key

   private:
    template <typename T>
    static std::unique_ptr<T[], Free> zeroed(std::size_t count) {
      void* const memory = std::calloc(count, sizeof(T));
      if (!memory) throw std::bad_alloc();
      return std::unique_ptr<T[], Free>(static_cast<T*>(memory));
    }

    void swap(Table& other) noexcept {
      std::swap(m_slots, other.m_slots);
      std::swap(m_filter, other.m_filter);
      std::swap(m_size, other.m_size);
      std::swap(used, other.used);
    }

    std::size_t firstSlot(Key key) const { return (key >> 20) & (m_size - 1); }
    std::size_t slotOf(Key key) const {
      std::size_t index = firstSlot(key);
      while (m_slots[index].key != 0 && m_slots[index].key != key)
        index = (index + 1) & (m_size - 1);
      return index;
    }

    std::unique_ptr<Slot[], Free> m_slots;
    std::unique_ptr<std::uint64_t[], Free> m_filter;
    std::size_t m_size = 0;
  };

  // The slot of a key; null when there is none. One in the old table counts while it has entries
  // only: it may be among those that were gone through already.
  Slot* slotOf(Key key) const {
    Slot* const slot = m_table.find(key);
    if (slot || m_old.empty()) return slot;
    Slot* const old = m_old.find(key);
    return old && old->entries ? old : nullptr;
  }

  // The table becomes the old one, and a new one takes over, with room for the keys that have
  // entries and for those that come until the last of them has moved.
  void grow() {
    std::size_t size = std::max(kSmallest, m_table.slots() / 4);
    while (size < 3 * (m_keys + 1)) size *= 2;
    Table next(size);
    m_old = std::move(m_table);
    m_table = std::move(next);
    m_moved = 0;
  }

  void move() noexcept {
    for (std::size_t i = 0; i < kMovedPerChange && !m_old.empty(); ++i) {
      Slot& slot = m_old.at(m_moved);
      Entries* const entries = std::exchange(slot.entries, nullptr);
      if (entries) m_table.add(slot.key, entries);
      if (++m_moved == m_old.slots()) m_old.forget();
    }
  }

  Table m_table;
  Table m_old;              // what is still to be moved
  std::size_t m_moved = 0;  // how many slots of it were
  std::size_t m_keys = 0;   // that have entries
};

}  // namespace QVL

#endif  // QVL_MATCH_KEY_TABLE_H
