// Rules filed under keys. Private to the library.

#ifndef QVL_MATCH_KEY_TABLE_H
#define QVL_MATCH_KEY_TABLE_H

#include <algorithm>
#include <array>
#include <cstddef>
#include <cstdint>
#include <vector>

#include "qvl/match/PathKeys.h"

namespace QVL {

// A hash table from key to the entries filed under it, with a filter in front: most keys that are
// looked for are not there, and the filter, a few bits per key, says so without touching the table.
//
// Thread safety: none; the data set's lock guards it.
template <typename Entry>
class KeyTable {
 public:
  using Key = PathKeys::Key;

  KeyTable() { rebuild(kSmallest); }

  // Files an entry. Strong guarantee: std::bad_alloc changes nothing.
  void insert(Key key, const Entry& entry) {
    if ((m_usedSlots + 1) * 2 > m_slots.size()) rebuild(3 * (keysInUse() + 1));
    Slot& slot = m_slots[slotOf(key)];
    slot.entries.push_back(entry);
    if (slot.key != 0) return;
    slot.key = key;
    ++m_usedSlots;
    m_filter[filterWord(key)] |= filterBits(key);
  }

  // Takes the entries under a key away for which `isGone(entry)`.
  template <typename IsGone>
  void erase(Key key, IsGone isGone) noexcept {
    // The slot and the filter's bits stay until the table is next rebuilt.
    std::vector<Entry>& entries = m_slots[slotOf(key)].entries;
    entries.erase(std::remove_if(entries.begin(), entries.end(), isGone), entries.end());
    if (entries.empty()) std::vector<Entry>().swap(entries);
  }

  // False when nothing stands under the key; true nearly always means that something does.
  bool mayHold(Key key) const {
    const std::uint64_t bits = filterBits(key);
    return (m_filter[filterWord(key)] & bits) == bits;
  }

  // Calls `visit(entry)` for the entries under all of the keys until it answers true, and answers
  // so itself. A large table is far from the processor: what stands there is asked for beforehand.
  template <std::size_t size, typename Visit>
  bool find(const std::array<Key, size>& keys, std::size_t count, Visit visit) const {
    for (std::size_t i = 0; i < count; ++i) __builtin_prefetch(&m_slots[firstSlotOf(keys[i])]);
    std::array<const std::vector<Entry>*, size> found;
    for (std::size_t i = 0; i < count; ++i) {
      // A free slot has no entries.
      found[i] = &m_slots[slotOf(keys[i])].entries;
      __builtin_prefetch(found[i]->data());
    }
    for (std::size_t i = 0; i < count; ++i) {
      for (const Entry& entry : *found[i]) {
        if (visit(entry)) return true;
      }
    }
    return false;
  }

 private:
  static constexpr std::size_t kSmallest = 256;
  static constexpr std::size_t kSlotsPerFilterWord = 8;

  // The entries of a key stand side by side, so that many of them are passed over quickly.
  struct Slot {
    Key key = 0;  // 0 while free
    std::vector<Entry> entries;
  };

  std::size_t firstSlotOf(Key key) const { return (key >> 20) & m_mask; }
  std::size_t slotOf(Key key) const {
    std::size_t index = firstSlotOf(key);
    while (m_slots[index].key != 0 && m_slots[index].key != key) index = (index + 1) & m_mask;
    return index;
  }

  std::size_t filterWord(Key key) const { return (key >> 20) & m_filterMask; }
  static std::uint64_t filterBits(Key key) {
    return std::uint64_t{1} << ((key >> 4) & 63) | std::uint64_t{1} << ((key >> 10) & 63);
  }

  std::size_t keysInUse() const {
    return static_cast<std::size_t>(std::count_if(
        m_slots.begin(), m_slots.end(), [](const Slot& slot) { return !slot.entries.empty(); }));
  }

  // Room for `wanted` slots, without those whose entries are gone.
  void rebuild(std::size_t wanted) {
    std::size_t size = kSmallest;
    while (size < wanted) size *= 2;
    std::vector<Slot> slots(size);
    std::vector<std::uint64_t> filter(size / kSlotsPerFilterWord);
    slots.swap(m_slots);
    m_filter.swap(filter);
    m_mask = size - 1;
    m_filterMask = m_filter.size() - 1;
    m_usedSlots = 0;
    for (Slot& old : slots) {
      if (old.entries.empty()) continue;
      Slot& slot = m_slots[slotOf(old.key)];
      slot.key = old.key;
      slot.entries.swap(old.entries);
      ++m_usedSlots;
      m_filter[filterWord(slot.key)] |= filterBits(slot.key);
    }
  }

  std::vector<Slot> m_slots;  // a power of two of them, at most half used
  std::vector<std::uint64_t> m_filter;
  std::size_t m_mask = 0;
  std::size_t m_filterMask = 0;
  std::size_t m_usedSlots = 0;
};

}  // namespace QVL

#endif  // QVL_MATCH_KEY_TABLE_H
