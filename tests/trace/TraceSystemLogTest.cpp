// What reaches the system log.

#include <climits>
#include <cstddef>
#include <vector>

#include "tests/trace/TraceFixture.h"

namespace QVL {
namespace Test {
namespace {

using testing::ElementsAre;
using testing::IsEmpty;
using testing::SizeIs;

class TraceSystemLog : public TraceTest {};

TEST_F(TraceSystemLog, IsOpenedWithItsIdent) {
  log(5, "first");
  EXPECT_THAT(systemLog().openings, ElementsAre(SystemLogOpening{"Varnel: ", 1, 184}));
}

TEST_F(TraceSystemLog, TakesErrorsAndWarningsWhateverTheLevel) {
  start("0");
  for (const char* level : {"0", "1", "4", "5", "-1"}) {
    restart(level);
    systemLog().entries.clear();
    log(1, "broken");
    log(4, "odd");
    EXPECT_THAT(systemLog().entries,
                ElementsAre(SystemLogEntry{1, "ERROR : ScanAvoidance : broken", "broken"},
                            SystemLogEntry{4, "WARNING : ScanAvoidance : odd", "odd"}))
        << level;
  }
}

TEST_F(TraceSystemLog, TakesNoOtherLevel) {
  start("5");
  for (const int level : {0, 2, 3, 5, 6, -1, -4, 257, INT_MAX, INT_MIN}) log(level, "message");
  EXPECT_THAT(systemLog().entries, IsEmpty());
}

TEST_F(TraceSystemLog, TakesTheFormattedMessage) {
  start("0");
  TraceLogMessage(1, "%s: %d of %d\n", "data set", 1, 2);
  EXPECT_THAT(systemLog().entries,
              ElementsAre(SystemLogEntry{1, "ERROR : ScanAvoidance : data set: 1 of 2\n",
                                         "data set: 1 of 2\n"}));
}

TEST_F(TraceSystemLog, TakesTheTextAsTheFormatAndTheMessageAsItsArgument) {
  start("0");
  log(1, "100%");
  log(4, "a %s b");
  EXPECT_THAT(systemLog().entries,
              ElementsAre(SystemLogEntry{1, "ERROR : ScanAvoidance : 100%", "100%"},
                          SystemLogEntry{4, "WARNING : ScanAvoidance : a %s b", "a %s b"}));
}

TEST_F(TraceSystemLog, TextIsCutAt511Bytes) {
  start("0");
  struct {
    int level;
    std::string head;
  } const rows[] = {{1, "ERROR : ScanAvoidance : "}, {4, "WARNING : ScanAvoidance : "}};
  for (const auto& row : rows) {
    for (const std::size_t size : std::vector<std::size_t>{509, 510, 511, 512, 513, 1024, 100000}) {
      const std::string message(size - row.head.size(), 'x');
      systemLog().entries.clear();
      log(row.level, message);
      EXPECT_THAT(
          systemLog().entries,
          ElementsAre(SystemLogEntry{row.level, (row.head + message).substr(0, 511), message}))
          << size;
    }
  }
}

TEST_F(TraceSystemLog, TextIsBytesWhateverTheLocale) {
  start("0");
  for (const char* locale : {"C", "C.UTF-8"}) {
    ASSERT_NE(std::setlocale(LC_ALL, locale), nullptr);
    for (const std::string message : {"\xC3\xA4 \xE2\x82\xAC", "bad \xFF byte", ""}) {
      systemLog().entries.clear();
      log(1, message);
      EXPECT_THAT(systemLog().entries,
                  ElementsAre(SystemLogEntry{1, "ERROR : ScanAvoidance : " + message, message}));
    }
  }
}

TEST_F(TraceSystemLog, CutMayFallInsideACharacter) {
  start("0");
  const std::string head = "ERROR : ScanAvoidance : ";
  const std::string message = std::string(510 - head.size(), 'x') + "\xC3\xA4";
  log(1, message);
  EXPECT_THAT(systemLog().entries,
              ElementsAre(SystemLogEntry{1, head + message.substr(0, 511 - head.size()), message}));
}

TEST_F(TraceSystemLog, ErrorIsTheFirstMessageToo) {
  log(1, "first");
  EXPECT_THAT(systemLog().openings, SizeIs(1));
  EXPECT_THAT(systemLog().entries,
              ElementsAre(SystemLogEntry{1, "ERROR : ScanAvoidance : first", "first"}));
  EXPECT_EQ(traceFile(), "");
}

TEST_F(TraceSystemLog, FileAndSystemLogBothTakeAnErrorOfAConfiguredLevel) {
  start("1");
  log(1, "both");
  EXPECT_EQ(traceFile(), "both\n");
  EXPECT_THAT(systemLog().entries, SizeIs(1));
}

}  // namespace
}  // namespace Test
}  // namespace QVL
