// Files that were scanned and found clean.

#ifndef QVL_ONACCESS_VERDICT_CACHE_H
#define QVL_ONACCESS_VERDICT_CACHE_H

#include <cstddef>
#include <cstdint>
#include <functional>
#include <list>
#include <mutex>
#include <unordered_map>
#include <vector>

#include "Kernel.h"

namespace onaccess {

// Remembers by device and inode; a file counts as clean as long as its size, its times and the
// scanner's database are those of the scan. Times alone do not show every write (one within the
// same tick of the clock, one through a mapped page that is dirty already), therefore a file is
// forgotten when it is opened for writing, and a scan during which that happened is not remembered.
// Nor is a file that has changed lately: it can be cut and extended by its name alone, without any
// open.
//
// Holds as many files as it was made for; the one that was asked for least recently goes first.
//
// Thread safety: all operations may be called from any thread at any time.
class VerdictCache {
 public:
  // Taken before a scan, and given back with its verdict.
  using Ticket = std::uint64_t;

  // 0: remembers nothing.
  explicit VerdictCache(std::size_t capacity);

  bool isEnabled() const { return m_capacityOfPart != 0; }

  // Was the file, as it is, found clean by this database?
  bool isClean(const FileStatus& status, std::uint64_t database);

  Ticket ticketFor(const FileIdentity& file);

  // Remembers a clean file, unless a file of its part was forgotten since the ticket was taken.
  void remember(const FileStatus& status, std::uint64_t database, Ticket ticket);

  void forget(const FileIdentity& file);
  void forgetAll();

  std::size_t size() const;

 private:
  struct Entry {
    FileStatus status;
    std::uint64_t database;
  };
  struct Hash {
    std::size_t operator()(const FileIdentity& file) const {
      return std::hash<std::uint64_t>()((std::uint64_t{file.inode} * 0x9E3779B97F4A7C15u) ^
                                        (std::uint64_t{file.device} << 32));
    }
  };
  using Entries = std::list<Entry>;  // asked for most recently: first
  struct Part {
    mutable std::mutex mutex;
    Entries entries;
    std::unordered_map<FileIdentity, Entries::iterator, Hash> places;
    Ticket ticket = 0;  // changes when something is forgotten
  };

  Part& partOf(const FileIdentity& file);

  static constexpr std::size_t kParts = 16;
  const std::size_t m_capacityOfPart;
  std::vector<Part> m_parts;
};

}  // namespace onaccess

#endif  // QVL_ONACCESS_VERDICT_CACHE_H
