#include "tests/trace/SystemLogDouble.h"

#include <cstdarg>
#include <mutex>

namespace QVL {
namespace Test {
namespace {

std::mutex mutex;

void keep(int priority, const char* format, std::va_list arguments) {
  const char* argument = va_arg(arguments, const char*);
  {
    const std::lock_guard<std::mutex> lock(mutex);
    systemLog().entries.push_back({priority, format, argument});
  }
  if (systemLog().whileLogging) systemLog().whileLogging();
}

}  // namespace

SystemLogDouble& systemLog() {
  static SystemLogDouble log;
  return log;
}

}  // namespace Test
}  // namespace QVL

extern "C" {

void openlog(const char* ident, int option, int facility) {
  const std::lock_guard<std::mutex> lock(QVL::Test::mutex);
  QVL::Test::systemLog().openings.push_back({ident, option, facility});
}

void closelog() {
  const std::lock_guard<std::mutex> lock(QVL::Test::mutex);
  ++QVL::Test::systemLog().closings;
}

void syslog(int priority, const char* format, ...) {
  std::va_list arguments;
  va_start(arguments, format);
  QVL::Test::keep(priority, format, arguments);
  va_end(arguments);
}

// What syslog is called by when a program is built with _FORTIFY_SOURCE.
void __syslog_chk(int priority, int, const char* format, ...) {  // NOLINT: the C library's name
  std::va_list arguments;
  va_start(arguments, format);
  QVL::Test::keep(priority, format, arguments);
  va_end(arguments);
}

}  // extern "C"
