// The locale by which lines are written in UTF-8, which the log makes for itself. The program's own
// newlocale and freelocale come before the C library's for the whole process, the shared library
// under test included.

#include <dlfcn.h>
#include <locale.h>

#include <atomic>
#include <functional>
#include <thread>

#include "tests/trace/TraceFixture.h"

#ifndef __THROW
#define __THROW
#endif

namespace {

std::atomic<int> localesMade{0};
std::atomic<int> localesFreed{0};
std::atomic<bool> noneCanBeMade{false};

// Called once, by the thread that makes a locale next and before it does.
std::atomic<std::function<void()>*> whenMaking{nullptr};

template <class Function>
Function next(const char* name) {
  return reinterpret_cast<Function>(dlsym(RTLD_NEXT, name));
}

}  // namespace

extern "C" locale_t newlocale(int mask, const char* name, locale_t base) __THROW {
  if (auto* const action = whenMaking.exchange(nullptr)) (*action)();
  if (noneCanBeMade) return nullptr;
  const locale_t made =
      next<locale_t (*)(int, const char*, locale_t)>("newlocale")(mask, name, base);
  localesMade += made != nullptr;
  return made;
}

// What it answers differs between C libraries.
using Freed = decltype(freelocale(locale_t()));

extern "C" Freed freelocale(locale_t locale) __THROW {
  ++localesFreed;
  return next<Freed (*)(locale_t)>("freelocale")(locale);
}

namespace QVL {
namespace Test {
namespace {

class TraceLocale : public TraceTest {};

TEST_F(TraceLocale, IsMadeOnceForAllLinesAndReloads) {
  start("5");
  const int made = localesMade;
  EXPECT_GT(made, 0);
  std::string expected;
  for (int i = 0; i < 10; ++i) {
    log(5, "\xC3\xA4");
    reloadHandler(1);
    expected += "\xC3\xA4\n";
  }
  EXPECT_EQ(localesMade, made);
  EXPECT_EQ(localesFreed, 0);
  EXPECT_EQ(traceFile(), expected);
}

TEST_F(TraceLocale, IsKeptOnceWhenTwoThreadsMakeItAtOnce) {
  configure("5");
  std::function<void()> other = [] { std::thread(InitTraceLogger).join(); };
  whenMaking = &other;
  InitTraceLogger();
  EXPECT_EQ(whenMaking, nullptr);
  EXPECT_EQ(localesMade, 2);
  EXPECT_EQ(localesFreed, 1);
  log(5, "\xC3\xA4");
  EXPECT_EQ(traceFile(), "\xC3\xA4\n");
}

// Where there was no memory for it when the log started, say.
TEST_F(TraceLocale, IsAskedForAgainByTheNextMessage) {
  configure("5");
  noneCanBeMade = true;
  log(6, "starts the log, and is not written");
  EXPECT_EQ(localesMade, 0);
  noneCanBeMade = false;
  log(5, "\xC3\xA4");
  EXPECT_EQ(localesMade, 1);
  EXPECT_EQ(traceFile(), "\xC3\xA4\n");
}

}  // namespace
}  // namespace Test
}  // namespace QVL
