#include "tests/trace/StreamWatch.h"

#include <dlfcn.h>

#include <cstdio>
#include <mutex>
#include <set>

namespace {

struct Streams {
  std::mutex mutex;
  std::set<std::FILE*> open;
  std::set<std::FILE*> closed;
  int closedTwice = 0;
};

// Never destroyed: streams are closed until the very end of the process.
Streams& streams() {
  static Streams& all = *new Streams;
  return all;
}

std::FILE* opened(std::FILE* stream) {
  if (stream) {
    const std::lock_guard<std::mutex> lock(streams().mutex);
    streams().closed.erase(stream);
    streams().open.insert(stream);
  }
  return stream;
}

// May the stream be closed?
bool closing(std::FILE* stream) {
  const std::lock_guard<std::mutex> lock(streams().mutex);
  streams().open.erase(stream);
  const bool first = streams().closed.insert(stream).second;
  if (!first) ++streams().closedTwice;
  return first;
}

template <class Function>
Function next(const char* name) {
  return reinterpret_cast<Function>(dlsym(RTLD_NEXT, name));
}

}  // namespace

int QVL::Test::streamsClosedTwice() {
  const std::lock_guard<std::mutex> lock(streams().mutex);
  return streams().closedTwice;
}

int QVL::Test::openStreams() {
  const std::lock_guard<std::mutex> lock(streams().mutex);
  return static_cast<int>(streams().open.size());
}

extern "C" {

using Open = std::FILE* (*)(const char*, const char*);
using OpenDescriptor = std::FILE* (*)(int, const char*);
using Close = int (*)(std::FILE*);

std::FILE* fopen(const char* name, const char* mode) {
  return opened(next<Open>("fopen")(name, mode));
}

std::FILE* fopen64(const char* name, const char* mode) {
  return opened(next<Open>("fopen64")(name, mode));
}

std::FILE* fdopen(int descriptor, const char* mode) {
  return opened(next<OpenDescriptor>("fdopen")(descriptor, mode));
}

int fclose(std::FILE* stream) {
  return closing(stream) ? next<Close>("fclose")(stream) : EOF;
}

}  // extern "C"
