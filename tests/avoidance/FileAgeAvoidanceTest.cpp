#include <gtest/gtest.h>
#include <sys/stat.h>
#include <unistd.h>

#include <ctime>
#include <string>
#include <vector>

#include "qvl/qvl.h"
#include "tests/support/Outcome.h"
#include "tests/support/Requests.h"
#include "tests/support/RuleKinds.h"
#include "tests/support/TestFile.h"
#include "tests/support/TraceRecorder.h"

namespace QVL {
namespace Test {
namespace {

constexpr const char* kExcluded =
    "Treating this file as to be excluded based on file age exclusion.";
constexpr const char* kNotExcluded =
    "Treating this file as to not be excluded based on file age exclusion.";
constexpr const char* kNoStatus = "Unable to do stat for the file";
constexpr long kMinute = 60;

bool excludes(const std::string& ageText, const std::string& path) {
  FileAgeAvoidance rule(ageText, AnyAccess);
  LookupData request = fileRequest(path);
  return rule.canAvoid(request);
}

std::string modifiedBefore(const std::string& days) {
  return "1   " + days;
}

// --- Modification time ---------------------------------------------------------------------------

TEST(FileAgeRule, ExcludesFilesModifiedLongerAgoThanAnyListedNumberOfDays) {
  const struct {
    const char* days;
    long age;  // in seconds; a minute of tolerance stands on either side of a limit
    bool expected;
  } rows[] = {
      {"30", 31 * kDay, true},
      {"30", 30 * kDay + kMinute, true},
      {"30", 30 * kDay - kMinute, false},
      {"30", 29 * kDay, false},
      {"90,30", 31 * kDay, true},
      {"30,90", 31 * kDay, true},
      {"90,30", 29 * kDay, false},
      {"90,30", 91 * kDay, true},
      {"90,60,30", 45 * kDay, true},
      {"0", kMinute, true},
      {"0", -kMinute, false},
      {"1", kDay + kMinute, true},
      {"1", kDay - kMinute, false},
      // Files of the future are of negative age.
      {"-1", -kDay + kMinute, true},
      {"-1", -kDay - kMinute, false},
      {"-1", 0, true},
      {"-30", -29 * kDay, true},
      // Empty items are none.
      {"", 20000 * kDay, false},
      {",", 20000 * kDay, false},
      {",,,", 20000 * kDay, false},
      {",30", 31 * kDay, true},
      {"30,", 31 * kDay, true},
      {",,30,,", 31 * kDay, true},
      {",,30,,", 29 * kDay, false},
      {"90,,30", 31 * kDay, true},
      // Items are read as atoi reads them.
      {" 30", 31 * kDay, true},
      {" 30", 29 * kDay, false},
      {"\t\n 30", 29 * kDay, false},
      {"+30", 31 * kDay, true},
      {"+30", 29 * kDay, false},
      {"030", 31 * kDay, true},
      {"030", 29 * kDay, false},
      {"30abc", 31 * kDay, true},
      {"30abc", 29 * kDay, false},
      {"3 0", 4 * kDay, true},
      {"3 0", 2 * kDay, false},
      {"30.9", 30 * kDay + kMinute, true},
      {"0x10", kMinute, true},
      {"abc", kMinute, true},  // unreadable: 0 days
      {"abc", -kMinute, false},
      {"- 5", -kMinute, false},
      {"--5", -kMinute, false},
      {"90, ", kMinute, true},  // a blank is an item, and unreadable
      {"90,x", kMinute, true},
      {"30;1", 29 * kDay, false},  // only commas separate
  };
  TestFile file;
  for (const auto& row : rows) {
    file.setModified(row.age);
    EXPECT_EQ(excludes(modifiedBefore(row.days), file.path()), row.expected)
        << "days " << shown(row.days) << ", age " << row.age;
  }
}

TEST(FileAgeRule, AnAgeEqualToTheLimitIsNotOlder) {
  // The clock may tick between the test's reading and the rule's; try until both read the same.
  TestFile file;
  FileAgeAvoidance rule(modifiedBefore("30"), AnyAccess);
  LookupData request = fileRequest(file.path());
  for (const long beyond : {0L, 1L}) {
    std::time_t now;
    bool excluded;
    do {
      now = std::time(nullptr);
      file.setTimes(now, now - 30 * kDay - beyond);
      excluded = rule.canAvoid(request);
    } while (std::time(nullptr) != now);
    EXPECT_EQ(excluded, beyond > 0) << beyond << " seconds beyond the limit";
  }
}

TEST(FileAgeRule, CountsWholeSeconds) {
  TestFile file;
  FileAgeAvoidance rule(modifiedBefore("30"), AnyAccess);
  LookupData request = fileRequest(file.path());
  std::time_t now;
  bool excluded;
  do {
    now = std::time(nullptr);
    file.setTimes(now, now - 30 * kDay - 1, 999999999);
    excluded = rule.canAvoid(request);
  } while (std::time(nullptr) != now);
  EXPECT_TRUE(excluded) << "the fraction of the timestamp is not read";
}

TEST(FileAgeRule, ReadsTheTimeOfModificationAndNoOther) {
  TestFile file;
  const std::time_t now = std::time(nullptr);
  file.setTimes(now - 100 * kDay, now);
  EXPECT_FALSE(excludes(modifiedBefore("30"), file.path()));
  file.setTimes(now, now - 100 * kDay);
  EXPECT_TRUE(excludes(modifiedBefore("30"), file.path()));
}

TEST(FileAgeRule, ReadsTheTimestampsAtEveryLookup) {
  TestFile file;
  FileAgeAvoidance rule(modifiedBefore("30"), AnyAccess);
  LookupData request = fileRequest(file.path());
  file.setModified(31 * kDay);
  EXPECT_TRUE(rule.canAvoid(request));
  file.setModified(29 * kDay);
  EXPECT_FALSE(rule.canAvoid(request));
  file.setModified(31 * kDay);
  EXPECT_TRUE(rule.canAvoid(request));
}

TEST(FileAgeRule, ReadsTwentyThreeCharactersOfTheList) {
  const struct {
    const char* days;
    long age;
    bool expected;
  } rows[] = {
      // 12345678901234567890123
      {"24855,24855,24855,24855", 2 * kDay, false},
      {"24855,24855,24855,24855,1", 2 * kDay, false},  // begins behind the cut
      {"24855,24855,24855,2485,1", 2 * kDay, false},
      {"24855,24855,24855,485,1", 2 * kDay, true},  // the last character that is read
      // Cut inside a number: 2000 days remain of 20000.
      {"24855,24855,24855,02000", 3000 * kDay, true},
      {"24855,24855,24855,020000", 3000 * kDay, true},
      {"24855,24855,24855,020000", 1900 * kDay, false},
      {"24855,24855,24855,20000", 3000 * kDay, false},
      {"00000000000000000000020000", 21 * kDay, true},
      {"00000000000000000000020000", 19 * kDay, false},
      {"0000000000000000000000024855", kMinute, true},  // nothing remains but zeros
      {"                       30", kMinute, true},     // nothing remains but blanks: 0
      {"                     30", 29 * kDay, false},
      {",,,,,,,,,,,,,,,,,,,,,,,30", 31 * kDay, false},  // nothing remains but commas
      {",,,,,,,,,,,,,,,,,,,,,30", 31 * kDay, true},
  };
  TestFile file;
  for (const auto& row : rows) {
    file.setModified(row.age);
    EXPECT_EQ(excludes(modifiedBefore(row.days), file.path()), row.expected)
        << "days " << row.days << ", age " << row.age;
  }
}

TEST(FileAgeRule, ADayCountBeyond24855WrapsAround) {
  const struct {
    const char* days;
    long limit;  // the count times 86400, in 32 bits
  } rows[] = {
      {"24855", 2147472000L},                        // the largest that does not
      {"24856", -2147408896L},                       // 2147558400 - 4294967296
      {"24857", -2147322496L},  {"49710", -23296L},  // 4294944000 - 4294967296
      {"49711", 63104L},                             // 4295030400 - 4294967296
      {"99421", 39808L},                             // twice around
      {"-24855", -2147472000L}, {"-24856", 2147408896L},
      {"2147483647", -86400L},  // the count -1, shifted around
      {"-2147483648", 0L},      {"-2147483647", 86400L},
  };
  TestFile file;
  for (const auto& row : rows) {
    // Ages that the timestamps of the file systems in use can express.
    const long oldest = std::time(nullptr);
    for (const long age : {row.limit - kMinute, row.limit + kMinute, -kDay * 2, kDay * 2}) {
      if (age > oldest || age < -kDay * 3650) continue;
      file.setModified(age);
      EXPECT_EQ(excludes(modifiedBefore(row.days), file.path()), age > row.limit)
          << "days " << row.days << ", age " << age;
    }
  }
}

TEST(FileAgeRule, CharactersOneToThreeAreNotRead) {
  TestFile file;
  file.setModified(31 * kDay);
  for (const char* gap : {"   ", "000", "999", ",,,", "abc", "1,0", "é ", " - "}) {
    EXPECT_TRUE(excludes(std::string("1") + gap + "30", file.path())) << gap;
    EXPECT_FALSE(excludes(std::string("1") + gap + "32", file.path())) << gap;
  }
}

TEST(FileAgeRule, AShortTextIsAnEmptyList) {
  TestFile file;
  file.setModified(20000 * kDay);
  for (const char* text : {"1", "10", "100", "1000", "0", "0000", "x", "xxxx", "-", "-1", "1-1"}) {
    EXPECT_FALSE(excludes(text, file.path())) << text;
  }
  EXPECT_TRUE(excludes("10000", file.path())) << "the first text with a list";
}

TEST(FileAgeRule, ASelectorOtherThanZeroOrOneMeansAnAgeOfZero) {
  TestFile file;
  for (const long modified : {20000 * kDay, 0L, -1000 * kDay}) {
    file.setModified(modified);
    for (const char* selector : {"2", "9", "x", " ", "-", ",", "/", "\n"}) {
      const std::string prefix = std::string(selector) + "   ";
      EXPECT_FALSE(excludes(prefix + "0", file.path())) << shown(selector);
      EXPECT_FALSE(excludes(prefix + "30", file.path())) << shown(selector);
      EXPECT_TRUE(excludes(prefix + "-1", file.path())) << shown(selector);
      EXPECT_TRUE(excludes(prefix + "24856", file.path())) << shown(selector);
    }
    EXPECT_TRUE(excludes("é  -1", file.path())) << "the first byte counts";
  }
}

// --- Creation time -------------------------------------------------------------------------------

// A number of days that comes to `seconds` when multiplied in 32 bits: there is one for every
// multiple of 128, since 86400 is 128 times an odd number.
std::string daysComingTo(long seconds) {
  const std::uint32_t wanted = static_cast<std::uint32_t>(seconds / 128) & 0x1ffffffU;
  std::uint32_t inverse = 675;  // of 675 modulo 2^25, by Newton's iteration
  for (int i = 0; i < 5; ++i) inverse *= 2 - 675 * inverse;
  return std::to_string((wanted * inverse) & 0x1ffffffU);
}

TEST(FileAgeRule, ReadsTheTimeOfCreationWhereTheFileSystemKnowsIt) {
  TestFile file;
  const bool known = birthTime(file.path()).has_value();
  // Just made: 0 to a few seconds old, whatever its other timestamps.
  for (const long modified : {-100 * kDay, 0L, 100 * kDay}) {
    file.setModified(modified);
    EXPECT_FALSE(excludes("0   1", file.path()));
    EXPECT_EQ(excludes("0   -1", file.path()), known);
    EXPECT_EQ(excludes("0   90,-1", file.path()), known);
    EXPECT_EQ(excludes("0   24856", file.path()), known);
    EXPECT_EQ(excludes("0   " + daysComingTo(-128), file.path()), known);
    EXPECT_FALSE(excludes("0   " + daysComingTo(128000), file.path()));
  }
}

TEST(FileAgeRule, ReadsTheAgeInSecondsFromTheTimeOfCreation) {
  const std::string directory = QVL_TEST_HOME;  // older than the test, and changed by it
  const auto born = birthTime(directory);
  if (!born) GTEST_SKIP() << "this file system does not know when a file was made";
  // One limit just below the age, and one well above.
  const long age = static_cast<long>(std::time(nullptr) - *born);
  const long below = (age / 128 - 1) * 128;
  ASSERT_LT(age, 2147483647L - 1000);
  EXPECT_TRUE(excludes("0   " + daysComingTo(below), directory)) << "age " << age;
  EXPECT_FALSE(excludes("0   " + daysComingTo(below + 128000), directory)) << "age " << age;
}

// --- Files that cannot be examined ---------------------------------------------------------------

TEST(FileAgeRule, AFileThatCannotBeExaminedIsNotExcluded) {
  for (const char* text : {"1   -1", "0   -1", "x   -1"}) {
    EXPECT_FALSE(excludes(text, "/no/such/file")) << text;
    EXPECT_FALSE(excludes(text, "")) << text;
    EXPECT_FALSE(excludes(text, std::string(QVL_TEST_HOME) + "/config/traceValues.xml/x")) << text;
    EXPECT_FALSE(excludes(text, std::string(100000, 'a'))) << text;
  }
}

TEST(FileAgeRule, AFileBehindAClosedFolderIsNotExcluded) {
  if (::geteuid() == 0) GTEST_SKIP() << "nothing is closed to the superuser";
  TestFile name;
  const std::string folder = name.path() + "-folder";
  ASSERT_EQ(::mkdir(folder.c_str(), 0700), 0);
  EXPECT_TRUE(excludes("x   -1", folder + "/."));
  ASSERT_EQ(::chmod(folder.c_str(), 0), 0);
  EXPECT_FALSE(excludes("x   -1", folder + "/."));
  ::rmdir(folder.c_str());
}

TEST(FileAgeRule, AnyFileThatHasTimestampsWillDo) {
  EXPECT_TRUE(excludes("x   -1", "/"));
  EXPECT_TRUE(excludes("x   -1", "/dev/null"));
}

TEST(FileAgeRule, FollowsSymbolicLinks) {
  TestFile file;
  file.setModified(31 * kDay);
  const std::string link = file.path() + "-link";
  ASSERT_EQ(::symlink(file.path().c_str(), link.c_str()), 0);
  EXPECT_TRUE(excludes(modifiedBefore("30"), link));
  file.setModified(29 * kDay);
  EXPECT_FALSE(excludes(modifiedBefore("30"), link));
  ::unlink(link.c_str());

  const std::string dangling = file.path() + "-dangling";
  ASSERT_EQ(::symlink("/no/such/file", dangling.c_str()), 0);
  EXPECT_FALSE(excludes("x   -1", dangling));
  ::unlink(dangling.c_str());
}

TEST(FileAgeRule, AZeroByteEndsThePathAsTheFileSystemSeesIt) {
  using namespace std::string_literals;
  TestFile file;
  file.setModified(31 * kDay);
  EXPECT_TRUE(excludes(modifiedBefore("30"), file.path() + "\0/no/such/file"s));
  EXPECT_FALSE(excludes(modifiedBefore("30"), "\0"s + file.path()));
}

TEST(FileAgeRule, APathNeedNotBeUtf8) {
  TestFile file;
  const std::string path = file.path() + "-\xff";
  if (::link(file.path().c_str(), path.c_str()) != 0) {
    GTEST_SKIP() << "this file system takes names in UTF-8 only";
  }
  EXPECT_TRUE(excludes("x   -1", path));
  ::unlink(path.c_str());
  EXPECT_FALSE(excludes("x   -1", "/no/such/\xff"));
}

// --- What does not matter to a lookup ------------------------------------------------------------

TEST(FileAgeRule, TheExpressionPlaysNoPartInALookup) {
  TestFile file;
  file.setModified(31 * kDay);
  FileAgeAvoidance rule(modifiedBefore("30"), AnyAccess);
  LookupData request = fileRequest(file.path());
  EXPECT_TRUE(rule.addOrUpdateKeyword("30", {"32"}));
  EXPECT_TRUE(rule.updateRegex());
  EXPECT_TRUE(rule.canAvoid(request)) << "keywords change the expression only";
  EXPECT_TRUE(rule.addOrUpdateKeyword("30", {"("}));
  EXPECT_FALSE(rule.updateRegex());
  EXPECT_TRUE(rule.canAvoid(request));
  EXPECT_FALSE(rule.addOrUpdateKeyword("", {"32"}));
  EXPECT_FALSE(rule.addOrUpdateKeyword("30", {}));
  EXPECT_FALSE(rule.deleteKeyword("31"));
  EXPECT_TRUE(rule.deleteKeyword("30"));
  EXPECT_TRUE(rule.updateRegex());
}

TEST(FileAgeRule, AcceptsTextsOfAnyLengthAndForm) {
  for (const std::string& text :
       {std::string("x"), std::string("/"), std::string("nonsense/"), std::string(20000, '1')}) {
    EXPECT_EQ(thrownBy([&] { FileAgeKind::make(text); }), "nothing");
    EXPECT_EQ(thrownBy([&] { FileAgeKind::make(widened(text)); }), "nothing");
  }
  EXPECT_EQ(thrownBy([&] { FileAgeKind::make(std::string("1000+30")); }), "nothing");
  EXPECT_EQ(thrownBy([&] { FileAgeKind::make(std::string("+")); }), FileAgeKind::kNotBuiltMessage);
}

TEST(FileAgeRule, ValidateTakesEffectWithoutAnUpdate) {
  TestFile file;
  file.setModified(31 * kDay);
  FileAgeAvoidance rule(modifiedBefore("30"), AnyAccess);
  LookupData request = fileRequest(file.path());
  ASSERT_TRUE(rule.validate(modifiedBefore("32"), AnyAccess));
  EXPECT_FALSE(rule.canAvoid(request)) << "the text itself is read";
}

TEST(FileAgeRule, MatchingWithAccessTypeAsksAnOverriddenCanAvoid) {
  struct HostRule : FileAgeAvoidance {
    using FileAgeAvoidance::FileAgeAvoidance;
    bool answer = true;
    bool canAvoid(ILookupData&) override { return answer; }
  };
  HostRule rule(std::string("1   30"), ReadAccess);
  LookupData read = fileRequest("/no/such/file", ReadAccess);
  LookupData write = fileRequest("/no/such/file", WriteAccess);
  EXPECT_TRUE(rule.canAvoidWithAccessType(read, false));
  EXPECT_FALSE(rule.canAvoidWithAccessType(write, false));
  rule.answer = false;
  EXPECT_FALSE(rule.canAvoidWithAccessType(read, false));
}

// --- Trace ---------------------------------------------------------------------------------------

TEST(FileAgeRule, TracesEveryStepOfALookup) {
  TestFile file;
  file.setModified(31 * kDay);
  const std::string checked = "FileAgeAvoidance::canAvoid, File to be checked : ";
  const std::string ageLine = "FileAgeAvoidance::canAvoid, m_fileAge : ";
  const std::string withAccessType = "FilePathAvoidance::canAvoidWithAccessType\n";
  const struct {
    std::string text;
    std::string path;
    std::vector<std::string> lines;
  } rows[] = {
      {"1   30", file.path(), {checked + file.path(), ageLine + "1   30\n", kExcluded}},
      {"1   90,30", file.path(), {checked + file.path(), ageLine + "1   90,30\n", kExcluded}},
      {"1   32", file.path(), {checked + file.path(), ageLine + "1   32\n", kNotExcluded}},
      {"1   ", file.path(), {checked + file.path(), ageLine + "1   \n", kNotExcluded}},
      {"1", file.path(), {checked + file.path(), ageLine + "1\n", kNotExcluded}},
      {"x   0", file.path(), {checked + file.path(), ageLine + "x   0\n", kNotExcluded}},
      {"x   -1", file.path(), {checked + file.path(), ageLine + "x   -1\n", kExcluded}},
      {"1   100%", file.path(), {checked + file.path(), ageLine + "1   100%\n", kNotExcluded}},
      {"1   30", "/no/such/file", {checked + "/no/such/file", kNoStatus}},
      {"1   30", "/no/such/%s%n", {checked + "/no/such/%s%n", kNoStatus}},
      {"1   30", "", {checked, kNoStatus}},
  };
  TraceRecorder trace;
  for (const auto& row : rows) {
    FileAgeAvoidance rule(row.text, ReadAccess);
    LookupData request = fileRequest(row.path, WriteAccess);
    trace.take();
    rule.canAvoid(request);
    EXPECT_EQ(trace.take(), traced(row.lines)) << row.text << " on " << row.path;

    std::vector<std::string> lines = row.lines;
    lines.insert(lines.begin(), withAccessType);
    EXPECT_FALSE(rule.canAvoidWithAccessType(request, false)) << "of another access type";
    EXPECT_EQ(trace.take(), traced(lines)) << row.text << " on " << row.path;
  }
}

TEST(FileAgeRule, TracesRequestsOfAnotherType) {
  FileAgeAvoidance rule(std::string("x   -1"), AnyAccess);
  ForeignRequest foreign;
  TraceRecorder trace;
  EXPECT_FALSE(rule.canAvoid(foreign));
  EXPECT_EQ(trace.take(), traced({kNotExcluded}));
  EXPECT_FALSE(rule.canAvoidWithAccessType(foreign, false));
  EXPECT_EQ(trace.take(), traced({"FilePathAvoidance::canAvoidWithAccessType\n"}));
}

}  // namespace
}  // namespace Test
}  // namespace QVL
