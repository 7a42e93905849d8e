// A program of its own: it stands its allocation functions in front of the C++ library's.

#include <gtest/gtest.h>

#include <cstdlib>
#include <new>

#include "qvl/qvl.h"
#include "tests/lookup/Rig.h"
#include "tests/support/Requests.h"

namespace {
bool exhausted = false;  // the next allocation fails
}  // namespace

// Not to be inlined: the compiler would see malloc and free where it expects new and delete.
__attribute__((noinline)) void* operator new(std::size_t size) {
  if (exhausted) {
    exhausted = false;
    throw std::bad_alloc();
  }
  if (void* memory = std::malloc(size == 0 ? 1 : size)) return memory;
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
namespace {

TEST(LookupManagerWithoutMemory, AMatchThatCannotBeRecordedCountsAsFalse) {
  Rig rig;
  rig.assign(1, [](ILookupData&) {
    exhausted = true;  // what is allocated next is the request's list of matches
    return true;
  });
  rig.assignAlways(2, true);
  LookupData request;

  rig.manager.defineBusinessLogic("1");
  EXPECT_FALSE(rig.manager.isPresent(request));
  EXPECT_FALSE(exhausted) << "an allocation was refused";
  EXPECT_TRUE(request.m_matchIdentifiers.empty());

  rig.manager.defineBusinessLogic("1|2");
  EXPECT_TRUE(rig.manager.isPresent(request)) << "the query goes on with the next data set";
  EXPECT_EQ(request.m_matchIdentifiers, Numbers{2});

  unsigned int number = 1;
  LookupData fresh;
  EXPECT_FALSE(rig.manager.lookupInDataSet(number, fresh));
}

TEST(LookupManagerWithoutMemory, RecordingInTheRequestThrows) {
  LookupData request;
  exhausted = true;
  EXPECT_THROW(request.setMatchIndentifier(1), std::bad_alloc);
  EXPECT_TRUE(request.m_matchIdentifiers.empty());
}

}  // namespace
}  // namespace Test
}  // namespace QVL
