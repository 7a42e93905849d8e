// What stands in the trace file.

#include <locale.h>

#include <climits>
#include <cwchar>

#include "tests/trace/TraceFixture.h"

namespace QVL {
namespace Test {
namespace {

class TraceFile : public TraceTest {};

// --- Levels
// ----------------------------------------------------------------------------------------

TEST_F(TraceFile, TakesMessagesUpToTheConfiguredLevel) {
  const int messages[] = {INT_MIN, -2, -1, 0, 1, 2, 3, 4, 5, 6, INT_MAX};
  start("0");
  for (const int configured : {-1, 0, 1, 2, 3, 4, 5, 6, INT_MAX, INT_MIN}) {
    restart(std::to_string(configured));
    ASSERT_EQ(ScanAvoidanceFlowvalue, configured);
    std::string expected;
    for (const int level : messages) {
      log(level, "message of level " + std::to_string(level));
      if (configured >= level) expected += "message of level " + std::to_string(level) + "\n";
    }
    EXPECT_EQ(traceFile(), expected) << configured;
  }
}

TEST_F(TraceFile, TakesNoTraceAtLevelZeroAndOneLineAtLevelFive) {
  start("0");
  log(5, "message");
  EXPECT_EQ(traceFile(), "");
  restart("5");
  log(5, "message");
  EXPECT_EQ(traceFile(), "message\n");
}

TEST_F(TraceFile, TakesWarningsFromLevelFourOn) {
  start("3");
  log(4, "warning");
  EXPECT_EQ(traceFile(), "");
  restart("4");
  log(4, "warning");
  EXPECT_EQ(traceFile(), "warning\n");
}

TEST_F(TraceFile, TakesNothingFromLevelZeroOnWhenTheLevelIsMinusOne) {
  start("-1");
  for (int level = 0; level <= 6; ++level) log(level, "message");
  EXPECT_EQ(traceFile(), "");
}

TEST_F(TraceFile, FollowsTheExportedLevel) {
  start("0");
  ScanAvoidanceFlowvalue = 5;
  log(5, "written");
  ScanAvoidanceFlowvalue = 4;
  log(5, "not written");
  EXPECT_EQ(traceFile(), "written\n");
}

// --- Lines
// -----------------------------------------------------------------------------------------

TEST_F(TraceFile, LineIsTheMessageAndALineEnd) {
  start("5");
  log(5, "one");
  log(1, "two");
  log(4, "three");
  EXPECT_EQ(traceFile(), "one\ntwo\nthree\n");
}

TEST_F(TraceFile, MessageThatEndsALineIsFollowedByAnEmptyLine) {
  start("5");
  log(5, "LookupManager::isPresent\n");
  EXPECT_EQ(traceFile(), "LookupManager::isPresent\n\n");
}

TEST_F(TraceFile, MessageIsFormattedByTheRulesOfPrintf) {
  start("5");
  TraceLogMessage(5, "%s::%s %d %5.1f%% %c|%-4s|%ls", "Class", "operation", -7, 99.5, 'x', "ab",
                  L"wide");
  EXPECT_EQ(traceFile(), "Class::operation -7  99.5% x|ab  |wide\n");
}

TEST_F(TraceFile, PercentSignInAMessageIsText) {
  start("5");
  for (const char* message : {"100%", "%s%s%s", "%n", "%ls", "%", "50 %% of %d"}) {
    log(5, message);
    EXPECT_EQ(traceFile(), std::string(message) + "\n");
    std::filesystem::resize_file(kTraceFile, 0);
  }
}

TEST_F(TraceFile, OddMessagesAreLinesToo) {
  start("5");
  log(5, "");
  log(5, "\n\n");
  log(5, "a\tb\rc\x01\x7F");
  TraceLogMessage(5, "cut%chere", 0);
  EXPECT_EQ(traceFile(), "\n\n\n\na\tb\rc\x01\x7F\ncut\n");
}

TEST_F(TraceFile, MessageHasNoLimitOfLength) {
  start("5");
  const std::string message = std::string(300000, 'x') + "\xC3\xA4" + std::string(300000, 'y');
  log(5, message);
  log(5, "next");
  EXPECT_EQ(traceFile(), message + "\nnext\n");
}

TEST_F(TraceFile, EveryLineIsThereAtOnce) {
  start("5");
  std::string expected;
  for (int i = 0; i < 100; ++i) {
    log(5, std::to_string(i));
    expected += std::to_string(i) + "\n";
    ASSERT_EQ(traceFile(), expected);
  }
}

TEST_F(TraceFile, IsWideFromItsFirstWriteOn) {
  configure("5");
  InitTraceLogger();
  ASSERT_NE(logFilePtr, nullptr);
  log(5, "first");
  EXPECT_GT(std::fwide(logFilePtr, 0), 0);
  reloadHandler(1);
  log(5, "second");
  EXPECT_GT(std::fwide(logFilePtr, 0), 0);
}

// --- Text in UTF-8
// ---------------------------------------------------------------------------------

constexpr const char* kTexts[] = {
    "\xC3\xA4\xC3\xB6\xC3\xBC",                      // 2 bytes
    "\xE2\x82\xAC \xE6\x97\xA5\xE6\x9C\xAC",         // 3 bytes
    "\xF0\x9F\x98\x80",                              // 4 bytes
    "\x7F\xC2\x80\xDF\xBF\xE0\xA0\x80\xEF\xBF\xBD",  // the ends of the ranges
    "\xED\x9F\xBF\xEE\x80\x80\xF0\x90\x80\x80\xF4\x8F\xBF\xBF",
    "a\xCC\x88",      // combining
    "\xEF\xBB\xBFx",  // a mark is text like any other
};

void expectTextsUnchanged() {
  std::string expected;
  for (const char* text : kTexts) {
    log(5, text);
    expected += std::string(text) + "\n";
  }
  EXPECT_EQ(traceFile(), expected);
  std::filesystem::resize_file(kTraceFile, 0);
}

// Those of these locales that exist here; the first three always do.
constexpr const char* kLocales[] = {
    "C",          "POSIX",       "C.UTF-8",    "en_US.UTF-8",   "en_US.ISO-8859-1",
    "de_DE@euro", "ja_JP.eucJP", "zh_TW.Big5", "zh_CN.GB18030", "tr_TR.ISO-8859-9",
    "",
};

TEST_F(TraceFile, TextIsUnchangedInEveryLocale) {
  start("5");
  int seen = 0;
  for (const char* locale : kLocales) {
    if (!std::setlocale(LC_ALL, locale)) continue;
    SCOPED_TRACE(locale);
    ++seen;
    // Of a stream that was opened before the locale changed, and of one opened afterwards.
    expectTextsUnchanged();
    reloadHandler(1);
    expectTextsUnchanged();
  }
  EXPECT_GE(seen, 3);
}

TEST_F(TraceFile, TextIsUnchangedWhenTheFirstMessageComesInAnotherLocale) {
  configure("5");
  ASSERT_NE(std::setlocale(LC_ALL, "C.UTF-8"), nullptr);
  expectTextsUnchanged();
  ASSERT_NE(std::setlocale(LC_ALL, "C"), nullptr);
  expectTextsUnchanged();
}

TEST_F(TraceFile, TextIsUnchangedInALocaleOfTheThreadWhichStays) {
  start("5");
  const locale_t own = newlocale(LC_ALL_MASK, "C", nullptr);
  const locale_t previous = uselocale(own);
  expectTextsUnchanged();
  EXPECT_EQ(uselocale(nullptr), own);
  uselocale(previous);
  freelocale(own);
}

TEST_F(TraceFile, LocaleOfTheProcessStays) {
  start("5");
  ASSERT_NE(std::setlocale(LC_ALL, "C"), nullptr);
  expectTextsUnchanged();
  EXPECT_STREQ(std::setlocale(LC_ALL, nullptr), "C");
}

// A byte that is not UTF-8 comes out as one REPLACEMENT CHARACTER.
TEST_F(TraceFile, BadByteCostsNeitherItsLineNorTheFollowingOnes) {
  const char* const bad[] = {
      "\xFF",
      "\x80",
      "\xC3",
      "\xE2\x82",
      "\xC0\xAF",
      "\xED\xA0\x80",
      "\xF0\x9F\x98",
      "\xF4\x90\x80\x80",
      "\xFE",
      "\xE0\x80\x80",
      "\xF8\x88\x80\x80\x80",
  };
  start("5");
  for (const char* locale : {"C", "C.UTF-8"}) {
    ASSERT_NE(std::setlocale(LC_ALL, locale), nullptr);
    for (const std::string bytes : bad) {
      SCOPED_TRACE(testing::PrintToString(bytes));
      std::string replaced;
      for (std::size_t i = 0; i < bytes.size(); ++i) replaced += "\xEF\xBF\xBD";
      log(5, "in the \xC3\xA4" + bytes + "\xC3\xB6 middle");
      log(5, "at the end " + bytes);
      log(5, bytes + " at the start");
      log(5, "next \xE2\x82\xAC");
      EXPECT_EQ(traceFile(), "in the \xC3\xA4" + replaced + "\xC3\xB6 middle\nat the end " +
                                 replaced + "\n" + replaced + " at the start\nnext \xE2\x82\xAC\n");
      std::filesystem::resize_file(kTraceFile, 0);
    }
  }
}

// --- Messages that nobody takes
// --------------------------------------------------------------------

TEST_F(TraceFile, MessageThatNoOutputTakesIsNotFormatted) {
  start("4");
  int formatted = 0;
  TraceLogMessage(5, "four%n", &formatted);
  EXPECT_EQ(formatted, 0);
  TraceLogMessage(4, "four%n", &formatted);
  EXPECT_EQ(formatted, 4);
  closeTraceLogger();
  TraceLogMessage(3, "three%n", &formatted);
  EXPECT_EQ(formatted, 4);
}

// --- Messages that cannot be formatted
// -------------------------------------------------------------

TEST_F(TraceFile, MessageThatCannotBeFormattedIsDropped) {
  start("5");
  ASSERT_NE(std::setlocale(LC_ALL, "C"), nullptr);
  for (const int level : {5, 1, 4}) TraceLogMessage(level, "before %ls after", L"\x20AC");
  EXPECT_EQ(traceFile(), "");
  EXPECT_TRUE(systemLog().entries.empty());

  log(5, "next");
  EXPECT_EQ(traceFile(), "next\n");

  // It is the locale that cannot hold the character.
  ASSERT_NE(std::setlocale(LC_ALL, "C.UTF-8"), nullptr);
  TraceLogMessage(5, "before %ls after", L"\x20AC");
  EXPECT_EQ(traceFile(), "next\nbefore \xE2\x82\xAC after\n");
}

TEST_F(TraceFile, FirstMessageThatCannotBeFormattedStartsTheLog) {
  ASSERT_NE(std::setlocale(LC_ALL, "C"), nullptr);
  configure("5");
  TraceLogMessage(5, "%ls", L"\x20AC");
  EXPECT_EQ(traceInited, 1);
  EXPECT_EQ(ScanAvoidanceFlowvalue, 5);
  EXPECT_EQ(traceFile(), "");
}

}  // namespace
}  // namespace Test
}  // namespace QVL
