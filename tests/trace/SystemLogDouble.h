// Stands in front of the C library's system log and keeps what it is told. The program's own
// definitions of openlog, syslog and closelog come before the C library's for the whole process,
// the shared library under test included.

#ifndef QVL_TESTS_TRACE_SYSTEM_LOG_DOUBLE_H
#define QVL_TESTS_TRACE_SYSTEM_LOG_DOUBLE_H

#include <functional>
#include <ostream>
#include <string>
#include <vector>

namespace QVL {
namespace Test {

struct SystemLogOpening {
  std::string ident;
  int option;
  int facility;
};

struct SystemLogEntry {
  int priority;
  std::string format;
  std::string argument;  // the one argument that follows the format
};

inline bool operator==(const SystemLogOpening& a, const SystemLogOpening& b) {
  return a.ident == b.ident && a.option == b.option && a.facility == b.facility;
}

inline bool operator==(const SystemLogEntry& a, const SystemLogEntry& b) {
  return a.priority == b.priority && a.format == b.format && a.argument == b.argument;
}

inline std::ostream& operator<<(std::ostream& out, const SystemLogOpening& opening) {
  return out << "openlog(\"" << opening.ident << "\", " << opening.option << ", "
             << opening.facility << ")";
}

inline std::ostream& operator<<(std::ostream& out, const SystemLogEntry& entry) {
  return out << "syslog(" << entry.priority << ", \"" << entry.format << "\", \"" << entry.argument
             << "\")";
}

// What was told since the process started. Thread safe only where it is written: a case looks at it
// when its threads have ended.
struct SystemLogDouble {
  std::vector<SystemLogOpening> openings;
  std::vector<SystemLogEntry> entries;
  int closings = 0;

  // Called inside syslog, when set.
  std::function<void()> whileLogging;
};

SystemLogDouble& systemLog();

}  // namespace Test
}  // namespace QVL

#endif  // QVL_TESTS_TRACE_SYSTEM_LOG_DOUBLE_H
