#include "tests/trace/StreamWatch.h"

#include <dlfcn.h>

#include <algorithm>
#include <array>
#include <cstdio>
#include <cstdlib>
#include <mutex>

namespace {

// A set of streams that allocates nothing: the library is watched while it has no memory, too.
class StreamSet {
 public:
  // False when the stream is in the set already.
  bool insert(std::FILE* stream) {
    if (find(stream) != end()) return false;
    if (m_size == m_streams.size()) std::abort();
    m_streams[m_size++] = stream;
    return true;
  }
  void erase(std::FILE* stream) {
    const auto found = find(stream);
    if (found != end()) *found = m_streams[--m_size];
  }
  std::size_t size() const { return m_size; }

 private:
  using Row = std::array<std::FILE*, 1024>;
  Row::iterator end() { return m_streams.begin() + static_cast<std::ptrdiff_t>(m_size); }
  Row::iterator find(std::FILE* stream) { return std::find(m_streams.begin(), end(), stream); }

  Row m_streams{};
  std::size_t m_size = 0;
};

struct Streams {
  std::mutex mutex;
  StreamSet open;
  StreamSet closed;
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
  const bool first = streams().closed.insert(stream);
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
