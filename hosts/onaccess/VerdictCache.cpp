#include "VerdictCache.h"

namespace onaccess {
namespace {

using Lock = std::lock_guard<std::mutex>;

bool showNoChange(const FileStatus& a, const FileStatus& b) {
  return a.size == b.size && a.modified == b.modified && a.changed == b.changed;
}

}  // namespace

VerdictCache::VerdictCache(std::size_t capacity)
    : m_capacityOfPart((capacity + kParts - 1) / kParts), m_parts(kParts) {}

VerdictCache::Part& VerdictCache::partOf(const FileIdentity& file) {
  return m_parts[(Hash()(file) >> 20) % kParts];
}

bool VerdictCache::isClean(const FileStatus& status, std::uint64_t database) {
  Part& part = partOf(status.identity);
  const Lock lock(part.mutex);
  const auto place = part.places.find(status.identity);
  if (place == part.places.end()) return false;
  const Entries::iterator entry = place->second;
  if (entry->database != database || !showNoChange(entry->status, status)) {
    part.entries.erase(entry);
    part.places.erase(place);
    return false;
  }
  part.entries.splice(part.entries.begin(), part.entries, entry);
  return true;
}

VerdictCache::Ticket VerdictCache::ticketFor(const FileIdentity& file) {
  Part& part = partOf(file);
  const Lock lock(part.mutex);
  return part.ticket;
}

void VerdictCache::remember(const FileStatus& status, std::uint64_t database, Ticket ticket) {
  if (!isEnabled()) return;
  Part& part = partOf(status.identity);
  const Lock lock(part.mutex);
  if (part.ticket != ticket) return;
  const auto place = part.places.find(status.identity);
  if (place != part.places.end()) {
    *place->second = {status, database};
    return;
  }
  if (part.entries.size() >= m_capacityOfPart) {
    part.places.erase(part.entries.back().status.identity);
    part.entries.pop_back();
  }
  Entries added;  // without memory nothing changes
  added.push_front({status, database});
  part.places.emplace(status.identity, added.begin());
  part.entries.splice(part.entries.begin(), added);
}

void VerdictCache::forget(const FileIdentity& file) {
  Part& part = partOf(file);
  const Lock lock(part.mutex);
  ++part.ticket;
  const auto place = part.places.find(file);
  if (place == part.places.end()) return;
  part.entries.erase(place->second);
  part.places.erase(place);
}

void VerdictCache::forgetAll() {
  for (Part& part : m_parts) {
    const Lock lock(part.mutex);
    ++part.ticket;
    part.entries.clear();
    part.places.clear();
  }
}

std::size_t VerdictCache::size() const {
  std::size_t size = 0;
  for (const Part& part : m_parts) {
    const Lock lock(part.mutex);
    size += part.entries.size();
  }
  return size;
}

}  // namespace onaccess
