// Rules filed under keys. Private to the library.

#ifndef QVL_DATASET_KEY_TABLE_H
#define QVL_DATASET_KEY_TABLE_H

#include <array>
#include <cstddef>
#include <cstdint>
#include <vector>

#include "qvl/dataset/PathKeys.h"

namespace QVL {

// A hash table from key to the entries filed under it, with a filter in front: most keys that are
// looked for are not there, and the filter, a few bits per key, says so without touching the table.
//
// Thread safety: none; the data set's lock guards it.
template <typename Entry>
class KeyTable {
 public:
  using Key = PathKeys::Key;
  using Handle = std::uint32_t;

  KeyTable() { rebuild(kSmallest); }

  const Entry& operator[](Handle handle) const { return m_nodes[handle].entry; }

  // Files an entry. Strong guarantee: std::bad_alloc changes nothing.
  Handle insert(Key key, const Entry& entry) {
    if ((m_usedSlots + 1) * 2 > m_slots.size()) rebuild((m_usedEntries + 1) * 3);
    Handle handle = m_free;
    if (handle == kNone) {
      handle = static_cast<Handle>(m_nodes.size());
      m_nodes.push_back({entry, key, kNone});
    } else {
      m_free = m_nodes[handle].next;
      m_nodes[handle].entry = entry;
      m_nodes[handle].key = key;
    }
    ++m_usedEntries;
    link(handle);
    return handle;
  }

  void erase(Handle handle) {
    Node& node = m_nodes[handle];
    Slot& slot = m_slots[slotOf(node.key)];
    Handle* link = &slot.first;
    while (*link != handle) link = &m_nodes[*link].next;
    *link = node.next;
    // The slot and the filter's bits stay until the table is next rebuilt.
    --m_usedEntries;
    node.key = 0;
    node.next = m_free;
    m_free = handle;
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
    for (std::size_t i = 0; i < count; ++i) __builtin_prefetch(&m_slots[(keys[i] >> 20) & m_mask]);
    std::array<Handle, size> first;
    for (std::size_t i = 0; i < count; ++i) {
      const Slot& slot = m_slots[slotOf(keys[i])];
      first[i] = slot.key == keys[i] ? slot.first : kNone;
      if (first[i] != kNone) __builtin_prefetch(&m_nodes[first[i]]);
    }
    for (std::size_t i = 0; i < count; ++i) {
      for (Handle handle = first[i]; handle != kNone; handle = m_nodes[handle].next) {
        if (visit(m_nodes[handle].entry)) return true;
      }
    }
    return false;
  }

 private:
  static constexpr Handle kNone = 0xFFFFFFFFu;
  static constexpr std::size_t kSmallest = 256;
  static constexpr std::size_t kSlotsPerFilterWord = 8;

  struct Slot {
    Key key = 0;  // 0 while free
    Handle first = kNone;
  };
  struct Node {
    Entry entry;
    Key key;  // 0 while unused
    Handle next;
  };

  std::size_t slotOf(Key key) const {
    std::size_t index = (key >> 20) & m_mask;
    while (m_slots[index].key != 0 && m_slots[index].key != key) index = (index + 1) & m_mask;
    return index;
  }

  std::size_t filterWord(Key key) const { return (key >> 20) & m_filterMask; }
  static std::uint64_t filterBits(Key key) {
    return std::uint64_t{1} << ((key >> 4) & 63) | std::uint64_t{1} << ((key >> 10) & 63);
  }

  void link(Handle handle) {
    Node& node = m_nodes[handle];
    Slot& slot = m_slots[slotOf(node.key)];
    if (slot.key == 0) {
      slot.key = node.key;
      ++m_usedSlots;
    }
    node.next = slot.first;
    slot.first = handle;
    m_filter[filterWord(node.key)] |= filterBits(node.key);
  }

  // Room for `wanted` slots, without what was erased.
  void rebuild(std::size_t wanted) {
    std::size_t size = kSmallest;
    while (size < wanted) size *= 2;
    std::vector<Slot> slots(size);
    std::vector<std::uint64_t> filter(size / kSlotsPerFilterWord);
    m_slots.swap(slots);
    m_filter.swap(filter);
    m_mask = size - 1;
    m_filterMask = m_filter.size() - 1;
    m_usedSlots = 0;
    for (Handle handle = 0; handle < m_nodes.size(); ++handle) {
      if (m_nodes[handle].key != 0) link(handle);
    }
  }

  std::vector<Slot> m_slots;  // a power of two of them, at most half used
  std::vector<std::uint64_t> m_filter;
  std::vector<Node> m_nodes;
  std::size_t m_mask = 0;
  std::size_t m_filterMask = 0;
  std::size_t m_usedSlots = 0;
  std::size_t m_usedEntries = 0;
  Handle m_free = kNone;
};

}  // namespace QVL

#endif  // QVL_DATASET_KEY_TABLE_H
