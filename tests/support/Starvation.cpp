#include "tests/support/Starvation.h"

#include <libxml/xmlmemory.h>

#include <atomic>
#include <cstdlib>
#include <cstring>

#include "tests/support/Sanitizers.h"

#if QVL_TEST_ADDRESS_SANITIZER
#include <sanitizer/lsan_interface.h>
#endif

// A sanitizer brings a malloc of its own.
#if defined(__GLIBC__) && !QVL_TEST_ADDRESS_SANITIZER && !QVL_TEST_THREAD_SANITIZER
#define QVL_TEST_OWN_MALLOC 1
#endif

namespace {

struct Pantry {
  bool locked;
  bool newOnly;
  bool forGood;
  bool struck;
  std::size_t spared;
};
thread_local Pantry pantry;

// Is this allocation to fail?
bool refuses() {
  if (!pantry.locked) return false;
  if (pantry.spared > 0) {
    --pantry.spared;
    return false;
  }
  if (pantry.struck && !pantry.forGood) return false;
  pantry.struck = true;
  return true;
}

// Is this allocation, which does not come from operator new, to fail?
bool refusesOthers() {
  return !pantry.newOnly && refuses();
}

}  // namespace

#ifdef QVL_TEST_OWN_MALLOC

namespace {
std::atomic<long> blocks{0};

void* counted(void* block) {
  if (block) blocks.fetch_add(1, std::memory_order_relaxed);
  return block;
}
}  // namespace

extern "C" {

// The C library's own functions under the names that it keeps for this purpose.
void* __libc_malloc(std::size_t);                 // NOLINT
void* __libc_calloc(std::size_t, std::size_t);    // NOLINT
void* __libc_realloc(void*, std::size_t);         // NOLINT
void* __libc_memalign(std::size_t, std::size_t);  // NOLINT
void __libc_free(void*);                          // NOLINT

void* malloc(std::size_t size) {
  return refusesOthers() ? nullptr : counted(__libc_malloc(size));
}
void* calloc(std::size_t count, std::size_t size) {
  return refusesOthers() ? nullptr : counted(__libc_calloc(count, size));
}
void* realloc(void* block, std::size_t size) {
  if (refusesOthers()) return nullptr;
  if (!block) return counted(__libc_malloc(size));
  return __libc_realloc(block, size);
}
void* aligned_alloc(std::size_t alignment, std::size_t size) {
  return refusesOthers() ? nullptr : counted(__libc_memalign(alignment, size));
}
void free(void* block) {
  if (block) blocks.fetch_sub(1, std::memory_order_relaxed);
  __libc_free(block);
}

}  // extern "C"

long QVL::Test::liveBlocks() {
  return blocks;
}

namespace {
void* allocate(std::size_t size) {
  return counted(__libc_malloc(size));
}
}  // namespace

#else

namespace {

void* allocate(std::size_t size) {
  return std::malloc(size);
}

// A starving libxml2 loses blocks: what it gets meanwhile does not count as a leak.
template <typename T>
T* notCounted(T* block) {
#if QVL_TEST_ADDRESS_SANITIZER
  if (block && pantry.locked && !pantry.newOnly) __lsan_ignore_object(block);
#endif
  return block;
}

void* allocateForXml(std::size_t size) {
  return refusesOthers() ? nullptr : notCounted(std::malloc(size));
}
void* reallocateForXml(void* block, std::size_t size) {
  return refusesOthers() ? nullptr : notCounted(std::realloc(block, size));
}
char* duplicateForXml(const char* text) {
  return refusesOthers() ? nullptr : notCounted(::strdup(text));
}

const int xmlIsSetUp = xmlMemSetup(std::free, allocateForXml, reallocateForXml, duplicateForXml);

}  // namespace

long QVL::Test::liveBlocks() {
  return 0;
}

#endif

// Not to be inlined: the compiler would see malloc and free where it expects new and delete.
__attribute__((noinline)) void* operator new(std::size_t size) {
  if (!refuses()) {
    if (void* const memory = allocate(size == 0 ? 1 : size)) return memory;
  }
  throw std::bad_alloc();
}
__attribute__((noinline)) void operator delete(void* memory) noexcept {
  std::free(memory);
}
__attribute__((noinline)) void operator delete(void* memory, std::size_t) noexcept {
  std::free(memory);
}

namespace QVL {
namespace Test {

Starvation::Starvation(std::size_t spared, Hunger hunger, Whose whose) {
  pantry = {true, whose == Whose::OperatorNew, hunger == Hunger::ForGood, false, spared};
}

Starvation::~Starvation() {
  pantry.locked = false;
}

bool Starvation::struck() const {
  return pantry.struck;
}

}  // namespace Test
}  // namespace QVL
