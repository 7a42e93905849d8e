// The program's own definitions of open come before the C library's for the whole process, the
// shared library under test included.

#include "tests/trace/OpenWatch.h"

#include <dlfcn.h>
#include <fcntl.h>

#include <cstdarg>
#include <cstring>
#include <utility>

namespace {

// Plain variables, so that there is nothing to construct when open is called early, and nothing to
// allocate. Set by a case before other threads run.
const char* awaited = nullptr;
std::function<void()>* pending = nullptr;

void beforeOpening(const char* name) {
  if (!awaited || std::strcmp(name, awaited) != 0) return;
  awaited = nullptr;
  const std::function<void()> action = std::exchange(*pending, nullptr);
  action();
}

mode_t modeOf(int flags, std::va_list arguments) {
  return flags & O_CREAT ? static_cast<mode_t>(va_arg(arguments, int)) : 0;
}

using Open = int (*)(const char*, int, ...);

Open next(const char* name) {
  return reinterpret_cast<Open>(dlsym(RTLD_NEXT, name));
}

}  // namespace

void QVL::Test::whenOpening(const std::string& name, std::function<void()> action) {
  static std::string keptName;
  static std::function<void()> keptAction;
  keptName = name;
  keptAction = std::move(action);
  pending = &keptAction;
  awaited = keptName.c_str();
}

extern "C" int open(const char* name, int flags, ...) {
  std::va_list arguments;
  va_start(arguments, flags);
  const mode_t mode = modeOf(flags, arguments);
  va_end(arguments);
  beforeOpening(name);
  return next("open")(name, flags, mode);
}

#if defined(__linux__)
extern "C" int open64(const char* name, int flags, ...) {
  std::va_list arguments;
  va_start(arguments, flags);
  const mode_t mode = modeOf(flags, arguments);
  va_end(arguments);
  beforeOpening(name);
  return next("open64")(name, flags, mode);
}
#endif
