#include <gtest/gtest.h>

#include <string>

#include "qvl/qvl.h"
#include "tests/support/Outcome.h"
#include "tests/support/Requests.h"
#include "tests/support/RuleKinds.h"
#include "tests/support/TraceRecorder.h"

namespace QVL {
namespace Test {
namespace {

TEST(FilePathRule, AcceptsUpTo4096Bytes) {
  const std::string longest = "/" + std::string(4095, 'a');
  EXPECT_EQ(thrownBy([&] { FilePathKind::make(longest); }), "nothing");
  EXPECT_EQ(thrownBy([&] { FilePathKind::make(longest + "a"); }), FilePathKind::kRefusedMessage);
  EXPECT_EQ(thrownBy([&] { FilePathKind::make(widened(longest)); }), "nothing");
  EXPECT_EQ(thrownBy([&] { FilePathKind::make(widened(longest + "a")); }),
            FilePathKind::kWideRefusedMessage);

  FilePathAvoidance rule(longest, AnyAccess);
  LookupData match = fileRequest(longest);
  LookupData other = fileRequest(longest + "a");
  EXPECT_TRUE(rule.canAvoid(match));
  EXPECT_FALSE(rule.canAvoid(other));
  EXPECT_FALSE(rule.validate(longest + "a", AnyAccess));
  EXPECT_EQ(rule.getKey(), longest);
}

TEST(FilePathRule, CountsBytesAndNotCharacters) {
  std::string text;
  std::wstring wide;
  for (int i = 0; i < 2048; ++i) {
    text += "é";
    wide += static_cast<wchar_t>(0xe9);
  }
  ASSERT_EQ(text.size(), 4096U);
  EXPECT_EQ(thrownBy([&] { FilePathKind::make(text); }), "nothing");
  EXPECT_EQ(thrownBy([&] { FilePathKind::make(wide); }), "nothing");
  EXPECT_EQ(thrownBy([&] { FilePathKind::make(text + "a"); }), FilePathKind::kRefusedMessage);
  EXPECT_EQ(thrownBy([&] { FilePathKind::make(wide + L"a"); }), FilePathKind::kWideRefusedMessage);
}

TEST(FilePathRule, NamesFilesAndNotAFolder) {
  const struct {
    const char* text;
    bool accepted;
  } rows[] = {
      {"/tmp/", false}, {"/tmp/*", true}, {"/", false},   {"//", false},
      {"a/", false},    {"a", true},      {"/tmp", true}, {"/**/", false},
      {"**", true},     {"/a/**", true},  {" ", true},    {"/a/ ", true},
  };
  for (const auto& row : rows) {
    EXPECT_EQ(thrownBy([&] { FilePathKind::make(std::string(row.text)); }),
              row.accepted ? "nothing" : FilePathKind::kRefusedMessage)
        << row.text;
  }
}

TEST(FilePathRule, ReadsThePathOfTheRequestOnly) {
  FilePathAvoidance rule("/a", AnyAccess);
  LookupData request;
  request.m_processName = "/a";
  EXPECT_FALSE(rule.canAvoid(request));
  request.m_filePath = "/a";
  EXPECT_TRUE(rule.canAvoid(request));
}

TEST(FilePathRule, MatchesAnEmptyPathWhenItsPatternDoes) {
  LookupData empty;
  FilePathAvoidance star("*", AnyAccess);
  FilePathAvoidance mark("?", AnyAccess);
  EXPECT_TRUE(star.canAvoid(empty));
  EXPECT_FALSE(mark.canAvoid(empty));
}

TEST(FilePathRule, TracesItsLookups) {
  FilePathAvoidance rule("/a", ReadAccess);
  LookupData match = fileRequest("/a", ReadAccess);
  LookupData other = fileRequest("/b", WriteAccess);
  ForeignRequest foreign;
  TraceRecorder trace;
  for (ILookupData* request : {static_cast<ILookupData*>(&match), static_cast<ILookupData*>(&other),
                               static_cast<ILookupData*>(&foreign)}) {
    rule.canAvoid(*request);
    EXPECT_EQ(trace.take(), traced({"FilePathAvoidance::canAvoid\n"}));
    rule.canAvoidWithAccessType(*request, false);
    EXPECT_EQ(trace.take(), traced({"FilePathAvoidance::canAvoidWithAccessType\n"}));
    rule.canAvoidWithAccessType(*request, true);
    EXPECT_EQ(trace.take(), traced({"FilePathAvoidance::canAvoidWithAccessType\n"}));
  }
}

TEST(FilePathRule, TracesALookupThatThrows) {
  FilePathAvoidance rule("/a", AnyAccess);
  LookupData request = fileRequest("\xff");
  TraceRecorder trace;
  EXPECT_THROW(rule.canAvoid(request), std::exception);
  EXPECT_EQ(trace.take(), traced({"FilePathAvoidance::canAvoid\n"}));
}

TEST(FilePathRule, MatchingWithAccessTypeDoesNotGoThroughAnOverriddenCanAvoid) {
  struct HostRule : FilePathAvoidance {
    using FilePathAvoidance::FilePathAvoidance;
    bool canAvoid(ILookupData&) override { return false; }
  };
  HostRule rule(std::string("/a"), AnyAccess);
  LookupData request = fileRequest("/a");
  EXPECT_FALSE(rule.canAvoid(request));
  EXPECT_TRUE(rule.canAvoidWithAccessType(request, false));
}

}  // namespace
}  // namespace Test
}  // namespace QVL
