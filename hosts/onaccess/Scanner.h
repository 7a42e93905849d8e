// What scans a file.

#ifndef QVL_ONACCESS_SCANNER_H
#define QVL_ONACCESS_SCANNER_H

#include <sys/types.h>

#include <string>

#include "Clock.h"

namespace onaccess {

enum class ScanResult {
  Clean,
  Infected,
  Refused,      // the scanner says that it cannot scan this file
  Deadline,     // no whole reply in time
  Unreachable,  // no connection, or it ended before a whole reply
  Malformed     // a reply that is none of the protocol
};

struct ScanReply {
  ScanResult result = ScanResult::Unreachable;
  std::string detail;  // the signature, or what went wrong
  pid_t process = 0;   // who replied, by the kernel's word; 0: unknown
};

struct VersionReply {
  bool isKnown = false;
  std::string text;   // the version of program and database, or what went wrong
  pid_t process = 0;  // as above
};

// Thread safety: all operations may be called from any thread at any time, and all return by their
// deadline.
class Scanner {
 public:
  Scanner() = default;
  virtual ~Scanner() = default;
  Scanner(const Scanner&) = delete;
  Scanner& operator=(const Scanner&) = delete;

  // Scans the file behind an open descriptor, which stays the caller's.
  virtual ScanReply scan(int descriptor, Time deadline) = 0;

  virtual VersionReply version(Time deadline) = 0;

  // Ends what is under way and everything that comes: Unreachable.
  virtual void stop() = 0;
};

}  // namespace onaccess

#endif  // QVL_ONACCESS_SCANNER_H
